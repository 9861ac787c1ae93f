// `ombrel render --format mov` on R3D clips, read back by ffprobe and measured against a DPX
// render of the same clip with ffmpeg's psnr filter.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "CliSupport.h"
#include "support/Movies.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

using namespace clitest;
namespace fs = std::filesystem;

// A clip of smooth pictures, as a camera sees the world, so that a codec's loss shows as
// such and not as the cost of coding noise; its sound is the test clip's.
std::string SmoothClip(const std::string& path, uint32_t width, uint32_t height, int frames) {
    sdktest::SdkClip c = sdktest::BasicClip(width, height, frames);
    c.picture = [](uint32_t width, uint32_t height, int f) {
        std::vector<uint16_t> rgb(size_t(width) * height * 3);
        for (size_t i = 0; i < rgb.size() / 3; ++i) {
            const double u = double(i % width) / width, v = double(i / width) / height;
            rgb[3 * i] = uint16_t(9000 + 30000 * u + 2000 * f);
            rgb[3 * i + 1] = uint16_t(12000 + 20000 * v + 8000 * std::sin(6.0 * u + f));
            rgb[3 * i + 2] = uint16_t(15000 + 10000 * u * v);
        }
        return rgb;
    };
    return WriteClip(path, c);
}

// Whether the movie's sound is, byte for byte, `count` bytes of the .au file beside it from
// `from` on in its samples (all of them when `count` is 0).
::testing::AssertionResult SoundIs(const std::string& movie, const std::string& au, size_t from, size_t count = 0) {
    const auto pcm =
        test::RunShell("ffmpeg -v error -i '" + movie + "' -map 0:a -c copy -f s32be - | md5sum; tail -c +" +
                       std::to_string(29 + from) + " '" + au + "' | head -c " +
                       std::to_string(count ? count : size_t(1) << 40) + " | md5sum");
    if (pcm.output.substr(0, 32) == pcm.output.substr(pcm.output.find('\n') + 1, 32))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << pcm.output;
}

struct CodecRow {
    const char* name;
    const char* codec;  // as --codec takes it
    double minPsnr;
};

const CodecRow kCodecRows[] = {
    {"ProRes422HQ", "apch", 35.0},
    {"H264ByTag", "5", 33.0},
    {"ProRes4444ByTitle", "'ProRes 4444'", 44.0},
};

void PrintTo(const CodecRow& r, std::ostream* os) { *os << r.name; }

class MovieOutputCli : public ::testing::TestWithParam<CodecRow> {};

// The movie has the codec, the clip's size, the metadata's time scale (24000 at 24000/1001),
// exact packet durations, BT.709 tags, a timecode track that starts at the clip's first
// timecode with the clip's name as reel, and the film look of a DPX render of the same clip;
// the extracted sound stays beside it and goes into it. The reference file has what ffprobe reads.
TEST_P(MovieOutputCli, RendersTheClipIntoAMovieThatFFprobeReadsBack) {
    const CodecRow& row = GetParam();
    test::TempDir dir;
    const std::string clip = SmoothClip(dir / "A001_C001_0101AB_001.R3D", 128, 64, 3);
    const auto r = Ombrel("render --format mov --codec " + std::string(row.codec) + " --out " + Quoted(dir / "mov") +
                          " " + Quoted(clip));
    ASSERT_EQ(r.status, 0) << r.output;
    const std::string movie = dir / "mov/A001_C001_0101AB.mov";
    const std::string facts =
        test::Probe(
            "-select_streams v -show_entries stream=codec_tag_string,width,height,time_base,avg_frame_rate,"
            "color_space,color_transfer,color_primaries",
            movie) +
        test::SortedPackets(movie, "pts,duration") + "\n" +
        test::Probe("-select_streams d -show_data -show_entries stream=extradata:stream_tags", movie) +
        test::Probe("-select_streams a -show_entries stream=codec_name,sample_rate,channels,duration_ts", movie);
    EXPECT_TRUE(test::MatchesRef("app/movie-output-" + std::string(row.name) + ".txt", facts));
    EXPECT_TRUE(fs::exists(dir / "mov/A001_C001_0101AB.au")) << "the sound stays beside the movie";
    // And goes into it whole, sample for sample: 2002 a frame.
    EXPECT_TRUE(SoundIs(movie, dir / "mov/A001_C001_0101AB.au", 0));
    EXPECT_FALSE(fs::exists(dir / "mov/__A001_C001_0101AB.mov"));

    const auto dpx =
        Ombrel("render --format dpx --index-names --no-clip-prefix --out " + Quoted(dir / "dpx") + " " + Quoted(clip));
    ASSERT_EQ(dpx.status, 0) << dpx.output;
    const double psnr = test::Psnr(movie, dir / "dpx/A001_C001_0101AB/%06d.dpx");
    std::printf("PSNR %s against DPX: %.2f dB\n", row.name, psnr);
    EXPECT_GE(psnr, row.minPsnr);
}

