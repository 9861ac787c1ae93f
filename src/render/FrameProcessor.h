#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "look/PixelPacking.h"
#include "model/ColorBallInfo.h"
#include "sources/RenderSource.h"

namespace ombrel {

// The caller's description of one render draw, as the frame loop fills it once per clip.
struct FrameDrawParams {
    std::shared_ptr<OpenGLContext> context;
    uint32_t baseWidth = 0;  // the frame as decoded
    uint32_t baseHeight = 0;
    uint32_t viewportWidth = 0;  // the output
    uint32_t viewportHeight = 0;
    bool outputRGBA = false;  // read back 4 samples a pixel instead of 3
    int32_t fitMethod = 0;
    uint32_t aspectWidth = 0;
    uint32_t aspectHeight = 0;
    uint8_t* writeToDiskData = nullptr;  // read-back destination, viewport x 8 bytes
    PixelPacking packing = PixelPacking::kHost16;  // what the file wants, if the draw can give it
    bool* packed = nullptr;                        // told whether this draw gave it
};

// The look stage of a render of raw frames: the setters that carry a clip's look, then one
// call per frame that grades a 16-bit RGB buffer into the read-back area. The look
// pipeline implements it; until then IdentityFrameProcessor stands in.
class FrameProcessor {
public:
    virtual ~FrameProcessor() = default;

    virtual void setUseRenderContext(bool on) = 0;
    virtual void setImageWidth(uint32_t w) = 0;
    virtual void setImageHeight(uint32_t h) = 0;
    virtual void setOutputWidth(uint32_t w) = 0;
    virtual void setOutputHeight(uint32_t h) = 0;

    virtual void SetSaturation(float saturation) = 0;
    virtual void SetBallInfo(ColorBallInfo balls) = 0;
    virtual void SetLiftGammaGain(float lift, float gamma, float gain) = 0;
    virtual void SetExposureKelvin(float exposure, float kelvin) = 0;
    virtual void SetBlendValue(double v) = 0;
    virtual void SetSBlendValue(double v) = 0;
    virtual void SetGrainValue(double v) = 0;
    virtual void SetHistogramBMW(double black, double mid, double white) = 0;
    virtual void SetBlurAmount(float radius) = 0;
    virtual void SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock, const std::string& sourceType,
                                                      const std::optional<std::string>& chosen, bool r3dMode) = 0;
    // Selects the grain image for the stock at the clip's gauge (its grain scale).
    virtual void ChangeGrainMapToStockScale(const std::string& stock, double scale) = 0;
    // Places the grain of the next draw where the clip's walk puts frame `frame` (0 is the
    // clip's first frame), so any range of a clip renders the same grain as the whole.
    virtual void SetGrainFrame(uint64_t clipSeed, int64_t frame) = 0;

    // The frame to draw next: packed 16-bit RGB of the image size.
    virtual void setR3dRenderBuffer(const uint8_t* buffer) = 0;
    // Builds the programs and the render target for the output size. False when it cannot.
    virtual bool InitPipelineForViewportContext(uint32_t width, uint32_t height,
                                                const std::shared_ptr<OpenGLContext>& context) = 0;
    virtual bool FBOSetup(const std::shared_ptr<OpenGLContext>& context) = 0;
    // Draws the frame and reads the result back into params.writeToDiskData: viewport
    // width x height pixels of 3 samples (packed) or 4, 16 bits each, host order.
    virtual bool RenderUsingR3DRenderBuffer(const FrameDrawParams& params) = 0;
};

