// --frames ranges against the clip's length: the frames that exist are rendered and the rest
// named; a range with no frame in the clip is refused.
#include <gtest/gtest.h>

#include <string>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

struct RangeCase {
    const char* name;
    const char* frames;  // on a clip of six frames, 0-5
    int status;
    const char* says;
    size_t written;
};

const RangeCase kRangeCases[] = {
    {"Inside", "1-2", 0, " -> ", 2},
    {"EndsAtTheLastFrame", "3-5", 0, " -> ", 3},
    {"EndsBeyond", "3-9", 0, "frames 6-9 of --frames 3-9 lie beyond the clip's last frame; rendering 3-5", 3},
    {"OnlyTheLastFrameIsIn", "5-6", 1, "of --frames 5-6 only frame 5 is in the clip", 0},
    {"StartsJustBeyond", "6-7", 1, "--frames 6-7 lies beyond the clip, whose last frame is 5; nothing rendered", 0},
    {"FarBeyond", "100-200", 1, "--frames 100-200 lies beyond the clip, whose last frame is 5; nothing rendered", 0},
};

class FrameRanges : public ::testing::TestWithParam<RangeCase> {};

TEST_P(FrameRanges, OnlyFramesOfTheClipAreRenderedAndTheRestNamed) {
    const RangeCase& c = GetParam();
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 6));
    const auto r = Ombrel("render --cpu --out " + dir / "out --frames " + c.frames + " " + clip);
    EXPECT_EQ(r.status, c.status) << r.output;
    EXPECT_TRUE(Has(r, c.says)) << "wanted: " << c.says << "\n" << r.output;
    EXPECT_EQ(DpxFrames(dir / "out/A001_C001_0101AB").size(), c.written) << r.output;
}

INSTANTIATE_TEST_SUITE_P(Cases, FrameRanges, ::testing::ValuesIn(kRangeCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
