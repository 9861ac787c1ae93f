#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::r3d {

// Our own lossless image data for the video frames that our writer makes: 16-bit RGB,
// interleaved, in stripes of rows that are each stored plain or deflated. The byte layout is
// in docs/formats/r3d-payload.md. Anything else in a frame is the camera maker's compressed
// data, which only the maker's decoder can develop.

inline constexpr char kImagePayloadMagic[8] = {'O', 'M', 'B', 'R', 'G', 'B', '1', '6'};
inline constexpr uint16_t kImagePayloadVersion = 1;
inline constexpr size_t kImagePayloadHeaderSize = 32;
inline constexpr uint32_t kImagePayloadMaxDimension = 32768;

enum class PayloadCompression : uint8_t { kNone = 0, kDeflate = 1 };

struct ImagePayloadOptions {
    PayloadCompression compression = PayloadCompression::kDeflate;
    bool predictor = true;  // store each sample as its difference from the pixel to the left
    int level = 1;          // deflate level, 1 (fast) to 9
    uint32_t rowsPerStripe = 64;
};

struct ImagePayloadInfo {
    uint32_t width = 0;
    uint32_t height = 0;
    PayloadCompression compression = PayloadCompression::kNone;
    bool predictor = false;
    uint32_t rowsPerStripe = 0;
    uint32_t stripeCount = 0;
    size_t offset = 0;  // where our payload starts in the bytes given (behind a codestream header)
};

enum class ImagePayloadStatus {
    kOk = 0,
    kNotOurs,      // not our payload: the camera maker's compressed image data
    kCorrupt,      // our magic, but the rest does not hold together
    kBadArgument,  // a destination too small, a divisor that is not 1, 2, 4, 8 or 16
};

const char* ImagePayloadStatusText(ImagePayloadStatus status);

// Tables that every decoded sample goes through, one per channel of 65536 entries each: a
// development of the picture, done while its rows are at hand.
struct SampleTables {
    const uint16_t* channel[3] = {nullptr, nullptr, nullptr};
};

// Encodes width x height pixels of interleaved 16-bit RGB (rowStride samples apart, 0 for
// 3 * width) and appends the payload to *out. False for a size of 0 or above the maximum.
bool EncodeImagePayload(const uint16_t* rgb, uint32_t width, uint32_t height, size_t rowStride,
                        const ImagePayloadOptions& options, std::vector<uint8_t>* out);

// A minimal JPEG 2000 codestream header (start and size markers) that carries the frame size
// in a version 3 frame's codestream box; our payload follows it there.
std::vector<uint8_t> CodestreamSizeHeader(uint32_t width, uint32_t height);

// Finds our payload at the start of the bytes, or behind a codestream size header, and
// checks its header and stripe table against the size.
ImagePayloadStatus InspectImagePayload(const uint8_t* data, size_t size, ImagePayloadInfo* info);

// The size of a decode at a divisor: the full size shifted right by 0 to 4 bits.
void ScaledSize(uint32_t width, uint32_t height, int divisor, uint32_t* outWidth, uint32_t* outHeight);

// Decodes into interleaved 16-bit RGB at width / divisor by height / divisor (each output pixel
// the mean of a divisor x divisor block), rows dstRowBytes apart (0 for 6 * output width).
// dstCapacity is the destination's size in bytes. threads above 1 decode stripes in parallel on
// the process's pool. tables, when given, must have all three channels.
ImagePayloadStatus DecodeImagePayload(const uint8_t* data, size_t size, int divisor, uint16_t* dst, size_t dstCapacity,
                                      size_t dstRowBytes = 0, int threads = 1, const SampleTables* tables = nullptr);

}  // namespace ombrel::r3d
