#include "render/tiff/TiffFile.h"

#include <bit>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "library/FileParserHooks.h"
#include "render/FrameFile.h"

namespace ombrel {

namespace {

constexpr uint16_t kEntryCount = 14;
constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTypeLong = 4;

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void Entry(uint8_t*& out, uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    Write16(out, tag);
    Write16(out, type);
    Write32(out, count);
    if (type == kTypeShort && count == 1) {
        Write16(out, static_cast<uint16_t>(value));
        Write16(out, 0);
    } else {
        Write32(out, value);
    }
}

}  // namespace

void Write16(uint8_t*& out, uint16_t value) {
    *out++ = static_cast<uint8_t>(value >> 8);
    *out++ = static_cast<uint8_t>(value);
}

void Write32(uint8_t*& out, uint32_t value) {
    Write16(out, static_cast<uint16_t>(value >> 16));
    Write16(out, static_cast<uint16_t>(value));
}

uint32_t htoi(const char* text) {
    while (*text == ' ' || *text == '\t') ++text;
    uint32_t value = 0;
    for (int d; (d = HexDigit(*text)) >= 0; ++text) value = value * 16 + static_cast<uint32_t>(d);
    return value;
}

void WriteHexShorts(uint8_t*& out, const char* hex) {
    char pair[3] = {0, 0, 0};
    for (size_t i = 0; hex[i] && hex[i + 1]; i += 2) {
        pair[0] = hex[i];
        pair[1] = hex[i + 1];
        *out++ = static_cast<uint8_t>(htoi(pair));
    }
}

void WriteHexTag(uint8_t*& out, const char* hex) { WriteHexShorts(out, hex); }

std::string TiffSizeProblem(int64_t width, int64_t height) {
    if (width < 1 || height < 1)
        return "a TIFF frame needs a width and height of at least 1, not " + std::to_string(width) + " x " +
               std::to_string(height);
    if (width > 65535 || height > 65535)
        return "a TIFF frame of " + std::to_string(width) + " x " + std::to_string(height) +
               " does not fit the file's 16-bit width and height (65535 at most)";
    const uint64_t pixelBytes = static_cast<uint64_t>(width) * static_cast<uint64_t>(height) * kTiffBytesPerPixel;
    if (pixelBytes + kTiffHeaderBytes + kTiffTrailerBytes > std::numeric_limits<uint32_t>::max())
        return "a TIFF frame of " + std::to_string(width) + " x " + std::to_string(height) +
               " is larger than the file's 32-bit offsets can reach";
    return {};
}

TiffHeadAndTail TiffLayout(int width, int height) {
    TiffHeadAndTail layout;
    const uint32_t n = static_cast<uint32_t>(width) * static_cast<uint32_t>(height) * kTiffBytesPerPixel;
    uint8_t* out = layout.head.data();
    WriteHexShorts(out, "4D4D002A");
    Write32(out, n + 8);

    out = layout.tail.data();
    Write16(out, kEntryCount);
    Entry(out, 0x0100, kTypeShort, 1, static_cast<uint32_t>(width));
    Entry(out, 0x0101, kTypeShort, 1, static_cast<uint32_t>(height));
    Entry(out, 0x0102, kTypeShort, 3, n + 182);
    WriteHexTag(out, "010300030000000100010000");  // Compression: none
    WriteHexTag(out, "010600030000000100020000");  // PhotometricInterpretation: RGB
    WriteHexTag(out, "011100040000000100000008");  // StripOffsets: the pixels follow the header
    WriteHexTag(out, "011200030000000100010000");  // Orientation: top left
    WriteHexTag(out, "011500030000000100030000");  // SamplesPerPixel: 3
    Entry(out, 0x0116, kTypeShort, 1, static_cast<uint32_t>(height));
    Entry(out, 0x0117, kTypeLong, 1, n);
    Entry(out, 0x0118, kTypeShort, 3, n + 188);
    Entry(out, 0x0119, kTypeShort, 3, n + 194);
    WriteHexTag(out, "011C00030000000100010000");  // PlanarConfiguration: chunky
    Entry(out, 0x0153, kTypeShort, 3, n + 200);
    Write32(out, 0);
    WriteHexShorts(out, "001000100010");  // BitsPerSample
    WriteHexShorts(out, "000000000000");  // MinSampleValue
    WriteHexShorts(out, "FFFFFFFFFFFF");  // MaxSampleValue
    WriteHexShorts(out, "000100010001");  // SampleFormat: unsigned
    return layout;
}

void SwapSamplesToBigEndian(uint16_t* samples, size_t count) {
    if constexpr (std::endian::native == std::endian::little)
        for (size_t i = 0; i < count; ++i) samples[i] = __builtin_bswap16(samples[i]);
}

void TiffFormat::Begin(const FrameClip& clip) {
    samples_ = static_cast<size_t>(clip.width) * static_cast<size_t>(clip.height) * 3;
    layout_ = TiffLayout(clip.width, clip.height);
}

size_t TiffFormat::PackInPlace(uint8_t* buffer) {
    SwapSamplesToBigEndian(reinterpret_cast<uint16_t*>(buffer), samples_);
    return samples_ * 2;
}

FrameFileParts TiffFormat::PartsForFile(int /*frame*/, const TimecodeValues& /*timecode*/,
                                        const std::string& /*path*/) {
    return {layout_.head, layout_.tail};
}

int writeCompactTiffRGB(int width, int height, const uint16_t* samples, const std::string& path, int bytesPerPixel,
                        std::string* error) {
    std::string why;
    if (bytesPerPixel != kTiffBytesPerPixel) {
        why = path + ": " + std::to_string(bytesPerPixel) + " bytes a pixel; the file holds 6";
    } else if (!samples) {
        why = path + ": no samples";
    } else if (std::string problem = TiffSizeProblem(width, height); !problem.empty()) {
        why = path + ": " + problem;
    } else {
        // The caller's samples stay in host order: the swap works on a copy.
        const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height) * 3;
        std::vector<uint16_t> pixels(samples, samples + count);
        SwapSamplesToBigEndian(pixels.data(), count);
        const TiffHeadAndTail layout = TiffLayout(width, height);
        const std::span<const uint8_t> parts[] = {
            layout.head, {reinterpret_cast<const uint8_t*>(pixels.data()), count * 2}, layout.tail};
        const Status s = WriteFrameFile(path, parts, true);
        if (s.ok()) return 0;
        why = s.message();
    }
    if (error) *error = why;
    return 1;
}

void RegisterCompactTiffWriter() {
    SetCompactTiffWriter(
        [](int width, int height, const uint16_t* samples, const std::string& path, std::string* error) {
            return writeCompactTiffRGB(width, height, samples, path, kTiffBytesPerPixel, error);
        });
}

}  // namespace ombrel
