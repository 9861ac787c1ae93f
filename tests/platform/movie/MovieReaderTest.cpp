#include "platform/movie/MovieReader.h"

#include "platform/movie/MovieProbe.h"
#include "support/Movies.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace ombrel {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kBits = 8;

// Frame n is eight upright bars, bar b white when bit b of n is set: wide enough to come
// through any codec's compression.
int NumberOf(const std::vector<uint16_t>& rgb, int width, int height) {
    int n = 0;
    for (int b = 0; b < kBits; ++b)
        n |= (rgb.at((size_t(height / 2) * width + (2 * b + 1) * width / 16) * 3 + 1) > 32768) << b;
    return n;
}

struct Movie {
    const char* name;
    const char* rate;
    int frames;
    int64_t fpsNum, fpsDen, timecodeStart;  // one hour of timecode is 86400 frames at 24000/1001
    const char* encode;                     // codec, container options, and the file's extension last
};

const Movie kMovies[] = {
    {"LongGopH264StartingLate", "24", 60, 24, 1, 0,
     "-c:v libx264 -bf 3 -g 48 -sc_threshold 0 -pix_fmt yuv420p -output_ts_offset 10 .mp4"},
    {"MpegPsStartingLate", "25", 30, 25, 1, 0, "-c:v mpeg2video -bf 2 -g 12 -output_ts_offset 10 .mpg"},
    {"NtscRateWithTimecode", "24000/1001", 30, 24000, 1001, 86400, "-c:v mpeg4 -bf 2 -g 10 -timecode 01:00:00:00 .mov"},
    {"PalRateWithTimecode", "25", 30, 25, 1, 255, "-c:v mpeg4 -timecode 00:00:10:05 .mov"},
    {"H264InTransportStream", "25", 60, 25, 1, 0, "-c:v libx264 -bf 3 -g 24 -pix_fmt yuv420p .ts"},
    {"Mpeg4InAviWithBFrames", "25", 30, 25, 1, 0, "-c:v mpeg4 -bf 2 -g 12 .avi"},
};

// Names the row in test listings rather than its bytes.
void PrintTo(const Movie& m, std::ostream* os) { *os << m.name; }

// Each movie is made once per test process, on first use.
std::string PathOf(const Movie& m) {
    static test::TempDir dir;
    const std::string encode = m.encode;
    const size_t ext = encode.rfind(' ');
    const std::string out = dir / (std::string(m.name) + encode.substr(ext + 1));
    if (std::filesystem::exists(out)) return out;
    test::MakeMovie(std::string("-f lavfi -i \"nullsrc=s=64x48:r=") + m.rate +
                        ",format=gray,geq=lum='255*mod(floor(N/pow(2\\,floor(X/8)))\\,2)'\" -frames:v " +
                        std::to_string(m.frames) + " -q:v 2 " + encode.substr(0, ext),
                    out);
    return out;
}

class MovieFrames : public ::testing::TestWithParam<Movie> {};

// The exact rate in the stream's time scale, the count, the size and the timecode start; then
// each step reads a frame and says how many reads so far needed a seek: a straight run needs
// none, a jump back over a key frame or forward needs one.
TEST_P(MovieFrames, KnowsItsRateAndEachNumberIsItsOwnPictureAfterSeeks) {
    const Movie& m = GetParam();
    const int n = m.frames;
    const struct {
        int frame;
        int seeks;
    } steps[] = {{0, 0}, {1, 0}, {2, 0}, {n - 10, 1}, {n - 9, 1}, {n - 13, 2}, {n / 3, 3}, {n - 1, 4}, {0, 5}, {1, 5}};
    MovieReader reader;
    ASSERT_TRUE(reader.Open(PathOf(m))) << reader.lastError();
    MovieInfo info;
    ASSERT_TRUE(ProbeMovie(PathOf(m), info).ok());
    const StaticFrameRate rate = reader.staticFrameRate();
    EXPECT_EQ(rate.fpsNum, m.fpsNum);
    EXPECT_EQ(rate.fpsDen, m.fpsDen);
    EXPECT_EQ(rate.timeScale, info.FirstVideoTrack()->timeBaseDen);
    EXPECT_EQ(rate.duration * rate.fpsNum, n * rate.timeScale * rate.fpsDen);
    EXPECT_EQ(rate.frameCount, n);
    EXPECT_EQ(reader.frameCount(), n);
    EXPECT_EQ(reader.timecodeStartFrame(), m.timecodeStart);
    EXPECT_EQ(reader.width(), kWidth);
    EXPECT_EQ(reader.height(), kHeight);
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

INSTANTIATE_TEST_SUITE_P(Movies, MovieFrames, ::testing::ValuesIn(kMovies),
                         [](const auto& info) { return std::string(info.param.name); });

// Four bars of known Y'CbCr against the matrix's formula: tagged movies by their tags, untagged
// ones by their height; grey has no chroma planes.
TEST(MovieReader, ConvertsByTheMatrixAndRangeOfTheStream) {
    const struct {
        const char* name;
        int height;
        const char* format;
        const char* tags;
        double kr, kb;
        bool full;
    } rows[] = {
        {"Bt709Limited", 48, "yuv444p", "-colorspace bt709 -color_range tv", 0.2126, 0.0722, false},
        {"Bt709Full", 48, "yuv444p", "-colorspace bt709 -color_range pc", 0.2126, 0.0722, true},
        {"UntaggedSmallIs601", 48, "yuv444p", "", 0.299, 0.114, false},
        {"Untagged720LinesIs709", 720, "yuv444p", "", 0.2126, 0.0722, false},
        {"UntaggedGreyIsFullRange", 48, "gray", "", 0.2126, 0.0722, true},
    };
    const int bars[4][3] = {{126, 128, 128}, {81, 90, 240}, {145, 54, 34}, {41, 240, 110}};
    test::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string raw;
        for (int i = 0; i < 3 * row.height * kWidth; ++i)
            raw.push_back(char(bars[i % kWidth / 16][i / (row.height * kWidth)]));
        test::WriteWholeFile(dir / "bars.yuv", raw);
        const std::string movie = dir / (std::string(row.name) + ".mkv");
        ASSERT_TRUE(test::MakeMovie(std::string("-f rawvideo -pix_fmt ") + row.format + " -s 64x" +
                                        std::to_string(row.height) + " -i '" + (dir / "bars.yuv") + "' -c:v ffv1 " +
                                        row.tags,
                                    movie));
        MovieReader reader;
        std::vector<uint16_t> rgb;
        ASSERT_TRUE(reader.Open(movie) && reader.ReadFrame(0, rgb)) << reader.lastError();
        const double scale = row.full ? 255.0 : 224.0;
        const double chroma = std::string(row.format) == "gray" ? 0.0 : 1.0;
        for (int bar = 0; bar < 4; ++bar) {
            const double y = row.full ? bars[bar][0] / 255.0 : (bars[bar][0] - 16) / 219.0;
            const double r = y + 2 * (1 - row.kr) * chroma * (bars[bar][2] - 128) / scale;
            const double b = y + 2 * (1 - row.kb) * chroma * (bars[bar][1] - 128) / scale;
            const double want[3] = {r, (y - row.kr * r - row.kb * b) / (1 - row.kr - row.kb), b};
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(rgb[(size_t(row.height / 2) * kWidth + 16 * bar + 8) * 3 + c],
                            std::clamp(want[c], 0.0, 1.0) * 65535.0, 300.0)
                    << "bar " << bar << " channel " << c;
            }
        }
    }
}

}  // namespace
}  // namespace ombrel
