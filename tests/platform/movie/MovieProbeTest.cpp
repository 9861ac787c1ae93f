#include "platform/movie/MovieProbe.h"

#include "core/Log.h"
#include "platform/movie/TestMovies.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace ombrel {
namespace {

using test::MakeMovie;
using test::TestPattern;

TEST(MovieProbe, ReadsPictureFactsFromEveryContainerWeList) {
    test::TempDir dir;
    struct Case {
        std::string name;
        std::string codec;
        bool containerCountsSamples;
    };
    const Case cases[] = {
        {"clip.mov", "h264", true},
        {"clip.mp4", "h264", true},
        {"clip.avi", "mpeg4", true},
        {"clip.mkv", "h264", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(MakeMovie(TestPattern("24", 5), dir / c.name));
        MovieProbe probe(dir / c.name);
        ASSERT_TRUE(probe.ok()) << probe.error();
        EXPECT_TRUE(probe.error().empty());
        EXPECT_NE(probe.context(), nullptr);
        const MovieInfo& info = probe.info();
        EXPECT_EQ(info.path, dir / c.name);
        EXPECT_FALSE(info.formatName.empty());
        EXPECT_FALSE(info.IsMpegMedia());
        EXPECT_FALSE(info.HasAudio());
        EXPECT_TRUE(info.HasDecodableVideo());
        const MovieTrack* video = info.FirstVideoTrack();
        ASSERT_NE(video, nullptr);
        EXPECT_EQ(video->codecName, c.codec);
        EXPECT_TRUE(video->decoderAvailable);
        EXPECT_EQ(video->width, 64);
        EXPECT_EQ(video->height, 48);
        EXPECT_NEAR(video->averageFrameRate, 24.0, 1e-6);
        EXPECT_EQ(video->sampleCount, c.containerCountsSamples ? 5 : 0);
        // Five frames at 24 a second, about 0.21 s, whatever the container's clock.
        EXPECT_NEAR(static_cast<double>(info.durationMicros) / 1e6, 5.0 / 24.0, 0.05);
    }
}

TEST(MovieProbe, TellsTheFourCharactersOfTheSampleFormat) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie(TestPattern("24", 2) + test::kRawVideo, dir / "raw.mov"));
    ASSERT_TRUE(MakeMovie(TestPattern("24", 2) + " -c:v mpeg4", dir / "m.mp4"));
    MovieInfo raw, mp4;
    ASSERT_TRUE(ProbeMovie(dir / "raw.mov", raw));
    ASSERT_TRUE(ProbeMovie(dir / "m.mp4", mp4));
    EXPECT_EQ(raw.FirstVideoTrack()->FourCC(), "raw ");
    EXPECT_EQ(mp4.FirstVideoTrack()->FourCC(), "mp4v");
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

    MovieInfo both;
    ASSERT_TRUE(ProbeMovie(dir / "both.mov", both));
    EXPECT_TRUE(both.HasAudio());
    EXPECT_TRUE(both.HasDecodableVideo());
    ASSERT_EQ(both.tracks.size(), 2u);
    for (const MovieTrack& t : both.tracks) {
        if (t.kind != MediaKind::Audio) continue;
        EXPECT_EQ(t.sampleRate, 44100);
        EXPECT_EQ(t.channels, 1);
    }

    // A movie without pictures opens, but is nothing we can show.
    MovieInfo sound;
    ASSERT_TRUE(ProbeMovie(dir / "sound.mov", sound));
    EXPECT_TRUE(sound.HasAudio());
    EXPECT_EQ(sound.FirstVideoTrack(), nullptr);
    EXPECT_FALSE(sound.HasDecodableVideo());
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
        std::string why;
        EXPECT_FALSE(ProbeMovie(path, untouched, &why));
        EXPECT_EQ(untouched.formatName, "before");
        EXPECT_EQ(why, probe.error());
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
    ASSERT_TRUE(ProbeMovie(dir / "odd.mov", info));
    const MovieTrack* video = info.FirstVideoTrack();
    ASSERT_NE(video, nullptr);
    EXPECT_EQ(video->FourCC(), "zzzz");
    EXPECT_FALSE(video->decoderAvailable);
    EXPECT_FALSE(info.HasDecodableVideo());
    EXPECT_EQ(video->sampleCount, 3);
}

TEST(MovieProbe, MpegStreamsAreMarkedForTheirEncodedRate) {
    test::TempDir dir;
    ASSERT_TRUE(MakeMovie(TestPattern("25", 10), dir / "clip.mpg"));
    ASSERT_TRUE(MakeMovie(TestPattern("25", 10) + " -f mpegts", dir / "clip.m2t"));
    MovieInfo ps, ts;
    ASSERT_TRUE(ProbeMovie(dir / "clip.mpg", ps));
    ASSERT_TRUE(ProbeMovie(dir / "clip.m2t", ts));
    EXPECT_TRUE(ps.IsMpegMedia());
    EXPECT_TRUE(ts.IsMpegMedia());
    ASSERT_NE(ps.FirstVideoTrack(), nullptr);
    EXPECT_NEAR(ps.FirstVideoTrack()->averageFrameRate, 25.0, 1e-6);
}

}  // namespace
}  // namespace ombrel
