// The conform on the three XML formats against a folder of clips from our R3D writer.
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "editorial/EdlGuiController.h"
#include "ConformHarness.h"
#include "r3d/sdk/SdkClips.h"
#include "support/Movies.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

namespace ombrel {
namespace {

using test::Clip;

std::string Joined(const std::vector<std::string>& names) {
    std::string out;
    for (const auto& n : names)
        if (n != "<cleared>") out += n + "\n";
    return out;
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
        test::RecordingPort port;
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
        out += "failed " + std::to_string(conform.failCount()) + "\n" + Joined(port.shotList) + port.log;
        out = std::regex_replace(out, std::regex("\n\\.+\n"), "\n");
        for (size_t at; (at = out.find(dir.path())) != std::string::npos;) out.replace(at, dir.path().size(), "<dir>");
        EXPECT_TRUE(test::MatchesRef(std::string("editorial/conform-") + c.name + ".txt", out)) << c.name;
    }
}

}  // namespace
}  // namespace ombrel
