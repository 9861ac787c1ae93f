// The conform's four stages on folders of clips from our R3D writer, seen through its port.
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "editorial/EdlGuiController.h"
#include "ConformHarness.h"
#include "library/FileParserHooks.h"
#include "r3d/sdk/SdkClips.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <vector>

namespace ombrel {
namespace {

using test::Clip;
using test::RecordingPort;

struct Footage {
    test::TempDir dir;
    std::string edl = dir / "cut.edl";
    std::string root = dir / "footage";

    Footage() {
        Clip(root + "/day1/A001_C001_0101AB_001.R3D", "01:00:00:00", 48);
        Clip(root + "/day2/A001_C002_0101AB_001.R3D", "02:00:00:00", 30, 12);  // three span files
        Clip(root + "/.hidden/A001_C003_0101AB_001.R3D", "03:00:00:00", 10);
        test::WriteWholeFile(edl, "TITLE: cut\n"
                                  "001  A001_C001_0101AB V     C        01:00:00:10 01:00:00:20 00:00:00:00 00:00:00:10\n"
                                  "002  A001_C002_0101AB V     C        02:00:00:05 02:00:00:25 00:00:00:10 00:00:01:06\n"
                                  "003  A001_C001_0101AB V     C        01:00:01:00 01:00:02:00 00:00:01:06 00:00:02:06\n"
                                  "004  A001_C003_0101AB V     C        03:00:00:00 03:00:00:05 00:00:02:06 00:00:02:11\n");
    }

    void Run(EdlGuiController& conform, std::vector<std::string> dirs = {}) {
        ConformRequest request;
        request.inputPath = edl;
        request.sourceDirectories = dirs.empty() ? std::vector<std::string>{root} : dirs;
        MainQueue::Instance().AdoptCurrentThread();
        conform.LoadEDL(request);
        MainQueue::Instance().ServeUntil([&] { return conform.Finished(); });
        MainQueue::Instance().ServePending();
    }
};

TEST(Conform, AWholeRunLoadsTheMatchedClipsAndRepeats) {
    Footage f;
    std::string firstLog;
    for (int run = 0; run < 2; ++run) {
        RecordingPort port;
        EdlGuiController conform(port);
        f.Run(conform);
        EXPECT_EQ(port.Stages(),
                  "Done:1. Found 4 edits in 'cut.edl'.|Done:2. Found 2 movie files.|"
                  "Alert:3. Found 2 matching files... 1 failed matches.|Done:4. Shot List Loaded. |");
        EXPECT_EQ(port.alphas[3], 0.8);
        EXPECT_EQ(port.buttons, "NY");
        EXPECT_EQ(port.clipsRemoved, 1);
        EXPECT_EQ(port.shotList, (std::vector<std::string>{"<cleared>", "A001_C001_0101AB_001.R3D",
                                                           "A001_C002_0101AB_001.R3D"}));
        EXPECT_EQ(port.files, 2u);
        EXPECT_EQ(conform.failCount(), 1);
        EXPECT_EQ(conform.stoppedStage(), 0);
        // A slow disk may add a line of ticks.
        std::string log = std::regex_replace(port.log, std::regex("\n\\.+\n"), "\n");
        for (size_t at; (at = log.find(f.dir.path())) != std::string::npos;) log.replace(at, f.dir.path().size(), "<dir>");
        EXPECT_TRUE(test::MatchesRef("editorial/conform-log.txt", log));
        if (run == 0) firstLog = port.log;
        EXPECT_EQ(port.log, firstLog);
    }
}

TEST(Conform, AStageThatFailsEndsTheRunWithItsLabel) {
    Footage f;
    const std::string empty = f.dir / "empty";
    std::filesystem::create_directories(empty);
    const struct {
        const char* name;
        std::string edl;  // empty: the footage's own list
        std::string folder;
        int stage;
        std::string label;
    } cases[] = {
        {"unreadable", "\xff\xfe", f.root, 1, "1. Error reading 'cut.edl'."},
        {"no edits", "TITLE: nothing\n", f.root, 1, "1. No edits found in 'cut.edl'."},
        {"no footage", "", empty, 2, "2. Found 0 movie files."},
        {"no match", "001  B001_C001_0101AB V C 01:00:00:00 01:00:01:00 00:00:00:00 00:00:01:00\n", f.root, 3,
         "3. No matching files"},
    };
    const std::string list = test::ReadWholeFile(f.edl);
    for (const auto& c : cases) {
        test::WriteWholeFile(f.edl, c.edl.empty() ? list : c.edl);
        RecordingPort port;
        EdlGuiController conform(port);
        f.Run(conform, {c.folder});
        EXPECT_EQ(conform.stoppedStage(), c.stage) << c.name;
        EXPECT_EQ(port.labels[c.stage - 1], c.label) << c.name;
        EXPECT_EQ(port.icons[c.stage - 1], StageIcon::kFailed) << c.name;
        EXPECT_EQ(port.buttons, "NY") << c.name;
        EXPECT_TRUE(port.shotList.empty()) << c.name;
    }
}

TEST(Conform, ACancelDuringTheScanLeavesTheShotListAlone) {
    Footage f;
    RecordingPort port;
    EdlGuiController conform(port);
    port.onLog = [&](const std::string& text) {
        if (text.rfind("Found A001", 0) == 0) conform.LoadEDL({});  // a press during a run cancels
    };
    f.Run(conform);
    EXPECT_EQ(conform.fileList().size(), 1u);
    EXPECT_FALSE(conform.shotListLoaded());
    EXPECT_TRUE(port.shotList.empty());
    EXPECT_EQ(port.icons[3], StageIcon::kNone);
}

TEST(Conform, TheLogIsSentWhenUnder8000Characters) {
    std::vector<size_t> sent;
    SetUsageEventSink([&](const std::string& name, const std::string& data) {
        if (name == "EDL LOG") sent.push_back(data.size());
    });
    RecordingPort port;
    EdlGuiController conform(port);
    conform.ClearLog();  // the view holds one blank
    conform.SendLog();
    conform.Log(std::string(7998, 'x'));
    conform.SendLog();
    conform.Log("x");
    conform.SendLog();
    conform.ClearLog();
    conform.Log(std::string(7997, 'x') + "\xc3\xa9");  // one character, two bytes
    conform.SendLog();
    SetUsageEventSink({});
    EXPECT_EQ(sent, (std::vector<size_t>{1, 7999, 8000}));  // bytes sent; 8000 characters are not
}

}  // namespace
}  // namespace ombrel
