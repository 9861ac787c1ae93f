#include "render/LookPipeline.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <mutex>

#include "core/Log.h"
#include "look/LutManager.h"
#include "sources/QTRenderSource.h"
#include "sources/SourceFactory.h"

namespace ombrel {

namespace {

// The grain of a clip as the render loop sees it: the loop only sets its amount, while the
// look stage draws with the map of the clip's gauge that it fetches itself. So no map is made
// here: a scan decoded and resized at the full frame size for nothing was the largest single
// cost of a render's start.
class GrainAmount : public RenderGrain {
public:
    void SetGrainAmount(float amount) override { amount_ = amount; }
    float amount() const { return amount_; }

private:
    float amount_ = 0.0f;
};

}  // namespace

ShaderFrameProcessor::ShaderFrameProcessor(LookPipeline which, const std::string& damagePath) {
    const auto backend = which == LookPipeline::Cpu ? ShaderProcessor::Backend::Cpu : ShaderProcessor::Backend::OpenGL;
    if (damagePath.empty()) {
        processor_ = std::make_unique<ShaderProcessor>(backend);
        processor_->setCpuKernel(ShaderProcessor::CpuKernel::Fast);
        return;
    }
    auto anim = std::make_unique<ShaderProcessorAnim>(backend);
    damageError_ = anim->LoadTreatment(damagePath);
    anim_ = anim.get();
    processor_ = std::move(anim);
}

bool ShaderFrameProcessor::InitPipelineForViewportContext(uint32_t width, uint32_t height,
                                                          const std::shared_ptr<OpenGLContext>& context) {
    if (!damageError_.ok()) {
        LogError("Film damage: {}", damageError_.message());
        return false;
    }
    if (processor_->backend() == ShaderProcessor::Backend::OpenGL && !processor_->renderContext() && !context) {
        LogError("No OpenGL context for the look pipeline ({}); render with --cpu to use the CPU pipeline",
                 processor_->renderContextError());
        return false;
    }
    return processor_->InitPipelineForViewportContext({{0, 0}, {float(width), float(height)}}, context);
}

bool ShaderFrameProcessor::FBOSetup(const std::shared_ptr<OpenGLContext>& context) {
    return processor_->FBOSetup(context);
}

void ShaderFrameProcessor::SetGrainFrame(uint64_t clipSeed, int64_t frame) {
    if (!walk_ || walk_->seed() != clipSeed) walk_.emplace(clipSeed);
    const auto size = processor_->grainSize();
    const auto offset = walk_->OffsetForFrame(frame, size[0], size[1]);
    frame_ = frame;
    if (anim_) anim_->SetClipSeed(clipSeed);
    processor_->SetGrainOffsetForNextDraw({static_cast<float>(offset[0]), static_cast<float>(offset[1])});
}

bool ShaderFrameProcessor::RenderUsingR3DRenderBuffer(const FrameDrawParams& params) {
    if (!processor_->r3dRenderBuffer() || !params.writeToDiskData) {
        LogError("RenderUsingR3DRenderBuffer without a frame or a read-back area");
        return false;
    }
    // A fresh record per frame: a blurred draw leaves the blur texture in `name`.
    DrawParams p;
    p.name = processor_->frameTexture();
    p.target = GL_TEXTURE_RECTANGLE;
    p.writeToDisk = true;
    p.writeToDiskData = params.writeToDiskData;
    p.context = params.context;
    p.baseSize = {float(params.baseWidth), float(params.baseHeight)};
    p.viewportRect = {{0, 0}, {float(params.viewportWidth), float(params.viewportHeight)}};
    p.renderingQT = false;
    p.outputRGBA = params.outputRGBA;
    p.fitMethod = params.fitMethod;
    p.aspectSize = {float(params.aspectWidth), float(params.aspectHeight)};
    p.animationFrame = static_cast<int32_t>(frame_);
    p.packing = params.packing;
    processor_->RenderUsingR3DRenderBuffer(&p);
    if (params.packed) *params.packed = p.packed;
    return true;
}

bool IsSoftwareRenderer(const std::string& renderer) {
    std::string lower = renderer;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return lower.find("llvmpipe") != std::string::npos || lower.find("softpipe") != std::string::npos;
}

LookPipeline ChooseLookPipeline(LookPipeline asked, const std::string& renderer) {
    if (asked != LookPipeline::Auto) return asked;
    return renderer.empty() || IsSoftwareRenderer(renderer) ? LookPipeline::Cpu : LookPipeline::OpenGL;
}

std::string ProbeGlRenderer() {
    if (const auto known = GlContext::DriverInfo(); !known.renderer.empty()) return known.renderer;
    GlContextPtr context;
    if (!GlContext::Create(&context).ok() || !context) return {};
    ScopedGlCurrent current(context.get());
    return current.ok() ? GlContext::DriverInfo().renderer : std::string();
}

namespace {

// A render node of the kernel's DRM drivers, or the proprietary driver's device.
bool HasGpuDevice() {
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", ec)) {
        if (entry.path().filename().string().rfind("renderD", 0) == 0) return true;
    }
    return std::filesystem::exists("/dev/nvidia0", ec);
}

// Auto resolved on the first render that needs a look stage, so that commands which end
// before any frame neither make a context nor say anything.
class PipelineChoice {
public:
    explicit PipelineChoice(LookPipeline asked) : asked_(asked) {}
    LookPipeline Get() {
        std::call_once(once_, [this] {
            chosen_ = asked_;
            if (asked_ != LookPipeline::Auto) return;
            // Without a GPU device OpenGL can only render in software: a context made just to
            // hear the driver say so costs half a second before the first frame.
            if (!HasGpuDevice()) {
                chosen_ = LookPipeline::Cpu;
                LogInfo("OpenGL renders in software (no GPU device): the look renders on the fast CPU path "
                        "(--gl to use OpenGL)");
                return;
            }
            const std::string renderer = ProbeGlRenderer();
            chosen_ = ChooseLookPipeline(asked_, renderer);
            if (chosen_ == LookPipeline::Cpu) {
                LogInfo("{}: the look renders on the fast CPU path (--gl to use OpenGL)",
                        renderer.empty() ? std::string("No OpenGL")
                                         : "OpenGL renders in software (" + renderer + ")");
            }
        });
        return chosen_;
    }
    ShaderProcessor::Backend Backend() {
        return Get() == LookPipeline::Cpu ? ShaderProcessor::Backend::Cpu : ShaderProcessor::Backend::OpenGL;
    }

private:
    LookPipeline asked_;
    LookPipeline chosen_ = LookPipeline::OpenGL;
    std::once_flag once_;
};

}  // namespace

void InstallLookPipeline(LookPipeline which, const std::string& damagePath) {
    auto choice = std::make_shared<PipelineChoice>(which);
    RenderHooks hooks = GetRenderHooks();
    hooks.makeFrameProcessor = [choice, damagePath]() -> std::unique_ptr<FrameProcessor> {
        return std::make_unique<ShaderFrameProcessor>(choice->Get(), damagePath);
    };
    hooks.grainMapWithNameSizeStockName = [](const std::string&, float, float,
                                             const std::string&) -> std::shared_ptr<RenderGrain> {
        return std::make_shared<GrainAmount>();
    };
    hooks.currentColorFormat = [] { return LutManager::Instance().currentColorFormat(); };
    SetRenderHooks(std::move(hooks));
    // Movie sources grade their own frames, with a pipeline of the same kind.
    if (which == LookPipeline::Auto) {
        SetRenderSourceMaker(SourceKind::Movie, [choice](const std::string&) -> std::unique_ptr<RenderSource> {
            return std::make_unique<QTRenderSource>(choice->Backend());
        });
        return;
    }
    RegisterMovieSource(which == LookPipeline::Cpu ? ShaderProcessor::Backend::Cpu : ShaderProcessor::Backend::OpenGL);
}

}  // namespace ombrel
