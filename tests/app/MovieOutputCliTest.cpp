// `ombrel render --format mov` on R3D clips, read back by ffprobe and measured against a DPX
// render of the same clip with ffmpeg's psnr filter.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "CliSupport.h"
#include "support/Movies.h"

namespace ombrel {
namespace {

using namespace clitest;
namespace fs = std::filesystem;

// A clip of smooth pictures, as a camera sees the world, so that a codec's loss shows as
// such and not as the cost of coding noise; its sound is the test clip's.
std::string SmoothClip(const std::string& path, uint32_t width, uint32_t height, int frames) {
    sdktest::SdkClip c = sdktest::BasicClip(width, height, frames);
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    r3d::R3DWriter w;
    bool ok = w.Create(path, c.spec, true);
    for (int f = 0; ok && f < frames; ++f) {
        std::vector<uint16_t> rgb(size_t(width) * height * 3);
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                const double u = double(x) / width, v = double(y) / height;
                uint16_t* px = &rgb[(size_t(y) * width + x) * 3];
                px[0] = uint16_t(9000 + 30000 * u + 2000 * f);
                px[1] = uint16_t(12000 + 20000 * v + 8000 * std::sin(6.0 * u + f));
                px[2] = uint16_t(15000 + 10000 * u * v);
            }
        ok = w.AddVideoFrameRGB(rgb.data(), c.payload, 0);
        const auto samples = sdktest::Samples(uint64_t(f), c.audioBlocks[size_t(f)], c.spec.audioChannels);
        ok = ok && w.AddAudioBlock(samples.data(), c.audioBlocks[size_t(f)]);
    }
    if (!ok || !w.Finish()) ADD_FAILURE() << path << ": " << w.Error();
    return path;
}

// The mean PSNR over all frames of a movie against a DPX sequence, in 16-bit RGB.
double Psnr(const std::string& movie, const std::string& dpxPattern) {
    const auto r = test::RunShell("ffmpeg -nostdin -v info -i '" + movie + "' -i '" + dpxPattern +
                                  "' -lavfi '[0:v]format=rgb48le[a];[1:v]format=rgb48le[b];[a][b]psnr' -f null - 2>&1 "
                                  "| grep -o 'average:[0-9.inf]*'");
    return std::atof(r.output.c_str() + std::string("average:").size());
}

struct CodecRow {
    const char* name;
    const char* codec;  // as --codec takes it
    const char* fourCC;
    double minPsnr;
};

const CodecRow kCodecRows[] = {
    {"ProRes422HQ", "apch", "apch", 35.0},
    {"H264ByTag", "5", "avc1", 33.0},
    {"ProRes4444ByTitle", "'ProRes 4444'", "ap4h", 44.0},
};

void PrintTo(const CodecRow& r, std::ostream* os) { *os << r.name; }

class MovieOutputCli : public ::testing::TestWithParam<CodecRow> {};

// The movie has the codec, the clip's size, the metadata's time scale (24000 at 24000/1001),
// exact packet durations, BT.709 tags, a timecode track that starts at the clip's first
// timecode with the clip's name as reel, and the film look of a DPX render of the same clip;
// the extracted sound stays beside it.
TEST_P(MovieOutputCli, RendersTheClipIntoAMovieThatFFprobeReadsBack) {
    const CodecRow& row = GetParam();
    test::TempDir dir;
    const std::string clip = SmoothClip(dir / "A001_C001_0101AB_001.R3D", 128, 64, 3);
    const auto r = Ombrel("render --format mov --codec " + std::string(row.codec) + " --out " + Quoted(dir / "mov") +
                          " " + Quoted(clip));
    ASSERT_EQ(r.status, 0) << r.output;
    const std::string movie = dir / "mov/A001_C001_0101AB.mov";
    EXPECT_EQ(
        test::Probe("-select_streams v -show_entries stream=codec_tag_string,width,height,time_base,avg_frame_rate,"
                    "color_space,color_transfer,color_primaries",
                    movie),
        std::string("codec_tag_string=") + row.fourCC +
            "|width=128|height=64|color_space=bt709|color_transfer=bt709|color_primaries=bt709|avg_frame_rate="
            "24000/1001|time_base=1/24000\n");
    EXPECT_EQ(test::SortedPackets(movie, "pts,duration"),
              (std::vector<std::string>{"pts=0|duration=1001", "pts=1001|duration=1001", "pts=2002|duration=1001"}));
    const std::string tmcd =
        test::Probe("-select_streams d -show_data -show_entries stream=extradata:stream_tags", movie);
    // Flags (24-hour wrap), time scale 24000, frame duration 1001; then 24 frames a second.
    EXPECT_NE(tmcd.find("0000 0000 0000 0002 0000 5dc0 0000 03e9"), std::string::npos) << tmcd;
    EXPECT_NE(tmcd.find("00000010: 1800"), std::string::npos) << tmcd;
    EXPECT_NE(tmcd.find("tag:reel_name=A001_C001_0101AB_001.R3D|tag:timecode=11:22:33:12"), std::string::npos) << tmcd;
    EXPECT_TRUE(fs::exists(dir / "mov/A001_C001_0101AB.au")) << "the sound stays beside the movie";
    // And goes into it whole, sample for sample: 2002 a frame.
    EXPECT_EQ(test::Probe("-select_streams a -show_entries stream=codec_name,sample_rate,channels,duration_ts", movie),
              "codec_name=pcm_s32be|sample_rate=48000|channels=2|duration_ts=6006\n");
    const auto pcm =
        test::RunShell("ffmpeg -v error -i '" + movie + "' -map 0:a -c copy -f s32be - | md5sum; tail -c +29 '" +
                       std::string(dir / "mov/A001_C001_0101AB.au") + "' | md5sum");
    EXPECT_EQ(pcm.output.substr(0, 32), pcm.output.substr(pcm.output.find('\n') + 1, 32)) << pcm.output;
    EXPECT_FALSE(fs::exists(dir / "mov/__A001_C001_0101AB.mov"));

    const auto dpx =
        Ombrel("render --format dpx --index-names --no-clip-prefix --out " + Quoted(dir / "dpx") + " " + Quoted(clip));
    ASSERT_EQ(dpx.status, 0) << dpx.output;
    const double psnr = Psnr(movie, dir / "dpx/A001_C001_0101AB/%06d.dpx");
    std::printf("PSNR %s against DPX: %.2f dB\n", row.fourCC, psnr);
    EXPECT_GE(psnr, row.minPsnr);
}

INSTANTIATE_TEST_SUITE_P(Codecs, MovieOutputCli, ::testing::ValuesIn(kCodecRows),
                         [](const auto& info) { return std::string(info.param.name); });

// A movie wider than 2048 or higher than 1152 is scaled to 2048 x 1152 with the message that
// says so; the rule looks at the size asked for, so a size within it renders as asked.
TEST(MovieOutputCliOptions, TheTwoKRuleScalesAChosenSizeAboveItOnly) {
    struct Row {
        const char* name;
        const char* size;
        bool warned;
        const char* rendered;
    } rows[] = {
        {"exactly 2K", "--size 2048x1152", false, "width=2048|height=1152"},
        {"one column over", "--size 2049x1152", true, "width=2048|height=1152"},
        {"source size", "", false, "width=64|height=32"},
    };
    test::TempDir dir;
    const std::string clip = SmoothClip(dir / "A001_C001_0101AB_001.R3D", 64, 32, 1);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto r = Ombrel("render --format mov " + std::string(row.size) + " --out " + Quoted(dir / row.name) +
                              " " + Quoted(clip));
        ASSERT_EQ(r.status, 0) << r.output;
        EXPECT_EQ(Has(r,
                      "Ombrel has a maximum Quicktime output size of 2K\n\nYou have currently selected 2049 x "
                      "1152.\nYour output will instead be scaled to 2048 x 1152"),
                  row.warned)
            << r.output;
        EXPECT_EQ(test::Probe("-select_streams v -show_entries stream=width,height",
                              dir / (std::string(row.name) + "/A001_C001_0101AB.mov")),
                  std::string(row.rendered) + "\n");
    }
}

