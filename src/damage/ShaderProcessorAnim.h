#pragma once

// The look pipeline with film damage on top: during a lead-in flashes, leaks, smear and the two
// flash overlays; at all times, as the treatment asks, gunk, a gate border, weave and a second
// pass of dirt sprites. A drop-in for ShaderProcessor: only the base's hooks are overridden.
//
// The CPU render draws it today; on OpenGL the damage is not drawn yet and a render asking for
// it is refused before it starts (`DrawsOn`).

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "damage/AnimationSequence.h"
#include "damage/DamageFrame.h"
#include "damage/DamagePlanner.h"
#include "damage/DirtManager.h"
#include "damage/Makers.h"
#include "look/ShaderProcessor.h"

namespace ombrel {

class ShaderProcessorAnim : public ShaderProcessor {
public:
    explicit ShaderProcessorAnim(Backend backend = Backend::OpenGL);

    // Whether this build draws damage with the backend.
    static bool DrawsOn(Backend backend) { return backend == Backend::Cpu; }

    // The treatment, the sprite atlas and the pictures it needs; a failure names the file.
    Status LoadTreatment(const std::string& path);
    // The clip's seed (GrainWalk::SeedForClip): the frames' random draws start from it.
    void SetClipSeed(uint64_t seed);

    const AnimationSequence& animations() const { return animations_; }
    const Status& lastError() const { return lastError_; }
    // The plan of the last frame drawn.
    const DamageFramePlan& plan() const { return plan_; }

protected:
    void DrawCoreQuadCpu(const cpu::CoreShaderInputs& inputs, const cpu::Image& frame, const cpu::Quad& quad,
                         const DrawParams& params, cpu::Image& target) override;
    void DrawEffectsSecondPassCpu(const DrawParams& params, cpu::Image& target) override;

private:
    // The border of the treatment at the frame's aspect ratio, made again only when its path changes.
    void CreateBorderTexture();
    const cpu::Texture8* GunkTile(int tile);

    AnimationSequence animations_;
    DirtManager dirtManager_;
    std::optional<DamagePlanner> planner_;
    uint64_t clipSeed_ = 0;
    DamageFramePlan plan_;
    BorderMaker borderMaker_;
    std::string borderLoaded_;  // the path of the border in use
    OverlayMaker overlayMakerA_, overlayMakerB_, dirtMap_;
    std::array<std::optional<cpu::Texture8>, kGunkTileCount> gunk_;
    Status lastError_;
};

}  // namespace ombrel
