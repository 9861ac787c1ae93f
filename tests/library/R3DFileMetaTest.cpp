#include "library/R3DFileMeta.h"

#include "core/Log.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"
#include "platform/movie/TestMovies.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <map>

namespace ombrel {
namespace {

// A clip as the camera SDK would show it, counting timecode from a start frame.
class FakeClip : public R3DClipInfo {
public:
    FakeClip(int32_t frames, float rate, uint32_t startFrame, uint32_t edgeStart)
        : frames_(frames), rate_(rate), start_(startFrame), edgeStart_(edgeStart) {}
    std::string MetadataItemAsString(const std::string& key) const override {
        auto it = metadata.find(key);
        return it == metadata.end() ? std::string() : it->second;
    }
    int32_t VideoFrameCount() const override { return frames_; }
    std::string AbsoluteTimecode(int32_t frame) const override {
        return FileParser::GetStringOfTimecodeFPS(start_ + frame, rate_);
    }
    std::string EdgeTimecode(int32_t frame) const override {
        return FileParser::GetStringOfTimecodeFPS(edgeStart_ + frame, rate_);
    }
    float TimecodeFramerate() const override { return rate_; }

    std::map<std::string, std::string> metadata{{"reel_id", "A001"}, {"clip_id", "C002"}};

private:
    int32_t frames_;
    float rate_;
    uint32_t start_;
    uint32_t edgeStart_;
};

// Registers an opener for one test and takes it away again.
class WithOpener {
public:
    explicit WithOpener(R3DClipOpener opener) { SetR3DClipOpener(std::move(opener)); }
    ~WithOpener() { SetR3DClipOpener({}); }
};

class WithMovieFacts {
public:
    explicit WithMovieFacts(MovieFactsSource source) { SetMovieFactsSource(std::move(source)); }
    ~WithMovieFacts() { SetMovieFactsSource({}); }
};

TEST(R3DFileMeta, AnR3DClipCountsFromItsStartTimecodeAndEndsOnePastItsLastFrame) {
    std::string opened;
    WithOpener opener([&](const std::string& path) {
        opened = path;
        return std::make_unique<FakeClip>(100, 24.0f, 86400, 240);
    });
    R3DFileMeta meta;
    const std::string path = "/Volumes/Card/A001_C002_0101AB_001.R3D";
    ASSERT_TRUE(meta.LoadMetadataFromPathIsR3d(path, true));
    EXPECT_EQ(opened, path);
    EXPECT_EQ(meta.path(), path);
    EXPECT_EQ(meta.reel(), "A001");
    EXPECT_EQ(meta.clip(), "C002");
    EXPECT_EQ(meta.frameCount(), 100);
    EXPECT_FLOAT_EQ(meta.fps(), 24.0f);
    EXPECT_EQ(meta.timecodeIn(), "01:00:00:00");
    EXPECT_EQ(meta.timecodeOut(), "01:00:04:03");  // frame 99
    EXPECT_EQ(meta.edgecodeIn(), "00:00:10:00");
    EXPECT_EQ(meta.edgecodeOut(), "00:00:14:03");
    EXPECT_EQ(meta.frameIn(), 86400);
    EXPECT_EQ(meta.frameOut(), 86500);
    EXPECT_EQ(meta.edgeFrameIn(), 240);
    EXPECT_EQ(meta.edgeFrameOut(), 340);
    EXPECT_EQ(meta.R3dPrefix(), "A001_C002_0101AB");
    EXPECT_EQ(meta.BaseFilename(), "A001_C002_0101AB");
    EXPECT_EQ(meta.ShortName(), "A001_C002_0101AB_001");
}

TEST(R3DFileMeta, AnR3DClipWithoutFramesEndsWhereItStarts) {
    WithOpener opener([](const std::string&) {
        auto clip = std::make_unique<FakeClip>(0, 23.976f, 86400 + 24, 0);
        clip->metadata.clear();
        return clip;
    });
    R3DFileMeta meta;
    ASSERT_TRUE(meta.LoadMetadataFromPathIsR3d("/v/A002_C010_0202CD_001.R3D", true));
    EXPECT_EQ(meta.timecodeOut(), meta.timecodeIn());
    EXPECT_EQ(meta.edgecodeOut(), meta.edgecodeIn());
    EXPECT_EQ(meta.frameIn(), 86424);  // 23.976 counts as 24
    EXPECT_EQ(meta.frameOut(), 86424);
    EXPECT_EQ(meta.reel(), "");
}

TEST(R3DFileMeta, AnR3DClipThatCannotBeOpenedIsNoCandidate) {
    R3DFileMeta meta;
    {
        LogCapture log;
        EXPECT_FALSE(meta.LoadMetadataFromPathIsR3d("/v/A001_C002_0101AB_001.R3D", true));
        EXPECT_TRUE(log.Contains("No R3D reader"));
    }
    WithOpener opener([](const std::string&) { return std::unique_ptr<R3DClipInfo>(); });
    EXPECT_FALSE(meta.LoadMetadataFromPathIsR3d("/v/A001_C002_0101AB_001.R3D", true));
    EXPECT_EQ(meta.path(), "");
    EXPECT_EQ(meta.frameCount(), 0);
}

TEST(R3DFileMeta, AMovieRunsFromZeroToItsLastFrameWithoutTimecode) {
    WithMovieFacts facts([](const std::string& path) -> std::optional<MovieFacts> {
        if (path.find("known") == std::string::npos) return std::nullopt;
        return MovieFacts{25.0f, 250};
    });
    R3DFileMeta meta;
    const std::string path = "/Users/ed/known interview.mov";
    ASSERT_TRUE(meta.LoadMetadataFromPathIsR3d(path, false));
    EXPECT_EQ(meta.path(), path);
    EXPECT_EQ(meta.frameIn(), 0);
    EXPECT_EQ(meta.edgeFrameIn(), 0);
    EXPECT_EQ(meta.frameCount(), 250);
    EXPECT_FLOAT_EQ(meta.fps(), 25.0f);
    EXPECT_EQ(meta.frameOut(), 249);
    EXPECT_EQ(meta.edgeFrameOut(), 249);
    EXPECT_EQ(meta.timecodeIn(), "00:00:00.00");
    EXPECT_EQ(meta.edgecodeIn(), "00:00:00.00");
    EXPECT_EQ(meta.timecodeOut(), "00:00:09:24");
    EXPECT_EQ(meta.edgecodeOut(), "00:00:09:24");
    EXPECT_EQ(meta.reel(), "");
    EXPECT_EQ(meta.clip(), "");
    EXPECT_EQ(meta.BaseFilename(), "known interview.mov");
    EXPECT_EQ(meta.ShortName(), "known interview");
    EXPECT_EQ(meta.R3dPrefix(), "known interview.");

    R3DFileMeta unknown;
    EXPECT_FALSE(unknown.LoadMetadataFromPathIsR3d("/Users/ed/other.mov", false));
}

TEST(R3DFileMeta, WithoutACacheAMovieIsProbed) {
    test::TempDir dir;
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 48), dir / "clip.mov"));
    R3DFileMeta meta;
    ASSERT_TRUE(meta.LoadMetadataFromPathIsR3d(dir / "clip.mov", false));
    EXPECT_EQ(meta.frameCount(), 48);
    EXPECT_NEAR(meta.fps(), 24.0f, 1e-4);
    EXPECT_EQ(meta.frameOut(), 47);
    EXPECT_EQ(meta.timecodeOut(), "00:00:01:23");

    test::WriteWholeFile(dir / "notes.mov", std::string(5000, 'x'));
    EXPECT_FALSE(R3DFileMeta().LoadMetadataFromPathIsR3d(dir / "notes.mov", false));
    EXPECT_FALSE(R3DFileMeta().LoadMetadataFromPathIsR3d(dir / "missing.mov", false));
}

