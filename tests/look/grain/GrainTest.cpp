// Grain: one scan at one size (the tileable resize, the range mapping of the texture, the
// warnings of every way the resize can fail), the cache of maps, and the per-stock response
// curves. A curve file that holds fewer than its 256 entries leaves the rest of the curve at
// zero; the bytes of the container's tail are never read as numbers.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <numbers>
#include <thread>
#include <vector>

#include "core/Log.h"
#include "datafile/DataFile.h"
#include "datafile/Resource.h"
#include "look/grain/GrainManager.h"
#include "look/grain/GrainMap.h"
#include "look/grain/RawGrain.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// An RGBA bitmap whose pixel (x, y) is rgb(x, y), alpha 255.
BitmapRepPtr MakeBitmap(int width, int height, const std::function<std::array<uint8_t, 3>(int x, int y)>& rgb) {
    auto rep = std::make_shared<BitmapRep>(BitmapRep::Rgba8(width, height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto v = rgb(x, y);
            std::copy(v.begin(), v.end(), rep->row(y) + 4 * x);
            rep->row(y)[4 * x + 3] = 255;
        }
    }
    return rep;
}

// R runs with x, G with y.
BitmapRepPtr Gradient() {
    return MakeBitmap(200, 100, [](int x, int y) {
        return std::array<uint8_t, 3>{static_cast<uint8_t>(x), static_cast<uint8_t>(2 * y), 128};
    });
}

uint8_t Clamp8(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0))); }

// Smooth and periodic with periods (px, py): neighbours differ little, so any seam a resize
// adds stands out.
BitmapRepPtr SmoothPeriodic(int w, int h, int px, int py) {
    const double tau = 2.0 * std::numbers::pi;
    return MakeBitmap(w, h, [=](int x, int y) {
        const double u = static_cast<double>(x) / px, v = static_cast<double>(y) / py;
        return std::array<uint8_t, 3>{Clamp8(128 + 60 * std::sin(tau * (3 * u + 0.2)) + 40 * std::cos(tau * 2 * v)),
                                      Clamp8(128 + 50 * std::sin(tau * (2 * u + 5 * v))),
                                      Clamp8(128 + 70 * std::cos(tau * (4 * v + 0.1)) * std::sin(tau * u))};
    });
}

// Column x of `rep` shows scan column ox + (x + 0.5) / scale - 0.5, row y scan row oy + ....
void ExpectCovers(const BitmapRep& rep, double ox, double oy, double sx, double sy) {
    for (int x = rep.width / 10; x < rep.width * 9 / 10; x += 7) {
        EXPECT_NEAR(rep.row(rep.height / 2)[x * 4], ox + (x + 0.5) / sx - 0.5, 1.5) << "column " << x;
    }
    for (int y = rep.height / 10; y < rep.height * 9 / 10; y += 7) {
        EXPECT_NEAR(rep.row(y)[rep.width / 2 * 4 + 1], 2.0 * (oy + (y + 0.5) / sy - 0.5), 2.5) << "row " << y;
    }
}

// A smaller target scales the whole scan; a larger one magnifies a centred crop, as the numbered
// steps say, whose opposite edges were never neighbours: such a map need not tile, whatever the
// list of edge cases hopes. The scans are made as wide as the grain widths they serve, so the
// pipeline takes this road only for small gauges beyond 2K. The scan's aspect decides the height.
TEST(GrainResize, ALargerTargetMagnifiesACentredCropAsTheStepsSayThoughItsEdgesNeedNotTile) {
    struct Row {
        float width;
        int w, h;
        double ox, oy, scale;  // the crop's corner in the scan, and its magnification
    };
    for (const Row& r : {Row{150, 150, 75, 0, 0, 0.75}, Row{500, 200, 100, 60, 30, 2.5}}) {
        GrainMap map(Gradient(), r.width, 999.0f);
        int w = 0, h = 0;
        map.GetGrainSize(&w, &h);
        EXPECT_EQ(std::vector<int>({w, h, int(map.grainSize().width)}), std::vector<int>({r.w, r.h, r.w})) << r.width;
        ExpectCovers(*map.GetGrainBitmapRep(), r.ox, r.oy, r.scale, r.scale);
    }
}

