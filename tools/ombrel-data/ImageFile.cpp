#include "ombrel-data/ImageFile.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#ifdef OMBREL_DATA_HAVE_PNG
#include <png.h>
#endif

namespace ombrel::filmdata {
namespace {

struct TiffCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

// Keeps libtiff's warnings and errors off the terminal; the callers report failures.
void QuietTiff() {
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
}

bool Publish(const std::string& temp, const std::string& path, std::string* error) {
    std::error_code ec;
    std::filesystem::rename(temp, path, ec);
    if (ec) {
        std::filesystem::remove(temp, ec);
        if (error) *error = "cannot move the written file to " + path;
        return false;
    }
    return true;
}

#ifdef OMBREL_DATA_HAVE_PNG
// libpng reports errors by longjmp, so nothing here lives across the jump but the structs.
bool WritePngStream(std::FILE* file, int width, int height, const uint8_t* rgb) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y)
        png_write_row(png, const_cast<png_bytep>(rgb + static_cast<size_t>(y) * static_cast<size_t>(width) * 3));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}
#endif

}  // namespace

bool WriteTiffRgb8(const std::string& path, int width, int height, const uint8_t* rgb, std::string* error) {
    QuietTiff();
    const std::string temp = path + ".part";
    {
        TiffPtr tiff(TIFFOpen(temp.c_str(), "w"));
        if (!tiff) {
            if (error) *error = "cannot create " + temp;
            return false;
        }
        TIFF* t = tiff.get();
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(width));
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(height));
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(std::max(1, 65536 / (width * 3))));
        for (int y = 0; y < height; ++y) {
            auto* row = const_cast<uint8_t*>(rgb + static_cast<size_t>(y) * static_cast<size_t>(width) * 3);
            if (TIFFWriteScanline(t, row, static_cast<uint32_t>(y), 0) < 0) {
                tiff.reset();
                std::remove(temp.c_str());
                if (error) *error = "cannot write " + temp;
                return false;
            }
        }
        if (!TIFFFlush(t)) {
            tiff.reset();
            std::remove(temp.c_str());
            if (error) *error = "cannot flush " + temp;
            return false;
        }
    }
    return Publish(temp, path, error);
}

bool ReadTiffRgb8(const std::string& path, Image8* image, std::string* error) {
    QuietTiff();
    TiffPtr tiff(TIFFOpen(path.c_str(), "r"));
    if (!tiff) {
        if (error) *error = "cannot open " + path + " as TIFF";
        return false;
    }
    uint32_t width = 0, height = 0;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
    if (width == 0 || height == 0 || width > 65536 || height > 65536) {
        if (error) *error = path + " has no usable size";
        return false;
    }
    std::vector<uint32_t> raster(static_cast<size_t>(width) * height);
    if (!TIFFReadRGBAImageOriented(tiff.get(), width, height, raster.data(), ORIENTATION_TOPLEFT, 0)) {
        if (error) *error = "cannot decode " + path;
        return false;
    }
    image->width = static_cast<int>(width);
    image->height = static_cast<int>(height);
    image->rgb.resize(raster.size() * 3);
    for (size_t i = 0; i < raster.size(); ++i) {
        image->rgb[3 * i] = static_cast<uint8_t>(TIFFGetR(raster[i]));
        image->rgb[3 * i + 1] = static_cast<uint8_t>(TIFFGetG(raster[i]));
        image->rgb[3 * i + 2] = static_cast<uint8_t>(TIFFGetB(raster[i]));
    }
    return true;
}

bool WritePngRgb8(const std::string& path, int width, int height, const uint8_t* rgb, std::string* error) {
    const std::string temp = path + ".part";
#ifdef OMBREL_DATA_HAVE_PNG
    std::FILE* file = std::fopen(temp.c_str(), "wb");
    if (!file) {
        if (error) *error = "cannot create " + temp;
        return false;
    }
    const bool wrote = WritePngStream(file, width, height, rgb);
    const bool ok = (std::fclose(file) == 0) && wrote;
    if (!ok) {
        std::remove(temp.c_str());
        if (error) *error = "cannot write " + temp;
        return false;
    }
    return Publish(temp, path, error);
#else
    const std::string tiff = temp + ".tif";
    if (!WriteTiffRgb8(tiff, width, height, rgb, error)) return false;
    const std::string command = "oiiotool '" + tiff + "' -o '" + temp + ".png' >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    std::remove(tiff.c_str());
    if (status != 0) {
        if (error) *error = "oiiotool could not convert the contact sheet to PNG";
        return false;
    }
    return Publish(temp + ".png", path, error);
#endif
}

}  // namespace ombrel::filmdata
