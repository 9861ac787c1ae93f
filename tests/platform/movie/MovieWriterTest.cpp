#include "platform/movie/MovieWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "support/Movies.h"
#include "support/RefFile.h"
#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;

// White, red in the top left quarter; RGBA for a codec with an alpha channel.
std::vector<uint16_t> Picture(const MovieWriterSettings& s) {
    const int channels = s.alpha ? 4 : 3;
    std::vector<uint16_t> px(static_cast<size_t>(s.width * s.height * channels), 65535);
    for (int i = 0; i < s.width * s.height; ++i)
        if (i % s.width < s.width / 2 && i / s.width < s.height / 2)
            px[size_t(i * channels + 1)] = px[size_t(i * channels + 2)] = 0;
    return px;
}

MovieWriterSettings Settings(int tag, int width, int height) {
    MovieWriterSettings s;
    EXPECT_TRUE(LoadCodecPreset(tag, &s.preset).ok()) << tag;
    s.width = width;
    s.height = height;
    s.alpha = tag == 9;  // the codec with an alpha channel takes RGBA frames
    s.rateNum = 24000;
    s.rateDen = 1001;
    s.timeScale = 24000;
    s.timecodeStart = 86400 + 3;  // 01:00:00:03 at 24
    s.reelName = "A007";
    return s;
}

// `frames` frames at the rate, or one a caller's time stamp, 41 ticks long.
bool WriteMovie(MovieWriter& w, const std::string& target, const MovieWriterSettings& s, int frames,
                const std::vector<int64_t>& stamps = {}) {
    const auto px = Picture(s);
    const size_t rowBytes = static_cast<size_t>(s.width * (s.alpha ? 4 : 3)) * 2;
    bool ok = w.Open(target, s);
    for (int i = 0; ok && i < frames; ++i) ok = w.WriteFrame(px.data(), rowBytes);
    for (size_t i = 0; ok && i < stamps.size(); ++i) ok = w.WriteFrameAt(px.data(), rowBytes, stamps[i], 41);
    return ok && w.Close();
}

// ffprobe, an independent reader, sees the codec, size, the caller's time scale, exact
// 24000/1001 durations, BT.709 tags (a MOV's colour atom has no range: only a bitstream that
// has room carries it) and the timecode track's sample description (flags with the 24-hour
// wrap, time scale, frame duration, frames a second), start and name.
TEST(MovieWriter, EveryCodecWritesWhatFFprobeReadsBack) {
    const struct {
        const char* name;
        int tag;
        int width;
    } rows[] = {{"ProRes422", 1, 64}, {"ProRes422HQ", 2, 64},      {"ProRes422LT", 3, 64},       {"H264", 5, 64},
                {"Mpeg4", 6, 64},     {"Uncompressed8Bit", 7, 64}, {"Uncompressed10Bit", 8, 96}, {"ProRes4444", 9, 64}};
    std::string out;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        test::TempDir dir;
        MovieWriter w;
        ASSERT_TRUE(WriteMovie(w, dir / "clip.mov", Settings(row.tag, row.width, 48), 3)) << w.lastError().message();
        const std::string movie = dir / "__clip.mov";
        EXPECT_EQ(w.temporaryPath(), movie);
        EXPECT_FALSE(fs::exists(dir / "clip.mov"));
        out += std::string(row.name) + ":\n" +
               test::Probe(
                   "-select_streams v -show_entries stream=codec_tag_string,width,height,color_range,"
                   "color_space,color_transfer,color_primaries,avg_frame_rate,time_base",
                   movie) +
               test::SortedPackets(movie, "pts,duration") + "\n" +
               test::Probe("-select_streams d -show_data -show_entries stream=extradata:stream_tags", movie);
    }
    EXPECT_TRUE(test::MatchesRef("platform/movie-writer-codecs.txt", out));
}