INSTANTIATE_TEST_SUITE_P(Codecs, MovieOutputCli, ::testing::ValuesIn(kCodecRows),
                         [](const auto& info) { return std::string(info.param.name); });

// A movie wider than 2048 or higher than 1152 is scaled to 2048 x 1152 with the message that
// says so; the rule looks at the size asked for, so a size within it renders as asked. And
// what --codec refuses before anything renders.
TEST(MovieOutputCliOptions, TheTwoKRuleAndTheCodecsRefusals) {
    const std::string twoK =
        "Ombrel has a maximum Quicktime output size of 2K\n\nYou have currently selected 2049 x 1152.\nYour output "
        "will instead be scaled to 2048 x 1152";
    const struct {
        const char* name;
        const char* args;
        int status;
        std::string says;
        const char* rendered;  // empty: no movie
    } rows[] = {
        {"exactly 2K", "--format mov --size 2048x1152", 0, "", "width=2048|height=1152"},
        {"one column over", "--format mov --size 2049x1152", 0, twoK, "width=2048|height=1152"},
        {"source size", "--format mov", 0, "", "width=64|height=32"},
        {"unknown four characters", "--format mov --codec zzzz", 2, "--codec zzzz names no codec", ""},
        {"tag out of range", "--format mov --codec 12", 2, "--codec 12 names no codec", ""},
        {"not a movie", "--format dpx --codec apch", 2, "--codec is for --format mov", ""},
        {"codec without encoder", "--format mov --codec icod", 1, "Codec test failed for preset 0: ", ""},
    };
    test::TempDir dir;
    const std::string clip = SmoothClip(dir / "A001_C001_0101AB_001.R3D", 64, 32, 1);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string movie = dir / (std::string(row.name) + "/A001_C001_0101AB.mov");
        const auto r =
            Ombrel("render " + std::string(row.args) + " --out " + Quoted(dir / row.name) + " " + Quoted(clip));
        EXPECT_EQ(r.status, row.status) << r.output;
        EXPECT_TRUE(Has(r, row.says)) << r.output;
        EXPECT_EQ(Has(r, twoK), row.says == twoK) << r.output;
        if (*row.rendered)
            EXPECT_EQ(test::Probe("-select_streams v -show_entries stream=width,height", movie),
                      row.rendered + std::string("\n"));
        else
            EXPECT_FALSE(fs::exists(movie));
    }
}

// Frames 1 to 2 of the clip get their sound, cut at the sample: 2002 sample frames each of
// 8 bytes (two channels of 32 bits), from the second frame's first sample.
TEST(MovieOutputCliOptions, APartOfTheClipGetsItsPartOfTheSound) {
    test::TempDir dir;
    const std::string clip = SmoothClip(dir / "A001_C001_0101AB_001.R3D", 32, 16, 4);
    const auto r = Ombrel("render --format mov --frames 1-2 --out " + Quoted(dir / "mov") + " " + Quoted(clip));
    ASSERT_EQ(r.status, 0) << r.output;
    const std::string movie = dir / "mov/A001_C001_0101AB.mov";
    EXPECT_EQ(test::Probe("-select_streams a -show_entries stream=duration_ts", movie), "duration_ts=4004\n");
    EXPECT_TRUE(SoundIs(movie, dir / "mov/A001_C001_0101AB.au", 2002 * 8, 4004 * 8));
}

}  // namespace
}  // namespace ombrel
