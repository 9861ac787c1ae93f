// The damage programs on OpenGL against the CPU reference: each built-in treatment at frames of
// its lead-in and after it, a treatment with nothing in it against the plain look, and the text
// generated for the programs.
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <set>

#include "LookTestSupport.h"
#include "damage/ShaderProcessorAnim.h"
#include "damage/Treatments.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// A processor that also draws its CPU reference of a frame from its own state.
class Probe : public ShaderProcessorAnim {
public:
    Probe() : ShaderProcessorAnim(Backend::OpenGL) {}

    std::vector<uint16_t> Draw(const test::Frame16& frame, int64_t f, int fit, bool onCpu) {
        const int w = frame.width, h = frame.height;
        std::vector<uint16_t> out(static_cast<size_t>(w * h * 4), 0);
        DrawParams p = test::FrameParams(*this, w, h, out.data());
        p.animationFrame = static_cast<int32_t>(f);
        p.fitMethod = fit;
        p.aspectSize = {float(w), float(h)};
        SetGrainOffsetForNextDraw({0.0f, 0.0f});
        if (!onCpu) {
            setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(frame.rgb.data()));
            RenderUsingR3DRenderBuffer(&p);
            out.resize(static_cast<size_t>(w * h * 3));
            return out;
        }
        const cpu::Image image = cpu::ImageFromRgb16(frame.rgb.data(), w, h, HalfFloatTextures());
        cpu::Image target{w, h, std::vector<float>(static_cast<size_t>(w * h * 4), 0.0f)};
        for (size_t i = 3; i < target.rgba.size(); i += 4) target.rgba[i] = 1.0f;
        const cpu::Quad quad = cpu::RenderPassQuad(w, h, float(w), float(h), fit, float(w), float(h), true);
        DrawCoreQuadCpu(CoreShaderInputsForRender(), image, quad, p, target);
        DrawEffectsSecondPassCpu(p, target);
        out.resize(static_cast<size_t>(w * h * 3));
        cpu::ToUnsigned16(target, false, out.data());
        return out;
    }
};

// Soft ramps with a few hard bars, so that smear, weave and leaks have something to move.
test::Frame16 Picture(int w, int h) {
    test::Frame16 f{w, h, std::vector<uint16_t>(static_cast<size_t>(w * h * 3))};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double u = (x + 0.5) / w, v = (y + 0.5) / h;
            const double bar = (x / 24 + y / 24) % 5 == 0 ? 0.3 : 0.0;
            const double rgb[3] = {0.15 + 0.6 * u, 0.2 + 0.5 * v + bar, 0.5 + 0.35 * std::sin(9.0 * u * v)};
            for (int k = 0; k < 3; ++k)
                f.rgb[(static_cast<size_t>(y) * w + x) * 3 + k] =
                    static_cast<uint16_t>(std::lround(std::clamp(rgb[k], 0.0, 1.0) * 65535.0));
        }
    return f;
}

bool Prepare(Probe& sp, const std::string& treatment, int w, int h, std::string* why) {
    std::string path;
    if (!FindTreatment(treatment, &path).ok() || !sp.LoadTreatment(path).ok()) {
        *why = "the treatment " + treatment + " does not load";
        return false;
    }
    sp.SetClipSeed(0x5eed);
    return test::PrepareRenderProcessor(sp, w, h, w, h, why);
}

#define OMBREL_PROBE_OR_SKIP(sp, treatment, w, h)                   \
    Probe sp;                                                      \
    if (std::string why; !Prepare(sp, treatment, w, h, &why)) {    \
        if (std::getenv("OMBREL_REQUIRE_GL")) FAIL() << why;       \
        GTEST_SKIP() << why;                                       \
    }

TEST(DamageGpu, EachTreatmentMatchesTheReferenceInAndAfterItsLeadIn) {
    // Full size: the gate border and the gunk are sampled as a render samples them.
    const test::Frame16 frame = Picture(1920, 1080);
    for (const std::string& name : BuiltInTreatments()) {
        SCOPED_TRACE(name);
        OMBREL_PROBE_OR_SKIP(sp, name, frame.width, frame.height);
        const int64_t lead = sp.animations().leadInLength();
        // The lead-in's last frame, the first after it, and one later, where lines are pinned.
        std::set<int64_t> frames{lead + 5};
        if (lead > 0) frames.insert({lead - 1, lead});
        for (const int64_t f : frames) {
            // The whole-viewport quad once: its corners list the rows the other way round.
            const int fit = f == lead ? 2 : 0;
            const auto gpu = sp.Draw(frame, f, fit, false);
            const auto cpu = sp.Draw(frame, f, fit, true);
            const auto d = test::Compare(gpu, cpu);
            size_t within = 0;
            for (size_t i = 0; i < gpu.size(); ++i) within += std::abs(int(gpu[i]) - int(cpu[i])) <= 128;
            const double share = double(within) / double(gpu.size());
            EXPECT_GE(share, 0.999) << "frame " << f << ": largest " << d.max1023 << " at sample " << d.worstIndex;
            EXPECT_LT(d.median1023, 0.5) << "frame " << f;
            std::printf("%s frame %lld: largest %.2f/1023, %.4f%% within 2/1023\n", name.c_str(),
                        static_cast<long long>(f), d.max1023, share * 100.0);
        }
    }
}

TEST(DamageGpu, ATreatmentWithNothingInItLeavesThePlainLook) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "nothing.plist", "<plist version=\"1.0\"><dict/></plist>");
    const test::Frame16 frame = Picture(96, 54);
    OMBREL_PROCESSOR_OR_SKIP(plain, frame.width, frame.height, frame.width, frame.height);
    Probe sp;
    ASSERT_TRUE(sp.LoadTreatment(dir / "nothing.plist").ok());
    std::string why;
    ASSERT_TRUE(test::PrepareRenderProcessor(sp, frame.width, frame.height, frame.width, frame.height, &why)) << why;
    plain->SetGrainOffsetForNextDraw({0.0f, 0.0f});
    EXPECT_EQ(sp.Draw(frame, 0, 0, false), test::DrawOnGpu(*plain, frame, frame.width, frame.height, 0,
                                                           float(frame.width), float(frame.height)));
}

TEST(DamageGpu, TheGeneratedTextOfBothVariants) {
    AnimationSequence a;
    a.LoadFromDictionary(PlistValue::DictT{
        {"leakPositions", PlistValue::ArrayT{PlistValue::ArrayT{0.25, 0.125}, PlistValue::ArrayT{1, 0.999}}}});
    std::string text;
    for (const bool leadIn : {false, true})
        for (const bool argb : {false, true})
            text += fmt::format("-- leadIn {} argb {}\n", leadIn, argb) +
                    ShaderProcessorAnim::GeneratedDamageMain(a, leadIn, true, argb, argb);
    EXPECT_TRUE(test::MatchesRef("damage/generated-main.txt", text));
}

}  // namespace
}  // namespace ombrel
