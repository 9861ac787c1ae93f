#include "sources/AuFile.h"

#include <cstring>

namespace ombrel {

namespace {

void Put32(uint8_t* out, uint32_t v) {
    out[0] = static_cast<uint8_t>(v >> 24);
    out[1] = static_cast<uint8_t>(v >> 16);
    out[2] = static_cast<uint8_t>(v >> 8);
    out[3] = static_cast<uint8_t>(v);
}

}  // namespace

std::array<uint8_t, kAuHeaderBytes> AuHeader(uint32_t sampleRate, uint32_t channels) {
    std::array<uint8_t, kAuHeaderBytes> h{};
    std::memcpy(h.data(), ".snd", 4);
    Put32(h.data() + 4, kAuHeaderBytes);
    Put32(h.data() + 8, 0xFFFFFFFFu);
    Put32(h.data() + 12, 5);
    // Common rates fit the low 16 bits; higher ones are written whole rather than cut.
    Put32(h.data() + 16, sampleRate);
    Put32(h.data() + 20, channels);
    Put32(h.data() + 24, 0);
    return h;
}

Status AuFileWriter::Open(const std::string& path, uint32_t sampleRate, uint32_t channels) {
    written_ = 0;
    if (Status s = out_.Open(path); !s.ok()) return s;
    const auto header = AuHeader(sampleRate, channels);
    return out_.Write(header.data(), header.size());
}

Status AuFileWriter::Append(const void* bytes, size_t size) {
    Status s = out_.Write(bytes, size);
    if (s.ok()) written_ += size;
    return s;
}

Status AuFileWriter::Finish() { return out_.Commit(); }

}  // namespace ombrel
