// FileParser (names, timecode, movie details, files and panels) and the clip records built on it.
#include "core/Log.h"
#include "datafile/DataFile.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"
#include "library/R3DFileMeta.h"
#include "platform/movie/MovieProbe.h"
#include "platform/movie/TestMovies.h"
#include "r3d/sdk/SdkClips.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace ombrel {
namespace {

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
        {"exact.MOV", 1000000, false}, {"over.MOV", 1000001, true},    {"empty.mov", 0, false},
        {"big.mov", 1000001, true},    {"big.MPG", 1000001, true},     {"big.avi", 1000001, true},
        {"big.mpeg", 1000001, true},   {"big.Mp4", 1000001, true},     {"big.m4v", 1000001, true},
        {"big.mkv", 1000001, false},   {"big.mxf", 1000001, false},    {"big.r3d", 1000001, false},
        {"big.txt", 1000001, false},   {"big.mov.txt", 1000001, false}};
    for (const auto& [name, bytes, listed] : rows) {
        std::ofstream(dir / name, std::ios::binary) << std::string(bytes, '\0');
        EXPECT_EQ(FileParser::IsUseableQuicktimeMov(dir / name), listed) << name;
    }
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(""));
    // A file we cannot look at is listed; opening it reports the problem later.
    EXPECT_TRUE(FileParser::IsUseableQuicktimeMov(dir / "missing.mov"));
    // A real movie under a megabyte is not listed, while zeros of the right size and name are.
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 5), dir / "small.mov"));
    EXPECT_TRUE(IsDecodableMovie(dir / "small.mov"));
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(dir / "small.mov"));
    EXPECT_FALSE(IsDecodableMovie(dir / "big.mov"));
}

TEST(FileParser, CreatesFoldersWithTheirMissingParents) {
    test::TempDir dir;
    namespace fs = std::filesystem;
    test::WriteWholeFile(dir / "file", "keep me");
    fs::create_directory(dir / "locked");
    fs::permissions(dir / "locked", fs::perms::owner_read | fs::perms::owner_exec);
    // A file in the way of a parent is refused; an existing file counts as there.
    const std::pair<std::string, bool> rows[] = {{dir / "a/b/c", true},
                                                 {dir / "a/b/c", true},
                                                 {dir / "x/y/", true},
                                                 {"", false},
                                                 {"/", false},
                                                 {"q", false},
                                                 {dir / "file/sub/deeper", false},
                                                 {dir / "file", true},
                                                 {dir / "locked/new", ::geteuid() == 0}};
    for (const auto& [path, made] : rows) EXPECT_EQ(FileParser::CreateDirectoryWithIntermediaries(path), made) << path;
    EXPECT_TRUE(fs::is_directory(dir / "a/b/c"));
    EXPECT_TRUE(fs::is_directory(dir / "x/y"));
    EXPECT_EQ(test::ReadWholeFile(dir / "file"), "keep me");
    fs::permissions(dir / "locked", fs::perms::owner_all);
}

TEST(FileParser, PanelsAnswerAsACancelUntilTheWindowRegistersThem) {
    EXPECT_EQ(FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("/start", true, false, "Choose"), "/start");
    EXPECT_EQ(FileParser::ChooseSavePath("Save"), "");
    std::string seen;
    FilePanels panels;
    panels.browse = [&](const std::string& path, bool dir, bool file, const std::string& title) {
        seen = path + "|" + (dir ? "d" : "-") + (file ? "f" : "-") + "|" + title;
        return std::string("/picked");
    };
    panels.chooseSave = [&](const std::string& title) { return "/saved/" + title; };
    SetFilePanels(panels);
    EXPECT_EQ(FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("", false, true, "Choose Project File"), "/picked");
    EXPECT_EQ(seen, "|-f|Choose Project File");
    EXPECT_EQ(FileParser::ChooseSavePath("p.xml"), "/saved/p.xml");
    SetFilePanels({});
    EXPECT_EQ(FileParser::ChooseSavePath("p.xml"), "");
}

