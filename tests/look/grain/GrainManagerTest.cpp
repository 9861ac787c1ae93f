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
    for (int tag :
         {-1, 0, 50, 100, 110, 198, 199, 200, 201, 239, 242, 243, 244, 399, 400, 401, 499, 552, 553, 554, 1000}) {
        EXPECT_FLOAT_EQ(GrainManager::BlurRadiusForTag(tag), blurred.contains(tag) ? blurred.at(tag) : 0.0f) << tag;
    }
}

TEST(GrainManager, OneMapPerScanAndSizeWithTheCurveOfTheLatestStock) {
    auto& gm = GrainManager::Instance();
    const Curve c5207 = CurveOf(gm.GrainLookupForName("5207"));
    const Curve cTriX = CurveOf(gm.GrainLookupForName("KodakTriX"));
    ASSERT_NE(c5207, cTriX) << "two stocks with one curve prove nothing";

    auto first = gm.GrainMapWithNameSizeStockName("CP35", 311.7f, 175.0f, "5207");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->stockName(), "5207");
    EXPECT_EQ(first->grainName(), "CP35");
    EXPECT_EQ(CurveOf(first->grainCurve()), c5207);
    EXPECT_EQ(first->width(), 311);

    // Another stock: the same object, a new curve, the stock it was made for.
    auto second = gm.GrainMapWithNameSizeStockName("CP35", 311.2f, 175.9f, "KodakTriX");
    EXPECT_EQ(second, first);
    EXPECT_EQ(CurveOf(first->grainCurve()), cTriX);
    EXPECT_EQ(first->grainCurve(), gm.GrainLookupForName("KodakTriX")) << "curves are shared too";
    EXPECT_EQ(first->stockName(), "5207");

    // Another size or another scan is another map; the height is part of the key even
    // though the scan's aspect decides the map's real height.
    auto taller = gm.GrainMapWithNameSizeStockName("CP35", 311.0f, 200.0f, "5207");
    EXPECT_NE(taller, first);
    EXPECT_EQ(taller->height(), first->height());
    auto other = gm.GrainMapWithNameSizeStockName("CP16", 311.0f, 175.0f, "5207");
    EXPECT_NE(other, first);
    EXPECT_EQ(other->grainName(), "CP16");
}

TEST(GrainCurve, TheFirst768FloatsOfTheStocksFileAreItsCurve) {
    const Curve stored = StoredCurve("5213");
    EXPECT_EQ(CurveOf(GrainLookup::InitWithName("5213")), stored);
    EXPECT_NE(stored, Curve{}) << "a curve of zeros proves nothing";
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
    auto map = gm.GrainMapWithNameSizeStockName("CP35", 300.0f, 169.0f, "Polaroid");
    EXPECT_EQ(CurveOf(map->grainCurve()), loaded);

    // The factor follows the stock's name, not the file: the same numbers under another
    // stock's name stay as they are.
    test::TempDir dir;
    const auto values = Ramp(768, 0.01f, 0.001f);
    WriteCurve(dir.path(), "Polaroid", values);
    WriteCurve(dir.path(), "5207", values);
    test::ScopedDataRoot root(dir.path());
    const Curve instant = CurveOf(GrainLookup::InitWithName("Polaroid"));
    const Curve plain = CurveOf(GrainLookup::InitWithName("5207"));
    for (size_t i = 0; i < values.size(); ++i) {
        ASSERT_FLOAT_EQ(plain[i], values[i]) << i;
        ASSERT_FLOAT_EQ(instant[i], values[i] * 0.3f) << i;
    }
}

