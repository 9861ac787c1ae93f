// The grain cache, the per-stock response curves with their fallback and instant-film
// factor, the blur of the small gauges, the generated scans' statistics, and two threads
// asking for maps at once. A curve file that holds fewer than its 256 entries leaves the rest
// of the curve at zero; the bytes of the container's tail are never read as numbers.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <thread>
#include <vector>

#include "core/Log.h"
#include "datafile/DataFile.h"
#include "datafile/Resource.h"
#include "look/grain/GrainManager.h"
#include "look/grain/RawGrain.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using Curve = std::array<float, GrainLookup::kEntries * 3>;

Curve CurveOf(const GrainLookupPtr& lookup) {
    Curve c;
    std::memcpy(c.data(), lookup->buffer(), GrainLookup::kBufferBytes);
    return c;
}

// The floats of a curve file as stored, before any factor.
Curve StoredCurve(const std::string& stock) {
    const auto bytes = GetUnscrambledData(ResourcePath("Resources/" + stock + ".emoGrain"));
    EXPECT_TRUE(bytes) << stock;
    Curve c{};
    if (bytes) std::memcpy(c.data(), bytes->data(), std::min(bytes->size(), GrainLookup::kBufferBytes));
    return c;
}

void WriteCurve(const std::string& root, const std::string& stock, const std::vector<float>& values) {
    std::filesystem::create_directories(root + "/Resources");
    char message[kMessageBufferSize] = {};
    ASSERT_EQ(ScrambleDataToFile(root + "/Resources/" + stock + ".emoGrain", values.data(),
                                 values.size() * sizeof(float), message),
              0)
        << message;
}

std::vector<float> Ramp(size_t count, float start, float step) {
    std::vector<float> v(count);
    for (size_t i = 0; i < count; ++i) v[i] = start + step * static_cast<float>(i);
    return v;
}

TEST(GrainManager, KeysCarryTheNameAndTheTruncatedSizeAndOnlyTheSmallGaugesBlurTheFrame) {
    EXPECT_EQ(GrainManager::GrainKeyForNameSize("CP35", 1920.9f, 1080.2f), "CP35:1920:1080");
    EXPECT_EQ(GrainManager::GrainKeyForNameSize("CP8", 480.0f, 0.5f), "CP8:480:0");
    const std::map<int, float> blurred = {{200, 0.55f}, {243, 0.67f}, {400, 0.9f}, {553, 1.0f}};  // S16 16 S8 8
    for (int tag : {-1, 0, 110, 199, 200, 201, 242, 243, 244, 399, 400, 401, 552, 553, 554}) {
        EXPECT_FLOAT_EQ(GrainManager::BlurRadiusForTag(tag), blurred.contains(tag) ? blurred.at(tag) : 0.0f) << tag;
    }
}

TEST(GrainManager, OneMapPerScanAndSizeWithTheCurveOfTheLatestStock) {
    auto& gm = GrainManager::Instance();
    const Curve c5207 = CurveOf(gm.GrainLookupForName("5207"));
    ASSERT_NE(c5207, CurveOf(gm.GrainLookupForName("KodakTriX"))) << "two stocks with one curve prove nothing";

    auto first = gm.GrainMapWithNameSizeStockName("CP35", 311.7f, 175.0f, "5207");
    ASSERT_TRUE(first);
    EXPECT_EQ(CurveOf(first->grainCurve()), c5207);
    EXPECT_EQ(first->width(), 311);
    // Another stock: the same object with the new stock's (shared) curve.
    EXPECT_EQ(gm.GrainMapWithNameSizeStockName("CP35", 311.2f, 175.9f, "KodakTriX"), first);
    EXPECT_EQ(first->grainCurve(), gm.GrainLookupForName("KodakTriX"));

    // Another size or another scan is another map; the height is part of the key even
    // though the scan's aspect decides the map's real height.
    auto taller = gm.GrainMapWithNameSizeStockName("CP35", 311.0f, 200.0f, "5207");
    EXPECT_NE(taller, first);
    EXPECT_EQ(taller->height(), first->height());
    auto other = gm.GrainMapWithNameSizeStockName("CP16", 311.0f, 175.0f, "5207");
    EXPECT_NE(other, first);
    EXPECT_EQ(other->grainName(), "CP16");
}

