#include "library/R3DFileMeta.h"

#include "core/Log.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"
#include "platform/movie/TestMovies.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>

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

// Every field of a record, one a line, for the reference files.
std::string Describe(const R3DFileMeta& m) {
    std::ostringstream o;
    o << "path " << m.path() << "\nreel " << m.reel() << "\nclip " << m.clip() << "\nframeCount " << m.frameCount()
      << "\nfps " << m.fps() << "\ntimecode " << m.timecodeIn() << " - " << m.timecodeOut() << "\nedgecode "
      << m.edgecodeIn() << " - " << m.edgecodeOut() << "\nframes " << m.frameIn() << " - " << m.frameOut()
      << "\nedgeFrames " << m.edgeFrameIn() << " - " << m.edgeFrameOut() << "\nR3dPrefix " << m.R3dPrefix()
      << "\nBaseFilename " << m.BaseFilename() << "\nShortName " << m.ShortName() << "\n";
    return o.str();
}

// An R3D clip counts from its start timecode and ends one past its last frame (23.976 counts
// as 24; without frames it ends where it starts); a movie runs from zero to its last frame
// without timecode.
TEST(R3DFileMeta, RecordsOfClipsAndMoviesMatchTheirReferences) {
    struct Row {
        const char* ref;
        std::string path;
        bool isR3d;
        std::function<std::unique_ptr<R3DClipInfo>()> clip;
    };
    const Row rows[] = {
        {"r3d-clip", "/Volumes/Card/A001_C002_0101AB_001.R3D", true,
         [] { return std::make_unique<FakeClip>(100, 24.0f, 86400, 240); }},
        {"r3d-clip-without-frames", "/v/A002_C010_0202CD_001.R3D", true,
         [] {
             auto clip = std::make_unique<FakeClip>(0, 23.976f, 86400 + 24, 0);
             clip->metadata.clear();
             return clip;
         }},
        {"movie", "/Users/ed/known interview.mov", false, nullptr},
    };
    WithMovieFacts facts([](const std::string& path) -> std::optional<MovieFacts> {
        if (path.find("known") == std::string::npos) return std::nullopt;
        return MovieFacts{25.0f, 250};
    });
    for (const Row& r : rows) {
        SCOPED_TRACE(r.ref);
        std::string opened;
        WithOpener opener([&](const std::string& path) {
            opened = path;
            return r.clip();
        });
        R3DFileMeta meta;
        ASSERT_TRUE(meta.LoadMetadataFromPathIsR3d(r.path, r.isR3d));
        EXPECT_EQ(opened, r.isR3d ? r.path : "");
        EXPECT_TRUE(test::MatchesRef(std::string("library/") + r.ref + ".txt", Describe(meta)));
    }
    EXPECT_FALSE(R3DFileMeta().LoadMetadataFromPathIsR3d("/Users/ed/other.mov", false));
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
