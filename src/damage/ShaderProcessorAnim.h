#pragma once

// The look pipeline with film damage on top: during a lead-in flashes, leaks, smear and the two
// flash overlays; at all times, as the treatment asks, gunk, a gate border, weave and a second
// pass of dirt sprites. A drop-in for ShaderProcessor: only the base's hooks are overridden.
//
// On OpenGL the frame's damage is one pass of the core program with the damage steps (variant 1
// after the lead-in, 2 during it; 0 is the base's own program when a frame needs none), then one
// blended pass of sprites and the gate. The CPU render draws the same through the CPU hooks.

#include <array>
#include <map>
#include <memory>
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

// Locations of the damage program's own uniforms and attributes; -1 where a variant has none.
struct OBShaderLocationsAnim {
    int32_t locFlashAmount = -1;
    int32_t locLeakAmount = -1;
    int32_t locSmearAmount = -1;
    int32_t locBorderTexture = -1;
    int32_t locBorderAmount = -1;
    int32_t locOverlayTexture = -1;
    int32_t locOverlayAmount = -1;
    int32_t locOverlayBTexture = -1;
    int32_t locOverlayBAmount = -1;
    int32_t locGunkTexture = -1;
    int32_t locGunkAmount = -1;
    int32_t locGunkChannel = -1;
    int32_t locLeakSize = -1;
    int32_t attLocNormalizedUV = -1;
    int32_t attLocBorderUV = -1;
    int32_t attLocOverlayUV = -1;
    int32_t attLocWeaveOffset = -1;
    int32_t attLocGunkUV = -1;
};

// Texture units and slots of the damage pass.
inline constexpr int kUnitBorder = 9;
inline constexpr int kUnitOverlayA = 10;
inline constexpr int kUnitGunk = 11;
inline constexpr int kUnitOverlayB = 12;
inline constexpr int kSlotBorder = 9;
inline constexpr int kSlotOverlayA = 10;
inline constexpr int kSlotOverlayB = 11;
inline constexpr int kSlotGunk = 12;  // to 15
inline constexpr int kSlotDirtMap = 16;

class ShaderProcessorAnim : public ShaderProcessor {
public:
    explicit ShaderProcessorAnim(Backend backend = Backend::OpenGL);
    ~ShaderProcessorAnim() override;

    // The treatment, the sprite atlas and the pictures it needs; a failure names the file.
    Status LoadTreatment(const std::string& path);
    // The clip's seed (GrainWalk::SeedForClip): the frames' random draws start from it.
    void SetClipSeed(uint64_t seed);

    const AnimationSequence& animations() const { return animations_; }
    const Status& lastError() const { return lastError_; }
    // The plan of the last frame drawn.
    const DamageFramePlan& plan() const { return plan_; }

    // The main() appended to "ombrel_CLB" for a variant, with this treatment's leak centres.
    static std::string GeneratedDamageMain(const AnimationSequence& animations, bool leadIn, bool animate,
                                           bool argbIn = false, bool argbOut = false);

    // ---- The base's hooks on OpenGL ----
    bool InitPipelineForViewportContext(const FloatRect& rect, const GlContextPtr& context) override;
    void PrepareTexturesForContext(const GlContextPtr& context) override;
    void DrawSetup_Begin(DrawParams* params) override;
    void DrawSetup_Uniforms(DrawParams* params) override;
    void DrawSetup_Samplers(DrawParams* params) override;
    void DrawEffectsSecondPass() override;
    void SetBorder(bool on) override { borderAmount_ = on ? 1.0f : 0.0f; }
    void setVertUVAtt_Ix1Ix2(int ix1, int ix2) override;

    // Builds variant 2 (with the lead-in) or 1 from "ombrel_CLB" and this treatment.
    void LoadOBShaderLeadInAnimate(bool leadIn, bool animate);
    const OBShaderLocationsAnim& locationsAnim(int variant) const {
        return locationsOBShaderAnim_[static_cast<size_t>(variant == 2)];
    }

protected:
    void DrawCoreQuadCpu(const cpu::CoreShaderInputs& inputs, const cpu::Image& frame, const cpu::Quad& quad,
                         const DrawParams& params, cpu::Image& target) override;
    void DrawEffectsSecondPassCpu(const DrawParams& params, cpu::Image& target) override;

private:
    // The border of the treatment at the frame's aspect ratio, made again only when its path
    // changes; on OpenGL it fills slot 9.
    void CreateBorderTexture();
    const cpu::Texture8* GunkTile(int tile);
    void UploadDamageTextures();
    void BindGunkTile(int tile);
    // The variant's program for the tables as uploaded (those that give back every level left out).
    GLSLAttributes* DamageProgramForUploadedTables(int variant);
    void InitDamageProgram(GLSLAttributes* a, OBShaderLocationsAnim& l, bool leadIn);
    void DrawDirtOfType(int type);
    void DrawBorder();
    void DrawDirtFromMap();

    // Per-frame values of the draw.
    float flashAmount_ = 0, leakAmount_ = 0, smearAmount_ = 0, leakSize_ = 0;
    float borderAmount_ = 1, overlayAmount_ = 1, overlayBAmount_ = 1, gunkAmount_ = 1;
    int32_t gunkChannel_ = 0;
    std::array<float, 8> normalizedUV_{}, borderUV_{}, overlayUV_{}, gunkUV_{}, weaveOffset_{};
    DamageVariant variant_;
    std::array<OBShaderLocationsAnim, 2> locationsOBShaderAnim_;
    const OBShaderLocationsAnim* locCurrentAnim_ = nullptr;
    // Damage programs with tables left out, by variant and mask; drawing thread only.
    struct DamageProgram {
        GLSLAttributes attributes;
        OBShaderLocations locations;
        OBShaderLocationsAnim anim;
    };
    std::map<int, std::unique_ptr<DamageProgram>> fixedDamagePrograms_;
    GLSLAttributes attributesDirtMap_;
    int32_t locDirtMap_ = -1;
    bool programsStale_ = false;   // a treatment came after the programs were built
    bool texturesReady_ = false;   // overlays and atlas uploaded
    std::array<bool, kGunkTileCount> gunkUploaded_{};
    bool borderUploaded_ = false;

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
