#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

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

// The bytes of one TIFF file, built once per clip; each frame refills only the pixels.
class TiffFrameFile {
public:
    // Lays out a file for this size. False, with the reason, when the layout cannot hold it.
    bool Reset(int width, int height, std::string* error = nullptr);
    // Copies w x h packed RGB samples in host order into the file, big-endian.
    void SetPixels(const uint16_t* rgb);

    int width() const { return width_; }
    int height() const { return height_; }
    const uint8_t* data() const { return bytes_.get(); }
    size_t size() const { return size_; }

private:
    int width_ = 0;
    int height_ = 0;
    size_t size_ = 0;
    std::unique_ptr<uint8_t[]> bytes_;
};

// Writes one file from w x h packed RGB samples in host order (left unchanged). bytesPerPixel
// must be 6. Returns 0 on success and 1 when the file could not be made; the path is UTF-8.
int writeCompactTiffRGB(int width, int height, const uint16_t* samples, const std::string& path, int bytesPerPixel);

}  // namespace ombrel
