#include "r3d/ImagePayload.h"

#include <gtest/gtest.h>

#include <random>

namespace ombrel::r3d {
namespace {

std::vector<uint16_t> Noise(uint32_t w, uint32_t h, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint16_t> v(size_t(w) * h * 3);
    for (auto& s : v) s = uint16_t(rng());
    return v;
}

TEST(R3DImagePayload, LosslessForEveryStorageChoice) {
    const uint32_t w = 37, h = 23;
    const auto pic = Noise(w, h, 1);
    for (auto compression : {PayloadCompression::kNone, PayloadCompression::kDeflate})
        for (bool predictor : {false, true})
            for (uint32_t rows : {1u, 7u, 64u}) {
                ImagePayloadOptions o;
                o.compression = compression;
                o.predictor = predictor;
                o.rowsPerStripe = rows;
                std::vector<uint8_t> payload;
                ASSERT_TRUE(EncodeImagePayload(pic.data(), w, h, 0, o, &payload));
                ImagePayloadInfo info;
                ASSERT_EQ(InspectImagePayload(payload.data(), payload.size(), &info), ImagePayloadStatus::kOk);
                EXPECT_EQ(info.stripeCount, (h + rows - 1) / rows);
                std::vector<uint16_t> out(pic.size());
                ASSERT_EQ(DecodeImagePayload(payload.data(), payload.size(), 1, out.data(), out.size() * 2),
                          ImagePayloadStatus::kOk);
                EXPECT_EQ(out, pic) << int(compression) << predictor << rows;
            }
}

TEST(R3DImagePayload, OtherDataIsNotOursAndDamageIsCaught) {
    const uint32_t w = 16, h = 8;
    const auto pic = Noise(w, h, 3);
    std::vector<uint8_t> payload;
    ASSERT_TRUE(EncodeImagePayload(pic.data(), w, h, 0, {}, &payload));
    std::vector<uint16_t> out(size_t(w) * h * 3);
    auto decode = [&](const std::vector<uint8_t>& bytes) {
        return DecodeImagePayload(bytes.data(), bytes.size(), 1, out.data(), out.size() * 2);
    };
    // A codestream of the camera maker: start, size and coding style markers.
    std::vector<uint8_t> maker = CodestreamSizeHeader(w, h);
    maker.insert(maker.end(), {0xFF, 0x52, 0x00, 0x0C, 0x00, 0x00, 0x00, 0x01, 0x01, 0x05, 0x04, 0x04, 0x00, 0x00});
    EXPECT_EQ(decode(maker), ImagePayloadStatus::kNotOurs);
    EXPECT_EQ(decode({}), ImagePayloadStatus::kNotOurs);

    auto cut = payload;
    cut.resize(cut.size() - 3);
    EXPECT_EQ(decode(cut), ImagePayloadStatus::kCorrupt);
    for (size_t at : {cut.size() - 3, size_t(28), size_t(15)}) {  // the data, the stripe count, the width
        auto damaged = payload;
        damaged[at] ^= 0x40;
        EXPECT_EQ(decode(damaged), ImagePayloadStatus::kCorrupt) << "byte " << at;
    }
    EXPECT_EQ(DecodeImagePayload(payload.data(), payload.size(), 3, out.data(), out.size() * 2),
              ImagePayloadStatus::kBadArgument);
    EXPECT_EQ(DecodeImagePayload(payload.data(), payload.size(), 1, out.data(), out.size() * 2 - 1),
              ImagePayloadStatus::kBadArgument);
}

// Only the checksum at a stripe's end is wrong: the stripe inflates whole and must still fail,
// on the full-size road straight into the rows, on one and two threads, strided and scaled.
TEST(R3DImagePayload, AWrongChecksumInAnyStripeIsDamageOnEveryRoad) {
    const uint32_t w = 33, h = 20;  // four stripes, the last one short
    const auto pic = Noise(w, h, 5);
    std::vector<uint8_t> payload;
    ASSERT_TRUE(EncodeImagePayload(pic.data(), w, h, 0, {.rowsPerStripe = 6}, &payload));
    std::vector<uint16_t> out(size_t(w + 1) * h * 3);
    size_t end = kImagePayloadHeaderSize + 4 * 4;
    for (size_t s = 0; s < 4; ++s) {
        end += payload[32 + 4 * s] | payload[33 + 4 * s] << 8 | payload[34 + 4 * s] << 16;
        auto damaged = payload;
        damaged[end - 1] ^= 1;
        for (auto [divisor, rowBytes, threads] : {std::tuple{1, 0, 1}, {1, 0, 2}, {1, int(w + 1) * 6, 1}, {2, 0, 1}})
            EXPECT_EQ(DecodeImagePayload(damaged.data(), damaged.size(), divisor, out.data(), out.size() * 2,
                                         size_t(rowBytes), threads),
                      ImagePayloadStatus::kCorrupt)
                << s << ' ' << divisor << ' ' << rowBytes << ' ' << threads;
    }
}

// A development given to the decode lands on the samples of the picture as decoded, on every road.
TEST(R3DImagePayload, TablesDevelopTheDecodedSamplesOnEveryRoad) {
    const uint32_t w = 18, h = 12;
    const auto pic = Noise(w, h, 9);
    std::vector<uint8_t> payload;
    ASSERT_TRUE(EncodeImagePayload(pic.data(), w, h, 0, {.rowsPerStripe = 4}, &payload));
    std::vector<uint16_t> lut(3 * 65536);
    for (size_t i = 0; i < lut.size(); ++i) lut[i] = uint16_t(i * 7919 >> 3);
    const SampleTables tables{{lut.data(), lut.data() + 65536, lut.data() + 2 * 65536}};
    for (auto [divisor, rowBytes, threads] : {std::tuple{1, 0, 1}, {1, 0, 2}, {1, int(w + 1) * 6, 2}, {2, 0, 1}}) {
        std::vector<uint16_t> plain(size_t(w + 1) * h * 3), developed(plain.size());
        ASSERT_EQ(DecodeImagePayload(payload.data(), payload.size(), divisor, plain.data(), plain.size() * 2,
                                     size_t(rowBytes), threads),
                  ImagePayloadStatus::kOk);
        ASSERT_EQ(DecodeImagePayload(payload.data(), payload.size(), divisor, developed.data(), plain.size() * 2,
                                     size_t(rowBytes), threads, &tables),
                  ImagePayloadStatus::kOk);
        const size_t rowSamples = rowBytes ? size_t(rowBytes) / 2 : size_t(w / divisor) * 3;
        for (size_t i = 0; i < size_t(h / divisor) * rowSamples; ++i) {
            if (i % rowSamples >= size_t(w / divisor) * 3) continue;  // the padding of strided rows
            ASSERT_EQ(developed[i], lut[i % 3 * 65536 + plain[i]]) << divisor << ' ' << rowBytes << ' ' << i;
        }
    }
}

}  // namespace
}  // namespace ombrel::r3d
