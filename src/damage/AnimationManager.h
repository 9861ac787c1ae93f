#pragma once

#include "core/Singleton.h"

namespace ombrel {

// The process's one owner of damage treatments. It holds nothing yet; a second instance aborts
// with "Attempted to create two AnimationManager instances".
class AnimationManager : public Singleton<AnimationManager> {
public:
    static constexpr const char* kClassName = "AnimationManager";

private:
    friend class Singleton<AnimationManager>;
    AnimationManager() = default;
};

}  // namespace ombrel
