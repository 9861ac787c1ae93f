// A clip whose metadata gives no usable white balance decodes at the neutral 5600 K when the
// look follows the metadata, never at 0 K or below.
#include <gtest/gtest.h>

#include <optional>

#include "r3d/sdk/SdkClips.h"
#include "sources/R3DSource.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

TEST(MetadataKelvinDecision, GivesNeutral5600ForMetadataOfZeroOrLess_NotTheValueItself) {
    struct Row {
        const char* name;
        std::optional<float> kelvin;  // nullopt: the clip has no white balance token
        uint32_t expected;
    };
    test::TempDir dir;
    int n = 0;
    for (const Row& row : {Row{"3200 K", 3200.0f, 3200}, Row{"zero", 0.0f, 5600}, Row{"negative", -3200.0f, 5600},
                           Row{"no token", std::nullopt, 5600}}) {
        SCOPED_TRACE(row.name);
        sdktest::SdkClip c = sdktest::BasicClip(16, 8, 1);
        auto& tokens = c.spec.frameMetadata;
        std::erase_if(tokens, [](const r3d::MetadataToken& t) { return (t.id & 0xFFF) == r3d::kIdWhiteBalanceKelvin; });
        if (row.kelvin) tokens.push_back(r3d::MetadataToken::Float(r3d::kIdWhiteBalanceKelvin, *row.kelvin));
        const std::string path = dir / ("A00" + std::to_string(++n) + "_C001_0101AB_001.R3D");
        ASSERT_EQ(sdktest::WriteSdkClip(path, c), "");
        R3DSource s;
        s.SetFilePath(path);
        ASSERT_TRUE(s.SetOutputWidthHeightFit(16, 8, 2));
        ASSERT_TRUE(s.OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(path, true, 4, false, false))
            << s.lastError();
        EXPECT_EQ(s.MetadataKelvin(), row.expected);
    }
}

}  // namespace
}  // namespace ombrel
