// Spanned R3D clips: a missing middle file makes the clip incomplete (refused unless asked
// for), and a later file named on the command line stands for its clip.
#include <gtest/gtest.h>

#include <string>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

// Six frames in three files of two: _001, _002 and _003.
struct SpannedClip {
    test::TempDir dir;
    std::string first = dir / "card/A001_C001_0101AB_001.R3D";
    std::string second = dir / "card/A001_C001_0101AB_002.R3D";
    std::string out = dir / "out/A001_C001_0101AB";
    SpannedClip() {
        sdktest::SdkClip clip = sdktest::BasicClip(16, 8, 6);
        clip.spec.framesPerFile = 2;
        WriteClip(first, clip);
        EXPECT_TRUE(std::filesystem::exists(dir / "card/A001_C001_0101AB_003.R3D"));
    }
};

struct SpanCase {
    const char* name;
    bool removeSecond;
    const char* options;
    bool nameSecond;  // name the second file instead of the first
    int status;
    const char* says;
    size_t written;
};

const SpanCase kSpanCases[] = {
    {"Whole", false, "", false, 0, " -> ", 6},
    {"MiddleFileMissing", true, "", false, 1,
     "the clip is incomplete: its file {dir}/card/A001_C001_0101AB_002.R3D is missing (--allow-incomplete renders the "
     "2 frames of the files before it)",
     0},
    {"MiddleFileMissingAllowed", true, "--allow-incomplete ", false, 0,
     "the clip is incomplete: its file {dir}/card/A001_C001_0101AB_002.R3D is missing; rendering the 2 frames of the "
     "files before it",
     2},
    {"SecondFileNamed", false, "", true, 0,
     "part 2 of the R3D clip {dir}/card/A001_C001_0101AB_001.R3D; the clip is rendered from there", 6},
};

class SpannedClips : public ::testing::TestWithParam<SpanCase> {};

TEST_P(SpannedClips, AnIncompleteClipIsSaidAndALaterFileStandsForItsClip) {
    const SpanCase& c = GetParam();
    SpannedClip clip;
    if (c.removeSecond) std::filesystem::remove(clip.second);
    const auto r = Ombrel(std::string("render --cpu ") + c.options + "--out " + clip.dir / "out " +
                          (c.nameSecond ? clip.second : clip.first));
    std::string says = c.says;
    if (const size_t at = says.find("{dir}"); at != std::string::npos) says.replace(at, 5, clip.dir.path());
    EXPECT_EQ(r.status, c.status) << r.output;
    EXPECT_TRUE(Has(r, says)) << "wanted: " << says << "\n" << r.output;
    EXPECT_FALSE(Has(r, "cannot render movie files")) << r.output;
    EXPECT_EQ(DpxFrames(clip.out).size(), c.written) << r.output;
}

INSTANTIATE_TEST_SUITE_P(Cases, SpannedClips, ::testing::ValuesIn(kSpanCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(SpannedClips, InfoOfALaterFileTellsOfTheWholeClip) {
    SpannedClip clip;
    const auto r = Ombrel("info --json " + clip.second);
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_TRUE(Has(r, "\"frameCount\": 6")) << r.output;
}

}  // namespace
}  // namespace ombrel