// The look values a processor was given, kept by the identity stage for inspection.
struct LookValues {
    float saturation = 1.0f;
    ColorBallInfo balls;
    float lift = 1.0f, gamma = 1.0f, gain = 1.0f;
    float exposure = 0.0f, kelvin = 5600.0f;
    double blend = 1.0, sBlend = 1.0, grain = 1.0;
    double grainScale = 0.0;
    uint64_t grainSeed = 0;
    int64_t grainFrame = -1;
    double black = 0.0, mid = 0.5, white = 1.0;
    float blur = 0.0f;
    std::string stock, sourceType;
    std::optional<std::string> chosen;
    bool r3dMode = false;
    bool useRenderContext = false;
    uint32_t imageWidth = 0, imageHeight = 0, outputWidth = 0, outputHeight = 0;
};

// Identity stage: it places the frame in the output as the look pipeline would and leaves
// every sample as decoded. It stands until the look pipeline replaces it.
class IdentityFrameProcessor : public FrameProcessor {
public:
    void setUseRenderContext(bool on) override { look_.useRenderContext = on; }
    void setImageWidth(uint32_t w) override { look_.imageWidth = w; }
    void setImageHeight(uint32_t h) override { look_.imageHeight = h; }
    void setOutputWidth(uint32_t w) override { look_.outputWidth = w; }
    void setOutputHeight(uint32_t h) override { look_.outputHeight = h; }
    void SetSaturation(float s) override { look_.saturation = s; }
    void SetBallInfo(ColorBallInfo balls) override { look_.balls = balls; }
    void SetLiftGammaGain(float lift, float gamma, float gain) override;
    void SetExposureKelvin(float exposure, float kelvin) override;
    void SetBlendValue(double v) override { look_.blend = v; }
    void SetSBlendValue(double v) override { look_.sBlend = v; }
    void SetGrainValue(double v) override { look_.grain = v; }
    void SetHistogramBMW(double black, double mid, double white) override;
    void SetBlurAmount(float radius) override { look_.blur = radius; }
    void SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock, const std::string& sourceType,
                                              const std::optional<std::string>& chosen, bool r3dMode) override;
    void ChangeGrainMapToStockScale(const std::string& stock, double scale) override;
    void SetGrainFrame(uint64_t clipSeed, int64_t frame) override {
        look_.grainSeed = clipSeed;
        look_.grainFrame = frame;
    }
    void setR3dRenderBuffer(const uint8_t* buffer) override { buffer_ = buffer; }
    bool InitPipelineForViewportContext(uint32_t width, uint32_t height,
                                        const std::shared_ptr<OpenGLContext>& context) override;
    bool FBOSetup(const std::shared_ptr<OpenGLContext>& context) override;
    bool RenderUsingR3DRenderBuffer(const FrameDrawParams& params) override;

    const LookValues& look() const { return look_; }

private:
    LookValues look_;
    const uint8_t* buffer_ = nullptr;
};

// The grain image of a render, as far as the render loop touches it.
class RenderGrain {
public:
    virtual ~RenderGrain() = default;
    virtual void SetGrainAmount(float amount) = 0;
};

// Where the look engine and the preferences plug into the render loop. Each member may
// be empty: no processor maker gives the identity stage, no grain source gives no grain,
// no colour format reader gives format 0, no preference reader counts as absent.
struct RenderHooks {
    // A new look stage for one clip's render.
    std::function<std::unique_ptr<FrameProcessor>()> makeFrameProcessor;
    // The grain image of a grain name at a size for a stock.
    std::function<std::shared_ptr<RenderGrain>(const std::string& grainName, float width, float height,
                                               const std::string& stockName)>
        grainMapWithNameSizeStockName;
    // The stock catalogue's current colour format.
    std::function<int()> currentColorFormat;
    // The "useRocket" preference; absent counts as true.
    std::function<std::optional<bool>()> useRocketPreference;
};

void SetRenderHooks(RenderHooks hooks);
RenderHooks GetRenderHooks();
std::unique_ptr<FrameProcessor> MakeFrameProcessor();

// Grain strength of a render: the clip's multiplier, scaled by 0.3 under colour format 2.
float GrainAmountFor(float grainMultiplier, int colorFormat);

}  // namespace ombrel
