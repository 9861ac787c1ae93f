// What the command line prints, compared with reference files under tests/ref/app: the help
// of each command and what `info` says of a clip.
#include <gtest/gtest.h>

#include <string>

#include "CliSupport.h"
#include "support/Movies.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

using namespace clitest;

struct TextCase {
    const char* name;
    // {clip}: 23.976 fps, 30 frames from 11:22:33:12, reel A007 clip C003; {movie}: 29.97 fps,
    // 12 frames, a timecode track from 00:59:59:29 (30 a second, non-drop) and 16-bit sound
    const char* args;
    const char* ref;
};

const TextCase kTextCases[] = {
    {"HelpMain", "--help", "app/help-main.txt"},
    {"HelpRender", "render --help", "app/help-render.txt"},
    {"HelpInfo", "info --help", "app/help-info.txt"},
    {"HelpProject", "project --help", "app/help-project.txt"},
    {"HelpProjectShow", "project show --help", "app/help-project-show.txt"},
    {"HelpDemo", "demo --help", "app/help-demo.txt"},
    {"HelpCodecs", "codecs --help", "app/help-codecs.txt"},
    {"HelpCodecsAdd", "codecs add --help", "app/help-codecs-add.txt"},
    {"CodecsJson", "codecs --json", "app/codecs.json"},
    {"InfoJson", "info --json {clip}", "app/info-basic-clip.json"},
    {"InfoTextOfExtractType2", "info --extract 2 {clip}", "app/info-basic-clip-extract2.txt"},
    {"InfoJsonOfAMovie", "info --json {movie}", "app/info-movie-tmcd.json"},
    {"InfoTextOfAMovie", "info {movie}", "app/info-movie-tmcd.txt"},
    {"HelpColour", "colour --help", "app/help-colour.txt"},
    {"ColourWorkingSpace1", "colour --working-space 1", "app/colour-working-space-1.txt"},
    {"ColourWorkingSpace2FloatJson", "colour --working-space 2 --float --json", "app/colour-working-space-2-float.json"},
};

class ReferenceText : public ::testing::TestWithParam<TextCase> {};

// The program stands as "ombrel" and the scratch folder as "{dir}", so that the references
// hold for any build and any scratch folder.
TEST_P(ReferenceText, MatchesItsReference) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "A007_C003_0101AB_001.R3D", sdktest::BasicClip(40, 20, 30));
    std::string args = GetParam().args;
    if (const size_t at = args.find("{clip}"); at != std::string::npos) args.replace(at, 6, clip);
    if (const size_t at = args.find("{movie}"); at != std::string::npos) {
        test::MakeMovie("-f lavfi -i sine=r=48000:d=1 " + test::TestPattern("30000/1001", 12) +
                            " -c:v libx264 -c:a pcm_s16le -timecode 00:59:59:29",
                        dir / "tc.mov");
        args.replace(at, 7, dir / "tc.mov");
    }
    const auto r = Ombrel(args);
    EXPECT_EQ(r.status, 0) << r.output;
    std::string text = r.output;
    for (const auto& [from, to] : {std::pair<std::string, std::string>{OMBREL_CLI, "ombrel"}, {dir.path(), "{dir}"}})
        for (size_t at; (at = text.find(from)) != std::string::npos;) text.replace(at, from.size(), to);
    EXPECT_TRUE(test::MatchesRef(GetParam().ref, text));
}

INSTANTIATE_TEST_SUITE_P(Cases, ReferenceText, ::testing::ValuesIn(kTextCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
