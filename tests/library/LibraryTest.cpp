// FileParser (names, timecode, movie details, files and panels) and the clip records built on it.
#include "core/Log.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"
#include "library/R3DFileMeta.h"
#include "platform/movie/MovieProbe.h"
#include "support/Movies.h"
#include "r3d/sdk/SdkClips.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace ombrel {
namespace {

using test::MakeMovie;
using test::TestPattern;

// Per path: whether it is a clip (only the first span file of an R3D clip, any case, or a name
// without span number; a 20-character R3D name whatever its number), its display, reel and clip
// names (an R3D name loses its last 8 characters), its cache name (separators flattened, so
// names collide) and the record's names for matching.
TEST(FileParser, NamesOfPathsMatchTheirReference) {
    // The paths, split at "|".
    const std::string paths =
        "/Volumes/Card A/A001_C002_0101AB_001.R3D|/v/a001_c002_0101ab_001.r3d|B012_C117_1231ZZ_001.r3D|"
        "/v/clip.r3d|/v/MyClip.R3D|/v/clip_abc.r3d|/v/clip_01.r3d|/v/clip_0012.r3d|/v/x.r3d|/v/a.r3d|"
        "/v/ab.r3d|/v/abc.R3D|/v/.r3d|/v/take_1a3.r3d|/v/A001_C002_01_002.R3D|A001_C002_01_007.r3d|"
        "/v/A001_C002_012_002.R3D|/v/A001_C002_0_002.R3D|/v/A001_C002_0101AB_002.R3D|/v/clip_000.R3D|"
        "/v/clip_999.r3d|/v/clip.r3d.mov|/v/clip.r3dx|/v/r3d||/Users/ed/Interview take 3.mov|"
        "C:\\media\\x.mov|/a/b_c.mov|/a_b/c.mov|/a:b/c.mov|/a/b\\c.mov|/v/exactly16chars.x|"
        "/v/seventeen_chars.m|/v/fifteen_chars.m";
    std::string out;
    for (size_t from = 0, to = 0; to != std::string::npos; from = to + 1) {
        to = paths.find('|', from);
        const std::string path = paths.substr(from, to - from);
        R3DFileMeta meta;
        meta.setPath(path);
        out += "[" + path + "] clip " + (FileParser::IsR3DFile(path) ? "yes" : "no") + ", name [" +
               FileParser::DisplayNameForPath(path) + "] reel [" + FileParser::DisplayReelNameForPath(path) +
               "] clip [" + FileParser::DisplayClipNameForPath(path) + "] cache [" + FileParser::PathHashForPath(path) +
               "] prefix [" + meta.R3dPrefix() + "] base [" + meta.BaseFilename() + "] short [" + meta.ShortName() +
               "]\n";
    }
    EXPECT_TRUE(test::MatchesRef("library/path-names.txt", out));
}

TEST(FileParser, UseableMovieIsDecidedByExtensionAndSizeNotByDecoding) {
    test::TempDir dir;
    const std::tuple<const char*, size_t, bool> rows[] = {
        {"exact.MOV", 1000000, false}, {"big.mov", 1000001, true},  {"big.MPG", 1000001, true},
        {"big.avi", 1000001, true},    {"big.mpeg", 1000001, true}, {"big.Mp4", 1000001, true},
        {"big.m4v", 1000001, true},    {"big.mkv", 1000001, false}, {"big.mov.txt", 1000001, false}};
    for (const auto& [name, bytes, listed] : rows) {
        test::WriteWholeFile(dir / name, std::string(bytes, '\0'));
        EXPECT_EQ(FileParser::IsUseableQuicktimeMov(dir / name), listed) << name;
    }
    // A file we cannot look at is listed (opening it reports the problem later), and zeros of the
    // right size and name are listed without being a movie.
    EXPECT_EQ(std::tuple(FileParser::IsUseableQuicktimeMov(""), FileParser::IsUseableQuicktimeMov(dir / "missing.mov"),
                         IsDecodableMovie(dir / "big.mov")),
              std::tuple(false, true, false));
}

TEST(FileParser, CreatesFoldersWithTheirMissingParents) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "file", "keep me");
    // A file in the way of a parent is refused; an existing file counts as there.
    const std::pair<std::string, bool> rows[] = {
        {dir / "a/b/c", true}, {dir / "a/b/c", true}, {dir / "x/y/", true},
        {"", false},           {"q", false},          {dir / "file/sub/deeper", false},
        {dir / "file", true},
    };
    for (const auto& [path, made] : rows) EXPECT_EQ(FileParser::CreateDirectoryWithIntermediaries(path), made) << path;
    EXPECT_TRUE(std::filesystem::is_directory(dir / "a/b/c") && std::filesystem::is_directory(dir / "x/y"));
    EXPECT_EQ(test::ReadWholeFile(dir / "file"), "keep me");
}

