#include "platform/movie/MovieWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "support/Movies.h"
#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;

// A grey ramp across, red in the top left quarter.
std::vector<uint16_t> Picture(int width, int height, int channels) {
    std::vector<uint16_t> px(static_cast<size_t>(width * height * channels), 65535);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint16_t* p = &px[static_cast<size_t>((y * width + x) * channels)];
            const bool red = x < width / 2 && y < height / 2;
            p[0] = red ? 65535 : static_cast<uint16_t>(x * 65535 / width);
            p[1] = p[2] = red ? 0 : p[0];
        }
    return px;
}

MovieWriterSettings Settings(int tag, int width, int height) {
    MovieWriterSettings s;
    EXPECT_TRUE(LoadCodecPreset(tag, &s.preset).ok()) << tag;
    s.width = width;
    s.height = height;
    s.rateNum = 24000;
    s.rateDen = 1001;
    s.timeScale = 24000;
    s.timecodeStart = 86400 + 3;  // 01:00:00:03 at 24
    s.reelName = "A007";
    return s;
}

bool WriteMovie(MovieWriter& w, const std::string& target, const MovieWriterSettings& s, int frames) {
    const int channels = s.alpha ? 4 : 3;
    const auto px = Picture(s.width, s.height, channels);
    bool ok = w.Open(target, s);
    for (int i = 0; ok && i < frames; ++i) ok = w.WriteFrame(px.data(), static_cast<size_t>(s.width * channels) * 2);
    return ok && w.Close();
}

struct Codec {
    const char* name;
    int tag;
    const char* fourCC;
    int width, height;
    const char* range;  // MOV's colour atom has no range: only a bitstream that has room carries it
};

const Codec kCodecs[] = {
    {"ProRes422", 1, "apcn", 64, 48, "tv"},
    {"ProRes422HQ", 2, "apch", 64, 48, "tv"},
    {"ProRes422LT", 3, "apcs", 64, 48, "tv"},
    {"H264", 5, "avc1", 64, 48, "tv"},
    {"Mpeg4", 6, "mp4v", 64, 48, "unknown"},
    {"Uncompressed8Bit", 7, "2vuy", 64, 48, "unknown"},
    {"Uncompressed10Bit", 8, "v210", 96, 48, "unknown"},
    {"ProRes4444", 9, "ap4h", 64, 48, "tv"},
};

// Names the row in test listings rather than its bytes.
void PrintTo(const Codec& c, std::ostream* os) { *os << c.name; }

class MovieWriterCodec : public ::testing::TestWithParam<Codec> {};

// ffprobe, an independent reader, sees the codec, size, the caller's time scale, exact
// 24000/1001 durations, BT.709 tags and the timecode track's start, name and 24-hour wrap.
TEST_P(MovieWriterCodec, WritesWhatFFprobeReadsBack) {
    const Codec& c = GetParam();
    test::TempDir dir;
    MovieWriter w;
    auto s = Settings(c.tag, c.width, c.height);
    s.alpha = c.tag == 9;  // the codec with an alpha channel takes RGBA frames
    ASSERT_TRUE(WriteMovie(w, dir / "clip.mov", s, 3)) << w.lastError().message();
    const std::string movie = dir / "__clip.mov";
    EXPECT_EQ(w.temporaryPath(), movie);
    EXPECT_FALSE(fs::exists(dir / "clip.mov"));
    std::ostringstream video;
    video << "codec_tag_string=" << c.fourCC << "|width=" << c.width << "|height=" << c.height
          << "|color_range=" << c.range << "|color_space=bt709|color_transfer=bt709|color_primaries=bt709"
          << "|avg_frame_rate=24000/1001|time_base=1/24000\n";
    EXPECT_EQ(
        test::Probe("-select_streams v -show_entries stream=codec_tag_string,width,height,color_range,color_space,"
                    "color_transfer,color_primaries,avg_frame_rate,time_base",
                    movie),
        video.str());
    // In presentation order: H.264's B-frames come out of order.
    EXPECT_EQ(test::SortedPackets(movie, "pts,duration"),
              (std::vector<std::string>{"pts=0|duration=1001", "pts=1001|duration=1001", "pts=2002|duration=1001"}));
    // The sample description after the first four bytes: timecode flags, time scale, frame
    // duration, frames a second; then the name.
    const std::string tmcd =
        test::Probe("-select_streams d -show_data -show_entries stream=extradata:stream_tags", movie);
    EXPECT_NE(tmcd.find("00000000: 0000 0000 0000 0002 0000 5dc0 0000 03e9"), std::string::npos) << tmcd;
    EXPECT_NE(tmcd.find("tag:reel_name=A007|tag:timecode=01:00:00:03"), std::string::npos) << tmcd;
}

