// The render loop with the look pipeline as its look stage: TIFF frames of a camera clip
// carry the look, the same on OpenGL and on the CPU pipeline.
#include <gtest/gtest.h>

#include <cmath>

#include "LookTestSupport.h"
#include "render/LookPipeline.h"
#include "support/FrameFiles.h"
#include "support/NoGlDriver.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

using test::ReadWithLibtiff;
using test::TestPatternConfig;
using test::TestPatternSource;
using test::TiffImage;

class LookRenderTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        out_->setFormat(kFormatTiff);
        SetRenderHooks({});
    }
    void TearDown() override {
        SetRenderHooks({});
        SequenceRenderTest::TearDown();
    }

    // Renders two frames of the test pattern with a strong look, into its own folder.
    std::vector<TiffImage> Render(const std::string& folder) {
        RenderManager::Instance().Reset();
        out_->setOutputDirectory(dir_ / folder);
        auto clip = ClipSettings::Make();
        clip->setSaturation(1.6);
        clip->setScurveChangePercent(1.0);
        clip->setBlack(0.08f);
        clip->setGamma(1.2f);
        auto item = Item("A001_C001_0101AB_001.R3D", 2, clip);
        Run({item});
        EXPECT_FALSE(item->errorState()) << item->errorMessage();
        std::vector<TiffImage> frames(2);
        for (size_t f = 0; f < 2; ++f) {
            const std::string path =
                (dir_ / folder) + "/A001_C001_0101AB/A001_C001_0101AB.08640" + std::to_string(f) + ".tiff";
            EXPECT_TRUE(ReadWithLibtiff(path, &frames[f])) << path;
        }
        return frames;
    }
};

TEST_F(LookRenderTest, CameraClipFramesCarryTheLookOnOpenGLAndOnTheCpuPipelineAlike) {
    {
        OMBREL_PROCESSOR_OR_SKIP(probe, 8, 8, 8, 8);  // released before the render makes its own
    }
    TestPatternConfig config;
    config.width = 48;
    config.height = 27;
    test::ScopedTestPatternSources sources(config);

    const auto identity = Render("identity");
    InstallLookPipeline(LookPipeline::OpenGL);
    const auto gpu = Render("gpu");
    InstallLookPipeline(LookPipeline::Cpu);
    const auto cpu = Render("cpu");

    for (size_t f = 0; f < 2; ++f) {
        ASSERT_EQ(identity[f].pixels, TestPatternSource::FramePixels(static_cast<int>(f), config.width, config.height));
        const auto d = test::Compare(gpu[f].pixels, cpu[f].pixels);
        EXPECT_LE(d.max1023, 2.0) << "frame " << f;
        EXPECT_LT(d.median1023, 0.5) << "frame " << f;
        EXPECT_GT(test::Compare(gpu[f].pixels, identity[f].pixels).median1023, 5.0) << "the frame has no look";
    }
}

TEST(LookPipelineChoice, AutoTakesTheCpuForSoftwareRenderersAndNoOpenGLAndTheRestStandAsAsked) {
    struct Row {
        LookPipeline asked;
        const char* renderer;
        LookPipeline chosen;
    };
    for (const Row& r : {Row{LookPipeline::Auto, "llvmpipe (LLVM 15.0.6, 256 bits)", LookPipeline::Cpu},
                         Row{LookPipeline::Auto, "Mesa SoftPipe", LookPipeline::Cpu},
                         Row{LookPipeline::Auto, "", LookPipeline::Cpu},
                         Row{LookPipeline::Auto, "A Hardware Renderer 9000", LookPipeline::OpenGL},
                         Row{LookPipeline::OpenGL, "llvmpipe", LookPipeline::OpenGL},
                         Row{LookPipeline::Cpu, "A Hardware Renderer 9000", LookPipeline::Cpu}}) {
        EXPECT_EQ(ChooseLookPipeline(r.asked, r.renderer), r.chosen) << r.renderer;
    }
}

TEST_F(LookRenderTest, WithoutAnyOpenGLTheClipFailsWithAMessage) {
    if (!std::getenv(test::kNoGlDriverVariable)) GTEST_SKIP() << "runs only without a driver (see NoContext)";
    TestPatternConfig config;
    test::ScopedTestPatternSources sources(config);
    InstallLookPipeline(LookPipeline::OpenGL);
    auto item = Item("A001_C001_0101AB_001.R3D", 2);
    Run({item});
    EXPECT_TRUE(item->errorState());
    EXPECT_NE(item->errorMessage().find("look pipeline"), std::string::npos) << item->errorMessage();
}

}  // namespace
}  // namespace ombrel
