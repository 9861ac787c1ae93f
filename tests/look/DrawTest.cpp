// The frame draw: blur weights, the histogram, the grain shift, the fits of the render pass,
// the program build and the CPU pipeline.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

#include "LookTestSupport.h"
#include "core/Log.h"
#include "support/NoGlDriver.h"

namespace ombrel {
namespace {

using Backend = ShaderProcessor::Backend;
using test::Uniform;

double Gaussian(double x, double s) { return std::exp(-x * x / (2 * s)) / std::sqrt(2 * M_PI * s); }

// The spread runs from 1 / 2 pi to 1 and is capped outside 0 .. 1.
TEST(Blur, WeightsAreTheNormalisedBellAndFramesWiderThan4096PixelsStopAtTheWidest) {
    const double c = 1.0 / (2 * M_PI);
    EXPECT_NEAR(ShaderProcessor::GaussForXYBlurPercent(0, 0, 0), 1.0, 1e-6);
    EXPECT_NEAR(ShaderProcessor::GaussForXYBlurPercent(1, 1, 0.5f), Gaussian(std::sqrt(2.0), (1 - c) * 0.5 + c), 1e-6);
    EXPECT_NEAR(ShaderProcessor::GaussForXYBlurPercent(1, 0, 40), Gaussian(1, 1), 1e-6);
    EXPECT_NEAR(ShaderProcessor::GaussForXYBlurPercent(1, 0, -1), Gaussian(1, c), 1e-6);
    ShaderProcessor sp(Backend::Cpu);
    sp.BlurFboWidthHeight(16, 16);
    EXPECT_FLOAT_EQ(sp.blurOffset()[1], 1.3846154f);
    EXPECT_FLOAT_EQ(sp.blurOffset()[2], 3.2307692f);
    for (double p : {0.0, 0.5, 1.0}) {
        sp.SetBlurWeight(p);
        const double s = (1 - 1 / (2 * M_PI)) * p + 1 / (2 * M_PI);
        const double sum = Gaussian(0, s) + 2 * Gaussian(1, s) + 2 * Gaussian(2, s);  // side taps count twice
        for (int i = 0; i < 5; ++i) EXPECT_NEAR(sp.blurWeight()[i], i < 3 ? Gaussian(i, s) / sum : 0.0, 1e-6) << p;
    }
    const auto widest = sp.blurWeight();  // radius 1.0; an 8K frame asks 1.0 * 8192 / 4096
    sp.SetBlurWeight(2.0);
    EXPECT_EQ(sp.blurWeight(), widest);
}

struct Buckets {
    std::vector<uint32_t> storage = std::vector<uint32_t>(3 * 512, 0xFFFFFFFFu);
    uint32_t* channels[3] = {storage.data(), storage.data() + 512, storage.data() + 1024};
    uint32_t at(int ch, int i) const { return storage[static_cast<size_t>(ch * 512 + i)]; }
};

TEST(Histogram, CountsEveryPixelOfThePassAndScalesAFullFrameToThreeMillion) {
    ShaderProcessor sp(Backend::Cpu);
    sp.GenerateHistogramData();  // no bucket list: nothing to do, nothing to crash on
    Buckets b;
    sp.setBucketList(b.channels);
    auto& pass = sp.histogramShaderOutMutable();
    for (size_t i = 0; i < 512 * 256; ++i) {  // red: every level 512 times, green one level, blue the two ends
        const uint8_t rgba[4] = {static_cast<uint8_t>(i % 256), 7, static_cast<uint8_t>(i < 512 * 128 ? 0 : 255), 99};
        std::copy(rgba, rgba + 4, pass.begin() + static_cast<long>(4 * i));
    }
    sp.GenerateHistogramData();
    const auto counts = sp.histogramCounts();
    for (int i = 0; i < 256; ++i) EXPECT_EQ(counts[0][static_cast<size_t>(i)], 512u) << i;
    EXPECT_EQ(counts[1][7], 131072u);
    EXPECT_EQ(counts[2][0], 65536u);
    EXPECT_EQ(counts[2][255], 65536u);
    // Counts whose low byte is below 10 carry no dither: both entries of a bin agree.
    const std::vector<std::array<uint32_t, 3>> buckets{{1, 14, 3000000}, {1, 15, 3000000},  {1, 0, 0},
                                                       {2, 0, 1500000},  {2, 511, 1500000}, {0, 100, 11718}};
    for (const auto& [ch, i, n] : buckets) EXPECT_EQ(b.at(int(ch), int(i)), n) << ch << " " << i;
    for (int v = 0; v < 10; ++v) EXPECT_EQ(ShaderProcessor::GetDitherValue(static_cast<uint8_t>(v)), 0);
    for (int v : {19, 100, 255}) EXPECT_LT(ShaderProcessor::GetDitherValue(static_cast<uint8_t>(v)), v / 10) << v;
}

// The preview: a 512 x 256 pass read back as 8 bits, counted on a thread of its own.
TEST(PreviewDraw, HistogramPassesCountTheGradedFrameBeforeAndAfterLevels) {
    test::Frame16 frame = Uniform(512, 256, 0.1, 0.1, 0.1);
    for (size_t i = 0; i < frame.rgb.size(); ++i) {
        if (i / 3 % 512 >= 256) frame.rgb[i] = 58982;  // 0.9
    }
    OMBREL_PROCESSOR_OR_SKIP(sp, 512, 256, 64, 32);
    sp->HistogramFBOSetup();
    sp->SetHistogramBMW(0.3, 0.5, 0.7);
    Buckets b;
    sp->setBucketList(b.channels);
    sp->setHistogramPreLevels(true);
    sp->setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(frame.rgb.data()));
    DrawParams p = test::FrameParams(*sp, 512, 256);
    sp->RenderUsingR3DRenderBuffer(&p);
    sp->WaitForHistograms();
    for (const auto& counts : sp->histogramCounts()) {
        EXPECT_EQ(counts[0], 65536u) << "the dark half, clipped by the levels";
        EXPECT_EQ(counts[255], 65536u) << "the bright half, clipped by the levels";
        EXPECT_EQ(std::accumulate(counts.begin() + 1, counts.begin() + 255, uint64_t{0}), 131072u)
            << "before levels both halves sit inside";
    }
    sp->setHistogramPreLevels(false);  // after levels only: every pixel at an end
    sp->RenderUsingR3DRenderBuffer(&p);
    sp->WaitForHistograms();
    const auto after = sp->histogramCounts();
    EXPECT_EQ(after[1][0] + after[1][255], 131072u);
    EXPECT_EQ(sp->thumbnailRep().width, 512);
    EXPECT_EQ(sp->thumbnailRep().data[4 * 10 + 1], 0) << "the thumbnail is the latest pass";
}

TEST(Grain, ShiftJumpsAQuarterToThreeQuartersAndPausingResetsToZero) {
    OMBREL_PROCESSOR_OR_SKIP(sp, 16, 8, 16, 8);
    sp->SetGrainMap(test::NoisyGrainMap(40, 20, 3), false);
    const auto frame = Uniform(16, 8, 0.5, 0.5, 0.5);
    auto previous = sp->grainOffset();
    for (int i = 0; i < 30; ++i) {
        test::DrawOnGpu(*sp, frame, 16, 8);
        const auto now = sp->grainOffset();
        const int jx = (static_cast<int>(now[0]) - static_cast<int>(previous[0]) + 40) % 40;
        const int jy = (static_cast<int>(now[1]) - static_cast<int>(previous[1]) + 20) % 20;
        EXPECT_TRUE(jx >= 10 && jx < 30 && jy >= 5 && jy < 15) << jx << "," << jy;
        previous = now;
    }
    sp->setPauseGrainShift(true);
    test::DrawOnGpu(*sp, frame, 16, 8);
    EXPECT_EQ(sp->grainOffset(), (std::array<float, 2>{0, 0}));
    EXPECT_FALSE(sp->pauseGrainShift()) << "the pause holds for one draw";
}

TEST(RenderDraw, FitsPlaceTheFrameAsTheReferenceDoes) {
    const auto frame = test::CubeFrame(40);
    struct Fit {
        int outW, outH, fit;
        float aspectW, aspectH;
    };
    for (const Fit& f : {Fit{31, 23, 2, 0, 0}, Fit{90, 80, 2, 0, 0}, Fit{80, 70, 0, 40, 50}, Fit{64, 40, 1, 30, 38}}) {
        SCOPED_TRACE(testing::Message() << f.outW << "x" << f.outH << " fit " << f.fit);
        OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, f.outW, f.outH);
        sp->SetSaturation(1.4f);
        sp->SetSBlendValue(0.5);
        const auto gpu = test::DrawOnGpu(*sp, frame, f.outW, f.outH, f.fit, f.aspectW, f.aspectH);
        const auto d = test::Compare(gpu, test::DrawOnCpu(*sp, frame, f.outW, f.outH, f.fit, f.aspectW, f.aspectH));
        EXPECT_LE(d.max1023, 2.0) << d.worstIndex;
        EXPECT_LT(d.median1023, 0.5);
        const int left = static_cast<int>((f.outW - f.aspectW) / 2);  // margins keep the clear colour
        for (int y = 0; y < f.outH && f.fit < 2; ++y)
            EXPECT_EQ(gpu[static_cast<size_t>(3 * (y * f.outW + left - 1))], 0);
    }
    // Fit 0 or 1 with the box equal to the viewport is the same as filling it.
    OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, 50, 40);
    const auto fill = test::DrawOnGpu(*sp, frame, 50, 40, 2);
    EXPECT_EQ(test::DrawOnGpu(*sp, frame, 50, 40, 0, 50, 40), fill);
    EXPECT_EQ(test::DrawOnGpu(*sp, frame, 50, 40, 1, 50, 40), fill);
}

