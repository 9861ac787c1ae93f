#include "render/dpx/DpxFile.h"

#include <time.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <limits>

namespace ombrel {

namespace {

void Put16(DpxHeader* h, size_t offset, uint16_t v) {
    h->bytes[offset] = static_cast<uint8_t>(v);
    h->bytes[offset + 1] = static_cast<uint8_t>(v >> 8);
}

void Put32(DpxHeader* h, size_t offset, uint32_t v) {
    for (int i = 0; i < 4; ++i) h->bytes[offset + i] = static_cast<uint8_t>(v >> (8 * i));
}

void PutFloat(DpxHeader* h, size_t offset, float v) { Put32(h, offset, std::bit_cast<uint32_t>(v)); }

// Clears the whole field, then writes the ASCII characters of `text` that fit. With
// `terminated` one byte stays for the NUL.
void PutText(DpxHeader* h, size_t offset, size_t width, const std::string& text, bool terminated = true) {
    std::memset(h->bytes + offset, 0, width);
    const size_t room = terminated ? width - 1 : width;
    size_t n = 0;
    for (unsigned char c : text) {
        if (n == room) break;
        if (c >= 0x80 || c == 0) continue;
        h->bytes[offset + n++] = c;
    }
}

std::string Stem(const std::string& name) {
    const size_t dot = name.rfind('.');
    return dot == std::string::npos ? name : name.substr(0, dot);
}

std::string LastComponent(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

uint32_t Bcd2(int value) {
    const int v = std::clamp(value, 0, 99);
    return static_cast<uint32_t>((v / 10) << 4 | (v % 10));
}

// The date as "YYYY-MM-DD HH:MM:SS +HHMM", local time.
std::string DateText(std::chrono::system_clock::time_point when) {
    const time_t t = std::chrono::system_clock::to_time_t(when);
    struct tm local {};
    localtime_r(&t, &local);
    char text[64];
    const size_t n = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local);
    return std::string(text, n);
}

}  // namespace

uint32_t DpxFile::EndianSwap32(uint32_t value) { return __builtin_bswap32(value); }

uint16_t DpxFile::EndianSwap16(uint16_t value) { return __builtin_bswap16(value); }

uint32_t DpxFile::TimecodeBits(const DpxTimecode& tc) {
    return Bcd2(tc.hours) << 24 | Bcd2(tc.minutes) << 16 | Bcd2(tc.seconds) << 8 | Bcd2(tc.frames);
}

std::string DpxFile::FirstFrameName(int firstFrame) {
    char name[48];
    std::snprintf(name, sizeof name, "10bit_planar_%06i.DPX", firstFrame);
    return name;
}

std::string DpxFile::SizeProblem(int64_t width, int64_t height) {
    if (width < 1 || height < 1)
        return "a DPX frame needs a width and height of at least 1, not " + std::to_string(width) + " x " +
               std::to_string(height);
    // 32-bit file size field
    if (static_cast<uint64_t>(width) * static_cast<uint64_t>(height) * 4 + kDpxHeaderBytes >
        std::numeric_limits<uint32_t>::max())
        return "a DPX frame of " + std::to_string(width) + " x " + std::to_string(height) +
               " is larger than the file's 32-bit size field can hold";
    return {};
}

void DpxFile::InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(DpxHeader* h, int width, int height, int frames,
                                                                    float fps, const std::string& filename,
                                                                    const DpxTimecode& timecode,
                                                                    std::chrono::system_clock::time_point created) {
    std::memset(h->bytes, 0, kDpxHeaderBytes);
    const std::string stem = Stem(filename);
    const uint32_t w = static_cast<uint32_t>(width);
    const uint32_t ht = static_cast<uint32_t>(height);

    // File information
    std::memcpy(h->bytes, "XPDS", 4);
    Put32(h, 4, kDpxHeaderBytes);
    PutText(h, 8, 8, "V2.0");
    Put32(h, 16, w * ht * 4 + kDpxHeaderBytes);
    Put32(h, 20, 0);
    Put32(h, 24, 1664);
    Put32(h, 28, 256);
    Put32(h, 32, 0xFFFFFFFFu);
    PutText(h, dpx::kImageFileName, 100, filename);
    PutText(h, dpx::kCreationTime, 24, DateText(created), false);
    PutText(h, 160, 100, stem);
    PutText(h, 260, 200, stem);
    PutText(h, 460, 200, "Copyright...");
    Put32(h, 660, 0xFFFFFFFFu);

    // Image information, one element
    Put16(h, 768, 0);
    Put16(h, 770, 1);
    Put32(h, 772, w);
    Put32(h, 776, ht);
    Put32(h, 780, 0);
    Put32(h, 784, 0);
    PutFloat(h, 788, 0.0f);
    Put32(h, 792, 1023);
    PutFloat(h, 796, 1023.0f);
    h->bytes[800] = 50;  // RGB
    h->bytes[801] = 3;
    h->bytes[802] = 1;
    h->bytes[803] = 10;
    Put16(h, 804, 1);
    Put16(h, 806, 0);
    Put32(h, 808, kDpxHeaderBytes);
    Put32(h, 812, 0);
    Put32(h, 816, 0);

    // Image orientation
    Put32(h, 1424, w);
    Put32(h, 1428, ht);
    PutText(h, dpx::kSourceFileName, dpx::kSourceFileNameWidth, stem);
    PutText(h, 1556, 32, stem);
    PutText(h, 1588, 32, "xxxxxxxx 32");
    Put32(h, 1628, w);
    Put32(h, 1632, ht);

    // Motion picture film
    PutText(h, 1664, 2, "ID", false);
    PutText(h, 1666, 2, "TT", false);
    PutText(h, 1668, 2, "OO", false);
    PutText(h, 1670, 6, "PPPPPP", false);
    PutText(h, 1676, 4, "CCCC", false);
    PutText(h, 1680, 32, "Ombrel");
    Put32(h, dpx::kFramePosition, 0);
    Put32(h, 1716, static_cast<uint32_t>(frames));
    Put32(h, 1720, 1);
    PutFloat(h, 1724, 24.0f);
    PutFloat(h, 1728, 35.0f);
    PutText(h, 1732, 32, "Ombrel");
    PutText(h, 1764, 100, stem);

    // Television
    Put32(h, dpx::kTimeCode, TimecodeBits(timecode));
    PutFloat(h, 1940, fps);
}

void DpxFile::UpdateHeaderWithTimecodeForFramePath(DpxHeader* h, const DpxTimecode& timecode, int frame,
                                                   const std::string& path) {
    PutText(h, dpx::kSourceFileName, dpx::kSourceFileNameWidth, LastComponent(path));
    Put32(h, dpx::kFramePosition, static_cast<uint32_t>(frame));
    Put32(h, dpx::kTimeCode, TimecodeBits(timecode));
}

void ConvertBufferTo10Bit(const uint16_t* rgba, size_t pixels, void* out) {
    auto* dst = static_cast<uint8_t*>(out);
    for (size_t p = 0; p < pixels; ++p) {
        const uint32_t r = rgba[4 * p], g = rgba[4 * p + 1], b = rgba[4 * p + 2];
        const uint32_t word = (r >> 6) << 22 | ((g << 6) & 0x3FF000u) | ((b >> 4) & 0xFFCu);
        if constexpr (std::endian::native == std::endian::little) {
            std::memcpy(dst + 4 * p, &word, 4);
        } else {
            const uint32_t le = __builtin_bswap32(word);
            std::memcpy(dst + 4 * p, &le, 4);
        }
    }
}

namespace {

DpxTimecode ToDpx(const TimecodeValues& tc) { return {tc.hours, tc.minutes, tc.seconds, tc.frames}; }

}  // namespace

void DpxFormat::Begin(const FrameClip& clip) {
    pixels_ = static_cast<size_t>(clip.width) * static_cast<size_t>(clip.height);
    DpxFile::InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(&header_, clip.width, clip.height, clip.framesInClip,
                                                                   clip.fps, DpxFile::FirstFrameName(clip.firstFrame),
                                                                   ToDpx(clip.startTimecode), clip.created);
}

size_t DpxFormat::PackInPlace(uint8_t* buffer) {
    ConvertBufferTo10Bit(reinterpret_cast<const uint16_t*>(buffer), pixels_, buffer);
    return pixels_ * 4;
}

FrameFileParts DpxFormat::PartsForFile(int frame, const TimecodeValues& timecode, const std::string& path) {
    DpxFile::UpdateHeaderWithTimecodeForFramePath(&header_, ToDpx(timecode), frame, path);
    return {std::span<const uint8_t>(header_.bytes), {}};
}

}  // namespace ombrel
