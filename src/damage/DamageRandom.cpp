#include "damage/DamageRandom.h"

namespace ombrel {

namespace {

uint64_t Mix(uint64_t x) {
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
    return x ^ (x >> 31);
}

}  // namespace

// The frame goes through the mixer before it meets the seed, so neighbouring frames of one clip
// and neighbouring clips of one frame start far apart.
DamageRandom::DamageRandom(uint64_t clipSeed, int64_t frame)
    : state_(clipSeed ^ Mix(static_cast<uint64_t>(frame) + 0x632be59bd9b4e019ull)) {}

int32_t DamageRandom::Rand() {
    // SplitMix64: the same stream on every platform, unlike the C library's rand().
    state_ += 0x9e3779b97f4a7c15ull;
    const uint64_t r = Mix(state_);
    // 31 high bits give 0 to 2^31 - 1, which is kMax.
    return static_cast<int32_t>(r >> 33);
}

}  // namespace ombrel
