#pragma once

// Readable text of every header field of a TIFF or DPX frame file, read from the bytes
// alone (no code shared with the writers), for reference files under tests/ref/render.
// Pixels appear as their byte count and a checksum. Beside them, the independent readers:
// libtiff and OpenImageIO for every sample.

#include <tiffio.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "support/FileFaults.h"
#include "support/Shell.h"

namespace ombrel::test {

inline uint64_t Fnv64(const std::string& bytes, size_t from, size_t to) {
    uint64_t h = 1469598103934665603ull;
    for (size_t i = from; i < to && i < bytes.size(); ++i) h = (h ^ static_cast<uint8_t>(bytes[i])) * 1099511628211ull;
    return h;
}

inline std::string Formatted(const char* format, auto... args) {
    char text[512];
    std::snprintf(text, sizeof text, format, args...);
    return text;
}
inline std::string Line(const char* format, auto... args) { return Formatted(format, args...) + "\n"; }

inline std::string DumpTiff(const std::string& b) {
    std::string out = Line("file size %zu", b.size());
    if (b.size() < 8) return out + "too short\n";
    out += Line("byte order %.2s, version %u, directory at %u", b.data(), Be(b, 2, 2), Be(b, 4, 4));
    const size_t dir = Be(b, 4, 4);
    out += Line("pixels: bytes 8 to %zu, fnv %016llx", dir, static_cast<unsigned long long>(Fnv64(b, 8, dir)));
    const uint32_t count = Be(b, dir, 2);
    out += Line("entries %u", count);
    for (uint32_t i = 0; i < count; ++i) {
        const size_t at = dir + 2 + 12 * i;
        const uint32_t tag = Be(b, at, 2), type = Be(b, at + 2, 2), n = Be(b, at + 4, 4);
        out += Line("  tag %04X type %u count %u field %08X", tag, type, n, Be(b, at + 8, 4));
        if (type == 3 && n > 1) {
            const size_t values = Be(b, at + 8, 4);
            out += "    values at " + std::to_string(values) + ":";
            for (uint32_t k = 0; k < n; ++k) out += " " + std::to_string(Be(b, values + 2 * k, 2));
            out += "\n";
        }
    }
    out += Line("next directory %u", Be(b, dir + 2 + 12 * count, 4));
    return out;
}

// `date` false leaves the creation time out, for files made at run time.
inline std::string DumpDpx(const std::string& b, bool date = true) {
    enum Kind { Text, U8, U16, U32, F32 };
    struct Field {
        size_t offset, width;
        Kind kind;
        const char* name;
    };
    // clang-format off
    static const Field fields[] = {
        {0, 4, Text, "magic"}, {4, 4, U32, "image offset"}, {8, 8, Text, "version"}, {16, 4, U32, "file size"},
        {20, 4, U32, "ditto key"}, {24, 4, U32, "generic section size"}, {28, 4, U32, "industry section size"},
        {32, 4, U32, "user data size"}, {36, 100, Text, "image file name"}, {136, 24, Text, "creation time"},
        {160, 100, Text, "creator"}, {260, 200, Text, "project"}, {460, 200, Text, "copyright"},
        {660, 4, U32, "encryption key"}, {768, 2, U16, "orientation"}, {770, 2, U16, "elements"},
        {772, 4, U32, "pixels per line"}, {776, 4, U32, "lines per element"}, {780, 4, U32, "data sign"},
        {784, 4, U32, "reference low data code"}, {788, 4, F32, "reference low quantity"},
        {792, 4, U32, "reference high data code"}, {796, 4, F32, "reference high quantity"},
        {800, 1, U8, "descriptor"}, {801, 1, U8, "transfer"}, {802, 1, U8, "colorimetric"}, {803, 1, U8, "bit depth"},
        {804, 2, U16, "packing"}, {806, 2, U16, "encoding"}, {808, 4, U32, "data offset"},
        {812, 4, U32, "end-of-line padding"}, {816, 4, U32, "end-of-image padding"}, {1408, 4, U32, "x offset"},
        {1412, 4, U32, "y offset"}, {1416, 4, U32, "x centre"}, {1420, 4, U32, "y centre"},
        {1424, 4, U32, "x original size"}, {1428, 4, U32, "y original size"}, {1432, 100, Text, "source file name"},
        {1556, 32, Text, "input device"}, {1588, 32, Text, "input device serial"}, {1620, 8, Text, "border"},
        {1628, 4, U32, "aspect horizontal"}, {1632, 4, U32, "aspect vertical"},
        {1664, 16, Text, "film id, type, offset, prefix, count"}, {1680, 32, Text, "format"},
        {1712, 4, U32, "frame position"}, {1716, 4, U32, "sequence length"}, {1720, 4, U32, "held count"},
        {1724, 4, F32, "frame rate"}, {1728, 4, F32, "shutter angle"}, {1732, 32, Text, "frame id"},
        {1764, 100, Text, "slate"}, {1920, 4, U32, "time code"}, {1940, 4, F32, "television frame rate"}};
    // clang-format on
    std::string out = Line("file size %zu", b.size());
    if (b.size() < 2080) return out + "too short\n";
    std::string named(2080, 0);
    for (const Field& f : fields) {
        named.replace(f.offset, f.width, f.width, 1);
        if (f.offset == 136 && !date) continue;
        std::string value;
        if (f.kind == Text) {
            // Printable characters as they stand, others as \xNN; trailing NULs as a count.
            size_t end = f.width;
            while (end > 0 && b[f.offset + end - 1] == 0) --end;
            for (size_t i = 0; i < end; ++i) {
                const auto c = static_cast<uint8_t>(b[f.offset + i]);
                value += c >= 0x20 && c < 0x7F ? std::string(1, static_cast<char>(c)) : Formatted("\\x%02X", c);
            }
            value = "\"" + value + "\"" + (end < f.width ? " + " + std::to_string(f.width - end) + " NUL" : "");
        } else {
            const uint32_t v =
                f.kind == U8 ? static_cast<uint8_t>(b[f.offset]) : Le(b, f.offset, f.kind == U16 ? 2 : 4);
            value = f.kind == F32   ? Formatted("%g", static_cast<double>(std::bit_cast<float>(v)))
                    : f.kind == U32 ? Formatted("%u (0x%08X)", v, v)
                                    : std::to_string(v);
        }
        out += Line("%4zu %-38s %s", f.offset, f.name, value.c_str());
    }
    std::string stray;
    for (size_t i = 0; i < 2080; ++i)
        if (!named[i] && b[i] != 0) stray += " " + std::to_string(i);
    out += "bytes outside the fields that are not 0:" + (stray.empty() ? std::string(" none") : stray) + "\n";
    out += Line("pixels: bytes 2080 to %zu, fnv %016llx", b.size(),
                static_cast<unsigned long long>(Fnv64(b, 2080, b.size())));
    return out;
}

struct TiffImage {
    uint32_t width = 0, height = 0;
    uint16_t bits = 0, samples = 0, photometric = 0, planar = 0, orientation = 0, format = 0;
    std::vector<uint16_t> pixels;
};

// Reads a file through libtiff, a reader that shares no code with the writer.
inline bool ReadWithLibtiff(const std::string& path, TiffImage* image) {
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif) return false;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &image->width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &image->height);
    TIFFGetField(tif, TIFFTAG_BITSPERSAMPLE, &image->bits);
    TIFFGetField(tif, TIFFTAG_SAMPLESPERPIXEL, &image->samples);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &image->photometric);
    TIFFGetField(tif, TIFFTAG_PLANARCONFIG, &image->planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_ORIENTATION, &image->orientation);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &image->format);
    bool ok = image->bits == 16 && image->samples == 3;
    if (ok) {
        image->pixels.resize(static_cast<size_t>(image->width) * image->height * 3);
        for (uint32_t row = 0; row < image->height && ok; ++row)
            ok = TIFFReadScanline(tif, image->pixels.data() + static_cast<size_t>(row) * image->width * 3, row) == 1;
    }
    TIFFClose(tif);
    return ok;
}

// Every sample OpenImageIO reads from a DPX file, 10-bit, by pixel; empty when it cannot.
inline std::vector<std::array<uint32_t, 3>> ReadWithOiio(const std::string& path, uint32_t w, uint32_t h) {
    const auto dump = RunShell("oiiotool --dumpdata '" + path + "'");
    std::vector<std::array<uint32_t, 3>> px(static_cast<size_t>(w) * h, {~0u, ~0u, ~0u});
    if (dump.status != 0) return {};
    const std::regex pixel(R"(Pixel \((\d+), (\d+)\): \d+ \d+ \d+ \(([0-9.e-]+) ([0-9.e-]+) ([0-9.e-]+)\))");
    for (auto it = std::sregex_iterator(dump.output.begin(), dump.output.end(), pixel); it != std::sregex_iterator();
         ++it) {
        const auto x = std::stoul((*it)[1]), y = std::stoul((*it)[2]);
        if (x >= w || y >= h) return {};
        for (int c = 0; c < 3; ++c)
            px[y * w + x][static_cast<size_t>(c)] =
                static_cast<uint32_t>(std::lround(std::stod((*it)[3 + c]) * 1023.0));
    }
    return px;
}

}  // namespace ombrel::test