INSTANTIATE_TEST_SUITE_P(Codecs, MovieWriterCodec, ::testing::ValuesIn(kCodecs),
                         [](const auto& info) { return std::string(info.param.name); });

// 12288 ticks a second (a usual MP4's) at 24000/1001: 512.512 ticks a frame, so each frame starts at
// its own rounded time and the durations add up instead of drifting.
TEST(MovieWriter, TimeScaleTheRateDoesNotDivideKeepsEachFrameAtItsRoundedTime) {
    test::TempDir dir;
    MovieWriter w;
    auto s = Settings(6, 64, 48);
    s.timeScale = 12288;
    ASSERT_TRUE(WriteMovie(w, dir / "clip.mov", s, 4)) << w.lastError().message();
    EXPECT_EQ(test::Probe("-select_streams v -show_entries packet=pts,duration", w.temporaryPath()),
              "pts=0|duration=513\npts=513|duration=512\npts=1025|duration=513\npts=1538|duration=512\n");
}

// The caller's time stamps go into the movie as given, also for H.264, whose B-frames come
// out of order and decode before frame 0.
TEST(MovieWriter, CallersTimeStampsAreKeptInPresentationOrder) {
    struct Row {
        const char* name;
        int tag;
    } rows[] = {{"ProRes", 2}, {"H.264 with B-frames", 5}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        test::TempDir dir;
        MovieWriter w;
        auto s = Settings(row.tag, 64, 48);
        s.timeScale = 1000;
        const auto px = Picture(64, 48, 3);
        ASSERT_TRUE(w.Open(dir / "clip.mov", s));
        const int64_t stamps[] = {0, 41, 83, 125, 166};  // 41.7 ticks a frame, truncated
        for (int64_t t : stamps) ASSERT_TRUE(w.WriteFrameAt(px.data(), 64 * 6, t, 41)) << w.lastError().message();
        ASSERT_TRUE(w.Close()) << w.lastError().message();
        EXPECT_EQ(test::SortedPackets(w.temporaryPath(), "pts"),
                  (std::vector<std::string>{"pts=0", "pts=125", "pts=166", "pts=41", "pts=83"}));
    }
}

// Red at BT.709 and limited range is luma 64 + 876 x 0.2126 = 250; BT.601 would give 326, full range 217.
TEST(MovieWriter, ConvertsWithBt709AtLimitedRange) {
    test::TempDir dir;
    MovieWriter w;
    ASSERT_TRUE(WriteMovie(w, dir / "clip.mov", Settings(8, 96, 48), 1)) << w.lastError().message();
    const auto luma =
        test::RunShell("ffmpeg -v error -i '" + w.temporaryPath() + "' -f rawvideo - | od -An -tu2 -N2 | tr -d ' \\n'");
    EXPECT_NEAR(std::atoi(luma.output.c_str()), 250, 2) << luma.output;
}

struct Failure {
    const char* name;
    const char* option;  // added to the H.264 preset
    const char* folder;  // under the scratch folder
    int framesBeforeCancel;
    const char* message;  // part of lastError()
};

const Failure kFailures[] = {
    {"UnknownOption", "nosuchoption=1", "", -1, "has no option \"nosuchoption\""},
    {"OptionTheEncoderRefuses", "preset=sluggish", "", -1, "refuses H.264 at 64 x 48"},
    {"MissingFolder", "", "missing/", -1, "cannot write"},
    {"CancelledAfterTwoFrames", "", "", 2, "was cancelled"},
    {"DestroyedUnclosed", "", "", 3, ""},
};

void PrintTo(const Failure& f, std::ostream* os) { *os << f.name; }

