#include "datafile/Crc32.h"

#include <array>

namespace ombrel {
namespace {

const std::array<uint32_t, 256>& StandardTable() {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        generateCRC32Table(t.data(), kCrc32Polynomial);
        return t;
    }();
    return table;
}

uint32_t Run(const std::array<uint32_t, 256>& table, const void* bytes, size_t length, uint32_t seed) {
    const auto* p = static_cast<const uint8_t*>(bytes);
    uint32_t crc = seed;
    for (size_t i = 0; i < length; ++i) crc = (crc >> 8) ^ table[(crc & 0xFFu) ^ p[i]];
    return ~crc;
}

}  // namespace

int generateCRC32Table(uint32_t* table, uint32_t polynomial) {
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit) c = (c & 1u) ? (c >> 1) ^ polynomial : c >> 1;
        table[i] = c;
    }
    return 256;
}

uint32_t crc32WithSeedUsingPolynomial(const void* bytes, size_t length, uint32_t seed, uint32_t polynomial) {
    if (polynomial == kCrc32Polynomial) return Run(StandardTable(), bytes, length, seed);
    std::array<uint32_t, 256> table{};
    generateCRC32Table(table.data(), polynomial);
    return Run(table, bytes, length, seed);
}

uint32_t crc32WithSeed(const void* bytes, size_t length, uint32_t seed) {
    return crc32WithSeedUsingPolynomial(bytes, length, seed, kCrc32Polynomial);
}

uint32_t crc32UsingPolynomial(const void* bytes, size_t length, uint32_t polynomial) {
    return crc32WithSeedUsingPolynomial(bytes, length, kCrc32Seed, polynomial);
}

uint32_t crc32(const void* bytes, size_t length) {
    return crc32WithSeedUsingPolynomial(bytes, length, kCrc32Seed, kCrc32Polynomial);
}

}  // namespace ombrel