TEST(FileParser, SystemFactsForTheUsageReport) {
    int32_t major = -1, minor = -1;
    FileParser::getSystemVersionMajorminor(&major, &minor);
    EXPECT_GE(major, 3);  // any kernel this runs on
    EXPECT_GE(minor, 0);
    FileParser::getSystemVersionMajorminor(nullptr, nullptr);
    const std::string meminfo = test::ReadWholeFile("/proc/meminfo");
    const double megs = std::atof(meminfo.c_str() + meminfo.find("MemTotal:") + 9) / 1024.0;
    ASSERT_GT(megs, 0);
    EXPECT_NEAR(static_cast<double>(FileParser::RamInMegs()), megs, megs * 0.05);
    EXPECT_GE(FileParser::ClockSpeedInMHz(), 0);
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr uint32_t kLast = std::numeric_limits<uint32_t>::max();

// Fields may run past two digits, so split at the colons: hours, minutes, seconds, frames.
std::array<long, 4> Split(const std::string& tc) {
    std::array<long, 4> f{};
    size_t at = 0;
    for (long& v : f) {
        v = std::atol(tc.c_str() + at);
        at = tc.find(':', at) + 1;
    }
    return f;
}

// Frames to text: 29.97 counts real seconds (86400 frames are 2882 whole seconds, and 86400 less
// 2882 x 29.97 cut to 86373 leaves 27 frames); 23 up to 24 counts as 24; at 59.94 the last frame
// of some seconds reads 60; hours run on past a day; rates that count nothing give zero.
TEST(Timecode, FramesToText) {
    using Row = std::tuple<uint32_t, float, const char*>;
    const Row rows[] = {
        {86400, 24.0f, "01:00:00:00"}, {86400, 23.976f, "01:00:00:00"}, {0, 25.0f, "00:00:00:00"},
        {90061, 25.0f, "01:00:02:11"}, {109831, 30.0f, "01:01:01:01"},  {86400, 29.97f, "00:48:02:27"},
        {30, 29.97f, "00:00:01:01"},   {119, 59.94f, "00:00:01:60"},    {8640000, 24.0f, "100:00:00:00"},
        {24, 23.0f, "00:00:01:00"},    {24, 23.5f, "00:00:01:00"},      {24, 23.999f, "00:00:01:00"},
        {0, 0.0f, "00:00:00:00"},      {86400, 0.0f, "00:00:00:00"},    {kLast, 0.0f, "00:00:00:00"},
        {1, -24.0f, "00:00:00:00"},    {kLast, -24.0f, "00:00:00:00"},  {86400, kInf, "00:00:00:00"},
        {kLast, kInf, "00:00:00:00"}};
    for (const auto& [frame, rate, text] : rows) {
        EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(frame, rate), text) << frame << " at " << rate;
    }
    // The largest frame number still gives whole fields at any rate.
    for (float r : {24.0f, 29.97f, 0.001f}) {
        const auto f = Split(FileParser::GetStringOfTimecodeFPS(kLast, r));
        EXPECT_TRUE(f[1] < 60 && f[2] < 60) << r;
    }
}

