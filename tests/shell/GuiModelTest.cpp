#include <gtest/gtest.h>

#include <sstream>

#include "shell/logic/GuiModel.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

// Writes each callback as a line, so an order is a text to compare.
struct Recorder : GuiControllerProtocol {
    std::ostringstream log;
    void setExposure(double v) override { log << "setExposure " << v << "\n"; }
    void setKelvin(double v) override { log << "setKelvin " << v << "\n"; }
    void setColorAmount(double v) override { log << "setColorAmount " << v << "\n"; }
    void setSCurveAmount(double v) override { log << "setSCurveAmount " << v << "\n"; }
    void setGrainAmount(double v) override { log << "setGrainAmount " << v << "\n"; }
    void setGrainScale(double v) override { log << "setGrainScale " << v << "\n"; }
    void setHistogramBlack(double v) override { log << "setHistogramBlack " << v << "\n"; }
    void setHistogramMid(double v) override { log << "setHistogramMid " << v << "\n"; }
    void setHistogramWhite(double v) override { log << "setHistogramWhite " << v << "\n"; }
    void setHistogramStale() override { log << "setHistogramStale\n"; }
    void setFilename(const std::optional<std::string>& v) override { log << "setFilename " << v.value_or("-") << "\n"; }
    void setReel(const std::optional<std::string>& v) override { log << "setReel " << v.value_or("-") << "\n"; }
    void setClip(const std::optional<std::string>& v) override { log << "setClip " << v.value_or("-") << "\n"; }
    void setFrameText(const std::string& v) override { log << "setFrameText " << v << "\n"; }
    void setFrameTextEdgecode(const std::string& v) override { log << "setFrameTextEdgecode " << v << "\n"; }
    void setGrainName(const std::string& v) override { log << "setGrainName " << v << "\n"; }
    void setStockName(const std::string& v) override { log << "setStockName " << v << "\n"; }
    void setUseMetadata(bool v) override { log << "setUseMetadata " << v << "\n"; }
    void setShowOriginal(bool v) override { log << "setShowOriginal " << v << "\n"; }
    void setPreLevels(bool v) override { log << "setPreLevels " << v << "\n"; }
    void setZoom(bool v) override { log << "setZoom " << v << "\n"; }
    void setCurrentFrame(int32_t v) override { log << "setCurrentFrame " << v << "\n"; }
    void setUserFrameIn(int32_t v) override { log << "setUserFrameIn " << v << "\n"; }
    void setUserFrameOut(int32_t v) override { log << "setUserFrameOut " << v << "\n"; }
    void setFramesInCurrentClip(int32_t v) override { log << "setFramesInCurrentClip " << v << "\n"; }
    void setExposureKelvin(double e, double k) override { log << "setExposureKelvin " << e << " " << k << "\n"; }
    void setSaturation(double v) override { log << "setSaturation " << v << "\n"; }
    void setLiftGammaGain(float l, float g, float n) override {
        log << "setLiftGammaGain " << l << " " << g << " " << n << "\n";
    }
    void setBallInfo(const ColorBallInfo& v) override { log << "setBallInfo " << v.h[0] << " " << v.s[1] << "\n"; }
};

TEST(GuiModel, PushClipSettingsMovesEveryControlInItsOrder) {
    ClipSettings s;
    s.setGrainMultiplier(0.5f);
    s.setColorChangePercent(0.25);
    s.setScurveChangePercent(0.75);
    s.setKelvin(3200.0f);
    s.setSaturation(1.5);
    s.setLift(0.9f);
    s.setGamma(1.1f);
    s.setGain(1.2f);
    s.setExposure(-1.0f);
    s.setBlack(0.125f);
    s.setMid(0.5f);
    s.setWhite(0.875f);
    s.setGrainScale(2.0f);
    s.setUseMetadata(true);
    s.setGrainName("CP16");
    s.setStockName("5219");
    s.setBlurRadius(0.5f);
    s.setLastFrameShown(12);
    s.setUserFrameIn(3);
    s.setUserFrameOut(40);
    s.setSourceCameraChosen("5D");
    ColorBallInfo balls;
    balls.h[0] = 0.25f;
    balls.s[1] = 1.5f;
    s.setBallInfo(balls);

    GuiModel model;
    Recorder recorder;
    model.setGui(&recorder);
    model.PushClipSettings(s);
    EXPECT_TRUE(test::MatchesRef("shell/push-clip-settings.txt", recorder.log.str()));
    // The working copy carries what was pushed, the camera fields included.
    PlistValue pushed = model.clipSettings()->propertyList();
    PlistValue source = s.propertyList();
    pushed.erase("isDefault");  // the working copy's own flag, not part of a clip's look
    source.erase("isDefault");
    EXPECT_EQ(pushed, source);
    EXPECT_EQ(model.clipSettings()->sourceCameraChosen(), "5D");
}

TEST(GuiModel, LevelsTogetherMarkOnlyTheHistogramStale) {
    GuiModel model;
    Recorder recorder;
    model.setGui(&recorder);
    model.setHistogramBlackMidWhite(0.1, 0.4, 0.9);
    EXPECT_EQ(recorder.log.str(), "setHistogramStale\n");
    EXPECT_EQ(model.clipSettings()->black(), 0.1f);
    EXPECT_EQ(model.clipSettings()->white(), 0.9f);
}

TEST(GuiModel, OneSetterGivesTheOtherTwoOfLiftGammaGainAsTheyAre) {
    GuiModel model;
    Recorder recorder;
    model.setGui(&recorder);
    model.setGamma(1.25f);
    model.setFrameText(std::nullopt);
    model.setBlurRadius(2.0);
    model.setHasOpenFile(true);
    EXPECT_EQ(recorder.log.str(), "setLiftGammaGain 1 1.25 1\n");
    EXPECT_EQ(model.clipSettings()->blurRadius(), 2.0f);
}

}  // namespace
}  // namespace ombrel
