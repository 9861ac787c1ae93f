// One grain scan at one size: the tileable resize, the range mapping of the texture, the
// per-channel values of an amount, and the warnings of every way the resize can fail.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "GrainTestSupport.h"
#include "core/Log.h"
#include "look/grain/GrainMap.h"
#include "look/grain/RawGrain.h"

namespace ombrel {
namespace {

using test::MakeBitmap;
using test::MeasureSeams;

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

class ResizeHooksGuard {
public:
    explicit ResizeHooksGuard(GrainResizeHooks hooks) { SetGrainResizeHooksForTesting(std::move(hooks)); }
    ~ResizeHooksGuard() { SetGrainResizeHooksForTesting({}); }
};

TEST(GrainResize, ATargetSmallerInOneAxisScalesTheWholeScanToTheTarget) {
    // R runs with x, G with y: the result's columns and rows must cover the whole scan.
    auto scan = MakeBitmap(200, 100, [](int x, int y) {
        return std::array<uint8_t, 3>{static_cast<uint8_t>(x), static_cast<uint8_t>(2 * y), 128};
    });
    GrainSize size;
    auto out = GrainMap::resizeNSImageToSize(scan, 150.0f, 120.0f, &size);
    ASSERT_TRUE(out);
    EXPECT_EQ(out->width, 150);
    EXPECT_EQ(out->height, 120);
    EXPECT_EQ(size.width, 150.0f);
    EXPECT_EQ(size.height, 120.0f);
    for (int x = 20; x < 130; x += 7) {
        const double expected = (x + 0.5) * 200.0 / 150.0 - 0.5;
        EXPECT_NEAR(out->row(60)[x * 4], expected, 1.5) << "column " << x;
    }
    for (int y = 20; y < 100; y += 9) {
        const double expected = 2.0 * ((y + 0.5) * 100.0 / 120.0 - 0.5);
        EXPECT_NEAR(out->row(y)[75 * 4 + 1], expected, 2.5) << "row " << y;
    }

    // Through a map the scan's aspect decides the height, whatever height was asked for.
    GrainMap map(scan, 150.0f, 999.0f);
    EXPECT_EQ(map.width(), 150);
    EXPECT_EQ(map.height(), 75);
    EXPECT_EQ(map.grainSize().height, 75.0f);
}

// The numbered steps magnify a centred crop, whose opposite edges were never neighbours: such
// a map need not tile, whatever the list of edge cases hopes. The scans are made as wide as
// the grain widths they serve, so the pipeline takes this road only for small gauges beyond 2K.
TEST(GrainResize, ALargerTargetMagnifiesACentredCropAsTheStepsSayThoughItsEdgesNeedNotTile) {
    auto scan = MakeBitmap(200, 100, [](int x, int y) {
        return std::array<uint8_t, 3>{static_cast<uint8_t>(x), static_cast<uint8_t>(2 * y), 128};
    });
    // 500 wide: 2.5 times the scan. The crop is 80 x 40 from (60, 30), magnified to 200 x 100.
    GrainMap map(scan, 500.0f, 250.0f);
    int w = 0, h = 0;
    map.GetGrainSize(&w, &h);
    EXPECT_EQ(w, 200);
    EXPECT_EQ(h, 100);
    EXPECT_EQ(map.grainSize().width, 200.0f);
    const BitmapRep& rep = *map.GetGrainBitmapRep();
    for (int x = 12; x < 188; x += 11) {
        const double expected = 60.0 + (x + 0.5) / 2.5 - 0.5;
        EXPECT_NEAR(rep.row(50)[x * 4], expected, 1.5) << "column " << x;
    }
    for (int y = 12; y < 88; y += 7) {
        const double expected = 2.0 * (30.0 + (y + 0.5) / 2.5 - 0.5);
        EXPECT_NEAR(rep.row(y)[100 * 4 + 1], expected, 2.5) << "row " << y;
    }
}

TEST(GrainResize, ATargetLargerThanTheRealScanReportsTheScansScale) {
    auto raw = RawGrain::InitWithName("CP35");
    const BitmapRep& scan = *raw->Rep();
    for (float width : {2.0f * scan.width, 3.3f * scan.width}) {
        GrainMap map(raw->Rep(), width, 0.0f);
        EXPECT_LE(map.width(), scan.width) << width;
        EXPECT_GE(map.width(), scan.width - 4) << width;
        EXPECT_LE(map.height(), scan.height) << width;
        EXPECT_GE(map.height(), scan.height - 4) << width;
        EXPECT_EQ(map.GetGrainBitmapRep()->width, map.width());
        EXPECT_EQ(map.grainSize().width, static_cast<float>(map.width()));
    }
}

// Opposite edges continue each other. The scaled plane's size is a whole number of pixels, so
// the scale is the exact ratio only to within a pixel over the image: across the wrap line the
// image may step by up to two pixels, never by more.
void ExpectSeamless(const BitmapRep& rep, const std::string& what) {
    const auto s = MeasureSeams(rep);
    EXPECT_LE(s.seamColumns, 1.1 * s.twoColumns + 0.25)
        << what << ": left/right seam " << s.seamColumns << " vs neighbours " << s.innerColumns << ", two apart "
        << s.twoColumns;
    EXPECT_LE(s.seamRows, 1.1 * s.twoRows + 0.25) << what << ": top/bottom seam " << s.seamRows << " vs neighbours "
                                                  << s.innerRows << ", two apart " << s.twoRows;
}

// The part of a scan that a resize to `width` takes: the whole scan, or, for a target larger
// than the scan, the centred crop that is magnified.
struct Taken {
    int ox = 0, oy = 0, cw = 0, ch = 0;
    bool magnified = false;
};
Taken TakenFor(int iw, int ih, float width) {
    const float height = std::ceil(width / (static_cast<double>(iw) / ih));
    const double sx = static_cast<double>(width) / iw, sy = static_cast<double>(height) / ih;
    Taken t{0, 0, iw, ih, sx > 1.0 && sy > 1.0};
    if (t.magnified) {
        t.cw = static_cast<int>(iw / sx);
        t.ch = static_cast<int>(ih / sy);
        t.ox = (iw - t.cw) / 2;
        t.oy = (ih - t.ch) / 2;
    }
    return t;
}

TEST(GrainResize, ASmoothTileStaysATileAtEverySize) {
    // Content that repeats over exactly the part of the scan a resize takes (the whole scan,
    // or the centred crop it magnifies), and is smooth, so that a seam of the resize's own
    // (a margin that is not the far edge, a window off the period) would stand out.
    const int iw = 1024, ih = 768;
    for (float width :
         {320.0f, 640.0f, 1000.0f, 1023.0f, 1024.0f, 1025.0f, 1500.0f, 2048.0f, 2900.0f, 4096.0f, 6000.0f, 8192.0f}) {
        const Taken t = TakenFor(iw, ih, width);
        auto scan = SmoothPeriodic(iw, ih, t.cw, t.ch);
        GrainMap map(scan, width, 0.0f);
        ASSERT_NE(map.GetGrainBitmapRep(), scan) << width;
        EXPECT_EQ(t.magnified, width > iw) << width;
        ExpectSeamless(*map.GetGrainBitmapRep(), "width " + std::to_string(width));
    }
}

TEST(GrainResize, OppositeEdgesOfTheScansMatchWhereTheWholeScanIsResized) {
    // Up to a scan's own width the whole scan, which tiles, is resized: its maps tile too,
    // for every grain width the pipeline asks of it.
    for (const char* name : {"CP35", "CP16", "CP8"}) {
        auto raw = RawGrain::InitWithName(name);
        const BitmapRep& scan = *raw->Rep();
        ASSERT_GE(scan.width, 2048) << name;
        std::vector<float> widths = {640.0f, 1375.0f, static_cast<float>(scan.width)};
        if (std::string(name) == "CP35") widths = {640.0f, 720.0f, 1024.0f, 1280.0f, 1920.0f, 2047.0f, 2048.0f};
        for (float width : widths) {
            ASSERT_FALSE(TakenFor(scan.width, scan.height, width).magnified);
            GrainMap map(raw->Rep(), width, 0.0f);
            ASSERT_NE(map.GetGrainBitmapRep(), raw->Rep()) << name << " at " << width;
            ExpectSeamless(*map.GetGrainBitmapRep(), std::string(name) + " width " + std::to_string(width));
        }
    }
}

TEST(GrainResize, FramesUpTo2KAtEveryGaugeAndUpTo4KAtTheLargerOnesTakeAWholeScanSoTheyTile) {
    // The scan and size the pipeline picks for a grain width: up to 2800 the 35mm scan, up to
    // 5500 the 16mm one at half size, beyond that the 8mm one at a quarter.
    auto pick = [](double grainWidth) -> std::pair<const char*, float> {
        if (grainWidth <= 2800.0) return {"CP35", static_cast<float>(grainWidth)};
        if (grainWidth <= 5500.0) return {"CP16", static_cast<float>(grainWidth / 2.0)};
        return {"CP8", static_cast<float>(grainWidth / 4.0)};
    };
    const struct {
        double frameWidth;
        std::vector<double> scales;
    } cases[] = {{1920.0, {0.69, 1.0, 1.13, 2.0, 2.43, 4.0, 5.53}},
                 {2048.0, {0.69, 1.0, 1.13, 2.0, 2.43, 4.0, 5.53}},
                 {4096.0, {0.69, 1.0, 1.13, 2.0}}};
    for (const auto& c : cases) {
        for (double scale : c.scales) {
            const auto [name, width] = pick(c.frameWidth * scale);
            auto raw = RawGrain::InitWithName(name);
            EXPECT_FALSE(TakenFor(raw->Rep()->width, raw->Rep()->height, width).magnified)
                << c.frameWidth << " at " << scale << ": " << name << " at " << width;
        }
    }
}

TEST(GrainResize, EveryFailureFallsBackToTheScanWithItsWarning) {
    auto scan = MakeBitmap(64, 32, [](int x, int y) {
        return std::array<uint8_t, 3>{static_cast<uint8_t>(x), static_cast<uint8_t>(y), 7};
    });
    GrainSize size;
    {
        // A scan of no size cannot give an aspect.
        LogCapture log;
        auto empty = std::make_shared<BitmapRep>(BitmapRep::Rgba8(0, 5));
        auto out = GrainMap::resizeNSImageToSize(empty, 100.0f, 50.0f, &size);
        EXPECT_EQ(out, empty);
        EXPECT_EQ(size.width, 0.0f);
        EXPECT_EQ(size.height, 5.0f);
        EXPECT_TRUE(log.Contains("grain resize WARNING: possible divide by 0 error - using original"));
    }
    // No result bitmap (a target of no width, or one so large that the crop has no pixels), no
    // work buffers, a plane that fails (the half-made result is dropped), and the way that works.
    int calls = 0;
    const auto failSecondPlane = [&](const uint8_t* src, int sw, int sh, int ss, uint8_t* dst, int dw, int dh, int ds) {
        return ++calls == 2 ? -7 : ScalePlanar8(src, sw, sh, ss, dst, dw, dh, ds);
    };
    struct Row {
        const char* name;
        float width;
        GrainResizeHooks hooks;
        const char* warning;  // null: no warning, and the resized map
    };
    const Row rows[] = {
        {"no width", 0.0f, {}, "grain resize WARNING: could not initialize resized grain image - using original"},
        {"negative width",
         -10.0f,
         {},
         "grain resize WARNING: could not initialize resized grain image - using original"},
        {"crop of no pixels",
         1.0e7f,
         {},
         "grain resize WARNING: could not initialize resized grain image - using original"},
        {"no buffers",
         40.0f,
         {{}, [](size_t bytes) { return bytes < 1000; }},
         "grain resize warning - buffer memory not allocated - using original grain size"},
        {"a plane fails",
         40.0f,
         {failSecondPlane, {}},
         "grain resize error:-7 - could not resize plane - using original image"},
        {"works", 40.0f, {}, nullptr},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        LogCapture log;
        ResizeHooksGuard hooks(r.hooks);
        GrainMap map(scan, r.width, 0.0f);
        if (r.warning) {
            EXPECT_EQ(map.GetGrainBitmapRep(), scan);
            EXPECT_EQ(map.width(), 64);
            EXPECT_EQ(map.height(), 32);
            EXPECT_TRUE(log.Contains(r.warning));
        } else {
            EXPECT_NE(map.GetGrainBitmapRep(), scan);
            EXPECT_EQ(map.width(), 40);
            EXPECT_EQ(map.height(), 20);
            EXPECT_TRUE(log.Lines().empty());
        }
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
    const BitmapRep& rep = *map.GetGrainBitmapRep();
    ASSERT_EQ(map.width(), 300);
    ASSERT_EQ(map.height(), 20);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 300; ++x) { ASSERT_EQ(rep.row(y)[x * 4], scan->row(y)[x * 4]) << x << "," << y; }
    }
    const float* t = map.GetTextureData();
    double above = 0.0;
    std::array<double, 3> sum{};
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 300; ++x) {
            for (int c = 0; c < 3; ++c) {
                const size_t i = static_cast<size_t>(3 * (y * 300 + x) + c);
                const double expected = (scan->row(y)[x * 4 + c] - 40.0) * (255.0 / 160.0) / 255.0;
                ASSERT_NEAR(t[i], expected, 1e-6) << x << "," << y << " channel " << c;
                above = std::max(above, static_cast<double>(t[i]));
                sum[static_cast<size_t>(c)] += t[i];
            }
        }
    }
    EXPECT_GT(above, 1.2) << "values beyond the sampled range are not clipped";
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(map.grainMean()[static_cast<size_t>(c)], sum[static_cast<size_t>(c)] / 6000.0, 1e-5);

    // A flat start leaves the samples as they are, / 255.
    auto flat = MakeBitmap(300, 2, [](int x, int y) {
        return y == 0 ? std::array<uint8_t, 3>{90, 90, 90}
                      : std::array<uint8_t, 3>{static_cast<uint8_t>(x % 256), 3, 250};
    });
    GrainMap flatMap(flat, 300.0f, 2.0f);
    EXPECT_FLOAT_EQ(flatMap.GetTextureData()[0], 90.0f / 255.0f);
    EXPECT_FLOAT_EQ(flatMap.GetTextureData()[3 * (300 + 77)], 77.0f / 255.0f);
    EXPECT_FLOAT_EQ(flatMap.GetTextureData()[3 * (300 + 77) + 2], 250.0f / 255.0f);
}

