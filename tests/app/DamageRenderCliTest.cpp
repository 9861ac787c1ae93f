// Renders with film damage on OpenGL and on the CPU pipeline: split ranges of the demo clip
// against the whole, and a treatment with nothing in it against the plain render.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

// `pipeline` is "--cpu" or "--gl".
std::string Render(const test::TempDir& dir, const std::string& run, const std::string& pipeline,
                   const std::string& args, const std::string& clip, const std::string& name) {
    const test::ShellResult r = Ombrel("render " + pipeline + " --out " + dir / run + " " + args + " " + clip);
    EXPECT_EQ(r.status, 0) << run << ": " << r.output;
    return dir / (run + "/" + name);
}

// The largest difference of a 10-bit sample between two DPX images of three samples a word.
int LargestStep(const std::string& a, const std::string& b) {
    if (a.size() != b.size() || a.empty()) return 1024;
    int worst = 0;
    for (size_t i = 0; i + 4 <= a.size(); i += 4) {
        uint32_t x = 0, y = 0;
        std::memcpy(&x, a.data() + i, 4);
        std::memcpy(&y, b.data() + i, 4);
        for (int shift : {22, 12, 2})
            worst = std::max(worst, std::abs(int((x >> shift) & 0x3FFu) - int((y >> shift) & 0x3FFu)));
    }
    return worst;
}

// `pipeline` is "--cpu" or "--gl".
void ExpectRangesAsTheWhole(const std::string& pipeline) {
    test::TempDir dir;
    const std::string clip = OMBREL_DEMO_CLIP;
    // Lines pinned before frame 24 must be on the film after it; the lead-in's flash and overlays
    // fall away by frame number. An eighth of the size keeps the run short.
    for (const char* treatment : {"worn-16mm", "leader"}) {
        const std::string run = std::string(treatment) + (pipeline == "--gl" ? "-gl" : "-cpu");
        const std::string t = std::string(" --size 256x135 --damage ") + treatment;
        auto render = [&](const std::string& part, const std::string& frames) {
            return Render(dir, run + part, pipeline, "--frames " + frames + t, clip, "A001_C001_0101AB_demo");
        };
        const std::string whole = render("-whole", "0-47"), a = render("-a", "0-23"), b = render("-b", "24-47");
        const auto frames = DpxFrames(whole);
        ASSERT_EQ(frames.size(), 48u) << run;
        for (size_t i = 0; i < frames.size(); ++i)
            EXPECT_TRUE(DpxImageData(whole + "/" + frames[i]) == DpxImageData((i < 24 ? a : b) + "/" + frames[i]))
                << run << " " << frames[i];
    }
}

TEST(DamageRenderCli, ARangeRendersAsTheWholeDoesOnOpenGL) { ExpectRangesAsTheWhole("--gl"); }
TEST(DamageRenderCli, ARangeRendersAsTheWholeDoesOnTheCpu) { ExpectRangesAsTheWhole("--cpu"); }

TEST(DamageRenderCli, ATreatmentOfNothingLeavesThePlainRender) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(320, 180, 2));
    // A treatment that asks for nothing leaves every frame as the plain render makes it (on the
    // CPU the plain render takes the fast path and a treatment draws over the reference: within a
    // 10-bit step); one that asks for damage does not.
    test::WriteWholeFile(dir / "nothing.plist", "<plist version=\"1.0\"><dict/></plist>");
    for (const std::string pipeline : {"--gl", "--cpu"}) {
        const std::string p = pipeline == "--gl" ? "gl" : "cpu", name = "A001_C001_0101AB";
        const std::string plain = Render(dir, "plain-" + p, pipeline, "", clip, name);
        const std::string nothing = Render(dir, "nothing-" + p, pipeline, "--damage " + dir / "nothing.plist", clip, name);
        const std::string dusty = Render(dir, "dusty-" + p, pipeline, "--damage dusty", clip, name);
        const auto frames = DpxFrames(plain);
        ASSERT_EQ(frames.size(), 2u) << p;
        for (const auto& f : frames) {
            EXPECT_LE(LargestStep(DpxImageData(plain + "/" + f), DpxImageData(nothing + "/" + f)), p == "gl" ? 0 : 1)
                << p << " " << f;
            EXPECT_FALSE(DpxImageData(plain + "/" + f) == DpxImageData(dusty + "/" + f)) << p << " " << f;
        }
    }
}

TEST(DamageRenderCli, RefusesATreatmentItCannotUse) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(64, 32, 2));
    const test::ShellResult missing = Ombrel("render --cpu --damage no-such --out " + dir / "o " + clip);
    EXPECT_EQ(missing.status, 2);
    EXPECT_TRUE(Has(missing, "built in: dusty, home-8mm, leader, worn-16mm")) << missing.output;
    test::WriteWholeFile(dir / "bad.plist", "not a property list");
    EXPECT_EQ(Ombrel("render --cpu --damage " + dir / "bad.plist" + " --out " + dir / "o " + clip).status, 1);
}

}  // namespace
}  // namespace ombrel
