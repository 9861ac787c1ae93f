#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ombrel::r3d {

// Big-endian loads and stores on raw bytes.
inline uint16_t LoadBE16(const uint8_t* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }
inline uint32_t LoadBE32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}
inline uint64_t LoadBE64(const uint8_t* p) { return (uint64_t(LoadBE32(p)) << 32) | LoadBE32(p + 4); }
inline void StoreBE16(uint8_t* p, uint16_t v) {
    p[0] = uint8_t(v >> 8);
    p[1] = uint8_t(v);
}
inline void StoreBE32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}
inline void StoreBE64(uint8_t* p, uint64_t v) {
    StoreBE32(p, uint32_t(v >> 32));
    StoreBE32(p + 4, uint32_t(v));
}

// A four-character tag as the 32-bit word it spells from its top byte down.
constexpr uint32_t MakeTag(const char (&s)[5]) {
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) | (uint32_t(uint8_t(s[2])) << 8) |
           uint32_t(uint8_t(s[3]));
}
// The first three characters of a track tag; the fourth byte is the track number.
constexpr uint32_t MakeTrackTag(const char (&s)[4], uint8_t track = 0) {
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) | (uint32_t(uint8_t(s[2])) << 8) | track;
}
std::string TagText(uint32_t tag);

// Reads over a borrowed byte range. A read past the end makes the buffer fail for good and
// yields zeros: an item parser reads all its fields and asks ok() once.
class Buffer {
public:
    Buffer() = default;
    Buffer(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint8_t ReadUint8();
    uint16_t ReadUint16();
    uint32_t ReadUint32();
    uint64_t ReadUint64();
    float ReadFloat();
    bool ReadBytes(void* destination, size_t count);
    bool SkipBytes(size_t count);
    bool Seek(size_t position);

    bool ok() const { return ok_; }
    size_t Position() const { return pos_; }
    size_t Size() const { return size_; }
    size_t Remaining() const { return ok_ ? size_ - pos_ : 0; }
    const uint8_t* Data() const { return data_; }
    const uint8_t* Current() const { return data_ + pos_; }

private:
    bool Take(size_t count);

    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
    size_t pos_ = 0;
    bool ok_ = true;
};

}  // namespace ombrel::r3d
