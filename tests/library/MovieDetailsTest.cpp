#include "core/Log.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"
#include "platform/movie/MovieProbe.h"
#include "platform/movie/TestMovies.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace ombrel {
namespace {

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
    const struct {
        const char* name;
        std::string args;
        double fps, count, seconds, slack;
    } rows[] = {
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
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        ASSERT_TRUE(MakeMovie(r.args, dir / r.name));
        double fps = -7.0, count = -7.0;
        const MovieTime length =
            FileParser::GetDetailsFromQTMovieOutFPSOutFrameCount(Probe(dir / r.name), &fps, &count);
        EXPECT_NEAR(fps, r.fps, 0.01);
        EXPECT_NEAR(count, r.count, r.slack);
        if (r.seconds > 0) { EXPECT_NEAR(Seconds(length), r.seconds, 0.05); }
        FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / r.name), nullptr, nullptr);
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

}  // namespace
}  // namespace ombrel
