#pragma once

// One stock's grain response: how strongly a pixel takes grain, per channel, by its level.

#include <array>
#include <memory>
#include <string>

namespace ombrel {

// 256 entries of R, G, B strength, indexed by level; uploaded as a 1D texture.
class GrainLookup {
public:
    static constexpr int kEntries = 256;
    static constexpr size_t kBufferBytes = kEntries * 3 * sizeof(float);  // 3,072
    // The stock whose curve file is missing borrows this one.
    static constexpr const char* kFallbackStock = "5207";
    // Instant-film curves are that much weaker than their files say.
    static constexpr float kPolaroidFactor = 0.3f;

    GrainLookup() { buffer_.fill(0.0f); }
    explicit GrainLookup(const std::array<float, kEntries * 3>& values) : buffer_(values) {}

    // Loads "<stock>.emoGrain" from the resources, or the fallback stock's curve when the
    // stock has none. A curve that cannot be read at all stays zero: no grain.
    static std::shared_ptr<const GrainLookup> InitWithName(const std::string& stockName);

    const float* buffer() const { return buffer_.data(); }

private:
    std::array<float, kEntries * 3> buffer_;
};

using GrainLookupPtr = std::shared_ptr<const GrainLookup>;

}  // namespace ombrel
