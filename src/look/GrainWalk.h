#pragma once

// The grain offset of a rendered frame as a pure function of the clip and the frame.
//
// The live preview jumps the grain by a random quarter to three quarters of the grain image
// at each draw. A render replays the same kind of walk from the clip's first frame with a
// generator seeded by the clip, so frame f gets the same offset whichever range is
// rendered, on whichever machine, and the jumps keep their distribution.

#include <array>
#include <cstdint>
#include <string>

namespace ombrel {

class GrainWalk {
public:
    // The seed of a clip: its file name without folders, so the same clip on another
    // machine or volume walks the same way.
    static uint64_t SeedForClip(const std::string& path);

    explicit GrainWalk(uint64_t seed) : seed_(seed) {}
    uint64_t seed() const { return seed_; }

    // The offset of frame `frame` (0 is the clip's first frame) in a grain image of
    // (width, height) pixels. Sequential frames cost one step each; others replay the walk.
    std::array<int32_t, 2> OffsetForFrame(int64_t frame, int32_t width, int32_t height);

private:
    // The jump of step k in one axis of length n: in [n / 4, n / 4 + n / 2).
    int32_t Jump(int64_t k, int axis, int32_t n) const;

    uint64_t seed_;
    int64_t lastFrame_ = -1;
    std::array<int32_t, 2> lastSize_{0, 0};
    std::array<int32_t, 2> lastOffset_{0, 0};
};

}  // namespace ombrel
