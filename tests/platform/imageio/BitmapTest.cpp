// Decoded bitmaps and the planar 8-bit scaler that grain scans go through.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <climits>
#include <cmath>
#include <tuple>
#include <vector>

#include "platform/imageio/Bitmap.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// A plain 8-bit RGB TIFF, three samples per pixel, no alpha: what a grain scan is.
void WriteRgbTiff(const std::string& path, int w, int h, std::vector<uint8_t> rgb) {
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(w));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(h));
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 4);
    for (int y = 0; y < h; ++y) ASSERT_EQ(TIFFWriteScanline(tif, rgb.data() + y * w * 3, uint32_t(y), 0), 1);
    TIFFClose(tif);
}

TEST(Bitmap, AnRgbFileDecodesToMeshedRgbaRowsTopFirst) {
    test::TempDir dir;
    const int w = 37, h = 11;
    std::vector<uint8_t> rgb;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) rgb.insert(rgb.end(), {uint8_t(x * 6), uint8_t(y * 20), uint8_t(x * 31 + y * 17)});
    WriteRgbTiff(dir / "scan.bin", w, h, rgb);
    BitmapRepPtr rep;
    const Status decoded = DecodeBitmapFile(dir / "scan.bin", &rep);
    ASSERT_TRUE(decoded.ok()) << decoded.message();
    EXPECT_EQ(std::tuple(rep->width, rep->height, rep->samplesPerPixel, rep->bitsPerSample, rep->bitsPerPixel,
                         rep->bytesPerRow),
              std::tuple(w, h, 4, 8, 32, w * 4));
    std::vector<uint8_t> rgba;
    for (size_t i = 0; i < rgb.size(); i += 3) rgba.insert(rgba.end(), {rgb[i], rgb[i + 1], rgb[i + 2], 255});
    EXPECT_EQ(std::vector<uint8_t>(rep->data.begin(), rep->data.end()), rgba);
    EXPECT_EQ(rep->row(h - 1), rep->data.data() + (h - 1) * w * 4);
    // What is no image gives null and says why.
    test::WriteWholeFile(dir / "text.bin", "grain, but not as a picture");
    for (const char* name : {"missing.bin", "text.bin"}) {
        BitmapRepPtr rep;
        const Status decoded = DecodeBitmapFile(dir / name, &rep);
        EXPECT_EQ(rep, nullptr);
        EXPECT_NE(decoded.message().find(name), std::string::npos) << decoded.message();
    }
}

TEST(Bitmap, NewBitmapsAreZeroedRgbaOrNullWhenTheyCannotBe) {
    auto rep = BitmapRep::TryRgba8(5, 3);
    ASSERT_TRUE(rep);
    EXPECT_EQ(std::tuple(rep->bytesPerRow, rep->bitsPerPixel / rep->bitsPerSample), std::tuple(20, 4));
    EXPECT_EQ(std::vector<uint8_t>(rep->data.begin(), rep->data.end()), std::vector<uint8_t>(60, 0));
    EXPECT_FALSE(BitmapRep::TryRgba8(0, 3) || BitmapRep::TryRgba8(3, -1));
    EXPECT_FALSE(BitmapRep::TryRgba8(INT_MAX / 4 + 1, 1)) << "a row an int cannot count";
    EXPECT_FALSE(BitmapRep::TryRgba8(1 << 28, 1 << 20)) << "a petabyte";
    EXPECT_TRUE(BitmapRep::Rgba8(0, 4).empty());
}

std::vector<uint8_t> Plane(int w, int h, uint8_t (*f)(int, int)) {
    std::vector<uint8_t> p(static_cast<size_t>(w * h));
    for (size_t i = 0; i < p.size(); ++i) p[i] = f(static_cast<int>(i) % w, static_cast<int>(i) / w);
    return p;
}

// A flat plane stays flat at every size because edges repeat (a scaler that read zeros beyond
// the edges would darken the border); the same size is a copy, a ramp stays a ramp, and bad
// arguments are refused.
TEST(ScalePlanar8, FlatPlanesStayFlatAndRampsStayRamps) {
    const std::vector<uint8_t> src(23 * 17, 200);
    for (auto [w, h] : {std::pair{23, 17}, {7, 5}, {1, 1}, {2, 3}, {64, 33}, {301, 250}}) {
        std::vector<uint8_t> dst(static_cast<size_t>(w * h), 0);
        ASSERT_EQ(ScalePlanar8(src.data(), 23, 17, 23, dst.data(), w, h, w), 0) << w << "x" << h;
        for (size_t i = 0; i < dst.size(); ++i) ASSERT_EQ(dst[i], 200) << w << "x" << h << " at " << i;
    }
    const auto noise =
        Plane(41, 13, [](int x, int y) -> uint8_t { return static_cast<uint8_t>((x * 97 + y * 57) % 256); });
    std::vector<uint8_t> same(noise.size());
    ASSERT_EQ(ScalePlanar8(noise.data(), 41, 13, 41, same.data(), 41, 13, 41), 0);
    EXPECT_EQ(same, noise);

    // A ramp of 2 per pixel, halved: 4 per pixel, centred between the source pairs.
    const auto ramp = Plane(120, 8, [](int x, int) -> uint8_t { return static_cast<uint8_t>(2 * x); });
    std::vector<uint8_t> half(60 * 4);
    ASSERT_EQ(ScalePlanar8(ramp.data(), 120, 8, 120, half.data(), 60, 4, 60), 0);
    for (int x = 4; x < 56; ++x) EXPECT_NEAR(half[static_cast<size_t>(2 * 60 + x)], 4 * x + 1, 1) << x;

    // Bad arguments are refused with a negative code.
    std::vector<uint8_t> a(100, 1), b(100, 1);
    EXPECT_LT(ScalePlanar8(nullptr, 10, 10, 10, b.data(), 10, 10, 10), 0);
    EXPECT_LT(ScalePlanar8(a.data(), 10, 10, 10, nullptr, 10, 10, 10), 0);
    EXPECT_LT(ScalePlanar8(a.data(), 0, 10, 10, b.data(), 10, 10, 10), 0);
    EXPECT_LT(ScalePlanar8(a.data(), 10, 10, 10, b.data(), 10, 0, 10), 0);
    EXPECT_LT(ScalePlanar8(a.data(), 10, 10, 9, b.data(), 10, 10, 10), 0) << "stride shorter than a row";
    EXPECT_EQ(b, std::vector<uint8_t>(100, 1)) << "a refused call writes nothing";
}

}  // namespace
}  // namespace ombrel
