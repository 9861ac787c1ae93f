#include "core/Log.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "core/PlistValue.h"
#include "library/MetadataCache.h"

#include "r3d/sdk/SdkClips.h"
#include "support/Movies.h"
#include "support/Shell.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <thread>

namespace ombrel {
namespace {

// Counts what it is told, by path; told on the main thread only.
struct Seen : MetadataObserver {
    std::map<std::string, int> told;
    void SetNeedsDisplay(const std::string& path) override { ++told[path]; }
};

// Serves the main queue until `done` or 20 s.
template <typename Done>
bool ServeUntil(Done done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done() && std::chrono::steady_clock::now() < end) MainQueue::Instance().ServeFor(std::chrono::milliseconds(5));
    return done();
}

std::string MakeR3D(const test::TempDir& dir, const std::string& name, uint32_t rateNum, uint32_t rateDen,
                    std::vector<int> makerFrames = {}) {
    sdktest::SdkClip clip = sdktest::BasicClip(64, 32, 4);
    clip.makerFrames = std::move(makerFrames);
    clip.spec.rateNumerator = rateNum;
    clip.spec.rateDenominator = static_cast<uint16_t>(rateDen);
    const std::string path = dir / name;
    EXPECT_EQ(sdktest::WriteSdkClip(path, clip), "");
    return path;
}

TEST(MetadataQueue, AsynchronousAnswersReachEachObserverOnce) {
    test::TempDir dir;
    MetadataCache& cache = MetadataCache::Instance();
    cache.Pause();
    cache.WaitForWorker();
    const std::string clip = MakeR3D(dir, "A001_C001_0101AB_001.R3D", 24000, 1001);
    const std::string movie = dir / "movie.mov";
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("25", 3) + " -c:v mpeg4", movie));
    const int32_t queued = cache.QueueSize(), counted = cache.cacheCount();
    auto one = std::make_shared<Seen>(), two = std::make_shared<Seen>(), gone = std::make_shared<Seen>();

    for (const auto& view : {one, one, two, gone}) {
        EXPECT_EQ(cache.MetadataForPathWithThumbnailNotifyDiscard(clip, true, view, false), nullptr);
    }
    EXPECT_EQ(cache.QueueSize(), queued + 1);
    EXPECT_EQ(cache.cacheCount(), counted + 1);
    EXPECT_NE(cache.QueuedMeta(clip), nullptr);
    EXPECT_EQ(cache.MetadataForPathWithThumbnailNotifyDiscard(dir / "x.mov", true, one, true), nullptr);
    EXPECT_EQ(cache.QueueSize(), queued + 1) << "a discarded request queues nothing";
    std::weak_ptr<Seen> goneWatch = gone;
    gone.reset();

    // A forced load of a queued clip answers here and now; the worker loads it once more.
    EXPECT_EQ(cache.MetadataForPathWithThumbnailNotifyDiscard(movie, false, one, false), nullptr);
    const auto forced = cache.ForceMetadataForPath(movie);
    ASSERT_NE(forced, nullptr);
    EXPECT_TRUE(forced->hasTimingInfo());
    EXPECT_EQ(forced->frameCount(), 3u);
    EXPECT_EQ(cache.QueuedMeta(movie), nullptr);
    EXPECT_EQ(cache.QueueSize(), queued + 2);

    cache.Restart();
    ASSERT_TRUE(ServeUntil([&] { return cache.QueueSize() == 0 && one->told[clip] && two->told[clip] && one->told[movie] == 2; }));
    cache.Pause();
    cache.WaitForWorker();
    MainQueue::Instance().ServePending();
    EXPECT_EQ(one->told[clip], 1);
    EXPECT_EQ(two->told[clip], 1);
    EXPECT_TRUE(goneWatch.expired());

    const auto meta = cache.MetadataForPathWithThumbnailNotifyDiscard(clip, true, one, false);
    ASSERT_NE(meta, nullptr);
    EXPECT_EQ(meta->timeScale(), 24000.0);
    EXPECT_EQ(meta->duration(), 4 * 1001.0);
    const ImagePtr thumb = MetadataCache::RequestThumbNotify(clip, one);
    ASSERT_NE(thumb, nullptr);
    EXPECT_EQ(thumb, meta->thumbnail());
    EXPECT_EQ(thumb->width * 10 + thumb->height, 4 * 10 + 2);
    // A movie seen without a thumbnail is asked for one: the placeholder meanwhile, queued again.
    EXPECT_EQ(MetadataCache::RequestThumbNotify(movie, one), MetadataCache::ThumbPlaceholder());
    EXPECT_EQ(cache.QueueSize(), 1);
    cache.Restart();
}

