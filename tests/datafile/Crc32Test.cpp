#include "datafile/Crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

namespace ombrel {
namespace {

TEST(Crc32, CheckValuesOfTheStandardAndAnotherPolynomial) {
    const std::string check = "123456789";
    EXPECT_EQ(crc32(check.data(), check.size()), 0xCBF43926u);
    EXPECT_EQ(crc32WithSeed(check.data(), check.size(), 0xFFFFFFFFu), 0xCBF43926u);
    EXPECT_EQ(crc32UsingPolynomial(check.data(), check.size(), 0xEDB88320u), 0xCBF43926u);
    // The Castagnoli polynomial, reflected, has its own published check value.
    EXPECT_EQ(crc32UsingPolynomial(check.data(), check.size(), 0x82F63B78u), 0xE3069283u);
    EXPECT_EQ(crc32WithSeedUsingPolynomial(check.data(), check.size(), 0xFFFFFFFFu, 0x82F63B78u), 0xE3069283u);
    EXPECT_EQ(crc32(nullptr, 0), 0u);

    uint32_t table[256] = {};
    EXPECT_EQ(generateCRC32Table(table, 0xEDB88320u), 256);
    EXPECT_EQ(table[0], 0u);
    EXPECT_EQ(table[1], 0x77073096u);
    EXPECT_EQ(table[255], 0x2D02EF8Du);
}

TEST(Crc32, AgreesWithZlibAndChainsThroughTheSeed) {
    std::mt19937 rng(3);
    for (size_t size : {1u, 2u, 7u, 255u, 256u, 4096u, 100003u}) {
        std::vector<uint8_t> data(size);
        for (auto& b : data) b = static_cast<uint8_t>(rng());
        const uint32_t ours = crc32(data.data(), data.size());
        EXPECT_EQ(ours, static_cast<uint32_t>(::crc32(0L, data.data(), static_cast<uInt>(data.size())))) << size;
        // A running CRC carries on from the complement of the previous result.
        const size_t half = size / 2;
        const uint32_t first = crc32(data.data(), half);
        EXPECT_EQ(crc32WithSeed(data.data() + half, size - half, ~first), ours) << size;
    }
}

}  // namespace
}  // namespace ombrel