TEST(GrainCurve, InstantFilmCurvesAreWeakenedOnceAtLoad) {
    const Curve stored = StoredCurve("Polaroid");
    auto& gm = GrainManager::Instance();
    const Curve loaded = CurveOf(gm.GrainLookupForName("Polaroid"));
    for (size_t i = 0; i < stored.size(); ++i) {
        ASSERT_FLOAT_EQ(loaded[i], stored[i] * GrainLookup::kPolaroidFactor) << i;
    }
    // Asking again, directly or through a map, does not weaken it again.
    EXPECT_EQ(CurveOf(gm.GrainLookupForName("Polaroid")), loaded);
    EXPECT_EQ(CurveOf(gm.GrainMapWithNameSizeStockName("CP35", 300.0f, 169.0f, "Polaroid")->grainCurve()), loaded);
}

TEST(GrainCurve, AStockWithoutACurveFileBorrowsThatOf5207Silently) {
    LogCapture log;
    EXPECT_EQ(CurveOf(GrainManager::Instance().GrainLookupForName("NoSuchStock")), StoredCurve("5207"));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(GrainCurveDecision, ShortCurveLeavesMissingEntriesAtZero_NotCopyingTheContainerTail) {
    // 700 floats: the payload and the tail together exceed the curve, so a copy of "up to
    // 3,072 bytes" would fill the last 68 entries from the tail. With neither the stock's file
    // nor the fallback there is no grain response at all.
    for (size_t floats : {0, 100, 700, 768}) {
        SCOPED_TRACE(floats);
        test::TempDir dir;
        const auto values = Ramp(floats, 1.0f, 0.5f);
        if (floats) WriteCurve(dir.path(), "Short", values);
        test::ScopedDataRoot root(dir.path());
        const Curve loaded = CurveOf(GrainLookup::InitWithName("Short"));
        for (size_t i = 0; i < loaded.size(); ++i) ASSERT_EQ(loaded[i], i < floats ? values[i] : 0.0f) << i;
    }
}

TEST(GrainScanDeathTest, AMissingScanIsABrokenInstallation) {
    EXPECT_DEATH(RawGrain::InitWithName("CP99"), "Failed to load CP99 for grain");
    // A file that is there but is no image is no better.
    test::TempDir dir;
    std::filesystem::create_directories(dir.path() + "/Resources");
    test::WriteWholeFile(dir.path() + "/Resources/CP35.bin", "not an image");
    EXPECT_DEATH(
        {
            test::ScopedDataRoot root(dir.path());
            RawGrain::InitWithName("CP35");
        },
        "Failed to load CP35 for grain");
}

TEST(GrainManagerThreads, TwoPipelinesAskingAtOnceShareOneMapPerSize) {
    auto& gm = GrainManager::Instance();
    const char* stocks[] = {"5207", "KodakTriX", "8543", "NoSuchStock2"};
    // Six keys, which the two threads walk in opposite orders.
    auto ask = [&](int key, const char* stock) {
        return gm.GrainMapWithNameSizeStockName(key % 2 ? "CP16" : "CP35", 201.0f + float(key / 2), 113.0f, stock);
    };
    auto keyOf = [](size_t which, int i) { return which == 0 ? i % 6 : 5 - i % 6; };
    std::atomic<int> ready{0};
    std::vector<GrainMapPtr> got[2];
    auto pipeline = [&](size_t which) {
        ready.fetch_add(1);
        while (ready.load() < 2) std::this_thread::yield();
        for (int i = 0; i < 36; ++i) {
            auto map = ask(keyOf(which, i), stocks[(size_t(i) / 6 + 2 * which) % 4]);
            map->SetGrainAmount(which == 0 ? 1.0 : 0.3);
            volatile float sink = map->GetTextureData()[0] + map->grainCurve()->buffer()[0];  // what a draw reads
            (void)sink;
            got[which].push_back(map);
        }
    };
    std::thread a(pipeline, 0), b(pipeline, 1);
    a.join();
    b.join();
    for (size_t which = 0; which < 2; ++which) {
        for (int i = 0; i < 36; ++i)
            EXPECT_EQ(got[which][size_t(i)], ask(keyOf(which, i), "5207")) << which << " " << i;
    }
}

}  // namespace
}  // namespace ombrel