// What --codec takes, and what it refuses before anything renders.
TEST(MovieOutputCliOptions, CodecNamesAndRefusals) {
    struct Row {
        const char* name;
        const char* args;
        int status;
        const char* says;
    } rows[] = {
        {"unknown four characters", "--format mov --codec zzzz", 2, "--codec zzzz names no codec"},
        {"tag out of range", "--format mov --codec 12", 2, "--codec 12 names no codec"},
        {"not a movie", "--format dpx --codec apch", 2, "--codec is for --format mov"},
        {"codec without encoder", "--format mov --codec icod", 1, "Codec test failed for preset 0: "},
    };
    test::TempDir dir;
    const std::string clip = SmoothClip(dir / "A001_C001_0101AB_001.R3D", 32, 16, 1);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto r = Ombrel("render " + std::string(row.args) + " --out " + Quoted(dir / "out") + " " + Quoted(clip));
        EXPECT_EQ(r.status, row.status) << r.output;
        EXPECT_TRUE(Has(r, row.says)) << r.output;
        EXPECT_FALSE(fs::exists(dir / "out/A001_C001_0101AB.mov"));
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
    const auto pcm =
        test::RunShell("ffmpeg -v error -i '" + movie + "' -map 0:a -c copy -f s32be - | md5sum; tail -c +" +
                       std::to_string(28 + 2002 * 8 + 1) + " '" + std::string(dir / "mov/A001_C001_0101AB.au") +
                       "' | head -c " + std::to_string(4004 * 8) + " | md5sum");
    EXPECT_EQ(pcm.output.substr(0, 32), pcm.output.substr(pcm.output.find('\n') + 1, 32)) << pcm.output;
}

}  // namespace
}  // namespace ombrel