// Each kind of clip through the worker, then read back as a later run would: the record, the
// thumbnail file as the tools see it, and what a second request answers from disk.
TEST(MetadataQueue, RecordsAndThumbnailsRoundTrip) {
    test::TempDir dir;
    const struct Row {
        std::string path;
        bool notPlayable;
        std::vector<std::string> tiff;  // what tiffinfo tells of the thumbnail
    } rows[] = {
        {MakeR3D(dir, "A001_C002_0101AB_001.R3D", 24000, 1001), false,
         {"Image Width: 4 Image Length: 2", "Bits/Sample: 16", "Planar Configuration: separate image planes"}},
        {dir / "movie.mov", false, {"Image Width: 156 Image Length: 94", "Bits/Sample: 8", "single image plane"}},
        {dir / "junk.mov", true, {}},
        {MakeR3D(dir, "A001_C003_0101AB_001.R3D", 24, 1, {0}), false, {}},
    };
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24000/1001", 5) + " -c:v mpeg4 -timecode 01:00:00:00", rows[1].path));
    test::WriteWholeFile(rows[2].path, std::string(4096, 'x'));
    MetadataCache& cache = MetadataCache::Instance();
    auto view = std::make_shared<Seen>();
    LogCapture log;
    for (const Row& row : rows) cache.MetadataForPathWithThumbnailNotifyDiscard(row.path, true, view, false);
    ASSERT_TRUE(ServeUntil([&] { return view->told.size() == std::size(rows); }));
    EXPECT_TRUE(log.Contains("Decode failed 14?"));

    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        const auto meta = cache.CacheGet(row.path);
        ClipMetadata again(row.path);
        ASSERT_TRUE(again.LoadFromPList());
        EXPECT_EQ(again.notPlayable(), row.notPlayable);
        EXPECT_EQ(again.hasThumbnail(), !row.tiff.empty());
        EXPECT_EQ(again.thumbnailPath(), meta->thumbnailPath());
        const auto same = [](const ClipMetadata& m) {
            return std::make_tuple(m.timeScale(), m.fps(), m.duration(), m.frameCount(), m.originalWidth(),
                                   m.originalHeight(), m.qtDuration().value, m.qtDuration().timeScale,
                                   m.timecodeStartFrame(), m.rateNumerator(), m.rateDenominator());
        };
        EXPECT_EQ(same(again), same(*meta));
        const std::string info = test::RunShell("tiffinfo '" + MetadataCache::TiffPath(row.path) + "'").output;
        for (const std::string& want : row.tiff) EXPECT_NE(info.find(want), std::string::npos) << info;
        // Another version of the record is not found.
        const std::string v2 = ThumbnailsFolder() + "/." + FileParser::PathHashForPath(row.path) + "_v2.plist";
        ASSERT_EQ(std::rename(again.PlistPath().c_str(), v2.c_str()), 0);
        EXPECT_FALSE(ClipMetadata(row.path).LoadFromPList());
    }
}

// A record without a thumbnail, asked for one: queued once, and the record rewritten with it.
TEST(MetadataQueue, RecordWithoutThumbnailIsRewritten) {
    test::TempDir dir;
    const std::string clip = MakeR3D(dir, "A002_C001_0101AB_001.R3D", 24, 1);
    {
        ClipMetadata old(clip);
        old.setFrameCount(99);
        ASSERT_TRUE(old.SaveToPList());
    }
    MetadataCache& cache = MetadataCache::Instance();
    const auto known = cache.MetadataForPathWithThumbnailNotifyDiscard(clip, false, nullptr, false);
    ASSERT_NE(known, nullptr);
    EXPECT_EQ(known->frameCount(), 99u);
    auto view = std::make_shared<Seen>();
    const int32_t counted = cache.cacheCount();
    EXPECT_EQ(cache.MetadataForPathWithThumbnailNotifyDiscard(clip, true, view, false), nullptr);
    EXPECT_EQ(cache.MetadataForPathWithThumbnailNotifyDiscard(clip, true, view, false), nullptr);
    EXPECT_EQ(cache.cacheCount(), counted + 1);
    ASSERT_TRUE(ServeUntil([&] { return view->told[clip] == 1; }));
    PlistValue record;
    ASSERT_TRUE(PlistValue::ReadFromFile(known->PlistPath(), &record).ok());
    EXPECT_EQ(record["frameCount"].asInt(), 4);
    EXPECT_EQ(record["thumbnailPath"].asString(), MetadataCache::TiffPath(clip));
}

// Many threads asking for the same clips at once get one record each, complete; run under
// ThreadSanitizer too.
TEST(MetadataQueue, ConcurrentRequestsShareOneRecord) {
    test::TempDir dir;
    std::vector<std::string> paths;
    for (int i = 0; i < 4; ++i) paths.push_back(MakeR3D(dir, "A003_C00" + std::to_string(i) + "_0101AB_001.R3D", 25, 1));
    MetadataCache& cache = MetadataCache::Instance();
    auto view = std::make_shared<Seen>();
    std::vector<std::thread> askers;
    for (int t = 0; t < 4; ++t) {
        askers.emplace_back([&, t] {
            for (int round = 0; round < 3; ++round) {
                for (const std::string& path : paths) {
                    if ((t + round) % 2) {
                        (void)cache.MetadataForPathWithThumbnailNotifyDiscard(path, true, view, false);
                    } else {
                        EXPECT_TRUE(cache.ForceMetadataForPath(path)->hasTimingInfo());
                    }
                }
            }
        });
    }
    for (auto& asker : askers) asker.join();
    ASSERT_TRUE(ServeUntil([&] { return view->told.size() == paths.size(); }));
    // A record done before its thumbnail was asked for goes round again on the next request.
    ASSERT_TRUE(ServeUntil([&] {
        for (const std::string& path : paths) {
            if (MetadataCache::RequestThumbNotify(path, view) == MetadataCache::ThumbPlaceholder()) return false;
        }
        return true;
    }));
    for (const std::string& path : paths) EXPECT_EQ(cache.ForceMetadataForPath(path), cache.CacheGet(path));
}

}  // namespace
}  // namespace ombrel
