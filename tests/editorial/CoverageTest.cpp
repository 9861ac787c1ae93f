// The scrubber's coverage sweep, the search for moved files, the timeline list.
#include "editorial/Coverage.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace ombrel {
namespace {

std::string Spans(const std::vector<double>& snippets, long maximum) {
    std::string s;
    for (const auto& [a, b] : UncoveredSpans(snippets, maximum)) s += std::to_string(a) + "-" + std::to_string(b) + " ";
    return s;
}

TEST(Coverage, TheSweepLeavesTheUnusedFrames) {
    const struct {
        std::vector<double> snippets;
        const char* spans;
    } cases[] = {
        {{}, ""},
        {{10}, ""},
        {{10, 20}, "0-10 20-100 "},
        {{0, 100}, ""},
        {{30, 40, 10, 20}, "0-10 20-30 40-100 "},
        {{10, 30, 20, 40}, "0-10 40-100 "},  // overlapping
        {{10, 50, 20, 30}, "0-10 50-100 "},  // nested
        {{10, 20, 20, 30}, "0-10 30-100 "},  // touching: no gap
        {{10, 20, 5}, "0-10 20-100 "},       // an odd number left over
    };
    for (const auto& c : cases) EXPECT_EQ(Spans(c.snippets, 100), c.spans) << ::testing::PrintToString(c.snippets);
}

TEST(Coverage, MovedFilesGoToTheDeepestSharedPath) {
    test::TempDir dir;
    const std::string root = dir.path();
    for (const char* file : {"a/x/shoot/day1/A001_C001_0101AB_001.R3D", "b/day1/A001_C001_0101AB_001.R3D",
                             "c/A001_C001_0101AB_001.R3D", "c/A001_C001_0101AB_002.R3D", "d/A002_C002_0101AB_001.R3D",
                             "e/A002_C002_0101AB_001.R3D", "f/notes.txt"}) {
        std::filesystem::create_directories(std::filesystem::path(dir / file).parent_path());
        test::WriteWholeFile(dir / file, "x");
    }
    std::vector<MissingFile> list(4);
    list[0].path = "/gone/shoot/day1/A001_C001_0101AB_001.R3D";
    list[1].path = "/gone/A002_C002_0101AB_001.R3D";
    list[2].path = "/gone/A001_C001_0101AB_002.R3D";  // a later part is no clip
    list[3].path = "/gone/notes.txt";
    CheckForMissingFileList(root, list);
    EXPECT_EQ(list[0].foundPath, root + "/a/x/shoot/day1/A001_C001_0101AB_001.R3D");
    EXPECT_EQ(list[0].matchScore, 3);
    EXPECT_EQ(list[1].foundPath, root + "/d/A002_C002_0101AB_001.R3D");  // the first of equals
    EXPECT_EQ(list[1].matchScore, 1);
    EXPECT_EQ(list[2].matchScore, 0);
    EXPECT_EQ(list[3].foundPath, "");
}

TEST(Coverage, TheTimelineSortsByPlaceKeepingTies) {
    Timeline::ResetTimeline();
    for (const char* name : {"b", "a", "c"})
        Timeline::AddItemTimelineFrameFileInFileOut(name, name[0] == 'a' ? 10 : 50, 0, 1);
    Timeline::SortTimeline();
    std::string order;
    for (const TimelineItem& item : Timeline::itemList()) order += item.filename;
    EXPECT_EQ(order, "abc");
}

}  // namespace
}  // namespace ombrel
