#include "platform/movie/MovieReader.h"

#include "platform/movie/MovieProbe.h"
#include "platform/movie/TestMovies.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>

namespace ombrel {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kBits = 8;

// Frame n is eight upright bars, bar b white when bit b of n is set: wide enough to come
// through any codec's compression.
std::string NumberedFrames(int count) {
    std::string raw;
    for (int n = 0; n < count; ++n) {
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) raw.push_back(((n >> (x * kBits / kWidth)) & 1) ? '\xff' : '\0');
        }
    }
    return raw;
}

int NumberOf(const std::vector<uint16_t>& rgb, int width, int height) {
    int n = 0;
    const int bar = width / kBits;
    for (int b = 0; b < kBits; ++b) {
        const size_t at = (static_cast<size_t>(height / 2) * width + b * bar + bar / 2) * 3 + 1;
        if (rgb.at(at) > 32768) n |= 1 << b;
    }
    return n;
}

struct Movie {
    const char* name;
    const char* rate;
    int frames;
    const char* encode;  // codec, container options and the file's extension last
};

const Movie kLongGop{"LongGopH264", "24", 60, "-c:v libx264 -bf 3 -g 48 -sc_threshold 0 -pix_fmt yuv420p .mp4"};
const Movie kLateMpegPs{"MpegPsStartingLate", "25", 30, "-c:v mpeg2video -bf 2 -g 12 -output_ts_offset 10 .mpg"};
const Movie kNtscTimecode{"NtscRateWithTimecode", "24000/1001", 30,
                          "-c:v mpeg4 -bf 2 -g 10 -q:v 2 -timecode 01:00:00:00 .mov"};
const Movie kPalTimecode{"PalRateWithTimecode", "25", 30, "-c:v mpeg4 -q:v 2 -timecode 00:00:10:05 .mov"};
const Movie kFastStart{"FastStart", "24", 60, "-c:v libx264 -bf 3 -g 48 -pix_fmt yuv420p -movflags +faststart .mp4"};

// Each movie is made once per test process, on first use.
std::string PathOf(const Movie& m) {
    static test::TempDir dir;
    static std::map<std::string, std::string> made;
    if (auto it = made.find(m.name); it != made.end()) return it->second;
    const std::string raw = dir / "numbered.gray";
    if (!std::filesystem::exists(raw)) test::WriteWholeFile(raw, NumberedFrames(60));
    const std::string encode = m.encode;
    const size_t dot = encode.rfind(' ');
    const std::string out = dir / (std::string(m.name) + encode.substr(dot + 1));
    test::MakeMovie("-f rawvideo -pix_fmt gray -s 64x48 -r " + std::string(m.rate) + " -i '" + raw + "' -frames:v " +
                        std::to_string(m.frames) + " " + encode.substr(0, dot),
                    out);
    return made[m.name] = out;
}

TEST(MovieReader, KnowsTheExactRateCountSizeAndTimecodeStart) {
    const struct {
        const Movie& movie;
        int64_t fpsNum, fpsDen, timecodeStart;
    } rows[] = {
        {kLongGop, 24, 1, 0},
        {kLateMpegPs, 25, 1, 0},
        {kNtscTimecode, 24000, 1001, 86400},  // one hour counted at 24, the rate rounded up
        {kPalTimecode, 25, 1, 255},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.movie.name);
        MovieReader reader;
        ASSERT_TRUE(reader.Open(PathOf(row.movie))) << reader.lastError();
        MovieInfo info;
        ASSERT_TRUE(ProbeMovie(PathOf(row.movie), info).ok());
        const StaticFrameRate rate = reader.staticFrameRate();
        EXPECT_EQ(rate.fpsNum, row.fpsNum);
        EXPECT_EQ(rate.fpsDen, row.fpsDen);
        EXPECT_EQ(rate.frameCount, row.movie.frames);
        EXPECT_EQ(reader.frameCount(), row.movie.frames);
        EXPECT_EQ(rate.timeScale, info.FirstVideoTrack()->timeBaseDen);
        EXPECT_EQ(rate.duration * rate.fpsNum, row.movie.frames * rate.timeScale * rate.fpsDen);
        EXPECT_EQ(reader.timecodeStartFrame(), row.timecodeStart);
        EXPECT_EQ(reader.width(), kWidth);
        EXPECT_EQ(reader.height(), kHeight);
    }
}

class MovieFrames : public ::testing::TestWithParam<Movie> {};

// Each step reads a frame and says how many reads so far needed a seek: a straight run needs
// none, a jump back over a key frame or forward needs one.
TEST_P(MovieFrames, EachNumberIsItsOwnPictureAfterSeeksBothWays) {
    const Movie& m = GetParam();
    const int n = m.frames;
    const struct {
        int frame;
        int seeks;
    } steps[] = {{0, 0}, {1, 0}, {2, 0}, {n - 10, 1}, {n - 9, 1}, {n - 13, 2}, {n / 3, 3}, {n - 1, 4}, {0, 5}, {1, 5}};
    MovieReader reader;
    ASSERT_TRUE(reader.Open(PathOf(m))) << reader.lastError();
    std::vector<uint16_t> rgb;
    for (const auto& step : steps) {
        SCOPED_TRACE("frame " + std::to_string(step.frame));
        ASSERT_TRUE(reader.ReadFrame(step.frame, rgb)) << reader.lastError();
        ASSERT_EQ(rgb.size(), size_t{kWidth * kHeight * 3});
        EXPECT_EQ(NumberOf(rgb, kWidth, kHeight), step.frame);
        EXPECT_EQ(reader.seekCount(), step.seeks);
    }
    ASSERT_TRUE(reader.ReadFrameScaled(n / 2, kWidth / 2, kHeight / 2, rgb)) << reader.lastError();
    ASSERT_EQ(rgb.size(), size_t{kWidth * kHeight * 3 / 4});
    EXPECT_EQ(NumberOf(rgb, kWidth / 2, kHeight / 2), n / 2);
    EXPECT_FALSE(reader.ReadFrame(n, rgb));
    EXPECT_NE(reader.lastError().find("outside"), std::string::npos) << reader.lastError();
}

