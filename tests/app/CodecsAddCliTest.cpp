// `ombrel codecs add`: a codec of the user's own from an FFmpeg encoder, its place in the custom
// codec list, its preset file, and a movie rendered with it as ffprobe reads it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CliSupport.h"
#include "support/Movies.h"

namespace ombrel {
namespace {

using namespace clitest;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

std::string Codecs(const test::TempDir& home) { return home / "Documents/Ombrel/Data/Codecs"; }

TEST(CodecsAdd, RefusesWithTheReasonAndWritesNothing) {
    const std::pair<const char*, const char*> kRefusals[] = {
        {"--encoder nosuch", "no encoder \"nosuch\""},
        {"--encoder aac", "\"aac\" is no video encoder"},
        {"--encoder dnxhd --option bogus=1", "has no option \"bogus\""},
        {"--encoder dnxhd --option profile=zzz", "refuses profile=zzz"},
        {"--encoder dnxhd --option profile", "\"profile\" is not KEY=VALUE"},
        {"--encoder dnxhd --pix-fmt yuv420p", "takes no yuv420p, only yuv422p"},
        {"--encoder rawvideo", "give one with --pix-fmt"},
        // DNxHD proper takes broadcast sizes only, and the test is at the smallest.
        {"--encoder dnxhd", "refuses its settings at 256 x 120"},
    };
    for (const auto& [args, says] : kRefusals) {
        test::TempDir home;
        const auto r = OmbrelAt(home, "codecs add " + std::string(args));
        EXPECT_EQ(r.status, 1) << args;
        EXPECT_THAT(r.output, HasSubstr(says));
        EXPECT_FALSE(fs::exists(Codecs(home))) << args;
    }
}

// The ninth of a full list takes the slot and the file of the oldest; the list reads newest first.
TEST(CodecsAdd, GivesTheNinthTheOldestsSlot) {
    test::TempDir home;
    test::ShellResult r;
    for (int i = 0; i <= 8; ++i) r = OmbrelAt(home, "codecs add --encoder mpeg4 --option g=" + std::to_string(i));
    EXPECT_THAT(r.output, HasSubstr("100  mp4v  - User defined 'mp4v'  (mpeg4, yuv420p g=8)\nin the place of the "
                                    "oldest of 8"));
    EXPECT_THAT(test::ReadWholeFile(Codecs(home) + "/cust_0.dat"), HasSubstr("options = g=8\n"));
    const std::string json = OmbrelAt(home, "codecs --json").output;
    EXPECT_LT(json.find("\"tag\": 100"), json.find("\"tag\": 107")) << json;
    EXPECT_LT(json.find("\"tag\": 102"), json.find("\"tag\": 101")) << json;
}

// Named after the code the mov muxer gives DNxHR, and found by it and by name as --codec finds
// the factory codecs; by tag, one whose preset file is gone fails the clip and leaves no movie.
TEST(CodecsAdd, RendersADnxhrHqMovieWithTheCustomCodec) {
    test::TempDir home;
    EXPECT_THAT(OmbrelAt(home, "codecs add --encoder dnxhd --option profile=dnxhr_hq").output,
                HasSubstr("100  AVdh  - User defined 'AVdh'"));
    EXPECT_THAT(test::ReadWholeFile(Codecs(home) + "/cust_0.dat"),
                HasSubstr("fourcc = AVdh\nencoder = dnxhd\npixel_format = yuv422p\noptions = profile=dnxhr_hq\n"));
    const std::string clip = WriteClip(home / "clips/A001_C001_0101AB_001.R3D", sdktest::BasicClip(256, 128, 2));
    for (const std::string codec : {"AVdh", "\"- User defined 'AVdh'\""}) {
        const auto r = OmbrelAt(home, "render --format mov --codec " + codec + " --out " + (home / "out") + " " + clip);
        ASSERT_EQ(r.status, 0) << codec << r.output;
        EXPECT_EQ(test::Probe("-select_streams v -show_entries stream=codec_name,profile,codec_tag_string",
                              home / "out/A001_C001_0101AB.mov"),
                  "codec_name=dnxhd|profile=DNXHR HQ|codec_tag_string=AVdh\n");
    }
    fs::remove(Codecs(home) + "/cust_0.dat");
    const auto r = OmbrelAt(home, "render --format mov --codec 100 --out " + (home / "gone") + " " + clip);
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.output, HasSubstr("Codec test failed for preset 100: codec preset " + Codecs(home) +
                                    "/cust_0.dat cannot be read"));
    EXPECT_FALSE(fs::exists(home / "gone/A001_C001_0101AB.mov"));
}

}  // namespace
}  // namespace ombrel