TEST(GrainCurve, AStockWithoutACurveFileBorrowsThatOf5207Silently) {
    {
        LogCapture log;
        const Curve borrowed = CurveOf(GrainManager::Instance().GrainLookupForName("NoSuchStock"));
        EXPECT_EQ(borrowed, StoredCurve("5207"));
        EXPECT_EQ(borrowed, CurveOf(GrainManager::Instance().GrainLookupForName("5207")));
        EXPECT_TRUE(log.Lines().empty());
    }
    test::TempDir dir;
    const auto values = Ramp(768, 1.0f, 0.5f);
    WriteCurve(dir.path(), "5207", values);
    test::ScopedDataRoot root(dir.path());
    LogCapture log;
    const Curve borrowed = CurveOf(GrainLookup::InitWithName("KodakPortra"));
    for (size_t i = 0; i < values.size(); ++i) ASSERT_EQ(borrowed[i], values[i]) << i;
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
    EXPECT_DEATH(GrainManager::Instance().GrainMapWithNameSizeStockName("CP4", 640.0f, 360.0f, "5207"),
                 "Failed to load CP4 for grain");
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

// What the pipeline receives from each generated scan at its own size: centred on mid grey
// after the range mapping, and coarser the smaller the gauge.
TEST(GrainScans, EachScanIsCentredOnMidGreyAndTheSmallerGaugesAreCoarser) {
    std::vector<double> spreads;
    for (const char* name : {"CP35", "CP16", "CP8"}) {
        auto raw = RawGrain::InitWithName(name);
        const BitmapRep& scan = *raw->Rep();
        GrainMap map(raw->Rep(), static_cast<float>(scan.width), static_cast<float>(scan.height));
        ASSERT_EQ(map.width(), scan.width) << name;
        const size_t pixels = static_cast<size_t>(map.width()) * static_cast<size_t>(map.height());
        const float* t = map.GetTextureData();
        double spread = 0.0;
        for (size_t c = 0; c < 3; ++c) {
            const double mean = map.grainMean()[c];
            EXPECT_NEAR(mean, 0.5, 0.02) << name << " channel " << c;
            double sq = 0.0;
            for (size_t i = 0; i < pixels; ++i) sq += (t[i * 3 + c] - mean) * (t[i * 3 + c] - mean);
            spread += std::sqrt(sq / static_cast<double>(pixels)) / 3.0;
        }
        spreads.push_back(spread);
    }
    EXPECT_LT(spreads[0], spreads[1]) << "CP16 is coarser than CP35";
    EXPECT_LT(spreads[1], spreads[2]) << "CP8 is coarser than CP16";
}

TEST(GrainManagerThreads, TwoPipelinesAskingAtOnceShareOneMapPerSize) {
    auto& gm = GrainManager::Instance();
    const std::vector<std::array<float, 2>> sizes = {{201.0f, 113.0f}, {203.0f, 114.0f}, {205.0f, 115.0f}};
    const std::vector<std::string> scans = {"CP35", "CP16"};
    const std::vector<std::string> stocks = {"5207", "KodakTriX", "8543", "NoSuchStock2"};
    constexpr int kRounds = 6;
    struct Got {
        size_t scan, size;
        GrainMapPtr map;
    };
    std::atomic<int> ready{0};
    std::vector<std::vector<Got>> got(2);
    auto pipeline = [&](int which) {
        ready.fetch_add(1);
        while (ready.load() < 2) std::this_thread::yield();
        for (int round = 0; round < kRounds; ++round) {
            for (size_t i = 0; i < sizes.size() * scans.size(); ++i) {
                // The two threads walk the same keys in different orders.
                const size_t key = which == 0 ? i : sizes.size() * scans.size() - 1 - i;
                const size_t scan = key % scans.size(), size = key / scans.size();
                const auto& stock = stocks[static_cast<size_t>(round + 2 * which) % stocks.size()];
                auto map = gm.GrainMapWithNameSizeStockName(scans[scan], sizes[size][0], sizes[size][1], stock);
                map->SetGrainAmount(which == 0 ? 1.0 : 0.3);
                // What a draw reads: the image, its size and the curve in force.
                const float* data = map->GetTextureData();
                volatile float sink = data[0] + map->grainCurve()->buffer()[0] + static_cast<float>(map->width());
                (void)sink;
                got[static_cast<size_t>(which)].push_back({scan, size, map});
            }
        }
    };
    std::thread a(pipeline, 0), b(pipeline, 1);
    a.join();
    b.join();
    for (size_t which = 0; which < 2; ++which) {
        ASSERT_EQ(got[which].size(), static_cast<size_t>(kRounds) * sizes.size() * scans.size());
        for (const Got& g : got[which]) {
            auto now = gm.GrainMapWithNameSizeStockName(scans[g.scan], sizes[g.size][0], sizes[g.size][1], "5207");
            EXPECT_EQ(g.map, now) << "one object for " << scans[g.scan] << " at " << sizes[g.size][0];
            EXPECT_EQ(g.map->grainName(), scans[g.scan]);
        }
    }
}

}  // namespace
}  // namespace ombrel
