#include "r3d/ImagePayload.h"

#include "core/ThreadPool.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>

namespace ombrel::r3d {

namespace {

void Put16(std::vector<uint8_t>* out, uint16_t v) {
    out->push_back(uint8_t(v));
    out->push_back(uint8_t(v >> 8));
}
void Put32(std::vector<uint8_t>* out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out->push_back(uint8_t(v >> (8 * i)));
}
uint16_t Get16(const uint8_t* p) { return uint16_t(p[0] | (p[1] << 8)); }
uint32_t Get32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

// Samples are little-endian in the payload.
inline uint16_t FromLittle(uint16_t v) {
    if constexpr (std::endian::native == std::endian::big) return uint16_t((v >> 8) | (v << 8));
    return v;
}

struct Layout {
    ImagePayloadInfo info;
    const uint8_t* table = nullptr;
    std::vector<size_t> stripeOffsets;  // from data start
    std::vector<size_t> stripeSizes;
};

struct DecompressorFree {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

// One decompressor per decoding thread, made on its first stripe and kept for the next frames.
libdeflate_decompressor& ThreadDecompressor() {
    thread_local std::unique_ptr<libdeflate_decompressor, DecompressorFree> decompressor;
    if (!decompressor) decompressor.reset(libdeflate_alloc_decompressor());
    if (!decompressor) throw std::bad_alloc();
    return *decompressor;
}

// Stripe s, stored or inflated, into exactly `raw` bytes at out. The zlib wrapper's checksum
// is checked, so a damaged stripe fails here.
bool UnpackStripe(const uint8_t* data, const Layout& layout, uint32_t s, void* out, size_t raw) {
    const uint8_t* src = data + layout.stripeOffsets[s];
    if (layout.info.compression == PayloadCompression::kNone) {
        std::memcpy(out, src, raw);
        return true;
    }
    return libdeflate_zlib_decompress(&ThreadDecompressor(), src, layout.stripeSizes[s], out, raw, nullptr) ==
           LIBDEFLATE_SUCCESS;
}

bool IsPayloadAt(const uint8_t* data, size_t size, size_t at) {
    return size >= at + sizeof kImagePayloadMagic && std::memcmp(data + at, kImagePayloadMagic, 8) == 0;
}

ImagePayloadStatus ReadLayout(const uint8_t* data, size_t size, Layout* layout) {
    if (!data) return ImagePayloadStatus::kNotOurs;
    size_t at = 0;
    if (!IsPayloadAt(data, size, 0)) {
        // A version 3 frame: a codestream's start and size markers, then our payload.
        if (size < 6 || !(data[0] == 0xFF && data[1] == 0x4F && data[2] == 0xFF && data[3] == 0x51))
            return ImagePayloadStatus::kNotOurs;
        at = 4 + ((size_t(data[4]) << 8) | data[5]);
        if (!IsPayloadAt(data, size, at)) return ImagePayloadStatus::kNotOurs;
    }
    const uint8_t* p = data + at;
    const size_t n = size - at;
    if (n < kImagePayloadHeaderSize) return ImagePayloadStatus::kCorrupt;
    ImagePayloadInfo& info = layout->info;
    const uint16_t version = Get16(p + 8);
    const uint16_t headerSize = Get16(p + 10);
    info.width = Get32(p + 12);
    info.height = Get32(p + 16);
    const uint8_t pixelLayout = p[20];
    const uint8_t compression = p[21];
    info.predictor = p[22] != 0;
    info.rowsPerStripe = Get32(p + 24);
    info.stripeCount = Get32(p + 28);
    info.offset = at;
    if (version != kImagePayloadVersion || headerSize < kImagePayloadHeaderSize || pixelLayout != 0 ||
        compression > 1 || info.width == 0 || info.height == 0 || info.width > kImagePayloadMaxDimension ||
        info.height > kImagePayloadMaxDimension || info.rowsPerStripe == 0)
        return ImagePayloadStatus::kCorrupt;
    info.compression = static_cast<PayloadCompression>(compression);
    const uint64_t stripes = (uint64_t(info.height) + info.rowsPerStripe - 1) / info.rowsPerStripe;
    if (stripes != info.stripeCount) return ImagePayloadStatus::kCorrupt;
    const uint64_t tableEnd = uint64_t(headerSize) + 4ull * stripes;
    if (tableEnd > n) return ImagePayloadStatus::kCorrupt;
    layout->stripeOffsets.resize(stripes);
    layout->stripeSizes.resize(stripes);
    uint64_t offset = tableEnd;
    const uint64_t rowBytes = uint64_t(info.width) * 6;
    for (uint64_t i = 0; i < stripes; ++i) {
        const uint32_t stored = Get32(p + headerSize + 4 * i);
        const uint64_t rows = std::min<uint64_t>(info.rowsPerStripe, info.height - i * info.rowsPerStripe);
        if (info.compression == PayloadCompression::kNone && stored != rows * rowBytes)
            return ImagePayloadStatus::kCorrupt;
        // Deflate packs at most about 1032 to 1: a stripe claiming more than that is a lie, and
        // believing it would cost the memory it claims.
        if (info.compression == PayloadCompression::kDeflate && rows * rowBytes > 1040ull * stored + 64)
            return ImagePayloadStatus::kCorrupt;
        if (stored > n - offset) return ImagePayloadStatus::kCorrupt;
        layout->stripeOffsets[i] = static_cast<size_t>(at + offset);
        layout->stripeSizes[i] = stored;
        offset += stored;
    }
    return ImagePayloadStatus::kOk;
}

// The left predictor undone in place on one row of native samples. The three
// running sums stay in registers: reading back the sample just stored would chain every
// sample on a store.
void UndoPredictor(uint16_t* row, uint32_t width) {
    uint16_t r = row[0], g = row[1], b = row[2];
    for (uint32_t x = 1; x < width; ++x) {
        uint16_t* px = row + size_t(x) * 3;
        px[0] = r = uint16_t(r + px[0]);
        px[1] = g = uint16_t(g + px[1]);
        px[2] = b = uint16_t(b + px[2]);
    }
}

void Develop(uint16_t* px, uint32_t pixels, const SampleTables* tables) {
    if (!tables) return;
    const uint16_t *r = tables->channel[0], *g = tables->channel[1], *b = tables->channel[2];
    for (uint32_t x = 0; x < pixels; ++x, px += 3) {
        px[0] = r[px[0]];
        px[1] = g[px[1]];
        px[2] = b[px[2]];
    }
}

// A full-size decode into rows that lie one behind the other, as the payload stores them:
// each stripe inflates straight into its rows of the destination.
bool DecodeStripesDirect(const uint8_t* data, const Layout& layout, uint32_t stripeBegin, uint32_t stripeEnd,
                         uint16_t* dst, const SampleTables* tables) {
    const ImagePayloadInfo& info = layout.info;
    const size_t rowSamples = size_t(info.width) * 3;
    for (uint32_t s = stripeBegin; s < stripeEnd; ++s) {
        const uint32_t row0 = s * info.rowsPerStripe;
        const uint32_t rows = std::min(info.rowsPerStripe, info.height - row0);
        uint16_t* out = dst + size_t(row0) * rowSamples;
        if (!UnpackStripe(data, layout, s, out, size_t(rows) * rowSamples * 2)) return false;
        for (uint32_t r = 0; r < rows; ++r) {
            uint16_t* row = out + size_t(r) * rowSamples;
            if (info.predictor) UndoPredictor(row, info.width);
            Develop(row, info.width, tables);
        }
    }
    return true;
}

// Decodes the source rows [rowBegin, rowEnd) (a whole number of output rows) into the destination.
bool DecodeRowsUnguarded(const uint8_t* data, const Layout& layout, int divisor, uint32_t outWidth, uint32_t rowBegin,
                         uint32_t rowEnd, uint16_t* dst, size_t dstRowBytes, const SampleTables* tables) {
    const ImagePayloadInfo& info = layout.info;
    const size_t rowSamples = size_t(info.width) * 3;
    const size_t rowBytes = rowSamples * 2;
    std::vector<uint16_t> stripe;
    std::vector<uint32_t> sums(size_t(outWidth) * 3);
    const uint32_t firstStripe = rowBegin / info.rowsPerStripe;
    const uint32_t d = uint32_t(divisor);
    const uint32_t area = d * d;
    for (uint32_t s = firstStripe; s < info.stripeCount && s * info.rowsPerStripe < rowEnd; ++s) {
        const uint32_t stripeRow0 = s * info.rowsPerStripe;
        const uint32_t rows = std::min(info.rowsPerStripe, info.height - stripeRow0);
        const size_t raw = size_t(rows) * rowBytes;
        stripe.resize(raw / 2);
        if (!UnpackStripe(data, layout, s, stripe.data(), raw)) return false;
        for (uint32_t r = 0; r < rows; ++r) {
            const uint32_t y = stripeRow0 + r;
            if (y < rowBegin || y >= rowEnd) continue;
            uint16_t* row = stripe.data() + size_t(r) * rowSamples;
            if constexpr (std::endian::native == std::endian::big)
                for (size_t i = 0; i < rowSamples; ++i) row[i] = FromLittle(row[i]);
            if (info.predictor) UndoPredictor(row, info.width);
            auto* out = reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(dst) + size_t(y / d) * dstRowBytes);
            if (d == 1) {
                Develop(row, info.width, tables);
                std::memcpy(out, row, rowBytes);
                continue;
            }
            if (y % d == 0) std::fill(sums.begin(), sums.end(), 0u);
            for (uint32_t ox = 0; ox < outWidth; ++ox) {
                const uint16_t* px = row + size_t(ox) * d * 3;
                uint32_t* acc = sums.data() + size_t(ox) * 3;
                for (uint32_t k = 0; k < d; ++k) {
                    acc[0] += px[3 * k];
                    acc[1] += px[3 * k + 1];
                    acc[2] += px[3 * k + 2];
                }
            }
            if (y % d == d - 1) {
                for (size_t i = 0; i < sums.size(); ++i) out[i] = uint16_t((sums[i] + area / 2) / area);
                Develop(out, outWidth, tables);
            }
        }
    }
    return true;
}

// Decodes part `part` of `parts` of the picture: whole stripes on the direct road, whole
// output rows on the other.
bool DecodePart(const uint8_t* data, const Layout& layout, int divisor, bool direct, uint32_t part, uint32_t parts,
                uint16_t* dst, size_t dstRowBytes, const SampleTables* tables) {
    try {
        const ImagePayloadInfo& info = layout.info;
        if (direct)
            return DecodeStripesDirect(data, layout, info.stripeCount * part / parts,
                                       info.stripeCount * (part + 1) / parts, dst, tables);
        uint32_t outW, outH;
        ScaledSize(info.width, info.height, divisor, &outW, &outH);
        const uint32_t a = outH * part / parts, b = outH * (part + 1) / parts;
        return DecodeRowsUnguarded(data, layout, divisor, outW, a * uint32_t(divisor), b * uint32_t(divisor), dst,
                                   dstRowBytes, tables);
    } catch (const std::bad_alloc&) { return false; }
}

}  // namespace

const char* ImagePayloadStatusText(ImagePayloadStatus status) {
    switch (status) {
        case ImagePayloadStatus::kOk: return "ok";
        case ImagePayloadStatus::kNotOurs: return "this frame's image data needs the camera maker's decoder";
        case ImagePayloadStatus::kCorrupt: return "this frame's image data is damaged";
        case ImagePayloadStatus::kBadArgument: return "the decode was asked for with a bad size or destination";
    }
    return "unknown";
}

std::vector<uint8_t> CodestreamSizeHeader(uint32_t width, uint32_t height) {
    std::vector<uint8_t> h(51, 0);
    h[0] = 0xFF, h[1] = 0x4F, h[2] = 0xFF, h[3] = 0x51;
    h[4] = 0, h[5] = 47;  // Lsiz for three components
    auto be32 = [&](size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i) h[at + i] = uint8_t(v >> (24 - 8 * i));
    };
    be32(8, width);
    be32(12, height);
    be32(24, width);  // one tile
    be32(28, height);
    h[40] = 0, h[41] = 3;  // components
    for (int c = 0; c < 3; ++c) {
        h[42 + 3 * c] = 15;  // 16-bit unsigned
        h[43 + 3 * c] = 1;
        h[44 + 3 * c] = 1;
    }
    return h;
}

