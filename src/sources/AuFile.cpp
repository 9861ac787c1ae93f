#include "sources/AuFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/AtomicFile.h"

namespace ombrel {

namespace {

void Put32(uint8_t* out, uint32_t v) {
    out[0] = static_cast<uint8_t>(v >> 24);
    out[1] = static_cast<uint8_t>(v >> 16);
    out[2] = static_cast<uint8_t>(v >> 8);
    out[3] = static_cast<uint8_t>(v);
}

bool Fail(std::string* error, const char* what, const std::string& path, int err) {
    if (error) *error = std::string(what) + " " + path + ": " + std::strerror(err);
    return false;
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

AuFileWriter::~AuFileWriter() { Discard(); }

void AuFileWriter::Discard() {
    if (fd_ < 0) return;
    ::close(fd_);
    ::unlink(tmp_.c_str());
    fd_ = -1;
}

bool AuFileWriter::Open(const std::string& path, uint32_t sampleRate, uint32_t channels, std::string* error) {
    Discard();
    path_ = path;
    tmp_ = TemporaryPathFor(path);
    written_ = 0;
    fd_ = ::open(tmp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd_ < 0) return Fail(error, "cannot create", path, errno);
    const auto header = AuHeader(sampleRate, channels);
    if (!Append(header.data(), header.size(), error)) return false;
    written_ = 0;
    return true;
}

bool AuFileWriter::Append(const void* bytes, size_t size, std::string* error) {
    if (fd_ < 0) return Fail(error, "not open:", path_, EBADF);
    const auto* p = static_cast<const uint8_t*>(bytes);
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd_, p + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            const int err = n < 0 ? errno : ENOSPC;
            Discard();
            return Fail(error, "cannot write", path_, err);
        }
        done += static_cast<size_t>(n);
    }
    written_ += size;
    return true;
}

bool AuFileWriter::Finish(std::string* error) {
    if (fd_ < 0) return Fail(error, "not open:", path_, EBADF);
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) {
        const int err = errno;
        ::unlink(tmp_.c_str());
        return Fail(error, "cannot write", path_, err);
    }
    if (::rename(tmp_.c_str(), path_.c_str()) != 0) {
        const int err = errno;
        ::unlink(tmp_.c_str());
        return Fail(error, "cannot put in place", path_, err);
    }
    return true;
}

}  // namespace ombrel
