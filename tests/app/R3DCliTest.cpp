// R3D clips through the real command line: info, render with a failing clip beside a good
// one, a render split into ranges, and the demo.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "r3d/sdk/SdkClips.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;

struct CliResult {
    int status = -1;
    std::string output;  // stdout and stderr together
};

CliResult Shell(const std::string& command) {
    CliResult r;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return r;
    char buf[512];
    while (fgets(buf, sizeof buf, pipe)) r.output += buf;
    const int raw = pclose(pipe);
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return r;
}

CliResult Ombrel(const std::string& args) { return Shell(std::string(OMBREL_CLI) + " " + args); }

std::string Clip(const test::TempDir& dir, const std::string& name, const sdktest::SdkClip& c) {
    const std::string path = dir / name;
    EXPECT_EQ(sdktest::WriteSdkClip(path, c), "") << path;
    return path;
}

std::vector<std::string> Frames(const std::string& folder) {
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(folder, ec))
        if (e.path().extension() == ".dpx") out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

// The image data of a DPX file: from the offset its header names to the end. The magic tells
// the byte order.
std::string DpxImageData(const std::string& path) {
    const std::string bytes = test::ReadWholeFile(path);
    if (bytes.size() < 8) return {};
    const bool big = bytes.compare(0, 4, "SDPX") == 0;
    if (!big && bytes.compare(0, 4, "XPDS") != 0) return {};
    uint32_t offset = 0;
    for (int i = 0; i < 4; ++i) offset |= uint32_t(uint8_t(bytes[size_t(4 + i)])) << (big ? 24 - 8 * i : 8 * i);
    return offset < bytes.size() ? bytes.substr(offset) : std::string();
}

// oiiotool lines with their runs of spaces made one.
std::string Squeezed(std::string text) {
    text.erase(std::unique(text.begin(), text.end(), [](char a, char b) { return a == ' ' && b == ' '; }), text.end());
    return text;
}

TEST(R3DCli, AMakersFrameFailsItsClipWithTheReasonWhileTheGoodClipRenders) {
    test::TempDir dir;
    sdktest::SdkClip bad = sdktest::BasicClip(64, 32, 4);
    bad.makerFrames = {1};
    const std::string badPath = Clip(dir, "A001_C001_0101AB_001.R3D", bad);
    const std::string goodPath = Clip(dir, "A001_C002_0101AB_001.R3D", sdktest::BasicClip(64, 32, 4));
    CliResult r = Ombrel("render --out " + dir.path() + "/out " + badPath + " " + goodPath);
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_NE(r.output.find("Frame 1 of " + badPath +
                            " could not be decoded: this frame's image data needs the camera maker's decoder"),
              std::string::npos)
        << r.output;
    const std::string good = dir / "out/A001_C002_0101AB";
    const auto frames = Frames(good);
    ASSERT_EQ(frames.size(), 4u) << r.output;
    EXPECT_EQ(frames.front(), "A001_C002_0101AB.982884.dpx");  // numbered from 11:22:33:12
    EXPECT_TRUE(fs::exists(good + "/A001_C002_0101AB.au"));
    CliResult read = Shell("oiiotool --info " + good + "/" + frames.back());
    EXPECT_EQ(read.status, 0) << read.output;
    EXPECT_NE(Squeezed(read.output).find("64 x 32, 3 channel, uint10 dpx"), std::string::npos) << read.output;
    // The failed clip's sound was extracted before its frames; its output ends at the bad frame.
    EXPECT_LE(Frames(dir / "out/A001_C001_0101AB").size(), 1u);
}

