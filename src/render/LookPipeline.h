#pragma once

// The look pipeline as the look stage of the render loop: a ShaderProcessor on OpenGL, or on
// the CPU (the fast kernel; the reference where film damage draws over the look).

#include <memory>
#include <optional>
#include <string>

#include "damage/ShaderProcessorAnim.h"
#include "look/GrainWalk.h"
#include "look/ShaderProcessor.h"
#include "render/FrameProcessor.h"

namespace ombrel {

// Auto: OpenGL, unless the driver renders in software (or there is no OpenGL at all), where the
// fast CPU path is faster.
enum class LookPipeline { OpenGL, Cpu, Auto };

// What Auto comes to for a driver that names its renderer so ("" when no context could be
// made); the other choices stand as asked.
LookPipeline ChooseLookPipeline(LookPipeline asked, const std::string& renderer);
// True for the renderers of Mesa's software rasterisers.
bool IsSoftwareRenderer(const std::string& renderer);
// The renderer of a context made and dropped at once; "" when none can be made.
std::string ProbeGlRenderer();

// Makes every render's look stage a ShaderProcessor of the chosen kind (Auto is resolved, and a
// change to the CPU logged, when the first look stage or movie source is made), and the grain cache
// the source of each render's grain image; movie files render through the movie source, with a
// pipeline of the same kind. The other render hooks are kept. With a damage treatment's path, raw
// clips render through a ShaderProcessorAnim with that treatment instead.
void InstallLookPipeline(LookPipeline which, const std::string& damagePath = {});

// The look stage of one clip's render of raw frames.
class ShaderFrameProcessor : public FrameProcessor {
public:
    explicit ShaderFrameProcessor(LookPipeline which, const std::string& damagePath = {});

    void setUseRenderContext(bool on) override { processor_->setUseRenderContext(on); }
    void setImageWidth(uint32_t w) override { processor_->setImageWidth(w); }
    void setImageHeight(uint32_t h) override { processor_->setImageHeight(h); }
    void setOutputWidth(uint32_t w) override { processor_->setOutputWidth(w); }
    void setOutputHeight(uint32_t h) override { processor_->setOutputHeight(h); }
    void SetSaturation(float s) override { processor_->SetSaturation(s); }
    void SetBallInfo(ColorBallInfo balls) override { processor_->SetBallInfo(balls); }
    void SetLiftGammaGain(float lift, float gamma, float gain) override {
        processor_->SetLiftGammaGain(lift, gamma, gain);
    }
    void SetExposureKelvin(float exposure, float kelvin) override { processor_->SetExposureKelvin(exposure, kelvin); }
    void SetBlendValue(double v) override { processor_->SetBlendValue(v); }
    void SetSBlendValue(double v) override { processor_->SetSBlendValue(v); }
    void SetGrainValue(double v) override { processor_->SetGrainValue(v); }
    void SetHistogramBMW(double black, double mid, double white) override {
        processor_->SetHistogramBMW(black, mid, white);
    }
    void SetBlurAmount(float radius) override { processor_->SetBlurAmount(radius); }
    void SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock, const std::string& sourceType,
                                              const std::optional<std::string>& chosen, bool r3dMode) override {
        processor_->SetCurrentLUTSourceTypeChosenR3DMode(stock, sourceType, chosen, r3dMode);
    }
    void ChangeGrainMapToStockScale(const std::string& stock, double scale) override {
        processor_->ChangeGrainMapToStockScaleCurveOnly(stock, scale, false);
    }
    void SetGrainFrame(uint64_t clipSeed, int64_t frame) override;
    void setR3dRenderBuffer(const uint8_t* buffer) override { processor_->setR3dRenderBuffer(buffer); }
    bool InitPipelineForViewportContext(uint32_t width, uint32_t height,
                                        const std::shared_ptr<OpenGLContext>& context) override;
    bool FBOSetup(const std::shared_ptr<OpenGLContext>& context) override;
    bool RenderUsingR3DRenderBuffer(const FrameDrawParams& params) override;

    ShaderProcessor& processor() { return *processor_; }

private:
    std::unique_ptr<ShaderProcessor> processor_;
    ShaderProcessorAnim* anim_ = nullptr;  // the same processor when it draws damage
    Status damageError_;
    std::optional<GrainWalk> walk_;
    int64_t frame_ = 0;
};

}  // namespace ombrel
