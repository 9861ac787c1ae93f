#include "platform/movie/MovieProbe.h"

#include "core/Log.h"
#include "platform/movie/TestMovies.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

namespace ombrel {
namespace {

using test::MakeMovie;
using test::MatchesRef;
using test::TestPattern;

// The facts a caller acts on, the movie's first and then one part per track, to be compared
// whole.
std::string Facts(const MovieInfo& info) {
    std::ostringstream o;
    o << "mpeg " << info.IsMpegMedia() << " audio " << info.HasAudio() << " decodable " << info.HasDecodableVideo()
      << " first video " << (info.FirstVideoTrack() ? info.FirstVideoTrack()->index : -1);
    for (const MovieTrack& t : info.tracks) {
        if (t.kind == MediaKind::Video)
            o << "; " << t.index << " video " << t.codecName << " '" << t.FourCC() << "' " << t.width << "x" << t.height
              << " at " << t.averageFrameRate << " samples " << t.sampleCount << " decoder " << t.decoderAvailable;
        if (t.kind == MediaKind::Audio)
            o << "; " << t.index << " audio " << t.sampleRate << " Hz " << t.channels << " ch";
    }
    return o.str();
}

// One row a movie: what it is made of, and in the reference file what the probe makes of it.
TEST(MovieProbe, ReadsTheFactsOfEveryContainerWeList) {
    test::TempDir dir;
    const std::string five = TestPattern("24", 5);
    const struct {
        std::string name, args;
        double seconds;  // 0: not checked
    } rows[] = {
        {"clip.mov", five, 5.0 / 24},
        {"clip.mp4", five, 5.0 / 24},
        {"clip.avi", five, 5.0 / 24},
        {"clip.mkv", five, 5.0 / 24},  // the container does not count its samples
        {"raw.mov", five + test::kRawVideo, 5.0 / 24},
        {"m.mp4", five + " -c:v mpeg4", 5.0 / 24},
        {"both.mov", "-f lavfi -i testsrc=size=64x48:rate=25 -f lavfi -i sine=duration=0.4 -frames:v 10", 0},
        {"sound.mov", "-f lavfi -i sine=duration=0.5", 0},       // opens, but is nothing we can show
        {"odd.mov", TestPattern("24", 3) + test::kRawVideo, 0},  // its sample format renamed below
        {"clip.mpg", TestPattern("25", 10), 0},                  // MPEG: the encoded rate
        {"clip.m2t", TestPattern("25", 10) + " -f mpegts", 0},
    };
    std::string out;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = dir / row.name;
        ASSERT_TRUE(MakeMovie(row.args, path));
        if (row.name == "odd.mov") { ASSERT_TRUE(test::PatchBytes(path, "stsd", "raw ", "zzzz")); }
        MovieProbe probe(path);
        ASSERT_TRUE(probe.ok()) << probe.error();
        EXPECT_TRUE(probe.error().empty());
        EXPECT_NE(probe.context(), nullptr);
        EXPECT_EQ(probe.info().path, path);
        EXPECT_FALSE(probe.info().formatName.empty());
        // About 0.21 s for five frames at 24 a second, whatever the container's clock.
        if (row.seconds > 0) { EXPECT_NEAR(static_cast<double>(probe.info().durationMicros) / 1e6, row.seconds, 0.05); }
        MovieInfo info;
        ASSERT_TRUE(ProbeMovie(path, info).ok());
        out += row.name + ": " + Facts(info) + "; decodable movie " + std::to_string(IsDecodableMovie(path)) + "\n";
    }
    EXPECT_TRUE(MatchesRef("platform/movie-facts.txt", out));
    MovieTrack untagged;
    EXPECT_EQ(untagged.FourCC(), "????");
    untagged.codecTag = 0x01626361;  // 'a', 'c', 'b', then an unprintable byte
    EXPECT_EQ(untagged.FourCC(), "acb?");
}

TEST(MovieProbe, RefusesWhatIsNoMovieWithAReasonAndLogsFFmpegAtWarningLevel) {
    test::TempDir dir;
    std::string text;
    for (int i = 0; i < 2000; ++i) text += "these are notes, not pictures\n";
    test::WriteWholeFile(dir / "notes.mov", text);
    std::filesystem::create_directory(dir / "folder.mov");

    LogCapture log;
    const std::string paths[] = {dir / "notes.mov", dir / "missing.mov", dir / "folder.mov", ""};
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        MovieProbe probe(path);
        EXPECT_FALSE(probe.ok());
        EXPECT_FALSE(probe.error().empty());
        EXPECT_EQ(probe.context(), nullptr);
        EXPECT_TRUE(probe.info().tracks.empty());
        EXPECT_FALSE(IsDecodableMovie(path));
        MovieInfo untouched;
        untouched.formatName = "before";
        const Status probed = ProbeMovie(path, untouched);
        EXPECT_FALSE(probed.ok());
        EXPECT_EQ(untouched.formatName, "before");
        EXPECT_EQ(probed.message(), probe.error());
    }
    EXPECT_NE(MovieProbe(dir / "notes.mov").error().find("notes.mov"), std::string::npos);
    EXPECT_NE(MovieProbe(dir / "missing.mov").error().find("no such file"), std::string::npos);
    // The demuxer's complaint about the text file reaches our log, tagged, as a warning.
    bool sawFFmpeg = false;
    for (const std::string& line : log.Lines()) sawFFmpeg = sawFFmpeg || line.find("[ffmpeg]") != std::string::npos;
    EXPECT_TRUE(sawFFmpeg);
}

}  // namespace
}  // namespace ombrel
