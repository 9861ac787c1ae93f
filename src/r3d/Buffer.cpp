#include "r3d/Buffer.h"

#include <cstring>

namespace ombrel::r3d {

std::string TagText(uint32_t tag) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto c = static_cast<unsigned char>(tag >> shift);
        if (c >= 32 && c < 127) {
            s += static_cast<char>(c);
        } else {
            static const char* hex = "0123456789ABCDEF";
            s += "\\x";
            s += hex[c >> 4];
            s += hex[c & 15];
        }
    }
    return s;
}

bool Buffer::Take(size_t count) {
    if (!ok_ || count > size_ - pos_) {
        ok_ = false;
        return false;
    }
    return true;
}

uint8_t Buffer::ReadUint8() {
    if (!Take(1)) return 0;
    return data_[pos_++];
}

uint16_t Buffer::ReadUint16() {
    if (!Take(2)) return 0;
    const uint16_t v = LoadBE16(data_ + pos_);
    pos_ += 2;
    return v;
}

uint32_t Buffer::ReadUint32() {
    if (!Take(4)) return 0;
    const uint32_t v = LoadBE32(data_ + pos_);
    pos_ += 4;
    return v;
}

uint64_t Buffer::ReadUint64() {
    if (!Take(8)) return 0;
    const uint64_t v = LoadBE64(data_ + pos_);
    pos_ += 8;
    return v;
}

float Buffer::ReadFloat() {
    const uint32_t bits = ReadUint32();
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

bool Buffer::ReadBytes(void* destination, size_t count) {
    if (!Take(count)) return false;
    if (count) std::memcpy(destination, data_ + pos_, count);
    pos_ += count;
    return true;
}

bool Buffer::SkipBytes(size_t count) {
    if (!Take(count)) return false;
    pos_ += count;
    return true;
}

bool Buffer::Seek(size_t position) {
    if (!ok_ || position > size_) {
        ok_ = false;
        return false;
    }
    pos_ = position;
    return true;
}

}  // namespace ombrel::r3d
