#pragma once

// A block of zero bytes that costs nothing until it is written (see Pages.h), so a frame
// buffer that is only ever partly written (a read-back of 6 bytes a pixel in room for 8) never
// counts in full.

#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/Pages.h"

namespace ombrel {

class ZeroedBlock {
public:
    ZeroedBlock() = default;
    // Empty (data() null) when the memory cannot be had.
    explicit ZeroedBlock(size_t bytes) : data_(static_cast<uint8_t*>(MapPages(bytes))), size_(data_ ? bytes : 0) {}
    ~ZeroedBlock() { reset(); }
    ZeroedBlock(ZeroedBlock&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    ZeroedBlock& operator=(ZeroedBlock&& other) noexcept {
        if (this != &other) {
            reset();
            data_ = std::exchange(other.data_, nullptr);
            size_ = std::exchange(other.size_, 0);
        }
        return *this;
    }
    ZeroedBlock(const ZeroedBlock&) = delete;
    ZeroedBlock& operator=(const ZeroedBlock&) = delete;

    uint8_t* data() const { return data_; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    void reset() {
        UnmapPages(data_, size_);
        data_ = nullptr;
        size_ = 0;
    }

private:
    uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace ombrel
