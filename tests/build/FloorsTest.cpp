// The libraries depend downward only: every include in src/, app/ and tools/ is checked
// against the floor table of docs/architecture.md.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Floors.h"
#include "support/TempDir.h"

namespace ombrel::floors {
namespace {

std::string Read(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

const std::vector<std::string> kExecutables = {"app", "tools", "bench"};

TEST(Floors, TheTableNamesEveryLibraryFolderUnderSrc) {
    std::vector<std::string> bad;
    const auto libs = ReadFloorTable(Read(std::string(OMBREL_SOURCE_DIR) + "/docs/architecture.md"), &bad);
    EXPECT_TRUE(bad.empty()) << "rows that do not read: " << ::testing::PrintToString(bad);
    ASSERT_GE(libs.size(), 10u);
    // Every folder with a CMakeLists.txt under src/ declares a library, and the table must know it.
    const std::filesystem::path src = std::filesystem::path(OMBREL_SOURCE_DIR) / "src";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(src)) {
        if (entry.path().filename() != "CMakeLists.txt") continue;
        const std::string text = Read(entry.path().string());
        if (text.find("ombrel_library(") == std::string::npos) continue;
        const std::string folder = "src/" + std::filesystem::relative(entry.path().parent_path(), src).generic_string();
        bool known = false;
        for (const Library& lib : libs) known |= lib.folder == folder;
        EXPECT_TRUE(known) << folder << " holds a library the floor table does not list";
    }
}

TEST(Floors, NoIncludeReachesItsOwnFloorOrAbove) {
    const auto libs = ReadFloorTable(Read(std::string(OMBREL_SOURCE_DIR) + "/docs/architecture.md"), nullptr);
    const auto problems = UpwardIncludes(OMBREL_SOURCE_DIR, libs, kExecutables);
    for (const std::string& p : problems) ADD_FAILURE() << p;
}

// The checker itself, on a small tree: a lower floor including a higher one is caught, an include
// inside a library, a downward one and one from an executable are not.
TEST(Floors, TheCheckerFindsAnUpwardIncludeInASmallTree) {
    test::TempDir dir;
    std::filesystem::create_directories(dir / "src/core");
    std::filesystem::create_directories(dir / "src/look/grain");
    std::filesystem::create_directories(dir / "app");
    test::WriteWholeFile(dir / "src/core/Log.h", "#include \"core/Paths.h\"\n#include \"look/Look.h\"\n");
    test::WriteWholeFile(dir / "src/look/grain/Grain.cpp", "  #include \"core/Log.h\"\n#include <vector>\n");
    test::WriteWholeFile(dir / "app/main.cpp", "#include \"look/Look.h\"\n#include \"Local.h\"\n");
    const auto libs = ReadFloorTable(
        "| floor | library | folder | what |\n|---|---|---|---|\n| 1 | `ombrel_core` | `src/core` | x |\n"
        "| 2 | `ombrel_look` | `src/look` | y |\n",
        nullptr);
    ASSERT_EQ(libs.size(), 2u);
    const auto problems = UpwardIncludes(dir.path(), libs, {"app"});
    ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
    EXPECT_EQ(problems[0], "src/core/Log.h:2 includes \"look/Look.h\": core (floor 1) may not use look (floor 2)");
}

}  // namespace
}  // namespace ombrel::floors