// Text to frames: anything strictly between 29 and 30 counts as 30, 23 up to 24 as 24; any
// separator will do and what is no number reads as 0, field by field; short text and rates that
// count nothing give frame 0.
TEST(Timecode, TextToFrames) {
    using Row = std::tuple<const char*, float, int32_t>;
    const Row rows[] = {
        {"01:00:00:00", 24.0f, 86400},  {"01:00:00:00", 23.976f, 86400}, {"01:00:00:00", 29.97f, 108000},
        {"01:00:00:00", 30.0f, 108000}, {"00:01:02:03", 25.0f, 1553},    {"10:00:00:00", 50.0f, 1800000},
        {"00:00:01:01", 29.97f, 31},    {"01:00:00:00", 59.94f, 215784}, {"00:00:01:00", 23.0f, 24},
        {"00:00:01:00", 23.999f, 24},   {"00:00:01:00", 22.99f, 22},     {"00:00:01:00", 29.5f, 30},
        {"00:00:01:00", 29.0f, 29},     {"01:00:00:00", 0.0f, 0},        {"01:00:00:00", kNaN, 0},
        {"99:00:00:00", 1e30f, 0}};
    for (const auto& [text, rate, frame] : rows) {
        EXPECT_EQ(FileParser::GetIntOfTimecodeFPS(text, rate), frame) << text << " at " << rate;
    }
    using Text = std::pair<const char*, int32_t>;
    const Text texts[] = {{"01:02:03:04", 89356}, {"01:02:03;04", 89356}, {"01.02.03.04", 89356},
                          {"01;02;03;04", 89356}, {"01x02x03x04", 89356}, {"01:02:03:04~", 89356},
                          {"xx:01:00:00", 1440},  {"01:00:00:ab", 86400}, {"1a:00:00:05", 86405},
                          {"--:--:--:--", 0},     {"01:00:00:0", 0},      {"01:00:00", 0}};
    for (const auto& [text, frame] : texts) EXPECT_EQ(FileParser::GetIntOfTimecodeFPS(text, 24.0f), frame) << text;
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("", 24.0f), 0);
}

// Every frame of the first hour, then every 11th to the end of the day. Text at 29.97 counts
// real seconds while parsing counts 30, so what parses at 29.97 is 30-frame text. At 59.94 the
// parse sums single-precision products and cuts, so a frame may come back one off, never more.
TEST(Timecode, TextRoundTripsOverADay) {
    const struct {
        float textRate, parseRate;
        uint32_t day;
        long lastFrame, slack;
    } rows[] = {{23.976f, 23.976f, 2073600, 23, 0}, {24, 24, 2073600, 23, 0}, {25, 25, 2160000, 24, 0},
                {30, 30, 2592000, 29, 0},           {50, 50, 4320000, 49, 0}, {48, 48, 4147200, 47, 0},
                {60, 60, 5184000, 59, 0},           {23, 23, 2073600, 23, 0}, {30, 29.97f, 2592000, 29, 0},
                {59.94f, 59.94f, 5178816, 60, 1}};
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.textRate << " read at " << r.parseRate);
        long exact = 0, seen = 0;
        for (uint32_t f = 0; f < r.day; f += (f < r.day / 24 ? 1 : 11)) {
            const std::string tc = FileParser::GetStringOfTimecodeFPS(f, r.textRate);
            const long back = FileParser::GetIntOfTimecodeFPS(tc, r.parseRate);
            ASSERT_LE(std::labs(back - static_cast<long>(f)), r.slack) << tc << " for " << f;
            exact += back == static_cast<long>(f);
            ++seen;
            const auto x = Split(tc);
            ASSERT_TRUE(tc.size() == 11 && x[0] < 24 && x[1] < 60 && x[2] < 60 && x[3] <= r.lastFrame) << tc;
        }
        EXPECT_GT(exact, seen * 9 / 10);
        if (r.slack == 0) {
            EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(r.day, r.textRate).substr(0, 9), "24:00:00:");
        }
    }
}

TEST(Timecode, GetTimecodeTakesElevenCharactersAtMost) {
    EXPECT_EQ(FileParser::GetTimecode("01:02:03:04garbage"), "01:02:03:04");
    EXPECT_EQ(FileParser::GetTimecode("01:02"), "01:02");
    EXPECT_EQ(FileParser::GetTimecode(nullptr), "");
    const char raw[11] = {'1', '0', ':', '0', '0', ':', '0', '0', ':', '1', '2'};  // no terminator
    EXPECT_EQ(FileParser::GetTimecode(raw), "10:00:00:12");
}