TEST(R3DFileMeta, NamesForMatching) {
    R3DFileMeta meta;
    meta.setPath("/v/B003_C045_0612XY_001.r3d");
    EXPECT_EQ(meta.R3dPrefix(), "B003_C045_0612XY");
    EXPECT_EQ(meta.BaseFilename(), "B003_C045_0612XY");
    meta.setPath("/v/B003_C045_0612XY_002.r3d");  // no clip of its own, so its whole name
    EXPECT_EQ(meta.BaseFilename(), "B003_C045_0612XY_002.r3d");
    EXPECT_EQ(meta.R3dPrefix(), "B003_C045_0612XY");
    meta.setPath("/v/short.mov");
    EXPECT_EQ(meta.R3dPrefix(), "");
    EXPECT_EQ(meta.BaseFilename(), "short.mov");
    meta.setPath("/v/exactly16chars.x");  // 16 characters
    EXPECT_EQ(meta.R3dPrefix(), "exactly16chars.x");
    meta.setPath("/v/seventeen_chars.m");
    EXPECT_EQ(meta.R3dPrefix(), "seventeen_chars.");
    meta.setPath("/v/fifteen_chars.m");
    EXPECT_EQ(meta.R3dPrefix(), "");
    meta.setPath("");
    EXPECT_EQ(meta.ShortName(), "");
    EXPECT_EQ(meta.R3dPrefix(), "");
}

}  // namespace
}  // namespace ombrel
