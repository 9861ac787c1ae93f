#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

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

// A TIFF built in memory, so that the file goes to disk whole through AtomicFileWriter.
class MemoryTiff {
public:
    TIFF* Open() {
        Quiet();
        return TIFFClientOpen("memory", "w", this, Read, Write, Seek, Close, Size, Map, Unmap);
    }
    std::string_view bytes() const { return {data_.data(), data_.size()}; }

private:
    static MemoryTiff& Self(thandle_t h) { return *static_cast<MemoryTiff*>(h); }
    static tmsize_t Read(thandle_t h, void* buf, tmsize_t size) {
        MemoryTiff& m = Self(h);
        const size_t n = m.at_ < m.data_.size() ? std::min(m.data_.size() - m.at_, static_cast<size_t>(size)) : 0;
        std::memcpy(buf, m.data_.data() + m.at_, n);
        m.at_ += n;
        return static_cast<tmsize_t>(n);
    }
    static tmsize_t Write(thandle_t h, void* buf, tmsize_t size) {
        MemoryTiff& m = Self(h);
        const size_t n = static_cast<size_t>(size);
        if (m.data_.size() < m.at_ + n) m.data_.resize(m.at_ + n);
        std::memcpy(m.data_.data() + m.at_, buf, n);
        m.at_ += n;
        return size;
    }
    static toff_t Seek(thandle_t h, toff_t off, int whence) {
        MemoryTiff& m = Self(h);
        const uint64_t base = whence == SEEK_CUR ? m.at_ : whence == SEEK_END ? m.data_.size() : 0;
        m.at_ = static_cast<size_t>(base + off);
        return m.at_;
    }
    static int Close(thandle_t) { return 0; }
    static toff_t Size(thandle_t h) { return Self(h).data_.size(); }
    static int Map(thandle_t, void**, toff_t*) { return 0; }
    static void Unmap(thandle_t, void*, toff_t) {}

    std::string data_;
    size_t at_ = 0;
};

}  // namespace

Status WriteImageAsTiff(const Image& image, const std::string& path) {
    if (image.empty()) return InvalidError("empty image");
    MemoryTiff file;
    {
        TiffPtr tif(file.Open());
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
            if (TIFFWriteScanline(tif.get(), row, static_cast<uint32_t>(y), 0) < 0) return IoError("cannot write " + path);
        }
    }
    return WriteFileAtomically(path, file.bytes());
}

Status WriteRgb16PlanarTiff(const uint16_t* planes, int width, int height, const std::string& path) {
    if (width <= 0 || height <= 0 || !planes) return InvalidError("empty image");
    const size_t plane = static_cast<size_t>(width) * static_cast<size_t>(height);
    MemoryTiff file;
    {
        TiffPtr tif(file.Open());
        if (!tif) return IoError("cannot create " + path);
        TIFFSetField(tif.get(), TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(width));
        TIFFSetField(tif.get(), TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(height));
        TIFFSetField(tif.get(), TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(tif.get(), TIFFTAG_BITSPERSAMPLE, 16);
        TIFFSetField(tif.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tif.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
        TIFFSetField(tif.get(), TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        TIFFSetField(tif.get(), TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif.get(), 0));
        for (uint16_t sample = 0; sample < 3; ++sample) {
            for (int y = 0; y < height; ++y) {
                auto* row = const_cast<uint16_t*>(planes + sample * plane + static_cast<size_t>(y) * width);
                if (TIFFWriteScanline(tif.get(), row, static_cast<uint32_t>(y), sample) < 0)
                    return IoError("cannot write " + path);
            }
        }
    }
    return WriteFileAtomically(path, file.bytes());
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
