#include "FastKernelSupport.h"

#include <cmath>
#include <string>

namespace ombrel::test {

// Within one 10-bit step at 99.9% of the samples, never over two.
constexpr double kMaxError1023 = 2.0;
constexpr double kMostError1023 = 1.0;
constexpr double kMostShare = 0.999;

std::unique_ptr<ShaderProcessor> CpuProcessor(int w, int h, ShaderProcessor::CpuKernel kernel) {
    auto sp = std::make_unique<ShaderProcessor>(ShaderProcessor::Backend::Cpu);
    sp->setCpuKernel(kernel);
    sp->setImageWidth(static_cast<uint32_t>(w));
    sp->setImageHeight(static_cast<uint32_t>(h));
    sp->setOutputWidth(static_cast<uint32_t>(w));
    sp->setOutputHeight(static_cast<uint32_t>(h));
    sp->SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_TRUE(sp->InitPipelineForViewportContext({{0, 0}, {float(w), float(h)}}, nullptr));
    return sp;
}

std::vector<uint16_t> Draw(ShaderProcessor& sp, const Frame16& frame, std::array<float, 2> grainOffset) {
    std::vector<uint16_t> out(frame.rgb.size(), 0);
    sp.setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(frame.rgb.data()));
    sp.SetGrainOffsetForNextDraw(grainOffset);
    DrawParams p = FrameParams(sp, frame.width, frame.height, out.data());
    p.fitMethod = 2;  // fill the output
    sp.RenderUsingR3DRenderBuffer(&p);
    return out;
}

// Fast against reference for every case of the sweep, each case on every frame.
void ExpectSweepMatches(const std::vector<Frame16>& frames, const std::vector<LookCase>& cases) {
    for (const auto& c : cases) {
        auto reference = CpuProcessor(frames[0].width, frames[0].height, ShaderProcessor::CpuKernel::Reference);
        auto fast = CpuProcessor(frames[0].width, frames[0].height, ShaderProcessor::CpuKernel::Fast);
        c.apply(*reference);
        c.apply(*fast);
        for (const auto& frame : frames) {
            SCOPED_TRACE(c.name + " at " + std::to_string(frame.width) + "x" + std::to_string(frame.height));
            const std::array<float, 2> offset{5.0f, 11.0f};
            const auto want = Draw(*reference, frame, offset);
            const auto got = Draw(*fast, frame, offset);
            ASSERT_EQ(got.size(), want.size());
            const auto d = Compare(got, want);
            EXPECT_LE(d.max1023, kMaxError1023) << "sample " << d.worstIndex << ": fast " << got[d.worstIndex]
                                                << ", reference " << want[d.worstIndex];
            size_t over = 0;
            for (size_t i = 0; i < got.size(); ++i)
                over += std::abs(double(got[i]) - double(want[i])) / 65535.0 * 1023.0 > kMostError1023;
            EXPECT_LE(double(over), double(got.size()) * (1.0 - kMostShare)) << over << " samples over one step";
        }
    }
}

}  // namespace ombrel::test
