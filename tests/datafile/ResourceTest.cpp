#include "datafile/Resource.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::TempDir;
using test::WriteWholeFile;

// Points the data root at a scratch folder for one test.
class ScratchDataRoot {
public:
    const TempDir& dir() const { return dir_; }

private:
    TempDir dir_;
    test::ScopedDataRoot root_{dir_.path()};
};

TEST(Resource, FoundUnderTheDataRootOrExplainedWhenMissing) {
    ScratchDataRoot root;
    WriteWholeFile(root.dir() / "Resources/Shaders/core.fs", "scrambled");
    EXPECT_EQ(ResourcePath("Resources/Shaders/core.fs"), root.dir() / "Resources/Shaders/core.fs");
    std::string found;
    EXPECT_TRUE(FindResource("Resources/Shaders/core.fs", &found).ok());
    EXPECT_EQ(found, root.dir() / "Resources/Shaders/core.fs");
    EXPECT_EQ(RequireResource("Resources/Shaders/core.fs"), root.dir() / "Resources/Shaders/core.fs");

    const Status missing = FindResource("Resources/Shaders/grain.fs", &found);
    EXPECT_EQ(missing.code(), Status::Code::kNotFound);
    const std::string& why = missing.message();
    EXPECT_NE(why.find("Missing resource \"Resources/Shaders/grain.fs\""), std::string::npos) << why;
    EXPECT_NE(why.find("no readable file at " + (root.dir() / "Resources/Shaders/grain.fs")), std::string::npos) << why;
    EXPECT_NE(why.find("OMBREL_DATA_DIR"), std::string::npos) << why;

    // A folder where a file should be is no resource either.
    std::filesystem::create_directories(root.dir() / "Profiles/5D");
    EXPECT_EQ(FindResource("Profiles/5D", &found).code(), Status::Code::kNotFound);
}

TEST(ResourceDeathTest, AMissingRequiredResourceStopsWithThePathSearched) {
    ScratchDataRoot root;
    const std::string expected = root.dir() / "Resources/Exposure/table.dat";
    EXPECT_DEATH(RequireResource("Resources/Exposure/table.dat"), "Missing resource .*no readable file at " + expected);
}

}  // namespace
}  // namespace ombrel