namespace {
bool EncodeUnguarded(const uint16_t* rgb, uint32_t width, uint32_t height, size_t rowStride,
                     const ImagePayloadOptions& options, std::vector<uint8_t>* out) {
    if (!rgb || !out || width == 0 || height == 0 || width > kImagePayloadMaxDimension ||
        height > kImagePayloadMaxDimension)
        return false;
    if (rowStride == 0) rowStride = size_t(width) * 3;
    const uint32_t rowsPerStripe = std::max<uint32_t>(1, options.rowsPerStripe);
    const uint32_t stripes = (height + rowsPerStripe - 1) / rowsPerStripe;
    const bool deflate = options.compression == PayloadCompression::kDeflate;
    const size_t start = out->size();
    out->insert(out->end(), kImagePayloadMagic, kImagePayloadMagic + 8);
    Put16(out, kImagePayloadVersion);
    Put16(out, uint16_t(kImagePayloadHeaderSize));
    Put32(out, width);
    Put32(out, height);
    out->push_back(0);
    out->push_back(deflate ? 1 : 0);
    out->push_back(options.predictor ? 1 : 0);
    out->push_back(0);
    Put32(out, rowsPerStripe);
    Put32(out, stripes);
    const size_t table = out->size();
    out->resize(out->size() + 4 * size_t(stripes));
    const size_t rowSamples = size_t(width) * 3;
    std::vector<uint8_t> raw;
    std::vector<uint8_t> packed;
    for (uint32_t s = 0; s < stripes; ++s) {
        const uint32_t row0 = s * rowsPerStripe;
        const uint32_t rows = std::min(rowsPerStripe, height - row0);
        raw.resize(size_t(rows) * rowSamples * 2);
        for (uint32_t r = 0; r < rows; ++r) {
            const uint16_t* in = rgb + size_t(row0 + r) * rowStride;
            uint8_t* o = raw.data() + size_t(r) * rowSamples * 2;
            for (size_t i = 0; i < rowSamples; ++i) {
                const uint16_t v = options.predictor && i >= 3 ? uint16_t(in[i] - in[i - 3]) : in[i];
                o[2 * i] = uint8_t(v);
                o[2 * i + 1] = uint8_t(v >> 8);
            }
        }
        const uint8_t* stored = raw.data();
        size_t storedSize = raw.size();
        if (deflate) {
            uLongf len = compressBound(static_cast<uLong>(raw.size()));
            packed.resize(len);
            if (compress2(packed.data(), &len, raw.data(), static_cast<uLong>(raw.size()),
                          std::clamp(options.level, 1, 9)) != Z_OK) {
                out->resize(start);
                return false;
            }
            stored = packed.data();
            storedSize = len;
        }
        for (int i = 0; i < 4; ++i) (*out)[table + 4 * s + i] = uint8_t(storedSize >> (8 * i));
        out->insert(out->end(), stored, stored + storedSize);
    }
    return true;
}
}  // namespace

