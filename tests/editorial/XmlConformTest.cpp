// The conform on the three XML formats against a folder of clips from our R3D writer.
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "editorial/EdlGuiController.h"
#include "r3d/sdk/SdkClips.h"
#include "support/Movies.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

namespace ombrel {
namespace {

struct Port : ConformPort {
    void SetStageLabel(int stage, const std::string& text) override { labels[stage - 1] = text; }
    void SetStageAlpha(int, double) override {}
    void SetStageIcon(int stage, StageIcon icon) override { icons[stage - 1] = icon; }
    void SetStageSpinner(int, bool) override {}
    void AppendLog(const std::string& text) override { log += text; }
    void ReplaceLog(const std::string& text) override { log = text; }
    void SetEdlButtons(bool) override {}
    void RemoveAllItems() override {}
    void AddPath(const std::string& path) override { shotList += LastPathComponent(path) + "\n"; }
    void SetFileSnippets(const std::map<std::string, FCPFile>&) override {}
    void RemoveAllClips() override {}

    std::string labels[4], log, shotList;
    StageIcon icons[4] = {};
};

void Clip(const std::string& path, const std::string& timecode, int frames) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    sdktest::SdkClip c = sdktest::BasicClip(16, 8, frames);
    c.spec.rateNumerator = 24;
    c.spec.rateDenominator = 1;
    c.spec.audioChannels = 0;
    c.audioBlocks.clear();
    c.spec.absoluteTimecode = timecode;
    ASSERT_EQ(sdktest::WriteSdkClip(path, c), "");
}

// Stages, log and shot list of each format's document, in one reference per format.
TEST(XmlConform, EachFormatMatchesItsClipsToTheFootage) {
    test::TempDir dir;
    Clip(dir / "footage/A001_C001_0101AB_001.R3D", "01:00:00:00", 48);
    Clip(dir / "footage/A001_C002_0101AB_001.R3D", "02:00:00:00", 30);
    // Two movies of one name, over 1 MB each.
    for (const char* folder : {"movies/a", "movies/b"}) {
        std::filesystem::create_directories(dir / folder);
        ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 120) + test::kRawVideo, dir / folder + "/Take 1.mov"));
    }
    const struct {
        int tag;
        const char* title;
        const char* name;
        bool mov = false;
    } cases[] = {{kTagFcpXml, "Final Cut XML", "fcp"},
                 {kTagAvid, "Avid Filmscribe", "avid"},
                 {kTagFcpxXml, "FCP-X XML", "fcpx"},
                 {kTagFcpXml, "Final Cut XML", "fcp-mov", true},
                 {kTagFcpxXml, "FCP-X XML", "fcpx-mov", true}};
    for (const auto& c : cases) {
        Port port;
        EdlGuiController conform(port);
        ConformRequest request;
        request.inputPath = test::RefPath(std::string("editorial/conform-") + c.name + ".xml");
        request.typeTitle = c.title;
        request.sourceDirectories = {dir / (c.mov ? "movies" : "footage")};
        request.r3d = !c.mov;
        request.inputType = c.tag;
        MainQueue::Instance().AdoptCurrentThread();
        conform.LoadEDL(request);
        MainQueue::Instance().ServeUntil([&] { return conform.Finished(); });
        MainQueue::Instance().ServePending();
        std::string out;
        for (int i = 0; i < 4; ++i) out += std::string(StageIconName(port.icons[i])) + ": " + port.labels[i] + "\n";
        out += "failed " + std::to_string(conform.failCount()) + "\n" + port.shotList + port.log;
        out = std::regex_replace(out, std::regex("\n\\.+\n"), "\n");
        for (size_t at; (at = out.find(dir.path())) != std::string::npos;) out.replace(at, dir.path().size(), "<dir>");
        EXPECT_TRUE(test::MatchesRef(std::string("editorial/conform-") + c.name + ".txt", out)) << c.name;
    }
}

}  // namespace
}  // namespace ombrel