using test::MakeMovie;
using test::TestPattern;

MovieInfo Probe(const std::string& path) {
    MovieInfo info;
    const Status probed = ProbeMovie(path, info);
    EXPECT_TRUE(probed.ok()) << probed.message();
    return info;
}

double Seconds(MovieTime t) { return t.timeScale > 0 ? static_cast<double>(t.value) / t.timeScale : -1.0; }

// Rate and count come from the samples of the picture track; a container that keeps no sample
// count (mkv) has its average rate stand in; MPEG media take their encoded rate rounded and count
// by duration. Without pictures the outputs stay untouched. Null outputs are allowed.
TEST(MovieDetails, RateCountAndLengthOfEachKindOfMovie) {
    test::TempDir dir;
    const std::string m2t = " -c:v mpeg2video -f mpegts";
    const std::tuple<const char*, std::string, double, double, double, double> rows[] = {
        {"a.mov", TestPattern("24", 12), 24.0, 12, 0.5, 0},
        {"b.mov", TestPattern("24000/1001", 30), 24000.0 / 1001.0, 30, 30 * 1001 / 24000.0, 0},
        {"c.mp4", TestPattern("25", 50), 25.0, 50, 2.0, 0},
        {"d.avi", TestPattern("30000/1001", 15), 30000.0 / 1001.0, 15, 15 * 1001 / 30000.0, 0},
        {"e.mov", TestPattern("50", 20), 50.0, 20, 0.4, 0},
        {"f.mkv", TestPattern("24", 24), 24.0, 24, 1.0, 0},
        {"clip.mpg", TestPattern("25", 100), 25.0, 100, 4.0, 0},
        {"clip.m2t", TestPattern("30000/1001", 90) + m2t, 30.0, 90, -1, 1},
        {"sound.mov", "-f lavfi -i sine=duration=1", -7, -7, 1.0, 0},
    };
    // name, ffmpeg input, rate, count, seconds (unchecked when negative), slack of the count
    for (const auto& [name, args, rate, frames, seconds, slack] : rows) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(MakeMovie(args, dir / name));
        double fps = -7.0, count = -7.0;
        const MovieTime length = FileParser::GetDetailsFromQTMovieOutFPSOutFrameCount(Probe(dir / name), &fps, &count);
        EXPECT_NEAR(fps, rate, 0.01);
        EXPECT_NEAR(count, frames, slack);
        if (seconds > 0) { EXPECT_NEAR(Seconds(length), seconds, 0.05); }
        FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / name), nullptr, nullptr);
    }
    double fps = -7.0, count = -7.0;
    EXPECT_EQ(FileParser::GetDetailsFromMovieOutFPSOutFrameCount(MovieInfo{}, &fps, &count).value, 0);
    EXPECT_EQ(fps + count, -14.0);
}

// A format without decoder is reported once per read, to the log and the usage sink, then read
// anyway; without a sink the event is dropped.
TEST(MovieDetails, AFormatWithoutDecoderIsReportedThenReadAnyway) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie(TestPattern("24", 6) + test::kRawVideo, dir / "odd.mov"));
    ASSERT_TRUE(test::PatchBytes(dir / "odd.mov", "stsd", "raw ", "zzzz"));
    ASSERT_TRUE(MakeMovie(TestPattern("24", 2), dir / "fine.mov"));
    std::vector<std::pair<std::string, std::string>> events;
    SetUsageEventSink([&](const std::string& name, const std::string& data) { events.emplace_back(name, data); });
    LogCapture log;
    double fps = 0.0, count = 0.0;
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "odd.mov"), &fps, &count);
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "fine.mov"), nullptr, nullptr);
    SetUsageEventSink({});
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "odd.mov"), nullptr, nullptr);

    const std::string text = "Error: No Component available to decode this format zzzz";
    EXPECT_EQ(log.Count(text), 2u);
    EXPECT_EQ(events, (std::vector<std::pair<std::string, std::string>>{{"USAGE", text}}));
    EXPECT_NEAR(fps, 24.0, 1e-9);
    EXPECT_DOUBLE_EQ(count, 6.0);
}