TEST(FileParser, PanelsAnswerAsACancelUntilTheWindowRegistersThem) {
    EXPECT_EQ(FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("/start", true, false, "Choose"), "/start");
    FilePanels panels;
    panels.browse = [&](const std::string& path, bool dir, bool file, const std::string& title) {
        return path + "|" + (dir ? "d" : "-") + (file ? "f" : "-") + "|" + title;
    };
    panels.chooseSave = [&](const std::string& title) { return "/saved/" + title; };
    SetFilePanels(panels);
    EXPECT_EQ(FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("", false, true, "Choose File"), "|-f|Choose File");
    EXPECT_EQ(FileParser::ChooseSavePath("p.xml"), "/saved/p.xml");
    SetFilePanels({});
    EXPECT_EQ(FileParser::ChooseSavePath("p.xml"), "");
}

TEST(FileParser, SystemFactsForTheUsageReport) {
    int32_t major = -1, minor = -1;
    FileParser::getSystemVersionMajorminor(&major, &minor);
    EXPECT_TRUE(major >= 3 && minor >= 0) << major << "." << minor;  // any kernel this runs on
    const std::string meminfo = test::ReadWholeFile("/proc/meminfo");
    const double megs = std::atof(meminfo.c_str() + meminfo.find("MemTotal:") + 9) / 1024.0;
    EXPECT_NEAR(static_cast<double>(FileParser::RamInMegs()), megs, megs * 0.05);
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr uint32_t kLast = std::numeric_limits<uint32_t>::max();

// Frames to text and text to frames over a grid of rates. To text: 29.97 counts real seconds
// (86400 frames are 2882 whole seconds, and 86400 less 2882 x 29.97 cut to 86373 leaves 27
// frames), 23 up to 24 counts as 24, at 59.94 the last frame of some seconds reads 60, hours run
// on past a day, rates that count nothing give zero. To frames: anything strictly between 29 and
// 30 counts as 30, 23 up to 24 as 24; any separator will do and what is no number reads as 0,
// field by field; short text and rates that count nothing give frame 0.
TEST(Timecode, TextAndFramesAtEveryRateMatchTheirReference) {
    const float rates[] = {24,     23.976f, 23, 23.5f,  23.999f, 22.99f, 25,    29,  29.5f,
                           29.97f, 30,      50, 59.94f, 0,       -24,    1e30f, kInf};
    const uint32_t frames[] = {0, 1, 24, 30, 119, 86400, 90061, 109831, 8640000, kLast};
    const char* texts[] = {"01:00:00:00", "00:01:02:03", "00:00:01:01", "00:00:01:00", "10:00:00:00", "99:00:00:00"};
    std::ostringstream out;
    for (float rate : rates) {
        out << "at " << rate << ":";
        for (uint32_t frame : frames) out << " " << FileParser::GetStringOfTimecodeFPS(frame, rate);
        for (const char* text : texts) out << " " << FileParser::GetIntOfTimecodeFPS(text, rate);
        out << "\n";
    }
    out << "at nan: " << FileParser::GetIntOfTimecodeFPS(texts[0], kNaN) << "\n";
    for (const char* text : {"01:02:03:04", "01:02:03;04", "01.02.03.04", "01x02x03x04", "01:02:03:04~", "xx:01:00:00",
                             "01:00:00:ab", "1a:00:00:05", "--:--:--:--", "01:00:00:0", "01:00:00", ""}) {
        out << "[" << text << "] at 24: " << FileParser::GetIntOfTimecodeFPS(text, 24.0f) << "\n";
    }
    // GetTimecode takes eleven characters at most, even without a terminator.
    const char raw[11] = {'1', '0', ':', '0', '0', ':', '0', '0', ':', '1', '2'};
    const std::pair<const char*, const char*> gets[] = {
        {"garbage behind", "01:02:03:04garbage"}, {"short", "01:02"}, {"null", nullptr}, {"no terminator", raw}};
    for (const auto& [name, text] : gets)
        out << "GetTimecode " << name << ": " << FileParser::GetTimecode(text) << "\n";
    EXPECT_TRUE(test::MatchesRef("library/timecodes.txt", out.str()));
}

// Every frame of the first hour, then every 11th to the end of the day. Text at 29.97 counts
// real seconds while parsing counts 30, so what parses at 29.97 is 30-frame text. At 59.94 the
// parse sums single-precision products and cuts, so a frame may come back one off, never more.
TEST(Timecode, TextRoundTripsOverADay) {
    // Rate of the text and of the parse, frames in a day, the last frame of a second, the slack.
    const std::tuple<float, float, uint32_t, long, long> rows[] = {
        {23.976f, 23.976f, 2073600, 23, 0}, {24, 24, 2073600, 23, 0}, {25, 25, 2160000, 24, 0},
        {50, 50, 4320000, 49, 0},           {23, 23, 2073600, 23, 0}, {30, 29.97f, 2592000, 29, 0},
        {59.94f, 59.94f, 5178816, 60, 1}};
    for (const auto& [textRate, parseRate, day, lastFrame, slack] : rows) {
        SCOPED_TRACE(testing::Message() << textRate << " read at " << parseRate);
        for (uint32_t f = 0; f < day; f += (f < day / 24 ? 1 : 11)) {
            const std::string tc = FileParser::GetStringOfTimecodeFPS(f, textRate);
            const long back = FileParser::GetIntOfTimecodeFPS(tc, parseRate);
            ASSERT_LE(std::labs(back - static_cast<long>(f)), slack) << tc << " for " << f;
            long h = 99, m = 99, sec = 99, fr = 99;
            std::sscanf(tc.c_str(), "%ld:%ld:%ld:%ld", &h, &m, &sec, &fr);
            ASSERT_TRUE(tc.size() == 11 && h < 24 && m < 60 && sec < 60 && fr <= lastFrame) << tc;
        }
        if (slack == 0) { EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(day, textRate).substr(0, 9), "24:00:00:"); }
    }
}

