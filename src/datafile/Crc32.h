#pragma once

// CRC-32 of a byte buffer, table-driven, reflected (least significant bit first).

#include <cstddef>
#include <cstdint>

namespace ombrel {

inline constexpr uint32_t kCrc32Seed = 0xFFFFFFFFu;
inline constexpr uint32_t kCrc32Polynomial = 0xEDB88320u;  // ISO 3309, reflected

// Fills table[256] for the reflected polynomial; returns 256.
int generateCRC32Table(uint32_t* table, uint32_t polynomial);

// Starts from `seed` and returns the complement of the running value.
uint32_t crc32WithSeedUsingPolynomial(const void* bytes, size_t length, uint32_t seed, uint32_t polynomial);
uint32_t crc32WithSeed(const void* bytes, size_t length, uint32_t seed);
uint32_t crc32UsingPolynomial(const void* bytes, size_t length, uint32_t polynomial);
uint32_t crc32(const void* bytes, size_t length);

}  // namespace ombrel
