#include "render/FrameProcessor.h"

#include <mutex>

#include "core/Log.h"
#include "sources/FramePlacement.h"

namespace ombrel {

namespace {

struct HookStore {
    std::mutex lock;
    RenderHooks hooks;
};

HookStore& Store() {
    static HookStore store;
    return store;
}

}  // namespace

void SetRenderHooks(RenderHooks hooks) {
    auto& s = Store();
    std::lock_guard lock(s.lock);
    s.hooks = std::move(hooks);
}

RenderHooks GetRenderHooks() {
    auto& s = Store();
    std::lock_guard lock(s.lock);
    return s.hooks;
}

std::unique_ptr<FrameProcessor> MakeFrameProcessor() {
    auto hooks = GetRenderHooks();
    if (hooks.makeFrameProcessor) {
        if (auto p = hooks.makeFrameProcessor()) return p;
    }
    return std::make_unique<IdentityFrameProcessor>();
}

void IdentityFrameProcessor::ChangeGrainMapToStockScale(const std::string& stock, double scale) {
    look_.stock = stock;
    look_.grainScale = scale;
}

float GrainAmountFor(float grainMultiplier, int colorFormat) {
    return grainMultiplier * (colorFormat == 2 ? 0.3f : 1.0f);
}

void IdentityFrameProcessor::SetLiftGammaGain(float lift, float gamma, float gain) {
    look_.lift = lift;
    look_.gamma = gamma;
    look_.gain = gain;
}

void IdentityFrameProcessor::SetExposureKelvin(float exposure, float kelvin) {
    look_.exposure = exposure;
    look_.kelvin = kelvin;
}

void IdentityFrameProcessor::SetHistogramBMW(double black, double mid, double white) {
    look_.black = black;
    look_.mid = mid;
    look_.white = white;
}

void IdentityFrameProcessor::SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock,
                                                                  const std::string& sourceType,
                                                                  const std::optional<std::string>& chosen,
                                                                  bool r3dMode) {
    look_.stock = stock;
    look_.sourceType = sourceType;
    look_.chosen = chosen;
    look_.r3dMode = r3dMode;
}

bool IdentityFrameProcessor::InitPipelineForViewportContext(uint32_t width, uint32_t height,
                                                            const std::shared_ptr<OpenGLContext>& /*context*/) {
    return width > 0 && height > 0 && look_.imageWidth > 0 && look_.imageHeight > 0;
}

bool IdentityFrameProcessor::FBOSetup(const std::shared_ptr<OpenGLContext>& /*context*/) {
    return look_.outputWidth > 0 && look_.outputHeight > 0;
}

bool IdentityFrameProcessor::RenderUsingR3DRenderBuffer(const FrameDrawParams& params) {
    if (!buffer_ || !params.writeToDiskData) {
        LogError("RenderUsingR3DRenderBuffer without a frame or a read-back area");
        return false;
    }
    FramePlacement place{params.baseWidth, params.baseHeight,  params.viewportWidth, params.viewportHeight,
                         params.fitMethod, params.aspectWidth, params.aspectHeight};
    return PlaceFrame(reinterpret_cast<const uint16_t*>(buffer_), place,
                      reinterpret_cast<uint16_t*>(params.writeToDiskData), params.outputRGBA);
}

}  // namespace ombrel
