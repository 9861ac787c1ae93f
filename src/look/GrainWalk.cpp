#include "look/GrainWalk.h"

#include <filesystem>

namespace ombrel {

namespace {

// SplitMix64: a well-mixed 64-bit value from a counter, the same on every platform.
uint64_t Mix(uint64_t x) {
    x += 0x9e3779b97f4a7c15ull;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
    return x ^ (x >> 31);
}

}  // namespace

uint64_t GrainWalk::SeedForClip(const std::string& path) {
    const std::string name = std::filesystem::path(path).filename().string();
    uint64_t h = 0xcbf29ce484222325ull;  // FNV-1a
    for (unsigned char c : name) {
        h ^= c;
        h *= 0x100000001b3ull;
    }
    return Mix(h);
}

int32_t GrainWalk::Jump(int64_t k, int axis, int32_t n) const {
    const int32_t half = n / 2;
    const uint64_t r = Mix(seed_ ^ Mix(static_cast<uint64_t>(k) * 2 + static_cast<uint64_t>(axis)));
    // The high half of a well-mixed word, reduced: the bias is below 2^-32 for any image.
    return (half > 0 ? static_cast<int32_t>((r >> 32) % static_cast<uint64_t>(half)) : 0) + n / 4;
}

std::array<int32_t, 2> GrainWalk::OffsetForFrame(int64_t frame, int32_t width, int32_t height) {
    if (frame < 0 || width <= 0 || height <= 0) return {0, 0};
    const std::array<int32_t, 2> size{width, height};
    int64_t k = 0;
    std::array<int64_t, 2> offset{0, 0};
    if (size == lastSize_ && lastFrame_ >= 0 && lastFrame_ <= frame) {
        k = lastFrame_ + 1;
        offset = {lastOffset_[0], lastOffset_[1]};
    }
    for (; k <= frame; ++k) {
        for (int axis = 0; axis < 2; ++axis) offset[axis] = (offset[axis] + Jump(k, axis, size[axis])) % size[axis];
    }
    lastFrame_ = frame;
    lastSize_ = size;
    lastOffset_ = {static_cast<int32_t>(offset[0]), static_cast<int32_t>(offset[1])};
    return lastOffset_;
}

}  // namespace ombrel
