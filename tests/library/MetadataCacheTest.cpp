#include "library/MetadataCache.h"

#include "support/Movies.h"
#include "r3d/sdk/SdkClips.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace ombrel {
namespace {

enum class Make { Movie, R3D, Junk, Nothing };

// One row a file: a movie made by ffmpeg (its stream's time scale), an R3D clip at a rate, junk
// (a record of the defaults; a movie is marked not playable), or no file (no record).
TEST(MetadataCache, LoadsTheTimingOfMoviesAndR3DClipsOnce) {
    const struct {
        const char* name;
        Make make;
        const char* movieArgs;
        int64_t rateNum, rateDen;
        int frames;
        double timeScale, duration;
        float width, height;
        int32_t timecodeStart;
    } rows[] = {
        {"NtscWithTimecode.mov", Make::Movie, "-c:v mpeg4 -timecode 01:00:00:00", 24000, 1001, 12, 24000, 12012, 64, 48,
         86400},
        {"A001_C001_0101AB_001.R3D", Make::R3D, "", 24000, 1001, 5, 24000, 5005, 32, 16, 0},
        {"A001_C002_0101AB_001.R3D", Make::R3D, "", 24, 1, 5, 24000, 5000, 32, 16, 0},
        {"junk.mov", Make::Junk, "", 0, 1, 0, 1000, 1, 1920, 1080, 0},
        {"A009_C001_0101AB_001.R3D", Make::Junk, "", 0, 1, 0, 1000, 1, 1920, 1080, 0},
        {"nothing.mov", Make::Nothing, "", 0, 1, 0, 1000, 1, 1920, 1080, 0},
    };
    test::TempDir dir;
    MetadataCache& cache = MetadataCache::Instance();
    // The worker would load each clip again behind the test's back.
    cache.Pause();
    cache.WaitForWorker();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = dir / row.name;
        const std::string rate = std::to_string(row.rateNum) + "/" + std::to_string(row.rateDen);
        sdktest::SdkClip clip = sdktest::BasicClip(32, 16, row.frames);
        clip.spec.rateNumerator = static_cast<uint32_t>(row.rateNum);
        clip.spec.rateDenominator = static_cast<uint32_t>(row.rateDen);
        if (row.make == Make::Movie) {
            ASSERT_TRUE(test::MakeMovie(test::TestPattern(rate, row.frames) + " " + row.movieArgs, path));
        } else if (row.make == Make::R3D) {
            ASSERT_EQ(sdktest::WriteSdkClip(path, clip), "");
        } else if (row.make == Make::Junk) {
            test::WriteWholeFile(path, std::string(4096, 'x'));
        }
        EXPECT_FALSE(cache.HasMetadataForPath(path));
        const auto meta = cache.ForceMetadataForPath(path);
        EXPECT_EQ(cache.CacheGet(path), meta);
        ASSERT_EQ(meta == nullptr, row.make == Make::Nothing);
        if (!meta) continue;
        EXPECT_EQ(meta->hasTimingInfo(), row.frames > 0);
        EXPECT_EQ(meta->notPlayable(), std::string(row.name) == "junk.mov");
        EXPECT_EQ(meta->rateNumerator(), row.rateNum);
        EXPECT_EQ(meta->rateDenominator(), row.rateDen);
        EXPECT_FLOAT_EQ(static_cast<float>(meta->fps()),
                        row.frames ? static_cast<float>(row.rateNum) / row.rateDen : 24);
        EXPECT_EQ(meta->frameCount(), static_cast<uint32_t>(row.frames));
        EXPECT_EQ(meta->timeScale(), row.timeScale);
        EXPECT_EQ(meta->duration(), row.duration);
        EXPECT_EQ(meta->qtDuration().value, row.frames ? static_cast<int64_t>(row.duration) : 1000);
        EXPECT_EQ(meta->qtDuration().timeScale, static_cast<int64_t>(row.timeScale));
        EXPECT_EQ(meta->originalWidth(), row.width);
        EXPECT_EQ(meta->originalHeight(), row.height);
        EXPECT_EQ(meta->timecodeStartFrame(), row.timecodeStart);
        // A known record is the answer as it stands: the same one, not loaded again.
        meta->setFps(1.0);
        EXPECT_EQ(cache.ForceMetadataForPath(path), meta);
        EXPECT_EQ(meta->fps(), 1.0);
    }
}

}  // namespace
}  // namespace ombrel
