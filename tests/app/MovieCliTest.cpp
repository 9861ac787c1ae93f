// Movies through the real command line: numbered pictures of a long-GOP H.264 movie with
// B-frames come out in order, a render split into ranges equals the whole, the GPU
// agrees with the CPU reference, a movie rendered to a movie keeps the picture of its DPX render,
// and a truncated movie fails its clip while the next renders.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "CliSupport.h"
#include "support/FrameFiles.h"
#include "support/Movies.h"

namespace ombrel {
namespace {

using namespace clitest;

// Nine pictures, each a level of its own (16 + 24 per frame, with a ramp across): one I-frame,
// then B, B, P in turn, so that decode order is not presentation order.
std::string NumberedMovie(const std::string& path) {
    test::MakeMovie(
        "-f lavfi -i \"nullsrc=s=64x48:r=24,geq=lum='16+N*24+mod(X\\,8)':cb=128:cr=128\" -frames:v 9 "
        "-c:v libx264 -g 9 -bf 2 -x264-params b-adapt=0:scenecut=0 -pix_fmt yuv420p",
        path);
    return path;
}

// The 10-bit samples of a DPX frame: three to a 32-bit word, from the top bits down.
std::vector<int> Samples(const std::string& path) {
    const bool big = test::ReadWholeFile(path).starts_with("SDPX");
    const std::string data = DpxImageData(path);
    std::vector<int> out;
    for (size_t at = 0; at + 4 <= data.size(); at += 4) {
        uint32_t w = 0;
        for (size_t i = 0; i < 4; ++i) w |= uint32_t(uint8_t(data[at + i])) << (big ? 24 - 8 * i : 8 * i);
        for (int shift : {22, 12, 2}) out.push_back(int((w >> shift) & 0x3ff));
    }
    return out;
}

double Mean(const std::vector<int>& v) {
    return v.empty() ? 0.0 : std::accumulate(v.begin(), v.end(), 0.0) / double(v.size());
}

std::string Frame(const std::string& folder, const std::string& name, int f) {
    return folder + "/" + name + "." + test::Formatted("%06d", f) + ".dpx";
}

// Seeks against steps are the source's own tests; here the whole chain: the pictures in order,
// and a render split into ranges byte for byte the whole.
TEST(MovieCli, PicturesOfALongGopWithBFramesComeOutInOrderAndASplitRenderEqualsTheWhole) {
    test::TempDir dir;
    const std::string movie = NumberedMovie(dir / "num.mov");
    const auto types =
        test::RunShell("ffprobe -v error -select_streams v -show_entries frame=pict_type -of csv " + Quoted(movie));
    ASSERT_NE(types.output.find(",B"), std::string::npos) << "the movie must have B-frames: " << types.output;
    const auto r = Ombrel("render --out " + dir / "whole " + movie);
    ASSERT_EQ(r.status, 0) << r.output;
    ASSERT_EQ(Ombrel("render --out " + dir / "split --frames 0-2 " + movie).status, 0);
    ASSERT_EQ(Ombrel("render --out " + dir / "split --frames 3-8 " + movie).status, 0);
    // A movie has no timecode of its own: its frames are numbered from 0.
    const auto frames = DpxFrames(dir / "whole/num");
    ASSERT_EQ(frames.size(), 9u) << r.output;
    EXPECT_EQ(frames.front(), "num.000000.dpx");
    ASSERT_EQ(DpxFrames(dir / "split/num"), frames);
    // Each picture is brighter than the one before: none repeated, none swapped, none left out
    // (a shift would have run past the last picture).
    double previous = -1.0;
    for (int f = 0; f < 9; ++f) {
        SCOPED_TRACE("frame " + std::to_string(f));
        const std::string whole = Frame(dir / "whole/num", "num", f);
        const double mean = Mean(Samples(whole));
        EXPECT_GT(mean, previous + 10.0);
        previous = mean;
        EXPECT_TRUE(DpxImageData(Frame(dir / "split/num", "num", f)) == DpxImageData(whole));
    }
}

TEST(MovieCli, TheGpuAgreesWithTheCpuReferenceWithinTheLookTolerance) {
    // The tolerance of the look pipeline's own GPU against CPU comparison, in 10-bit steps.
    constexpr int kMaxError1023 = 2;
    test::TempDir dir;
    const std::string movie = dir / "bars.mov";
    test::MakeMovie("-f lavfi -i testsrc=size=96x54:rate=24 -frames:v 3 -c:v libx264 -pix_fmt yuv420p", movie);
    struct Row {
        const char* name;
        const char* look;
    } rows[] = {
        {"the default film look", ""},
        {"exposure and Kelvin run in the pipeline", "--exposure 1 --kelvin 3200 "},
        {"a stock, grain and levels", "--stock 5213 --grain 2 --levels 0.05,0.45,0.95 "},
    };
    std::vector<int> defaultLook;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string gpu = dir / (std::string("gpu_") + row.name), cpu = dir / (std::string("cpu_") + row.name);
        ASSERT_EQ(Ombrel("render " + std::string(row.look) + "--out " + Quoted(gpu) + " " + movie).status, 0);
        ASSERT_EQ(Ombrel("render --cpu " + std::string(row.look) + "--out " + Quoted(cpu) + " " + movie).status, 0);
        for (int f = 0; f < 3; ++f) {
            const std::vector<int> g = Samples(Frame(gpu + "/bars", "bars", f));
            const std::vector<int> c = Samples(Frame(cpu + "/bars", "bars", f));
            ASSERT_EQ(g.size(), c.size());
            ASSERT_GE(g.size(), 96u * 54u * 3u);
            int worst = 0;
            for (size_t i = 0; i < g.size(); ++i) worst = std::max(worst, std::abs(g[i] - c[i]));
            EXPECT_LE(worst, kMaxError1023) << "frame " << f;
        }
        const std::vector<int> first = Samples(Frame(gpu + "/bars", "bars", 0));
        if (defaultLook.empty())
            defaultLook = first;
        else
            EXPECT_NE(first, defaultLook) << "the look options did not reach the movie's pipeline";
    }
}

// The movie output of a movie source against the DPX frames of the same render: the codec's
// loss only. Picture and look decide the figure; 640 x 360 bars with the film look's grain.
TEST(MovieCli, AMovieRenderedToAMovieKeepsThePictureOfItsDpxRender) {
    test::TempDir dir;
    const std::string movie = dir / "bars.mov";
    test::MakeMovie("-f lavfi -i testsrc2=size=640x360:rate=24 -frames:v 3 -c:v libx264 -pix_fmt yuv420p", movie);
    ASSERT_EQ(Ombrel("render --out " + dir / "dpx " + movie).status, 0);
    struct Row {
        const char* codec;
        double minPsnr;
    } rows[] = {{"apch", 35.0}, {"ap4h", 44.0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.codec);
        const std::string out = dir / row.codec;
        const auto r = Ombrel("render --format mov --codec " + std::string(row.codec) + " --out " + out + " " + movie);
        ASSERT_EQ(r.status, 0) << r.output;
        const double db = test::Psnr(out + "/bars.mov", dir / "dpx/bars/bars.%06d.dpx");
        std::printf("PSNR of a movie source to %s against DPX: %.2f dB\n", row.codec, db);
        EXPECT_GE(db, row.minPsnr);
    }
}

// A movie cut short fails its clip with a message, and the next clip renders: with the index
// first it opens and names frames whose data is gone, with the index at the tail it cannot open.
TEST(MovieCli, ATruncatedMovieFailsItsClipWithAMessageAndTheNextClipRenders) {
    test::TempDir dir;
    const std::string cut = dir / "cut.mov", tail = dir / "tail.mp4";
    for (const std::string& movie : {cut, tail}) {
        test::MakeMovie("-f lavfi -i testsrc=size=64x48:rate=24 -frames:v 48 -c:v libx264 -g 12 -pix_fmt yuv420p" +
                            std::string(movie == cut ? " -movflags +faststart" : ""),
                        movie);
        std::filesystem::resize_file(movie, std::filesystem::file_size(movie) / 2);
    }
    const std::string good = NumberedMovie(dir / "good.mov");
    const auto r = Ombrel("render --out " + dir / "out " + cut + " " + tail + " " + good);
    EXPECT_EQ(r.status, 1) << r.output;  // 124 would be a hang ended by the timeout
    EXPECT_TRUE(Has(r, "of " + cut + " could not be decoded: ")) << r.output;
    const size_t rendered = DpxFrames(dir / "out/cut").size();
    EXPECT_GT(rendered, 0u);
    EXPECT_LT(rendered, 48u);
    EXPECT_TRUE(Has(r, tail)) << r.output;
    EXPECT_TRUE(DpxFrames(dir / "out/tail").empty());
    EXPECT_EQ(DpxFrames(dir / "out/good").size(), 9u) << r.output;
}

}  // namespace
}  // namespace ombrel
