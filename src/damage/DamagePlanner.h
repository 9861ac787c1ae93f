#pragma once

// A frame's damage decided on the CPU before anything is drawn: the weave, the leak's flicker and
// the list of dirt quads. The GPU draw and the CPU reference both emit the same plan.
//
// Pinned vertical lines outlive frames, so the plan of frame f depends on frames 0 to f - 1: a
// planner asked for a frame other than the next one replays the plans before it, and a render of
// frames 24-47 gets the quads a render of 0-47 draws there.

#include <array>
#include <cstdint>
#include <vector>

#include "damage/AnimationSequence.h"
#include "damage/DirtManager.h"

namespace ombrel {

struct DirtSprite {
    int type = 0;
    DirtQuad quad{};       // clip-space corners, then the sprite's rectangle in atlas pixels
    float rotation = 0;    // degrees about the sprite's centre
    float alpha = 0;
};

struct DamageFramePlan {
    int64_t frame = 0;
    // The whole frame's shift in pixels, and its length.
    float weaveX = 0, weaveY = 0;
    double weaveLength = 0;
    double leakAmount = 0;
    std::vector<DirtSprite> sprites;
};

class DamagePlanner {
public:
    // Keeps copies of the treatment and the atlas; the seed is GrainWalk::SeedForClip of the clip.
    DamagePlanner(const AnimationSequence& animations, const DirtManager& atlas, uint64_t clipSeed);

    // The plan of one frame of an image of (width, height) pixels.
    DamageFramePlan PlanFrame(int64_t frame, int width, int height);

    const DirtManager& dirtManager() const { return dirt_; }

private:
    DamageFramePlan Plan(int64_t frame, int width, int height);

    AnimationSequence animations_;
    DirtManager atlas_;
    DirtManager dirt_;
    uint64_t seed_;
    int64_t next_ = 0;
};

}  // namespace ombrel
