// Renders with film damage on OpenGL and on the CPU pipeline: split ranges of the demo clip
// against the whole, and a treatment with nothing in it against the plain render.
#include <gtest/gtest.h>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

// `pipeline` is "--cpu" or empty for OpenGL.
std::string Render(const test::TempDir& dir, const std::string& run, const std::string& pipeline,
                   const std::string& args, const std::string& clip, const std::string& name) {
    const test::ShellResult r = Ombrel("render " + pipeline + " --out " + dir / run + " " + args + " " + clip);
    EXPECT_EQ(r.status, 0) << run << ": " << r.output;
    return dir / (run + "/" + name);
}

// `pipeline` is "--cpu" or empty for OpenGL.
void ExpectRangesAsTheWhole(const std::string& pipeline) {
    test::TempDir dir;
    const std::string clip = OMBREL_DEMO_CLIP;
    // Lines pinned before frame 24 must be on the film after it; the lead-in's flash and overlays
    // fall away by frame number. An eighth of the size keeps the run short.
    for (const char* treatment : {"worn-16mm", "leader"}) {
        const std::string run = std::string(treatment) + (pipeline.empty() ? "-gl" : "-cpu");
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

TEST(DamageRenderCli, ARangeRendersAsTheWholeDoesOnOpenGL) { ExpectRangesAsTheWhole(""); }
TEST(DamageRenderCli, ARangeRendersAsTheWholeDoesOnTheCpu) { ExpectRangesAsTheWhole("--cpu"); }

TEST(DamageRenderCli, ATreatmentOfNothingLeavesThePlainRender) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(320, 180, 2));
    // A treatment that asks for nothing leaves every frame as the plain render makes it; one that
    // asks for damage does not.
    test::WriteWholeFile(dir / "nothing.plist", "<plist version=\"1.0\"><dict/></plist>");
    for (const std::string pipeline : {"", "--cpu"}) {
        const std::string p = pipeline.empty() ? "gl" : "cpu", name = "A001_C001_0101AB";
        const std::string plain = Render(dir, "plain-" + p, pipeline, "", clip, name);
        const std::string nothing = Render(dir, "nothing-" + p, pipeline, "--damage " + dir / "nothing.plist", clip, name);
        const std::string dusty = Render(dir, "dusty-" + p, pipeline, "--damage dusty", clip, name);
        const auto frames = DpxFrames(plain);
        ASSERT_EQ(frames.size(), 2u) << p;
        for (const auto& f : frames) {
            EXPECT_TRUE(DpxImageData(plain + "/" + f) == DpxImageData(nothing + "/" + f)) << p << " " << f;
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
