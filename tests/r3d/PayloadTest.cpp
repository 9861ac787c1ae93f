#include "r3d/ImagePayload.h"
#include "r3d/sdk/SdkClips.h"

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

TEST(R3DImagePayload, ReducedDecodesAreBlockMeansInAnyThreadCount) {
    const uint32_t w = 70, h = 45;
    const auto pic = Noise(w, h, 2);
    std::vector<uint8_t> payload;
    ImagePayloadOptions o;
    o.rowsPerStripe = 5;  // stripes that do not line up with the blocks
    ASSERT_TRUE(EncodeImagePayload(pic.data(), w, h, 0, o, &payload));
    for (int d : {2, 16}) {
        uint32_t ow, oh;
        ScaledSize(w, h, d, &ow, &oh);
        for (int threads : {1, 3}) {
            // Rows with room to spare: the spare bytes stay as they were.
            const size_t rowBytes = size_t(ow) * 6 + 10;
            std::vector<uint16_t> out(rowBytes / 2 * oh, 0xABCD);
            ASSERT_EQ(
                DecodeImagePayload(payload.data(), payload.size(), d, out.data(), out.size() * 2, rowBytes, threads),
                ImagePayloadStatus::kOk);
            const auto expected = sdktest::Reduced(pic, w, h, d);
            for (uint32_t y = 0; y < oh; ++y) {
                const uint16_t* row = out.data() + y * rowBytes / 2;
                ASSERT_TRUE(std::equal(row, row + size_t(ow) * 3, expected.begin() + size_t(y) * ow * 3))
                    << "divisor " << d << " threads " << threads << " row " << y;
                EXPECT_EQ(row[ow * 3], 0xABCD);
            }
        }
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
    EXPECT_FALSE(EncodeImagePayload(pic.data(), 0, h, 0, {}, &payload));
}

}  // namespace
}  // namespace ombrel::r3d