// Rate, count and length, in the reference, come from the samples of the picture track; a
// container that keeps no sample count (mkv) has its average rate stand in; MPEG media take their
// encoded rate rounded and count by duration; without pictures the outputs stay untouched. A
// format without decoder is reported once per read, to the log and the usage sink, then read
// anyway; without a sink the event is dropped.
TEST(MovieDetails, RateCountAndLengthOfEachKindOfMovieMatchTheirReference) {
    test::TempDir dir;
    const std::pair<const char*, std::string> rows[] = {
        {"a.mov", TestPattern("24", 12)},
        {"b.avi", TestPattern("24000/1001", 30)},
        {"f.mkv", TestPattern("24", 24)},
        {"clip.mpg", TestPattern("25", 100)},
        {"clip.m2t", TestPattern("30000/1001", 90) + " -c:v mpeg2video -f mpegts"},
        {"sound.mov", "-f lavfi -i sine=duration=1"},
        {"odd.mov", TestPattern("24", 6) + test::kRawVideo},
    };
    std::vector<std::pair<std::string, std::string>> events;
    SetUsageEventSink([&](const std::string& name, const std::string& data) { events.emplace_back(name, data); });
    LogCapture log;
    std::ostringstream out;
    MovieInfo info;
    for (const auto& [name, args] : rows) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(MakeMovie(args, dir / name));
        if (name == std::string("odd.mov")) { ASSERT_TRUE(test::PatchBytes(dir / name, "stsd", "raw ", "zzzz")); }
        info = {};
        ASSERT_TRUE(ProbeMovie(dir / name, info).ok());
        double fps = -7.0, count = -7.0;
        const MovieTime t = FileParser::GetDetailsFromQTMovieOutFPSOutFrameCount(info, &fps, &count);
        out << name << ": fps " << fps << " count " << count << " length " << t.value << "/" << t.timeScale << "\n";
        FileParser::GetDetailsFromMovieOutFPSOutFrameCount(info, nullptr, nullptr);
    }
    SetUsageEventSink({});
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(info, nullptr, nullptr);  // odd.mov, the last row
    EXPECT_TRUE(test::MatchesRef("library/movie-details.txt", out.str()));
    const std::string text = "Error: No Component available to decode this format zzzz";
    EXPECT_EQ(log.Count(text), 3u);
    EXPECT_EQ(events, (std::vector<std::pair<std::string, std::string>>(2, {"USAGE", text})));
}

