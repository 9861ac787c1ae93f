#pragma once

// A block of zero bytes that costs nothing until it is written: its pages come straight from
// the kernel, which supplies them zeroed on first touch, so a frame buffer that is only ever
// partly written (a read-back of 6 bytes a pixel in room for 8) never counts in full. Not
// calloc: once a large block has been freed, malloc serves the next ones from its heap and
// calloc must then clear them, which cost a whole-frame memset per buffer at every clip.

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace ombrel {

class ZeroedBlock {
public:
    ZeroedBlock() = default;
    // Empty (data() null) when the memory cannot be had.
    explicit ZeroedBlock(size_t bytes) {
        if (bytes == 0) return;
        void* p = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED) return;
        data_ = static_cast<uint8_t*>(p);
        size_ = bytes;
    }
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
        if (data_) ::munmap(data_, size_);
        data_ = nullptr;
        size_ = 0;
    }

private:
    uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace ombrel
