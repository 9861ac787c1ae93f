// The libraries depend downward only: every include under src/ is checked against the floor
// table of docs/architecture.md.
#include <gtest/gtest.h>

#include <filesystem>

#include "Floors.h"
#include "support/TempDir.h"

namespace ombrel::floors {
namespace {

const std::string kRoot = OMBREL_SOURCE_DIR;

TEST(Floors, TheTableNamesEveryLibraryFolderUnderSrc) {
    std::vector<std::string> bad;
    const auto libs = ReadFloorTable(test::ReadWholeFile(kRoot + "/docs/architecture.md"), &bad);
    EXPECT_TRUE(bad.empty()) << "rows that do not read: " << ::testing::PrintToString(bad);
    ASSERT_GE(libs.size(), 10u);
    // Every folder with a CMakeLists.txt under src/ declares a library, and the table must know it.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(kRoot + "/src")) {
        if (entry.path().filename() != "CMakeLists.txt" ||
            test::ReadWholeFile(entry.path()).find("ombrel_library(") == std::string::npos)
            continue;
        const std::string folder = std::filesystem::relative(entry.path().parent_path(), kRoot).generic_string();
        EXPECT_TRUE(std::any_of(libs.begin(), libs.end(), [&](const Library& lib) { return lib.folder == folder; }))
            << folder << " holds a library the floor table does not list";
    }
}

TEST(Floors, NoIncludeReachesItsOwnFloorOrAbove) {
    const auto libs = ReadFloorTable(test::ReadWholeFile(kRoot + "/docs/architecture.md"), nullptr);
    for (const std::string& p : UpwardIncludes(kRoot, libs)) ADD_FAILURE() << p;
}

// The checker itself, on a small tree: a lower floor including a higher one is caught, an include
// inside a library, a downward one and one from an executable are not.
TEST(Floors, TheCheckerFindsAnUpwardIncludeInASmallTree) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "src/core/Log.h", "#include \"core/Paths.h\"\n#include \"look/Look.h\"\n");
    test::WriteWholeFile(dir / "src/look/grain/Grain.cpp", "  #include \"core/Log.h\"\n#include <vector>\n");
    test::WriteWholeFile(dir / "app/main.cpp", "#include \"look/Look.h\"\n#include \"Local.h\"\n");
    const auto libs = ReadFloorTable(
        "| floor | library | folder | what |\n|---|---|---|---|\n| 1 | `ombrel_core` | `src/core` | x |\n"
        "| 2 | `ombrel_look` | `src/look` | y |\n",
        nullptr);
    ASSERT_EQ(libs.size(), 2u);
    const auto problems = UpwardIncludes(dir.path(), libs);
    ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
    EXPECT_EQ(problems[0], "src/core/Log.h:2 includes \"look/Look.h\": core (floor 1) may not use look (floor 2)");
}

}  // namespace
}  // namespace ombrel::floors
