#include "platform/imageio/Bitmap.h"

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include "platform/imageio/Image.h"

namespace ombrel {
namespace {

struct SwsFree {
    void operator()(SwsContext* c) const { sws_freeContext(c); }
};
using SwsPtr = std::unique_ptr<SwsContext, SwsFree>;

}  // namespace

BitmapRep BitmapRep::Rgba8(int width, int height) {
    BitmapRep rep;
    rep.width = std::max(width, 0);
    rep.height = std::max(height, 0);
    rep.samplesPerPixel = 4;
    rep.bitsPerSample = 8;
    rep.bitsPerPixel = 32;
    rep.bytesPerRow = rep.width * 4;
    rep.data.assign(static_cast<size_t>(rep.bytesPerRow) * static_cast<size_t>(rep.height), 0);
    return rep;
}

std::shared_ptr<BitmapRep> BitmapRep::TryRgba8(int width, int height) {
    if (width < 1 || height < 1 || width > std::numeric_limits<int>::max() / 4) return nullptr;
    const size_t bytes = static_cast<size_t>(width) * 4 * static_cast<size_t>(height);
    try {
        auto rep = std::make_shared<BitmapRep>();
        rep->width = width;
        rep->height = height;
        rep->samplesPerPixel = 4;
        rep->bitsPerSample = 8;
        rep->bitsPerPixel = 32;
        rep->bytesPerRow = width * 4;
        rep->data.assign(bytes, 0);
        return rep;
    } catch (const std::bad_alloc&) { return nullptr; } catch (const std::length_error&) {
        return nullptr;
    }
}

Status DecodeBitmapFile(const std::string& path, BitmapRepPtr* out) {
    out->reset();
    ImagePtr image;
    if (Status read = ReadTiffImage(path, &image); !read.ok()) return read;
    auto rep = std::make_shared<BitmapRep>();
    rep->width = image->width;
    rep->height = image->height;
    rep->samplesPerPixel = 4;
    rep->bitsPerSample = 8;
    rep->bitsPerPixel = 32;
    rep->bytesPerRow = image->width * 4;
    rep->data.assign(image->rgba.begin(), image->rgba.end());
    *out = std::move(rep);
    return OkStatus();
}

int ScalePlanar8(const uint8_t* src, int srcWidth, int srcHeight, int srcStride, uint8_t* dst, int dstWidth,
                 int dstHeight, int dstStride) {
    if (!src || !dst || srcWidth < 1 || srcHeight < 1 || dstWidth < 1 || dstHeight < 1 || srcStride < srcWidth ||
        dstStride < dstWidth) {
        return -1;
    }
    // Gray in and gray out of the same range: no level conversion, only the filter.
    SwsPtr context(sws_getContext(srcWidth, srcHeight, AV_PIX_FMT_GRAY8, dstWidth, dstHeight, AV_PIX_FMT_GRAY8,
                                  SWS_LANCZOS | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr));
    if (!context) return -2;
    const uint8_t* const srcPlanes[4] = {src, nullptr, nullptr, nullptr};
    const int srcStrides[4] = {srcStride, 0, 0, 0};
    uint8_t* const dstPlanes[4] = {dst, nullptr, nullptr, nullptr};
    const int dstStrides[4] = {dstStride, 0, 0, 0};
    const int rows = sws_scale(context.get(), srcPlanes, srcStrides, 0, srcHeight, dstPlanes, dstStrides);
    if (rows < 0) return rows;
    if (rows != dstHeight) return -3;
    return 0;
}

}  // namespace ombrel
