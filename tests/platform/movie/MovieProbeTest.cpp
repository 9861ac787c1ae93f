#include "platform/movie/MovieProbe.h"

#include "core/Log.h"
#include "support/Movies.h"
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
TEST(MovieProbe, ReadsTheFactsOfEveryContainerWeListAndRefusesWhatIsNoMovie) {
    test::TempDir dir;
    const std::string five = TestPattern("24", 5);
    const std::pair<std::string, std::string> rows[] = {
        {"clip.mov", five},
        {"clip.avi", five},
        {"clip.mkv", five},  // the container does not count its samples
        {"raw.mov", five + test::kRawVideo},
        {"m.mp4", five + " -c:v mpeg4"},
        {"both.mov", "-f lavfi -i testsrc=size=64x48:rate=25 -f lavfi -i sine=duration=0.4 -frames:v 10"},
        {"sound.mov", "-f lavfi -i sine=duration=0.5"},       // opens, but is nothing we can show
        {"odd.mov", TestPattern("24", 3) + test::kRawVideo},  // its sample format renamed below
        {"clip.mpg", TestPattern("25", 10)},                  // MPEG: the encoded rate
        {"clip.m2t", TestPattern("25", 10) + " -f mpegts"},
    };
    std::string out;
    for (const auto& [name, args] : rows) {
        SCOPED_TRACE(name);
        const std::string path = dir / name;
        ASSERT_TRUE(MakeMovie(args, path));
        if (name == "odd.mov") { ASSERT_TRUE(test::PatchBytes(path, "stsd", "raw ", "zzzz")); }
        MovieProbe probe(path);
        ASSERT_TRUE(probe.ok() && probe.error().empty() && probe.context() != nullptr) << probe.error();
        EXPECT_EQ(probe.info().path, path);
        MovieInfo info;
        ASSERT_TRUE(ProbeMovie(path, info).ok());
        out += name + ": " + info.formatName + ", " + std::to_string(info.durationMicros / 10000) + " cs; " +
               Facts(info) + "; decodable movie " + std::to_string(IsDecodableMovie(path)) + "\n";
    }
    EXPECT_TRUE(MatchesRef("platform/movie-facts.txt", out));
    MovieTrack untagged;
    EXPECT_EQ(untagged.FourCC(), "????");
    untagged.codecTag = 0x01626361;  // 'a', 'c', 'b', then an unprintable byte
    EXPECT_EQ(untagged.FourCC(), "acb?");
    // What is no movie is refused with a reason, outputs untouched, and FFmpeg's complaint reaches
    // our log, tagged, as a warning.
    test::WriteWholeFile(dir / "notes.mov", std::string(2000, 'n'));
    std::filesystem::create_directory(dir / "folder.mov");
    LogCapture log;
    const std::pair<std::string, std::string> refused[] = {
        {dir / "notes.mov", "notes.mov"}, {dir / "missing.mov", "no such file"}, {dir / "folder.mov", ""}, {"", ""}};
    for (const auto& [path, why] : refused) {
        SCOPED_TRACE(path);
        MovieProbe probe(path);
        EXPECT_FALSE(probe.ok() || probe.context() || !probe.info().tracks.empty() || IsDecodableMovie(path));
        EXPECT_NE(probe.error().find(why), std::string::npos) << probe.error();
        MovieInfo untouched;
        untouched.formatName = "before";
        EXPECT_EQ(ProbeMovie(path, untouched).message(), probe.error());
        EXPECT_EQ(untouched.formatName, "before");
    }
    EXPECT_TRUE(log.Contains("[ffmpeg]"));
}

}  // namespace
}  // namespace ombrel