TEST(GrainTexture, TheAmountScalesTheSignedChannelValuesAndLeavesTheTexture) {
    auto scan = MakeBitmap(80, 40, [](int x, int y) {
        return std::array<uint8_t, 3>{static_cast<uint8_t>(x * 3), static_cast<uint8_t>(y * 6),
                                      static_cast<uint8_t>(x + y)};
    });
    GrainMap map(scan, 60.0f, 0.0f);
    EXPECT_EQ(map.grainAmount(), -1.0);
    EXPECT_EQ(map.GetGrainLookupR(), nullptr);
    EXPECT_EQ(map.GetGrainLookupG(), nullptr);
    EXPECT_EQ(map.GetGrainLookupB(), nullptr);
    const size_t pixels = static_cast<size_t>(map.width() * map.height());
    const std::vector<float> texture(map.GetTextureData(), map.GetTextureData() + pixels * 3);
    for (double amount : {1.0, 0.3, 2.5}) {
        map.SetGrainAmount(amount);
        EXPECT_EQ(map.grainAmount(), amount);
        const float* lookups[3] = {map.GetGrainLookupR(), map.GetGrainLookupG(), map.GetGrainLookupB()};
        for (size_t i = 0; i < pixels; i += 17) {
            for (size_t c = 0; c < 3; ++c) {
                ASSERT_NE(lookups[c], nullptr);
                EXPECT_NEAR(lookups[c][i], (texture[i * 3 + c] * 65535.0 - 32767.0) * amount, 0.01 * amount)
                    << "pixel " << i << " channel " << c;
            }
        }
        EXPECT_TRUE(std::equal(texture.begin(), texture.end(), map.GetTextureData()));
    }
}

}  // namespace
}  // namespace ombrel