INSTANTIATE_TEST_SUITE_P(Movies, MovieFrames, ::testing::Values(kLongGop, kLateMpegPs, kNtscTimecode, kPalTimecode),
                         [](const auto& info) { return std::string(info.param.name); });

// A movie cut short either cannot be opened (its index went with the tail) or fails the frames
// past the cut with a message; either way the call returns.
TEST(MovieReader, ACutShortMovieFailsWithAMessage) {
    const struct {
        const char* name;
        const Movie& movie;
        size_t keptQuarters;
        bool opens;
    } rows[] = {{"IndexAtTheTail", kLongGop, 2, false}, {"IndexAtTheHead", kFastStart, 3, true}};
    test::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string whole = test::ReadWholeFile(PathOf(row.movie));
        const std::string cut = dir / (std::string(row.name) + ".mp4");
        test::WriteWholeFile(cut, whole.substr(0, whole.size() * row.keptQuarters / 4));
        MovieReader reader;
        ASSERT_EQ(reader.Open(cut), row.opens) << reader.lastError();
        if (!row.opens) {
            EXPECT_NE(reader.lastError().find(cut), std::string::npos) << reader.lastError();
            continue;
        }
        std::vector<uint16_t> rgb;
        const int last = row.movie.frames - 1;
        EXPECT_FALSE(reader.ReadFrame(last, rgb));
        EXPECT_NE(reader.lastError().find("frame " + std::to_string(last)), std::string::npos) << reader.lastError();
        ASSERT_TRUE(reader.ReadFrame(3, rgb)) << reader.lastError();
        EXPECT_EQ(NumberOf(rgb, kWidth, kHeight), 3);
    }
}

// RGB of one Y'CbCr sample in 0..1, from the matrix's two luma weights.
std::array<double, 3> Rgb(int y, int cb, int cr, double kr, double kb, bool full) {
    const double l = full ? y / 255.0 : (y - 16) / 219.0;
    const double pb = full ? (cb - 128) / 255.0 : (cb - 128) / 224.0;
    const double pr = full ? (cr - 128) / 255.0 : (cr - 128) / 224.0;
    const double kg = 1.0 - kr - kb;
    const double r = l + 2 * (1 - kr) * pr;
    const double b = l + 2 * (1 - kb) * pb;
    const double g = (l - kr * r - kb * b) / kg;
    return {std::clamp(r, 0.0, 1.0), std::clamp(g, 0.0, 1.0), std::clamp(b, 0.0, 1.0)};
}

// Four bars of known Y'CbCr: tagged movies by their tags, untagged ones by their height.
TEST(MovieReader, ConvertsByTheMatrixAndRangeOfTheStream) {
    constexpr double k709[2] = {0.2126, 0.0722};
    constexpr double k601[2] = {0.299, 0.114};
    const struct {
        const char* name;
        int width, height;
        const char* tags;
        const double* weights;
        bool full;
    } rows[] = {
        {"Bt709Limited", 64, 48, "-colorspace bt709 -color_range tv", k709, false},
        {"Bt709Full", 64, 48, "-colorspace bt709 -color_range pc", k709, true},
        {"UntaggedSmallIs601", 64, 48, "", k601, false},
        {"Untagged720LinesIs709", 1280, 720, "", k709, false},
    };
    const int bars[4][3] = {{126, 128, 128}, {81, 90, 240}, {145, 54, 34}, {41, 240, 110}};
    test::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string raw;
        for (int plane = 0; plane < 3; ++plane) {
            for (int y = 0; y < row.height; ++y) {
                for (int x = 0; x < row.width; ++x) raw.push_back(static_cast<char>(bars[x * 4 / row.width][plane]));
            }
        }
        const std::string rawPath = dir / "bars.yuv";
        const std::string movie = dir / (std::string(row.name) + ".mkv");
        test::WriteWholeFile(rawPath, raw);
        ASSERT_TRUE(test::MakeMovie("-f rawvideo -pix_fmt yuv444p -s " + std::to_string(row.width) + "x" +
                                        std::to_string(row.height) + " -i '" + rawPath +
                                        "' -c:v ffv1 -pix_fmt yuv444p " + row.tags,
                                    movie));
        MovieReader reader;
        ASSERT_TRUE(reader.Open(movie)) << reader.lastError();
        std::vector<uint16_t> rgb;
        ASSERT_TRUE(reader.ReadFrame(0, rgb)) << reader.lastError();
        for (int bar = 0; bar < 4; ++bar) {
            const auto want = Rgb(bars[bar][0], bars[bar][1], bars[bar][2], row.weights[0], row.weights[1], row.full);
            const size_t at = (static_cast<size_t>(row.height / 2) * row.width + (2 * bar + 1) * row.width / 8) * 3;
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(rgb[at + c], want[c] * 65535.0, 300.0) << "bar " << bar << " channel " << c;
            }
        }
    }
}

}  // namespace
}  // namespace ombrel