TEST(R3DCli, ARenderSplitIntoTwoRangesWritesTheSamePicturesAsTheWhole) {
    test::TempDir dir;
    const std::string path = Clip(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(96, 48, 6));
    // 16mm: larger grain and the blur of the smaller gauges, both of which must split cleanly.
    const std::string look = " --stock 5207 --gauge 16mm --grain 1 " + path;
    ASSERT_EQ(Ombrel("render --out " + dir.path() + "/whole --frames 0-5" + look).status, 0);
    ASSERT_EQ(Ombrel("render --out " + dir.path() + "/split --frames 0-2" + look).status, 0);
    ASSERT_EQ(Ombrel("render --out " + dir.path() + "/split --frames 3-5" + look).status, 0);
    const auto whole = Frames(dir / "whole/A001_C001_0101AB");
    ASSERT_EQ(whole.size(), 6u);
    EXPECT_EQ(Frames(dir / "split/A001_C001_0101AB"), whole);
    for (const auto& name : whole) {
        const std::string a = DpxImageData(dir / ("whole/A001_C001_0101AB/" + name));
        ASSERT_FALSE(a.empty());
        EXPECT_TRUE(a == DpxImageData(dir / ("split/A001_C001_0101AB/" + name))) << name;
    }
}

// Mean absolute difference of two DPX frames' image data, in bytes.
double MeanByteDifference(const std::string& a, const std::string& b) {
    if (a.size() != b.size() || a.empty()) return -1.0;
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i) sum += std::abs(int(uint8_t(a[i])) - int(uint8_t(b[i])));
    return sum / static_cast<double>(a.size());
}

TEST(R3DCli, TwoStocksGiveDifferentFramesAndOneStockTwiceGivesTheSame) {
    test::TempDir dir;
    const std::string path = Clip(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(96, 48, 2));
    auto render = [&](const std::string& out, const std::string& stock) {
        CliResult r = Ombrel("render --out " + dir.path() + "/" + out + " --stock " + stock + " --grain 1 " + path);
        EXPECT_EQ(r.status, 0) << r.output;
        return DpxImageData(dir / (out + "/A001_C001_0101AB/A001_C001_0101AB.982884.dpx"));
    };
    const std::string first = render("a", "5207");
    const std::string again = render("b", "5207");
    const std::string other = render("c", "8543");
    const std::string mono = render("d", "KodakTriX");
    ASSERT_FALSE(first.empty());
    EXPECT_TRUE(first == again) << "the same stock, clip and frame give the same bytes, grain included";
    EXPECT_GT(MeanByteDifference(first, other), 2.0) << "two colour negatives differ measurably";
    EXPECT_GT(MeanByteDifference(first, mono), 2.0) << "a black-and-white stock differs from a colour one";
}

TEST(R3DCli, TheDemoRendersItsClipAndWritesAPngOfTheFirstFrame) {
    test::TempDir dir;
    const std::string clip = Clip(dir, "A001_C001_0101AB_demo_001.R3D", sdktest::BasicClip(128, 64, 3));
    CliResult r = Shell("OMBREL_DEMO_CLIP=" + clip + " " + OMBREL_CLI + " demo --out " + dir.path() + "/out");
    ASSERT_EQ(r.status, 0) << r.output;
    const std::string folder = dir / "out/A001_C001_0101AB_demo";
    EXPECT_NE(r.output.find("Graded DPX frames: " + folder), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("To view:"), std::string::npos);
    EXPECT_EQ(Frames(folder).size(), 3u);
    const std::string png = folder + "_first_frame.png";
    EXPECT_NE(r.output.find(png), std::string::npos) << r.output;
    CliResult info = Shell("oiiotool --info " + png);
    EXPECT_EQ(info.status, 0) << info.output;
    EXPECT_NE(Squeezed(info.output).find("128 x 64, 3 channel, uint8 png"), std::string::npos) << info.output;

    CliResult missing =
        Shell("OMBREL_DEMO_CLIP=" + dir.path() + "/none_001.R3D " + OMBREL_CLI + " demo --out " + dir.path() + "/out2");
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.output.find("the demo clip is not there"), std::string::npos) << missing.output;
}

}  // namespace
}  // namespace ombrel
