// Renders with film damage on the CPU pipeline: split ranges against the whole, and a treatment
// with nothing in it against the plain render.
#include <gtest/gtest.h>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

std::string Render(const test::TempDir& dir, const std::string& run, const std::string& args, const std::string& clip) {
    const test::ShellResult r = Ombrel("render --cpu --out " + dir / run + " " + args + " " + clip);
    EXPECT_EQ(r.status, 0) << run << ": " << r.output;
    return dir / (run + "/A001_C001_0101AB");
}

TEST(DamageRenderCli, ARangeRendersAsTheWholeDoes) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(320, 180, 10));
    // Lines pinned before frame 5 must be on the film after it; the lead-in's flash and overlays
    // fall away by frame number.
    for (const char* treatment : {"worn-16mm", "leader"}) {
        const std::string t = std::string(" --damage ") + treatment;
        const std::string whole = Render(dir, std::string(treatment) + "-whole", "--frames 0-9" + t, clip);
        const std::string a = Render(dir, std::string(treatment) + "-a", "--frames 0-4" + t, clip);
        const std::string b = Render(dir, std::string(treatment) + "-b", "--frames 5-9" + t, clip);
        const auto frames = DpxFrames(whole);
        ASSERT_EQ(frames.size(), 10u) << treatment;
        for (size_t i = 0; i < frames.size(); ++i)
            EXPECT_TRUE(DpxImageData(whole + "/" + frames[i]) == DpxImageData((i < 5 ? a : b) + "/" + frames[i]))
                << treatment << " " << frames[i];
    }
    // A treatment that asks for nothing leaves every frame as the plain render makes it; one that
    // asks for damage does not.
    test::WriteWholeFile(dir / "nothing.plist", "<plist version=\"1.0\"><dict/></plist>");
    const std::string plain = Render(dir, "plain", "--frames 0-1", clip);
    const std::string nothing = Render(dir, "nothing", "--frames 0-1 --damage " + dir / "nothing.plist", clip);
    const std::string dusty = Render(dir, "dusty", "--frames 0-1 --damage dusty", clip);
    for (const auto& name : DpxFrames(plain)) {
        EXPECT_TRUE(DpxImageData(plain + "/" + name) == DpxImageData(nothing + "/" + name)) << name;
        EXPECT_FALSE(DpxImageData(plain + "/" + name) == DpxImageData(dusty + "/" + name)) << name;
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
