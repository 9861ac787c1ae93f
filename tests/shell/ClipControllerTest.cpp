#include <gtest/gtest.h>

#include <thread>

#include "FakeControls.h"
#include "core/MainQueue.h"
#include "support/Movies.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

TEST(ClipControllerRed, DecodeResolutionByWidthZoomAndSetting) {
    struct Row {
        float width;
        bool zoom;
        std::optional<int64_t> setting;
        int32_t debayer;
    };
    const Row rows[] = {
        {2401, false, std::nullopt, 4}, {2401, true, std::nullopt, 2}, {2400, false, std::nullopt, 2},
        {2400, true, std::nullopt, 1},  {2401, false, 4, 4},           {2401, true, 4, 2},
        {2400, false, 4, 2},            {2400, true, 4, 1},            {2401, false, 2, 2},
        {2401, true, 2, 1},             {2400, false, 2, 1},           {2400, true, 2, 1},
        {2401, false, 1, 1},            {2401, true, 1, 1},            {2400, false, 7, 1},
    };
    for (const Row& r : rows)
        EXPECT_EQ(GuiController_RED::DebayerFor(r.width, r.zoom, r.setting), r.debayer)
            << r.width << " zoom " << r.zoom << " setting " << r.setting.value_or(-1);
}

struct Surface : PreviewSurface {
    std::mutex lock;
    PreviewImagePtr last;
    void Present(PreviewImagePtr image) override {
        std::lock_guard l(lock);
        last = std::move(image);
    }
    PreviewImagePtr Last() {
        std::lock_guard l(lock);
        return last;
    }
};

// A window of fakes round a real viewer (EGL) on the demo clip.
class ClipControllers : public ::testing::Test {
protected:
    void SetUp() override {
        MainQueue::Instance().AdoptCurrentThread();
        ASSERT_TRUE(view_.AwakeFromNib(320, 200)) << view_.lastError();
        view_.setSurface(&surface_);
        rig_ = std::make_unique<test::ControllerRig>(nullptr, &view_);
        rig_->controller.setAutosavePathProvider([] { return std::string(); });
        rig_->controller.awakeFromNib();
        clip_ = test::DemoClipCopy(dir_.path(), "A001_C001_0101AB_001.R3D");
        rig_->controller.shotList().AddPath(clip_);
    }
    void TearDown() override {
        red()->WaitForPreviewLoop();
        rig_.reset();
    }
    GuiController_RED* red() { return rig_->controller.guiCtrlRed(); }
    GuiModel* model() { return rig_->controller.guiModel(); }
    void OpenClip() {
        rig_->controller.OpenFile(clip_);
        red()->Tab2Opened();
        red()->WaitForPreviewLoop();
    }

    test::TempDir dir_;
    R3DView view_;
    Surface surface_;
    std::unique_ptr<test::ControllerRig> rig_;
    std::string clip_;
};

TEST_F(ClipControllers, QuickFrameChangesCostFewDecodesAndShowTheNewest) {
    OpenClip();
    const uint64_t before = red()->decodes();
    // 50 moves over the clip's 48 frames, the last to frame 14.
    for (int f = 1; f <= 50; ++f) {
        rig_->controls.scrub.value = (f * 7) % 48;
        rig_->controller.FrameSliderChanged();
    }
    red()->WaitForPreviewLoop();
    const uint64_t decodes = red()->decodes() - before;
    EXPECT_GE(decodes, 1u);
    EXPECT_LT(decodes, 25u);
    EXPECT_EQ(red()->previewRenderer()->decodedFrame(), 14);
    EXPECT_EQ(rig_->controls.timeOfDay.text, "01:00:00:14");
}

TEST_F(ClipControllers, ALookChangeDrawsWithoutADecodeAnExposureChangeDecodes) {
    OpenClip();
    const uint64_t before = red()->decodes();
    const uint64_t shown = view_.framesPresented();
    model()->setSCurveAmount(0.3);
    red()->WaitForPreviewLoop();
    EXPECT_EQ(red()->decodes(), before);
    EXPECT_GT(view_.framesPresented(), shown);
    EXPECT_FLOAT_EQ(view_.shaderProcessor()->sBlendAmount(), 0.3f);
    model()->setExposure(1.0);
    red()->WaitForPreviewLoop();
    EXPECT_EQ(red()->decodes(), before + 1);
}

TEST_F(ClipControllers, NullSettingsOpenAtFrameZero) {
    model()->setCurrentFrame(17);
    red()->OpenFileWithSettings(clip_, nullptr);
    EXPECT_EQ(model()->currentFrame(), 0);
    EXPECT_EQ(model()->framesInCurrentClip(), 48);
    EXPECT_EQ(model()->kelvin(), 5600.0);

    const std::string movie = dir_ / "clip.mov";
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 6) + test::kRawVideo, movie));
    model()->setCurrentFrame(4);
    GuiController_QT* qt = rig_->controller.guiCtrlQt();
    qt->OpenFileWithSettings(movie, nullptr);
    EXPECT_EQ(model()->currentFrame(), 0);
    EXPECT_EQ(model()->framesInCurrentClip(), 6);
    // A movie has no timecode of its own.
    EXPECT_EQ(rig_->controls.timeOfDay.text, "00:00:00:00");
    ASSERT_TRUE(test::GrabDone(view_));
}

// Both columns of the events: what each side tells the viewer's pipeline.
TEST_F(ClipControllers, EventsReachThePipelineOnBothSides) {
    OpenClip();
    for (GuiControllerEventProtocol* side :
         {static_cast<GuiControllerEventProtocol*>(red()), static_cast<GuiControllerEventProtocol*>(rig_->controller.guiCtrlQt())}) {
        const float v = side == red() ? 0.25f : 0.75f;
        model()->setColorAmount(v);
        side->ColorAmountChanged();
        model()->setGrainAmount(v);
        side->GrainAmountChanged();
        model()->setSaturation(v);
        side->SaturationChanged();
        EXPECT_FLOAT_EQ(view_.shaderProcessor()->lutAmount(), v);
        EXPECT_FLOAT_EQ(view_.shaderProcessor()->grainAmount(), v);
        model()->setZoom(true);
        side->ZoomChanged();
        EXPECT_TRUE(view_.shaderProcessor()->zoomEnabled());
        model()->setZoom(false);
        side->ZoomChanged();
        EXPECT_FALSE(view_.zoom());
        red()->WaitForPreviewLoop();
    }
    // Only the R3D side waits for a decode; the movie side returns at once.
    rig_->controller.guiCtrlQt()->WaitForPreviewLoop();
    EXPECT_FALSE(red()->rendering());
}

}  // namespace
}  // namespace ombrel
