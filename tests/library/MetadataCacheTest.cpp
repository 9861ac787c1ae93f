#include "library/MetadataCache.h"

#include "platform/movie/TestMovies.h"
#include "r3d/sdk/SdkClips.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace ombrel {
namespace {

// One row a clip: a movie made by ffmpeg (its stream's time scale), or an R3D clip at a rate.
TEST(MetadataCache, LoadsTheTimingOfMoviesAndR3DClips) {
    const struct {
        const char* name;
        const char* movieArgs;  // null: an R3D clip
        uint32_t rateNum, rateDen;
        int frames;
        double timeScale, duration;
        int width, height;
        int32_t timecodeStart;
    } rows[] = {
        {"NtscMovieWithTimecode.mov", "-c:v mpeg4 -timecode 01:00:00:00", 24000, 1001, 12, 24000, 12012, 64, 48, 86400},
        {"MpegProgramStream.mpg", "-c:v mpeg2video", 25, 1, 10, 90000, 36000, 64, 48, 0},
        {"A001_C001_0101AB_001.R3D", nullptr, 24000, 1001, 5, 24000, 5005, 32, 16, 0},
        {"A001_C002_0101AB_001.R3D", nullptr, 24, 1, 5, 24000, 5000, 32, 16, 0},
        {"A001_C003_0101AB_001.R3D", nullptr, 25, 1, 5, 25000, 5000, 32, 16, 0},
    };
    test::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = dir / row.name;
        const std::string rate = std::to_string(row.rateNum) + "/" + std::to_string(row.rateDen);
        if (row.movieArgs) {
            ASSERT_TRUE(test::MakeMovie(test::TestPattern(rate, row.frames) + " " + row.movieArgs, path));
        } else {
            sdktest::SdkClip clip = sdktest::BasicClip(32, 16, row.frames);
            clip.spec.rateNumerator = row.rateNum;
            clip.spec.rateDenominator = row.rateDen;
            ASSERT_EQ(sdktest::WriteSdkClip(path, clip), "");
        }
        MetadataCache& cache = MetadataCache::Instance();
        EXPECT_FALSE(cache.HasMetadataForPath(path));
        const auto meta = cache.ForceMetadataForPath(path);
        ASSERT_NE(meta, nullptr);
        EXPECT_EQ(cache.CacheGet(path), meta);
        EXPECT_TRUE(meta->hasTimingInfo());
        EXPECT_FALSE(meta->notPlayable());
        EXPECT_EQ(meta->rateNumerator(), row.rateNum);
        EXPECT_EQ(meta->rateDenominator(), row.rateDen);
        EXPECT_FLOAT_EQ(static_cast<float>(meta->fps()), static_cast<float>(row.rateNum) / row.rateDen);
        EXPECT_EQ(meta->frameCount(), static_cast<uint32_t>(row.frames));
        EXPECT_EQ(meta->timeScale(), row.timeScale);
        EXPECT_EQ(meta->duration(), row.duration);
        EXPECT_EQ(meta->qtDuration().value, static_cast<int64_t>(row.duration));
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

// Files that are no clip still get a record, of defaults; a file that is not there gets none.
TEST(MetadataCache, UnreadableClipsKeepTheDefaults) {
    const struct {
        const char* name;
        bool exists;
        bool notPlayable;
    } rows[] = {
        {"nothing-here.mov", false, false},
        {"not-a-movie.mov", true, true},
        {"A009_C001_0101AB_001.R3D", true, false},
    };
    test::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = dir / row.name;
        if (row.exists) test::WriteWholeFile(path, std::string(4096, 'x'));
        const auto meta = MetadataCache::Instance().ForceMetadataForPath(path);
        EXPECT_EQ(MetadataCache::Instance().HasMetadataForPath(path), row.exists);
        if (!row.exists) {
            EXPECT_EQ(meta, nullptr);
            continue;
        }
        ASSERT_NE(meta, nullptr);
        EXPECT_EQ(meta->notPlayable(), row.notPlayable);
        EXPECT_FALSE(meta->hasTimingInfo());
        EXPECT_EQ(meta->fps(), 24.0);
        EXPECT_EQ(meta->timeScale(), 1000.0);
        EXPECT_EQ(meta->duration(), 1.0);
        EXPECT_EQ(meta->frameCount(), 0u);
        EXPECT_EQ(meta->originalWidth(), 1920.0f);
        EXPECT_EQ(meta->originalHeight(), 1080.0f);
    }
}

}  // namespace
}  // namespace ombrel
