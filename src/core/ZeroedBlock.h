#pragma once

// A block of zero bytes that costs nothing until it is written: a large calloc comes from
// fresh pages that the kernel supplies on first touch, so a frame buffer that is only ever
// partly written (a read-back of 6 bytes a pixel in room for 8) never counts in full, and no
// memset runs through pages that the next frame would fault in anyway.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace ombrel {

class ZeroedBlock {
public:
    ZeroedBlock() = default;
    // Empty (data() null) when the memory cannot be had.
    explicit ZeroedBlock(size_t bytes)
        : data_(bytes ? static_cast<uint8_t*>(std::calloc(bytes, 1)) : nullptr), size_(data_ ? bytes : 0) {}

    uint8_t* data() const { return data_.get(); }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    void reset() {
        data_.reset();
        size_ = 0;
    }

private:
    struct Free {
        void operator()(uint8_t* p) const { std::free(p); }
    };
    std::unique_ptr<uint8_t, Free> data_;
    size_t size_ = 0;
};

}  // namespace ombrel