TEST(RenderDraw, ARGBInputSwizzleReadsTheChannelsShifted) {
    ShaderProcessor sp;
    sp.setNeedsARGBSwizzleIn(true);  // must be set before the program is built
    std::string why;
    if (!test::PrepareRenderProcessor(sp, 4, 4, 4, 4, &why)) GTEST_SKIP() << why;
    // An RGB frame reads as (R, G, B, 1); taken as A, R, G, B the picture is (G, B, 1).
    const auto out = test::DrawOnGpu(sp, Uniform(4, 4, 0.0, 0.0, 1.0), 4, 4);
    EXPECT_LT(out[0], 300);
    EXPECT_GT(out[1], 65000);
    EXPECT_GT(out[2], 65000);
}

TEST(Programs, FailedStagesAreLoggedAndASingleSurvivingStageStillLinks) {
    OMBREL_PROCESSOR_OR_SKIP(sp, 4, 4, 4, 4);
    const std::string kit = ">> [OpenGL Shader Kit] WARNING: ";
    LogCapture log;
    GLSLAttributes both;
    both.vertexShaderSource = "#version 120\nvoid main() { gl_Position = nonsense; }\n";
    both.fragmentShaderSource = "#version 120\nvoid main() { gl_FragColor = ; }\n";
    EXPECT_EQ(sp->getProgramObjectAttributes("broken", &both), 0u);
    EXPECT_FALSE(both.programObject);
    EXPECT_TRUE(log.Contains(kit + "Failed to compile shader!"));
    EXPECT_TRUE(log.Contains(kit + "Failed to compile+link GLSL \"broken\" fragment and/or vertex shader(s)!"));
    log.Clear();
    GLSLAttributes vertexOnly;
    vertexOnly.fragmentShaderSource = both.fragmentShaderSource;
    vertexOnly.vertexShaderSource = "#version 120\nvoid main() { gl_Position = gl_Vertex; }\n";
    EXPECT_NE(sp->getProgramObjectAttributes("vertex only", &vertexOnly), 0u);
    EXPECT_FALSE(log.Contains("Failed to compile+link"));
    EXPECT_EQ(sp->GetUniformLocationAttributes("noSuchThing", &vertexOnly), -1);
    EXPECT_TRUE(log.Contains(kit + "No such uniform named \"noSuchThing\"!"));
}