// Every field of a record, one a line, for the reference files; the path by its file name, as
// the clips are written to a fresh folder each run.
std::string Describe(const R3DFileMeta& m) {
    std::ostringstream o;
    o << "path " << std::filesystem::path(m.path()).filename().string() << "\nreel " << m.reel() << "\nclip "
      << m.clip() << "\nframeCount " << m.frameCount() << "\nfps " << m.fps() << "\ntimecode " << m.timecodeIn()
      << " - " << m.timecodeOut() << "\nedgecode " << m.edgecodeIn() << " - " << m.edgecodeOut() << "\nframes "
      << m.frameIn() << " - " << m.frameOut() << "\nedgeFrames " << m.edgeFrameIn() << " - " << m.edgeFrameOut()
      << "\nR3dPrefix " << m.R3dPrefix() << "\nBaseFilename " << m.BaseFilename() << "\nShortName " << m.ShortName()
      << "\n";
    return o.str();
}

// An R3D clip, read through the camera SDK stand-in, counts from its start timecode and ends one
// past its last frame (23.976 counts in 24s); a movie runs from zero to its last frame without
// timecode.
TEST(R3DFileMeta, RecordsOfClipsAndMoviesMatchTheirReferences) {
    test::TempDir dir;
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("25", 50), dir / "known interview.mov"));
    using Clip = std::tuple<const char*, const char*, int, uint32_t, uint16_t, const char*, const char*>;
    for (const auto& [ref, name, frames, rate, scale, absolute, edge] :
         {Clip{"r3d-clip", "A001_C002_0101AB_001.R3D", 100, 24, 1, "01:00:00:00", "00:00:10:00"},
          Clip{"r3d-clip-23976", "A002_C010_0202CD_001.R3D", 2, 24000, 1001, "11:22:33:12", "10:00:00:00"},
          Clip{"movie", "known interview.mov", 0, 0, 0, "", ""}}) {
        SCOPED_TRACE(ref);
        sdktest::SdkClip clip = sdktest::BasicClip(16, 8, frames);
        clip.spec.rateNumerator = rate;
        clip.spec.rateDenominator = scale;
        clip.spec.absoluteTimecode = absolute;
        clip.spec.edgeTimecode = edge;
        clip.spec.audioChannels = 0;
        clip.audioBlocks.clear();
        if (frames > 0) { ASSERT_EQ(sdktest::WriteSdkClip(dir / name, clip), ""); }
        R3DFileMeta meta;
        ASSERT_TRUE(meta.LoadMetadataFromPathIsR3d(dir / name, frames > 0));
        EXPECT_EQ(meta.path(), dir / name);
        EXPECT_TRUE(test::MatchesRef(std::string("library/") + ref + ".txt", Describe(meta)));
    }
}

TEST(R3DFileMeta, AFileThatIsNoClipIsNoCandidate) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "A001_C002_0101AB_001.R3D", std::string(5000, 'x'));
    test::WriteWholeFile(dir / "notes.mov", std::string(5000, 'x'));
    for (const auto& [name, isR3d] :
         {std::pair{"A001_C002_0101AB_001.R3D", true}, std::pair{"A009_C002_0101AB_001.R3D", true},
          std::pair{"notes.mov", false}, std::pair{"missing.mov", false}}) {
        R3DFileMeta meta;
        EXPECT_FALSE(meta.LoadMetadataFromPathIsR3d(dir / name, isR3d)) << name;
        EXPECT_EQ(meta.path() + std::to_string(meta.frameCount()), "0") << name;
    }
}

}  // namespace
}  // namespace ombrel