// An R3D clip, read through the camera SDK stand-in, counts from its start timecode and ends one
// past its last frame (23.976 counts in 24s); a movie runs from zero to its last frame without
// timecode; what is no clip or movie, or is not there, loads no record.
TEST(R3DFileMeta, RecordsOfClipsMoviesAndOtherFilesMatchTheirReference) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie(TestPattern("25", 50), dir / "known interview.mov"));
    test::WriteWholeFile(dir / "A003_C001_0101AB_001.R3D", "not a clip");
    test::WriteWholeFile(dir / "notes.mov", "not a movie");
    using Clip = std::tuple<const char*, bool, int, uint32_t, uint16_t, const char*, const char*>;
    const Clip rows[] = {
        {"A001_C002_0101AB_001.R3D", true, 100, 24, 1, "01:00:00:00", "00:00:10:00"},
        {"A002_C010_0202CD_001.R3D", true, 2, 24000, 1001, "11:22:33:12", "10:00:00:00"},
        {"known interview.mov", false, 0, 0, 0, "", ""},
        {"A003_C001_0101AB_001.R3D", true, 0, 0, 0, "", ""},
        {"A009_C002_0101AB_001.R3D", true, 0, 0, 0, "", ""},
        {"notes.mov", false, 0, 0, 0, "", ""},
        {"missing.mov", false, 0, 0, 0, "", ""},
    };
    std::ostringstream o;
    for (const auto& [name, isR3d, frames, rate, scale, absolute, edge] : rows) {
        SCOPED_TRACE(name);
        sdktest::SdkClip clip = sdktest::BasicClip(16, 8, frames);
        clip.spec.rateNumerator = rate;
        clip.spec.rateDenominator = scale;
        clip.spec.absoluteTimecode = absolute;
        clip.spec.edgeTimecode = edge;
        if (frames > 0) { ASSERT_EQ(sdktest::WriteSdkClip(dir / name, clip), ""); }
        R3DFileMeta m;
        o << "== " << name << (m.LoadMetadataFromPathIsR3d(dir / name, isR3d) ? "" : " loads no record") << "\npath "
          << (m.path().empty() ? "" : m.path().substr(dir.path().size())) << "\nreel " << m.reel() << "\nclip "
          << m.clip() << "\nframeCount " << m.frameCount() << "\nfps " << m.fps() << "\ntimecode " << m.timecodeIn()
          << " - " << m.timecodeOut() << "\nedgecode " << m.edgecodeIn() << " - " << m.edgecodeOut() << "\nframes "
          << m.frameIn() << " - " << m.frameOut() << "\nedgeFrames " << m.edgeFrameIn() << " - " << m.edgeFrameOut()
          << "\n";
    }
    EXPECT_TRUE(test::MatchesRef("library/records.txt", o.str()));
}

}  // namespace
}  // namespace ombrel