// 12288 ticks a second (a usual MP4's) at 24000/1001: 512.512 ticks a frame, so each frame starts at
// its own rounded time and the durations add up instead of drifting. The caller's time stamps
// go into the movie as given, also for H.264, whose B-frames come out of order and decode
// before frame 0.
TEST(MovieWriter, FramesStandAtTheirRoundedOrTheCallersTimes) {
    const std::vector<int64_t> stamps = {0, 41, 83, 125, 166};  // 41.7 ticks a frame, truncated
    const struct {
        const char* name;
        int tag;
        int timeScale;
        bool callersStamps;   // or four frames at the rate
        const char* packets;  // with durations when at the rate
    } rows[] = {
        {"time scale the rate does not divide", 6, 12288, false,
         "pts=0|duration=513 pts=1025|duration=513 pts=1538|duration=512 pts=513|duration=512"},
        {"caller's stamps to ProRes", 2, 1000, true, "pts=0 pts=125 pts=166 pts=41 pts=83"},
        {"caller's stamps to H.264 with B-frames", 5, 1000, true, "pts=0 pts=125 pts=166 pts=41 pts=83"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        test::TempDir dir;
        MovieWriter w;
        auto s = Settings(row.tag, 64, 48);
        s.timeScale = row.timeScale;
        ASSERT_TRUE(WriteMovie(w, dir / "clip.mov", s, row.callersStamps ? 0 : 4,
                               row.callersStamps ? stamps : std::vector<int64_t>{}))
            << w.lastError().message();
        EXPECT_EQ(test::SortedPackets(w.temporaryPath(), row.callersStamps ? "pts" : "pts,duration"), row.packets);
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

// Whatever stops a movie, its "__" file goes and no final file appears.
TEST(MovieWriter, AFailedCancelledOrUnclosedMovieLeavesNoFile) {
    const struct {
        const char* name;
        const char* key;  // an option added to the H.264 preset, and its value
        const char* value;
        const char* folder;  // under the scratch folder
        int framesBeforeCancel;
        const char* message;  // part of lastError()
    } rows[] = {
        {"unknown option", "nosuchoption", "1", "", -1, "has no option \"nosuchoption\""},
        {"option the encoder refuses", "preset", "sluggish", "", -1, "refuses H.264 at 64 x 48"},
        {"missing folder", "", "", "missing/", -1, "cannot write"},
        {"cancelled after two frames", "", "", "", 2, "was cancelled"},
        {"destroyed unclosed", "", "", "", 3, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        test::TempDir dir;
        auto s = Settings(5, 64, 48);
        if (*row.key) s.preset.options.emplace_back(row.key, row.value);
        const auto px = Picture(s);
        {
            MovieWriter w;
            const bool opened = w.Open(dir / (std::string(row.folder) + "clip.mov"), s);
            EXPECT_EQ(opened, row.framesBeforeCancel >= 0) << w.lastError().message();
            for (int i = 0; opened && i < row.framesBeforeCancel; ++i) EXPECT_TRUE(w.WriteFrame(px.data(), 64 * 6));
            if (opened && *row.message) {
                EXPECT_TRUE(fs::exists(w.temporaryPath()));
                w.Cancel();
            }
            EXPECT_NE(w.lastError().message().find(row.message), std::string::npos) << w.lastError().message();
        }
        EXPECT_TRUE(fs::is_empty(dir.path()));
    }
}

// Tag 0's codec has no encoder; a DNxHR preset is tested at its smallest size, 256 x 120.
TEST(MovieWriter, CodecTestsFailOnlyWhatCannotEncode) {
    EXPECT_EQ(TestCodecs(), std::vector<int>{0});
    EXPECT_NE(TestCodecPreset(0).message().find("Intermediate Codec (icod) has no encoder"), std::string::npos);
    const CodecPreset dnxhr{100, "DNxHR HQ", "AVdh", "dnxhd", "yuv422p", {{"profile", "dnxhr_hq"}}};
    EXPECT_TRUE(TestCodecPreset(dnxhr).ok()) << TestCodecPreset(dnxhr).message();
}

TEST(CodecPresetFile, BrokenFileIsRefusedWithItsLine) {
    const struct {
        const char* name;
        const char* drop;     // key whose good line goes
        const char* add;      // line added at the end, line 6
        const char* message;  // after "codec preset <path>"
    } rows[] = {
        {"line without value", "", "title T", " line 6: no \"key = value\""},
        {"unknown key", "", "colour = red", " line 6: unknown key \"colour\""},
        {"key twice", "", "title = B", " line 6: \"title\" given twice"},
        {"missing options", "options", "", ": no \"options\""},
        {"short fourcc", "fourcc", "fourcc = abc", ": fourcc \"abc\" is not four characters"},
        {"unknown pixel format", "pixel_format", "pixel_format = yuv999", ": unknown pixel format \"yuv999\""},
        {"option without value", "options", "options = b=2M crf", ": option \"crf\" is not key=value"},
    };
    test::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string text;
        for (const std::string key :
             {"title = T", "fourcc = abcd", "encoder = mpeg4", "pixel_format = yuv420p", "options ="})
            text += *row.drop && key.starts_with(std::string(row.drop) + " ") ? "# gone\n" : key + "\n";
        test::WriteWholeFile(dir / "p.dat", text + row.add + "\n");
        CodecPreset p;
        const Status s = ReadCodecPreset(dir / "p.dat", 6, &p);
        EXPECT_EQ(s.code(), Status::Code::kInvalid);
        EXPECT_EQ(s.message(), "codec preset " + (dir / "p.dat") + row.message);
    }
}

}  // namespace
}  // namespace ombrel