class MovieWriterFailure : public ::testing::TestWithParam<Failure> {};

// Whatever stops a movie, its "__" file goes and no final file appears.
TEST_P(MovieWriterFailure, LeavesNoFile) {
    const Failure& f = GetParam();
    test::TempDir dir;
    auto s = Settings(5, 64, 48);
    if (*f.option)
        s.preset.options.emplace_back(std::string(f.option).substr(0, std::string(f.option).find('=')),
                                      std::string(f.option).substr(std::string(f.option).find('=') + 1));
    const auto px = Picture(64, 48, 3);
    {
        MovieWriter w;
        const bool opened = w.Open(dir / (std::string(f.folder) + "clip.mov"), s);
        EXPECT_EQ(opened, f.framesBeforeCancel >= 0) << w.lastError().message();
        for (int i = 0; opened && i < f.framesBeforeCancel; ++i) EXPECT_TRUE(w.WriteFrame(px.data(), 64 * 6));
        if (opened && *f.message) {
            EXPECT_TRUE(fs::exists(w.temporaryPath()));
            w.Cancel();
        }
        EXPECT_NE(w.lastError().message().find(f.message), std::string::npos) << w.lastError().message();
    }
    EXPECT_TRUE(fs::is_empty(dir.path()));
}

INSTANTIATE_TEST_SUITE_P(Cases, MovieWriterFailure, ::testing::ValuesIn(kFailures),
                         [](const auto& info) { return std::string(info.param.name); });

// Tag 0's codec has no encoder; a DNxHR preset is tested at its smallest size, 256 x 120.
TEST(MovieWriter, CodecTestsFailOnlyWhatCannotEncode) {
    EXPECT_EQ(TestCodecs(), std::vector<int>{0});
    EXPECT_NE(TestCodecPreset(0).message().find("Intermediate Codec (icod) has no encoder"), std::string::npos);
    const CodecPreset dnxhr{100, "DNxHR HQ", "AVdh", "dnxhd", "yuv422p", {{"profile", "dnxhr_hq"}}};
    EXPECT_TRUE(TestCodecPreset(dnxhr).ok()) << TestCodecPreset(dnxhr).message();
}

struct BrokenPreset {
    const char* name;
    const char* drop;     // key whose good line goes
    const char* add;      // line added at the end, line 6
    const char* message;  // after "codec preset <path>"
};

const BrokenPreset kBrokenPresets[] = {
    {"LineWithoutValue", "", "title T", " line 6: no \"key = value\""},
    {"UnknownKey", "", "colour = red", " line 6: unknown key \"colour\""},
    {"KeyTwice", "", "title = B", " line 6: \"title\" given twice"},
    {"MissingOptions", "options", "", ": no \"options\""},
    {"ShortFourCC", "fourcc", "fourcc = abc", ": fourcc \"abc\" is not four characters"},
    {"UnknownPixelFormat", "pixel_format", "pixel_format = yuv999", ": unknown pixel format \"yuv999\""},
    {"OptionWithoutValue", "options", "options = b=2M crf", ": option \"crf\" is not key=value"},
};

void PrintTo(const BrokenPreset& b, std::ostream* os) { *os << b.name; }

class CodecPresetFile : public ::testing::TestWithParam<BrokenPreset> {};

TEST_P(CodecPresetFile, BrokenFileIsRefusedWithItsLine) {
    const BrokenPreset& row = GetParam();
    std::string text;
    for (const std::string key :
         {"title = T", "fourcc = abcd", "encoder = mpeg4", "pixel_format = yuv420p", "options ="})
        text += key.rfind(std::string(row.drop) + " ", 0) == 0 && *row.drop ? "# gone\n" : key + "\n";
    test::TempDir dir;
    test::WriteWholeFile(dir / "p.dat", text + row.add + "\n");
    CodecPreset p;
    const Status s = ReadCodecPreset(dir / "p.dat", 6, &p);
    EXPECT_EQ(s.code(), Status::Code::kInvalid);
    EXPECT_EQ(s.message(), "codec preset " + (dir / "p.dat") + row.message);
}

INSTANTIATE_TEST_SUITE_P(Cases, CodecPresetFile, ::testing::ValuesIn(kBrokenPresets),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