// Opposite edges continue each other: the mean step across the wrap line is no larger than
// between pixels two apart inside (the scaled plane's size is a whole number of pixels, so the
// scale is the exact ratio only to within a pixel over the image).
void ExpectSeamless(const BitmapRep& rep, const std::string& what) {
    const int w = rep.width, h = rep.height;
    auto at = [&](int x, int y, int c) { return static_cast<double>(rep.row(y)[x * 4 + c]); };
    double seam[2] = {0, 0}, two[2] = {0, 0};  // columns, rows
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c) {
                if (x == w - 1) seam[0] += std::abs(at(x, y, c) - at(0, y, c)) / (3.0 * h);
                if (y == h - 1) seam[1] += std::abs(at(x, y, c) - at(x, 0, c)) / (3.0 * w);
                if (x + 2 < w) two[0] += std::abs(at(x, y, c) - at(x + 2, y, c)) / (3.0 * h * (w - 2));
                if (y + 2 < h) two[1] += std::abs(at(x, y, c) - at(x, y + 2, c)) / (3.0 * w * (h - 2));
            }
        }
    }
    EXPECT_LE(seam[0], 1.1 * two[0] + 0.25) << what << ": left/right seam against pixels two apart " << two[0];
    EXPECT_LE(seam[1], 1.1 * two[1] + 0.25) << what << ": top/bottom seam against pixels two apart " << two[1];
}

// Content that repeats over exactly the part of the scan a resize takes (the whole scan, or the
// centred crop, the scan over the scale, that it magnifies), and is smooth, so that a seam of the
// resize's own (a margin that is not the far edge, a window off the period) would stand out.
TEST(GrainResize, ASmoothTileStaysATileAtEverySize) {
    for (const auto& [width, cw, ch] :
         {std::array<int, 3>{640, 1024, 768}, {1025, 1023, 767}, {2900, 361, 271}, {8192, 128, 96}}) {
        auto scan = SmoothPeriodic(1024, 768, cw, ch);
        GrainMap map(scan, float(width), 0.0f);
        ASSERT_NE(map.GetGrainBitmapRep(), scan) << width;
        ExpectSeamless(*map.GetGrainBitmapRep(), "width " + std::to_string(width));
    }
}

TEST(GrainResize, AFailedResizeFallsBackToTheScanWithItsWarning) {
    auto scan = MakeBitmap(64, 32, [](int x, int y) {
        return std::array<uint8_t, 3>{static_cast<uint8_t>(x), static_cast<uint8_t>(y), 7};
    });
    {
        // A scan of no size cannot give an aspect.
        LogCapture log;
        auto empty = std::make_shared<BitmapRep>(BitmapRep::Rgba8(0, 5));
        GrainSize size;
        EXPECT_EQ(GrainMap::resizeNSImageToSize(empty, 100.0f, 50.0f, &size), empty);
        EXPECT_EQ(size.height, 5.0f);
        EXPECT_TRUE(log.Contains("grain resize WARNING: possible divide by 0 error - using original"));
    }
    // No result bitmap (a target of no width, or one so large that the crop has no pixels), and
    // the way that works.
    const char* noImage = "grain resize WARNING: could not initialize resized grain image - using original";
    for (const auto& [width, warning] :
         {std::pair<float, const char*>{0.0f, noImage}, {-10.0f, noImage}, {1.0e7f, noImage}, {40.0f, nullptr}}) {
        LogCapture log;
        GrainMap map(scan, width, 0.0f);
        EXPECT_EQ(map.GetGrainBitmapRep() == scan, warning != nullptr) << width;
        EXPECT_EQ(map.height(), warning ? 32 : 20) << width;
        EXPECT_TRUE(warning ? log.Contains(warning) : log.Lines().empty()) << width;
    }
}

TEST(GrainResizeDeathTest, AMapOfNoPixelsAndAnAmountWithoutTextureAreProgrammingErrors) {
    EXPECT_DEATH(GrainMap(std::make_shared<BitmapRep>(BitmapRep::Rgba8(0, 0)), 100.0f, 50.0f), "pixelCount > 0");
    EXPECT_DEATH(GrainMap(0, 0, std::vector<float>{}).SetGrainAmount(1.0), "grainTextureData != nil");
}