// Where no GL context can be had, the processor says why and every GL step refuses.
TEST(NoContextProbe, WithoutADriverThePipelineRefusesCleanly) {
    if (!std::getenv(test::kNoGlDriverVariable)) GTEST_SKIP() << "runs only as the child of the test below";
    ShaderProcessor sp;
    EXPECT_FALSE(sp.renderContext());
    EXPECT_NE(sp.renderContextError().find("Cannot create an OpenGL context"), std::string::npos);
    sp.setUseRenderContext(true);
    EXPECT_FALSE(sp.InitPipelineForViewportContext({{0, 0}, {8, 8}}, nullptr));
    EXPECT_FALSE(sp.FBOSetup(nullptr));
    std::vector<uint16_t> frame(8 * 8 * 3, 1000), out(8 * 8 * 4, 7);
    sp.setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(frame.data()));
    DrawParams p = test::FrameParams(sp, 8, 8, out.data());
    sp.RenderUsingR3DRenderBuffer(&p);
    EXPECT_EQ(out, std::vector<uint16_t>(8 * 8 * 4, 7));
}

TEST(NoContext, AProcessorWithoutAnyDriverIsAClearErrorNotACrash) {
    EXPECT_TRUE(test::RunsWithoutGlDriver("NoContextProbe.*:LookRenderTest.WithoutAnyOpenGLTheClipFailsWithAMessage"));
}

