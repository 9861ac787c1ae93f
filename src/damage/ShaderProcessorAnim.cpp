#include "damage/ShaderProcessorAnim.h"

#include "core/Log.h"
#include "damage/DamageFrame.h"
#include "datafile/Resource.h"

namespace ombrel {

ShaderProcessorAnim::ShaderProcessorAnim(Backend backend) : ShaderProcessor(backend) {}

Status ShaderProcessorAnim::LoadTreatment(const std::string& path) {
    lastError_ = animations_.LoadFromFile(path);
    if (!lastError_.ok()) return lastError_;
    std::string atlas;
    lastError_ = FindResource("Resources/Dirt V1_default.plist", &atlas);
    if (lastError_.ok()) lastError_ = dirtManager_.AddDirtFramesWithFile(atlas);
    if (lastError_.ok()) lastError_ = dirtMap_.MakeOverlayWithImage(dirtManager_.textureFilename());
    if (lastError_.ok()) dirtMap_.MashDirtMap();
    if (lastError_.ok() && animations_.leadInLength() > 0) {
        lastError_ = overlayMakerA_.MakeOverlayWithImage("flash_A.tif");
        if (lastError_.ok()) lastError_ = overlayMakerB_.MakeOverlayWithImage("flash_B.tif");
    }
    // A kind the treatment draws needs a sprite to draw.
    for (int t = 0; lastError_.ok() && t < kDirtTypeCount; ++t)
        if (animations_.dynamicDirt().allDirt(t)->maxCount > 0 && dirtManager_.dirtFrames(t).empty())
            lastError_ = InvalidError(std::string("The sprite atlas has no \"") + DirtManager::PrefixForType(t) +
                                      "\" sprite, which the treatment " + path + " draws");
    planner_.reset();
    // Leak centres live in the programs' text, and the pictures may be new.
    programsStale_ = pipelineReady_;
    texturesReady_ = false;
    return lastError_;
}

void ShaderProcessorAnim::SetClipSeed(uint64_t seed) {
    if (planner_ && seed == clipSeed_) return;
    clipSeed_ = seed;
    planner_.emplace(animations_, dirtManager_, seed);
}

void ShaderProcessorAnim::CreateBorderTexture() {
    const std::string path = animations_.borderPath();
    if (path.empty() || path == borderLoaded_) return;
    borderLoaded_ = path;
    if (Status s = borderMaker_.MakeBorderFromPathSizeForAspect(path, static_cast<float>(imageWidth()),
                                                                 static_cast<float>(imageHeight()));
        !s.ok()) {
        LogError("{}", s.message());
        lastError_ = s;
        return;
    }
    const cpu::Texture8& b = borderMaker_.border();
    LoadUVArrayX1Y1X2Y2(borderUV_.data(), 0, 0, b.width, b.height);
    if (backend() != Backend::OpenGL || !texture(kSlotBorder)) return;
    // A luminance texture reads as grey in all three channels; a red one would black out green
    // and blue.
    glActiveTexture(GL_TEXTURE0 + kUnitBorder);
    glBindTexture(GL_TEXTURE_RECTANGLE, texture(kSlotBorder));
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_LUMINANCE8, b.width, b.height, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                 b.data.data());
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glActiveTexture(GL_TEXTURE0);
    borderUploaded_ = true;
}

const cpu::Texture8* ShaderProcessorAnim::GunkTile(int tile) {
    auto& slot = gunk_[static_cast<size_t>(tile)];
    if (!slot) {
        slot.emplace();
        std::string path;
        Status s = FindResource("Resources/" + GunkTileName(tile) + ".bin", &path);
        if (s.ok()) s = LoadGunkTile(path, &*slot);
        if (!s.ok()) {
            LogError("{}", s.message());
            lastError_ = s;
        }
    }
    return slot->empty() ? nullptr : &*slot;
}

void ShaderProcessorAnim::DrawCoreQuadCpu(const cpu::CoreShaderInputs& inputs, const cpu::Image& frame,
                                          const cpu::Quad& quad, const DrawParams& params, cpu::Image& target) {
    const int64_t f = params.animationFrame;
    if (!planner_) SetClipSeed(clipSeed_);
    plan_ = planner_->PlanFrame(f, static_cast<int>(imageWidth()), static_cast<int>(imageHeight()));
    const DamageVariant variant = VariantForFrame(&animations_, f);
    if (variant.number() == 0) {
        cpu::DrawCoreQuad(inputs, frame, quad, target);
        return;
    }
    cpu::DamageInputs d;
    d.animate = variant.animate;
    d.leadIn = variant.leadIn;
    // The plain size, not the lead-in's ramp: the draw has always sent this one.
    d.leakSize = static_cast<float>(animations_.leakSize());
    d.weaveX = plan_.weaveX;
    d.weaveY = plan_.weaveY;
    d.leakAmount = static_cast<float>(plan_.leakAmount);
    d.flashAmount = static_cast<float>(animations_.ExposureForFrame(f));
    d.smearAmount = static_cast<float>(animations_.SmearForFrame(f));
    d.gunkAmount = static_cast<float>(animations_.userDirtAmount());
    d.gunkChannel = GunkChannelForFrame(f);
    const auto cell = GunkCellForFrame(f, animations_.userUseBorder());
    d.gunkCell = {float(cell[0]), float(cell[1]), float(cell[2]), float(cell[3])};
    d.borderAmount = animations_.userUseBorder() ? 1.0f : 0.0f;
    for (const auto& [x, y] : animations_.leakPositions()) d.leakPositions.push_back({float(x), float(y)});
    CreateBorderTexture();
    d.border = borderLoaded_.empty() ? nullptr : &borderMaker_.border();
    if (d.gunkAmount > 0.0f) d.gunk = GunkTile(GunkTileForFrame(f));
    if (variant.leadIn) {
        d.overlayAmount = static_cast<float>(animations_.ScreenAmountForScreen(0, f));
        d.overlayBAmount = static_cast<float>(animations_.ScreenAmountForScreen(1, f));
        d.overlayA = &overlayMakerA_.overlay();
        d.overlayB = &overlayMakerB_.overlay();
    }
    cpu::DrawDamageQuad(inputs, d, frame, quad, target);
}

void ShaderProcessorAnim::DrawEffectsSecondPassCpu(const DrawParams& params, cpu::Image& target) {
    (void)params;
    const bool border = animations_.userUseBorder() && !borderLoaded_.empty();
    // Nothing to draw leaves the frame as the core pass made it, to the bit.
    if (plan_.sprites.empty() && !border) return;
    cpu::DrawDirtPass(plan_.sprites, dirtMap_.overlay(), border ? &borderMaker_.border() : nullptr, target);
}

}  // namespace ombrel