TEST(GrainTexture, TheRangeOfTheFirstPixelsStretchesTheWholeImage) {
    // The first 250 pixels (1,000 bytes) run from 40 to 200; further on, values reach 250,
    // which then map above 1.
    auto scan = MakeBitmap(300, 20, [](int x, int y) {
        if (y == 0 && x < 250) return std::array<uint8_t, 3>{static_cast<uint8_t>(40 + x % 161), 100, 120};
        return std::array<uint8_t, 3>{static_cast<uint8_t>((x * 7 + y * 13) % 251), static_cast<uint8_t>(x % 200),
                                      static_cast<uint8_t>(y * 10)};
    });
    GrainMap map(scan, 300.0f, 20.0f);  // the scan's own size: the resize keeps every sample
    ASSERT_EQ(map.width() * map.height(), 6000);
    const float* t = map.GetTextureData();
    double above = 0.0;
    std::array<double, 3> sum{};
    for (size_t i = 0; i < 18000; ++i) {
        const uint8_t sample = scan->row(int(i / 900))[i % 900 / 3 * 4 + i % 3];
        ASSERT_EQ(map.GetGrainBitmapRep()->row(int(i / 900))[i % 900 / 3 * 4 + i % 3], sample) << i / 3;
        ASSERT_NEAR(t[i], (sample - 40.0) * (255.0 / 160.0) / 255.0, 1e-6) << "pixel " << i / 3 << " channel " << i % 3;
        above = std::max(above, static_cast<double>(t[i]));
        sum[i % 3] += t[i];
    }
    EXPECT_GT(above, 1.2) << "values beyond the sampled range are not clipped";
    for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(map.grainMean()[c], sum[c] / 6000.0, 1e-5) << "grain's own mean";

    // A flat start leaves the samples as they are, / 255.
    auto flat = MakeBitmap(300, 2, [](int x, int y) {
        return y == 0 ? std::array<uint8_t, 3>{90, 90, 90} : std::array<uint8_t, 3>{static_cast<uint8_t>(x), 3, 250};
    });
    EXPECT_FLOAT_EQ(GrainMap(flat, 300.0f, 2.0f).GetTextureData()[3 * (300 + 77)], 77.0f / 255.0f);
}

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

TEST(GrainManager, OnlyTheSmallGaugesBlurTheFrame) {
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
    // Another stock: the same object (the size is truncated) with the new stock's shared curve.
    EXPECT_EQ(gm.GrainMapWithNameSizeStockName("CP35", 311.2f, 175.9f, "KodakTriX"), first);
    EXPECT_EQ(first->grainCurve(), gm.GrainLookupForName("KodakTriX"));

    // Another size or another scan is another map; the height is part of the key even
    // though the scan's aspect decides the map's real height.
    auto taller = gm.GrainMapWithNameSizeStockName("CP35", 311.0f, 200.0f, "5207");
    EXPECT_NE(taller, first);
    EXPECT_EQ(taller->height(), first->height());
    EXPECT_EQ(gm.GrainMapWithNameSizeStockName("CP16", 311.0f, 175.0f, "5207")->grainName(), "CP16");
}

// A stock's curve is its file's, instant film's weakened once at load, and a stock without a
// file borrows that of 5207, silently.
TEST(GrainCurve, TheStocksFileWithTheInstantFilmFactorOnceAndWithoutAFileThatOf5207) {
    struct Row {
        const char *stock, *file;
        float factor;
    };
    LogCapture log;
    for (const Row& r : {Row{"5213", "5213", 1.0f}, Row{"Polaroid", "Polaroid", GrainLookup::kPolaroidFactor},
                         Row{"NoSuchStock", "5207", 1.0f}}) {
        const Curve stored = StoredCurve(r.file);
        ASSERT_NE(stored, Curve{}) << "a curve of zeros proves nothing";
        for (int round = 0; round < 2; ++round) {
            const Curve loaded = CurveOf(GrainManager::Instance().GrainLookupForName(r.stock));
            for (size_t i = 0; i < stored.size(); ++i) ASSERT_FLOAT_EQ(loaded[i], stored[i] * r.factor) << r.stock << i;
        }
    }
    EXPECT_TRUE(log.Lines().empty());
}

TEST(GrainCurveDecision, ShortCurveLeavesMissingEntriesAtZero_NotCopyingTheContainerTail) {
    // 700 floats: the payload and the tail together exceed the curve, so a copy of "up to
    // 3,072 bytes" would fill the last 68 entries from the tail. With neither the stock's file
    // nor the fallback there is no grain response at all.
    for (size_t floats : {0, 100, 700, 768}) {
        SCOPED_TRACE(floats);
        test::TempDir dir;
        std::vector<float> values(floats);
        for (size_t i = 0; i < floats; ++i) values[i] = 1.0f + 0.5f * float(i);
        if (floats) WriteCurve(dir.path(), "Short", values);
        test::ScopedDataRoot root(dir.path());
        const Curve loaded = CurveOf(GrainLookup::InitWithName("Short"));
        for (size_t i = 0; i < loaded.size(); ++i) ASSERT_EQ(loaded[i], i < floats ? values[i] : 0.0f) << i;
    }
}

TEST(GrainScanDeathTest, AMissingScanIsABrokenInstallation) {
    EXPECT_DEATH(RawGrain::InitWithName("CP99"), "Failed to load CP99 for grain");
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
