#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "render/FrameFileFormat.h"

namespace ombrel {

// Uncompressed 16-bit RGB TIFF, big-endian, one strip, the directory behind the pixels so
// that a file goes out in one pass: 8 header bytes, w x h x 6 pixel bytes, then
// kTiffTrailerBytes of directory and value blocks.
inline constexpr size_t kTiffHeaderBytes = 8;
inline constexpr size_t kTiffTrailerBytes = 198;
inline constexpr int kTiffBytesPerPixel = 6;

// Big-endian number writers and the hexadecimal-digit form of the fixed fields.
void Write16(uint8_t*& out, uint16_t value);
void Write32(uint8_t*& out, uint32_t value);
// Reads hexadecimal digits of either case after leading blanks and tabs; stops at the first non-digit.
uint32_t htoi(const char* text);
// Puts out the bytes that a text of hexadecimal digits spells, two digits a byte.
void WriteHexShorts(uint8_t*& out, const char* hex);
void WriteHexTag(uint8_t*& out, const char* hex);

// Why an image of this size cannot be a file of this layout (its 16-bit size entries, its
// 32-bit offsets), or empty when it can.
std::string TiffSizeProblem(int64_t width, int64_t height);

// The bytes before and after the pixels of a w x h file.
struct TiffHeadAndTail {
    std::array<uint8_t, kTiffHeaderBytes> head;
    std::array<uint8_t, kTiffTrailerBytes> tail;
};
// The size must have passed TiffSizeProblem.
TiffHeadAndTail TiffLayout(int width, int height);
// Host-order samples to the file's big-endian order, in place.
void SwapSamplesToBigEndian(uint16_t* samples, size_t count);

// The TIFF frame-file format: pixels as the read-back gives them (three samples a pixel),
// swapped in place, between a fixed head and tail.
class TiffFormat final : public FrameFileFormat {
public:
    const char* Name() const override { return "TIFF"; }
    const char* Extension() const override { return "tiff"; }
    bool WantsRGBA() const override { return false; }
    std::string SizeProblem(int64_t width, int64_t height) const override { return TiffSizeProblem(width, height); }
    void Begin(const FrameClip& clip) override;
    size_t PackInPlace(uint8_t* buffer) override;
    PixelPacking Packing() const override { return PixelPacking::kBigEndian16; }
    size_t PackedBytes() const override { return samples_ * 2; }
    FrameFileParts PartsForFile(int frame, const TimecodeValues& timecode, const std::string& path) override;

private:
    size_t samples_ = 0;
    TiffHeadAndTail layout_{};
};

// Writes one file from w x h packed RGB samples in host order (left unchanged). bytesPerPixel
// must be 6. Returns 0 on success and 1 when the file could not be made, with the reason in
// `error`; it logs nothing, the caller decides what a failure means. The path is UTF-8.
int writeCompactTiffRGB(int width, int height, const uint16_t* samples, const std::string& path, int bytesPerPixel,
                        std::string* error = nullptr);

// Makes writeCompactTiffRGB the writer behind FileParser::Write16BitTiffOfWidthHeightFromBufferToPath.
void RegisterCompactTiffWriter();

}  // namespace ombrel
