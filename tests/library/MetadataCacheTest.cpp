#include "library/MetadataCache.h"

#include "r3d/sdk/SdkClips.h"
#include "support/Movies.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sstream>

namespace ombrel {
namespace {

enum class Make { Movie, R3D, Junk, Nothing };

// One row a file: a movie made by ffmpeg (its stream's time scale), an R3D clip at a rate, junk
// (a record of the defaults; a movie is marked not playable), or no file (no record). The
// reference file holds each record's timing.
TEST(MetadataCache, LoadsTheTimingOfMoviesAndR3DClipsOnce) {
    const struct {
        const char* name;
        Make make;
        const char* movieArgs;
        uint32_t rateNum, rateDen;
    } rows[] = {
        {"NtscWithTimecode.mov", Make::Movie, "-c:v mpeg4 -timecode 01:00:00:00", 24000, 1001},
        {"A001_C001_0101AB_001.R3D", Make::R3D, "", 24000, 1001},
        {"A001_C002_0101AB_001.R3D", Make::R3D, "", 24, 1},
        {"junk.mov", Make::Junk, "", 0, 1},
        {"A009_C001_0101AB_001.R3D", Make::Junk, "", 0, 1},
        {"nothing.mov", Make::Nothing, "", 0, 1},
    };
    test::TempDir dir;
    MetadataCache& cache = MetadataCache::Instance();
    // The worker would load each clip again behind the test's back.
    cache.Pause();
    cache.WaitForWorker();
    std::ostringstream out;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = dir / row.name;
        sdktest::SdkClip clip = sdktest::BasicClip(32, 16, 5);
        clip.spec.rateNumerator = row.rateNum;
        clip.spec.rateDenominator = row.rateDen;
        if (row.make == Make::Movie) {
            const std::string rate = std::to_string(row.rateNum) + "/" + std::to_string(row.rateDen);
            ASSERT_TRUE(test::MakeMovie(test::TestPattern(rate, 12) + " " + row.movieArgs, path));
        } else if (row.make == Make::R3D) {
            ASSERT_EQ(sdktest::WriteSdkClip(path, clip), "");
        } else if (row.make == Make::Junk) {
            test::WriteWholeFile(path, std::string(4096, 'x'));
        }
        EXPECT_FALSE(cache.HasMetadataForPath(path));
        const auto meta = cache.ForceMetadataForPath(path);
        EXPECT_EQ(cache.CacheGet(path), meta);
        out << row.name << ":";
        if (meta)
            out << " timing " << meta->hasTimingInfo() << ", not playable " << meta->notPlayable() << ", rate "
                << meta->rateNumerator() << "/" << meta->rateDenominator() << " = " << meta->fps() << ", "
                << meta->frameCount() << " frames, " << meta->duration() << " of " << meta->timeScale() << " ticks ("
                << meta->qtDuration().value << " of " << meta->qtDuration().timeScale << "), " << meta->originalWidth()
                << "x" << meta->originalHeight() << ", timecode start " << meta->timecodeStartFrame();
        out << "\n";
        if (!meta) continue;
        // A known record is the answer as it stands: the same one, not loaded again.
        meta->setFps(1.0);
        EXPECT_EQ(cache.ForceMetadataForPath(path), meta);
        EXPECT_EQ(meta->fps(), 1.0);
    }
    EXPECT_TRUE(test::MatchesRef("library/metadata-timing.txt", out.str()));
    cache.Restart();
}

}  // namespace
}  // namespace ombrel
