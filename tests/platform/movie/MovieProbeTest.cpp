#include "platform/movie/MovieProbe.h"

#include "core/Log.h"
#include "platform/movie/TestMovies.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <sstream>

namespace ombrel {
namespace {

using test::MakeMovie;
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

TEST(MovieProbe, ReadsPictureFactsFromEveryContainerWeList) {
    test::TempDir dir;
    const struct {
        std::string name, args, facts;
    } cases[] = {
        {"clip.mov", "",
         "mpeg 0 audio 0 decodable 1 first video 0; 0 video h264 'avc1' 64x48 at 24 samples 5 decoder 1"},
        {"clip.mp4", "",
         "mpeg 0 audio 0 decodable 1 first video 0; 0 video h264 'avc1' 64x48 at 24 samples 5 decoder 1"},
        {"clip.avi", "",
         "mpeg 0 audio 0 decodable 1 first video 0; 0 video mpeg4 'FMP4' 64x48 at 24 samples 5 decoder 1"},
        // The container does not count its samples.
        {"clip.mkv", "",
         "mpeg 0 audio 0 decodable 1 first video 0; 0 video h264 '\?\?\?\?' 64x48 at 24 samples 0 decoder 1"},
        {"raw.mov", test::kRawVideo,
         "mpeg 0 audio 0 decodable 1 first video 0; 0 video rawvideo 'raw ' 64x48 at 24 samples 5 decoder 1"},
        {"m.mp4", " -c:v mpeg4",
         "mpeg 0 audio 0 decodable 1 first video 0; 0 video mpeg4 'mp4v' 64x48 at 24 samples 5 decoder 1"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(MakeMovie(TestPattern("24", 5) + c.args, dir / c.name));
        MovieProbe probe(dir / c.name);
        ASSERT_TRUE(probe.ok()) << probe.error();
        EXPECT_TRUE(probe.error().empty());
        EXPECT_NE(probe.context(), nullptr);
        EXPECT_EQ(probe.info().path, dir / c.name);
        EXPECT_FALSE(probe.info().formatName.empty());
        EXPECT_EQ(Facts(probe.info()), c.facts);
        // Five frames at 24 a second, about 0.21 s, whatever the container's clock.
        EXPECT_NEAR(static_cast<double>(probe.info().durationMicros) / 1e6, 5.0 / 24.0, 0.05);
    }
    MovieTrack untagged;
    EXPECT_EQ(untagged.FourCC(), "????");
    untagged.codecTag = 0x01626361;  // 'a', 'c', 'b', then an unprintable byte
    EXPECT_EQ(untagged.FourCC(), "acb?");
}

TEST(MovieProbe, SeesSoundBesideThePictureAndSoundAlone) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie("-f lavfi -i testsrc=size=64x48:rate=25 -f lavfi -i sine=duration=0.4 -frames:v 10",
                          dir / "both.mov"));
    ASSERT_TRUE(MakeMovie("-f lavfi -i sine=duration=0.5", dir / "sound.mov"));
    MovieInfo both, sound;
    ASSERT_TRUE(ProbeMovie(dir / "both.mov", both).ok());
    ASSERT_TRUE(ProbeMovie(dir / "sound.mov", sound).ok());
    EXPECT_EQ(Facts(both),
              "mpeg 0 audio 1 decodable 1 first video 0; 0 video h264 'avc1' 64x48 at 25 samples 10 decoder 1; 1 audio "
              "44100 Hz 1 ch");
    // A movie without pictures opens, but is nothing we can show.
    EXPECT_EQ(Facts(sound), "mpeg 0 audio 1 decodable 0 first video -1; 0 audio 44100 Hz 1 ch");
    EXPECT_FALSE(IsDecodableMovie(dir / "sound.mov"));
    EXPECT_TRUE(IsDecodableMovie(dir / "both.mov"));
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

TEST(MovieProbe, AnUnknownSampleFormatStillOpensButHasNoDecoder) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie(TestPattern("24", 3) + test::kRawVideo, dir / "odd.mov"));
    ASSERT_TRUE(test::PatchBytes(dir / "odd.mov", "stsd", "raw ", "zzzz"));
    MovieInfo info;
    ASSERT_TRUE(ProbeMovie(dir / "odd.mov", info).ok());
    EXPECT_EQ(Facts(info), "mpeg 0 audio 0 decodable 0 first video 0; 0 video  'zzzz' 64x48 at 24 samples 3 decoder 0");
}

TEST(MovieProbe, MpegStreamsAreMarkedForTheirEncodedRate) {
    test::TempDir dir;
    for (auto [name, args, codec] : {std::array<std::string, 3>{"clip.mpg", "", "mpeg1video"},
                                     std::array<std::string, 3>{"clip.m2t", " -f mpegts", "mpeg2video"}}) {
        ASSERT_TRUE(MakeMovie(TestPattern("25", 10) + args, dir / name));
        MovieInfo info;
        ASSERT_TRUE(ProbeMovie(dir / name, info).ok());
        EXPECT_EQ(Facts(info), "mpeg 1 audio 0 decodable 1 first video 0; 0 video " + codec +
                                   " '\?\?\?\?' 64x48 at 25 samples 0 decoder 1")
            << name;
    }
}

}  // namespace
}  // namespace ombrel
