#include "library/FileParser.h"

#include "core/Log.h"
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

double Seconds(MovieTime t) {
    return t.timeScale > 0 ? static_cast<double>(t.value) / static_cast<double>(t.timeScale) : -1.0;
}

TEST(MovieDetails, RateAndCountFromTheSamplesOfThePictureTrack) {
    test::TempDir dir;
    struct Case {
        std::string name;
        std::string rate;
        int frames;
        double fps;
    };
    const Case cases[] = {
        {"a.mov", "24", 12, 24.0}, {"b.mov", "24000/1001", 30, 24000.0 / 1001.0},
        {"c.mp4", "25", 50, 25.0}, {"d.avi", "30000/1001", 15, 30000.0 / 1001.0},
        {"e.mov", "50", 20, 50.0}, {"f.mkv", "24", 24, 24.0},  // keeps no sample count: the average rate stands in
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(MakeMovie(TestPattern(c.rate, c.frames), dir / c.name));
        double fps = -1.0, count = -1.0;
        const MovieTime length =
            FileParser::GetDetailsFromQTMovieOutFPSOutFrameCount(Probe(dir / c.name), &fps, &count);
        EXPECT_NEAR(fps, c.fps, 0.01);
        EXPECT_DOUBLE_EQ(count, c.frames);
        EXPECT_NEAR(Seconds(length), c.frames / c.fps, 0.05);
        // Null outputs are allowed.
        FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / c.name), nullptr, nullptr);
    }
}

TEST(MovieDetails, MpegMediaTakesItsEncodedRateRoundedAndCountsByDuration) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie(TestPattern("25", 100), dir / "clip.mpg"));
    ASSERT_TRUE(MakeMovie(TestPattern("30000/1001", 90) + " -c:v mpeg2video -f mpegts", dir / "clip.m2t"));
    double fps = -1.0, count = -1.0;
    const MovieTime length = FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "clip.mpg"), &fps, &count);
    EXPECT_DOUBLE_EQ(fps, 25.0);
    EXPECT_DOUBLE_EQ(count, 100.0);
    EXPECT_NEAR(Seconds(length), 4.0, 0.05);

    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "clip.m2t"), &fps, &count);
    EXPECT_DOUBLE_EQ(fps, 30.0);  // 29.97 rounded
    EXPECT_NEAR(count, 90.0, 1.0);
}

TEST(MovieDetails, WithoutPicturesTheOutputsStayUntouched) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie("-f lavfi -i sine=duration=1", dir / "sound.mov"));
    double fps = -7.0, count = -7.0;
    const MovieTime length = FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "sound.mov"), &fps, &count);
    EXPECT_EQ(fps, -7.0);
    EXPECT_EQ(count, -7.0);
    EXPECT_NEAR(Seconds(length), 1.0, 0.05);

    MovieInfo nothing;
    EXPECT_EQ(FileParser::GetDetailsFromMovieOutFPSOutFrameCount(nothing, &fps, &count).value, 0);
    EXPECT_EQ(fps, -7.0);
}

TEST(MovieDetails, AFormatWithoutDecoderIsReportedThenReadAnyway) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie(TestPattern("24", 6) + test::kRawVideo, dir / "odd.mov"));
    ASSERT_TRUE(test::PatchBytes(dir / "odd.mov", "stsd", "raw ", "zzzz"));
    std::vector<std::pair<std::string, std::string>> events;
    SetUsageEventSink([&](const std::string& name, const std::string& data) { events.emplace_back(name, data); });
    LogCapture log;
    double fps = 0.0, count = 0.0;
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "odd.mov"), &fps, &count);
    SetUsageEventSink({});

    const std::string text = "Error: No Component available to decode this format zzzz";
    EXPECT_TRUE(log.Contains(text));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].first, "USAGE");
    EXPECT_EQ(events[0].second, text);
    EXPECT_NEAR(fps, 24.0, 1e-9);
    EXPECT_DOUBLE_EQ(count, 6.0);

    // A decodable movie reports nothing, and without a sink the event is simply dropped.
    ASSERT_TRUE(MakeMovie(TestPattern("24", 2), dir / "fine.mov"));
    log.Clear();
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "fine.mov"), &fps, &count);
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(Probe(dir / "odd.mov"), &fps, &count);
    EXPECT_EQ(log.Count("No Component available"), 1u);
    EXPECT_EQ(events.size(), 1u);
}

}  // namespace
}  // namespace ombrel
