#include "damage/DamagePlanner.h"

#include <cmath>

#include "damage/DamageRandom.h"

namespace ombrel {

DamagePlanner::DamagePlanner(const AnimationSequence& animations, const DirtManager& atlas, uint64_t clipSeed)
    : animations_(animations), atlas_(atlas), dirt_(atlas), seed_(clipSeed) {}

DamageFramePlan DamagePlanner::PlanFrame(int64_t frame, int width, int height) {
    if (frame < next_) {
        dirt_ = atlas_;  // back to a film without lines, then forward again
        next_ = 0;
    }
    while (next_ < frame) Plan(next_, width, height);
    return Plan(frame, width, height);
}

DamageFramePlan DamagePlanner::Plan(int64_t frame, int width, int height) {
    next_ = frame + 1;
    DamageRandom random(seed_, frame);
    DamageFramePlan plan;
    plan.frame = frame;

    // The draws in the order the draw asks for them: weave, flicker, then the dirt pass.
    const double w = animations_.userWeaveAmount();
    const double r1 = random.Unit();
    const double r2 = random.Unit();
    plan.weaveX = static_cast<float>(width * 0.01 * (r1 * w - w / 2));
    plan.weaveY = static_cast<float>(height * 0.01 * (r2 * w - w / 2));
    plan.weaveLength = std::sqrt(double(plan.weaveX) * plan.weaveX + double(plan.weaveY) * plan.weaveY);
    plan.leakAmount = animations_.LeakForFrame(frame, random);

    dirt_.ClearPins();
    const _DynamicDirt& all = animations_.dynamicDirt();
    for (int type = 0; type < kDirtTypeCount; ++type) {
        const _DynamicDirtDetails& d = *all.allDirt(type);
        float alpha = static_cast<float>(d.opacity);
        for (int32_t i = 0; i < d.maxCount; ++i) {
            // Lines already on the film take the tries first, with no chance involved.
            const bool pinned = type == kDirtVertical && dirt_.PinnedVerticalAvailable();
            if (!pinned && !(d.probability > random.Unit())) continue;
            DirtSprite s;
            s.type = type;
            s.rotation = d.shouldRotate ? static_cast<float>(random.Unit() * 360.0) : 0.0f;
            bool made = false;
            if (pinned)
                made = dirt_.GetPinnedVertical_Coords(&s.quad, &alpha, random);
            else
                made = dirt_.GetRandomDirtOfType(type, &s.quad, static_cast<float>(d.opacity), d.maxDuration, random);
            s.alpha = alpha;
            if (made) plan.sprites.push_back(s);
        }
    }
    return plan;
}

}  // namespace ombrel
