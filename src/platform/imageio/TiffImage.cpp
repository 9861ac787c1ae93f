#include <tiffio.h>

#include <cstdio>
#include <memory>

#include "core/AtomicFile.h"
#include "platform/imageio/Image.h"

namespace ombrel {
namespace {

struct TiffClose {
    void operator()(TIFF* t) const { TIFFClose(t); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffClose>;

// libtiff prints to stderr by default; its messages come back through our error texts instead.
void QuietHandler(const char*, const char*, va_list) {}

void Quiet() {
    static const bool once = [] {
        TIFFSetErrorHandler(QuietHandler);
        TIFFSetWarningHandler(QuietHandler);
        return true;
    }();
    (void)once;
}

}  // namespace

Status WriteImageAsTiff(const Image& image, const std::string& path) {
    Quiet();
    if (image.empty()) return InvalidError("empty image");
    const std::string tmp = TemporaryPathFor(path);
    {
        TiffPtr tif(TIFFOpen(tmp.c_str(), "w"));
        if (!tif) return IoError("cannot create " + path);
        TIFFSetField(tif.get(), TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(image.width));
        TIFFSetField(tif.get(), TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(image.height));
        TIFFSetField(tif.get(), TIFFTAG_SAMPLESPERPIXEL, 4);
        TIFFSetField(tif.get(), TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tif.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tif.get(), TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        uint16_t extra = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tif.get(), TIFFTAG_EXTRASAMPLES, 1, &extra);
        TIFFSetField(tif.get(), TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif.get(), 0));
        for (int y = 0; y < image.height; ++y) {
            auto* row = const_cast<uint8_t*>(image.pixel(0, y));
            if (TIFFWriteScanline(tif.get(), row, static_cast<uint32_t>(y), 0) < 0) {
                tif.reset();
                std::remove(tmp.c_str());
                return IoError("cannot write " + path);
            }
        }
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        std::remove(tmp.c_str());
        return IoError("cannot replace " + path);
    }
    return OkStatus();
}

Status ReadTiffImage(const std::string& path, ImagePtr* out) {
    Quiet();
    out->reset();
    TiffPtr tif(TIFFOpen(path.c_str(), "r"));
    if (!tif) return InvalidError("cannot open " + path + " as TIFF");
    uint32_t w = 0, h = 0;
    TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &h);
    if (w == 0 || h == 0 || w > 32768 || h > 32768) return InvalidError(path + ": unusable size");
    std::vector<uint32_t> raster(static_cast<size_t>(w) * h);
    if (!TIFFReadRGBAImageOriented(tif.get(), w, h, raster.data(), ORIENTATION_TOPLEFT, 0))
        return InvalidError(path + ": cannot decode");
    auto image = std::make_shared<Image>(static_cast<int>(w), static_cast<int>(h));
    for (size_t i = 0; i < raster.size(); ++i) {
        const uint32_t p = raster[i];
        image->rgba[i * 4 + 0] = static_cast<uint8_t>(TIFFGetR(p));
        image->rgba[i * 4 + 1] = static_cast<uint8_t>(TIFFGetG(p));
        image->rgba[i * 4 + 2] = static_cast<uint8_t>(TIFFGetB(p));
        image->rgba[i * 4 + 3] = static_cast<uint8_t>(TIFFGetA(p));
    }
    *out = std::move(image);
    return OkStatus();
}

}  // namespace ombrel