bool EncodeImagePayload(const uint16_t* rgb, uint32_t width, uint32_t height, size_t rowStride,
                        const ImagePayloadOptions& options, std::vector<uint8_t>* out) {
    const size_t start = out ? out->size() : 0;
    try {
        return EncodeUnguarded(rgb, width, height, rowStride, options, out);
    } catch (const std::bad_alloc&) {
        out->resize(start);
        return false;
    }
}

ImagePayloadStatus InspectImagePayload(const uint8_t* data, size_t size, ImagePayloadInfo* info) {
    Layout layout;
    const ImagePayloadStatus s = ReadLayout(data, size, &layout);
    if (info) *info = layout.info;
    return s;
}

void ScaledSize(uint32_t width, uint32_t height, int divisor, uint32_t* outWidth, uint32_t* outHeight) {
    const int shift = divisor == 2 ? 1 : divisor == 4 ? 2 : divisor == 8 ? 3 : divisor == 16 ? 4 : 0;
    if (outWidth) *outWidth = width >> shift;
    if (outHeight) *outHeight = height >> shift;
}

ImagePayloadStatus DecodeImagePayload(const uint8_t* data, size_t size, int divisor, uint16_t* dst, size_t dstCapacity,
                                      size_t dstRowBytes, int threads, const SampleTables* tables) {
    if (divisor != 1 && divisor != 2 && divisor != 4 && divisor != 8 && divisor != 16)
        return ImagePayloadStatus::kBadArgument;
    Layout layout;
    const ImagePayloadStatus status = ReadLayout(data, size, &layout);
    if (status != ImagePayloadStatus::kOk) return status;
    uint32_t outW, outH;
    ScaledSize(layout.info.width, layout.info.height, divisor, &outW, &outH);
    if (outW == 0 || outH == 0 || !dst) return ImagePayloadStatus::kBadArgument;
    if (dstRowBytes == 0) dstRowBytes = size_t(outW) * 6;
    if (dstRowBytes < size_t(outW) * 6 || dstCapacity < dstRowBytes * (outH - 1) + size_t(outW) * 6 ||
        (tables && !(tables->channel[0] && tables->channel[1] && tables->channel[2])))
        return ImagePayloadStatus::kBadArgument;
    const bool direct = divisor == 1 && dstRowBytes == size_t(outW) * 6 && std::endian::native == std::endian::little;
    const uint32_t units = direct ? layout.info.stripeCount : outH;
    const uint32_t workers = std::min<uint32_t>(uint32_t(std::clamp(threads, 1, 16)), std::max(1u, units / 2));
    if (workers == 1)
        return DecodePart(data, layout, divisor, direct, 0, 1, dst, dstRowBytes, tables) ? ImagePayloadStatus::kOk
                                                                                 : ImagePayloadStatus::kCorrupt;
    // The process's pool, not threads of our own: a render's look runs there too, and its loops
    // and ours take turns instead of crowding the cores.
    const uint32_t parts = direct ? units : workers;
    try {
        std::vector<char> ok(parts, 0);
        ThreadPool::Shared().ParallelFor(
            parts, 1,
            [&](size_t begin, size_t end) {
                for (size_t p = begin; p < end; ++p)
                    ok[p] = DecodePart(data, layout, divisor, direct, uint32_t(p), parts, dst, dstRowBytes, tables);
            },
            workers);
        return std::all_of(ok.begin(), ok.end(), [](char c) { return c != 0; }) ? ImagePayloadStatus::kOk
                                                                                : ImagePayloadStatus::kCorrupt;
    } catch (const std::bad_alloc&) {
        return DecodePart(data, layout, divisor, direct, 0, 1, dst, dstRowBytes, tables) ? ImagePayloadStatus::kOk
                                                                                 : ImagePayloadStatus::kCorrupt;
    }
}

}  // namespace ombrel::r3d
