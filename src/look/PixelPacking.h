#pragma once

#include <cstdint>

namespace ombrel {

// The pixel bytes a render's file wants. A draw that can lay its read-back out so says it
// did; otherwise the read-back holds 16-bit host-order samples and the writer packs them.
enum class PixelPacking : uint8_t {
    kHost16,       // 16-bit samples in host order, as read back
    kDpx10,        // from RGBA: one little-endian 32-bit word a pixel, 10 bits each of R, G, B
    kBigEndian16,  // from RGB: 16-bit samples, most significant byte first
};

}  // namespace ombrel
