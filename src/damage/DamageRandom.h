#pragma once

// The random numbers of film damage. A frame's flicker, weave, sprites, places, rotations and
// holds all draw, in that order, from one generator seeded by the clip and the frame, so frame f
// of a clip looks the same whichever range is rendered and on whichever machine.

#include <cstdint>

namespace ombrel {

class DamageRandom {
public:
    // The largest value of Rand(), as the C library's rand() on this platform.
    static constexpr int32_t kMax = 2147483647;

    DamageRandom(uint64_t clipSeed, int64_t frame);

    // In 0 to kMax.
    int32_t Rand();
    // Rand() / kMax: 0 to 1, both ends included.
    double Unit() { return static_cast<double>(Rand()) / kMax; }

private:
    uint64_t state_;
};

}  // namespace ombrel