// The CPU pipeline (for machines without GL) is the reference itself, and agrees with the GPU
// although it keeps tables and frames in full float where the GPU stores 16-bit floats.
TEST(CpuPipeline, RendersWhatTheReferenceAndTheGpuRender) {
    const auto frame = test::CubeFrame(33);
    const int w = frame.width, h = frame.height;
    auto look = [](ShaderProcessor& sp, float blur) {
        sp.SetLiftGammaGain(0.9f, 1.2f, 1.1f);
        sp.SetSaturation(1.3f);
        sp.SetSBlendValue(0.7);
        sp.SetHistogramBMW(0.05, 0.5, 0.95);
        sp.SetBlurAmount(blur);
        sp.setPauseGrainShift(true);
    };
    ShaderProcessor cpuSp(Backend::Cpu);
    cpuSp.setImageWidth(static_cast<uint32_t>(w));
    cpuSp.setImageHeight(static_cast<uint32_t>(h));
    cpuSp.setOutputWidth(static_cast<uint32_t>(w));
    cpuSp.setOutputHeight(static_cast<uint32_t>(h));
    ASSERT_TRUE(cpuSp.InitPipelineForViewportContext({{0, 0}, {float(w), float(h)}}, nullptr));
    ASSERT_TRUE(cpuSp.FBOSetup(nullptr));
    look(cpuSp, 30.0f);
    const auto viaPipeline = test::DrawOnGpu(cpuSp, frame, w, h);  // the CPU backend draws
    EXPECT_EQ(viaPipeline, test::DrawOnCpu(cpuSp, frame, w, h)) << "the reference, from the state after the draw";

    OMBREL_PROCESSOR_OR_SKIP(gpuSp, w, h, w, h);
    // Without the blur, whose 16-bit float passes this driver may round its own way.
    look(*gpuSp, 0.0f);
    look(cpuSp, 0.0f);
    const auto d = test::Compare(test::DrawOnGpu(*gpuSp, frame, w, h), test::DrawOnGpu(cpuSp, frame, w, h));
    EXPECT_LE(d.max1023, 2.0);
    EXPECT_LT(d.median1023, 0.5);
}

}  // namespace
}  // namespace ombrel
