#include "r3d/TokenStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ombrel::r3d {

RandomAccessFile::~RandomAccessFile() { Close(); }

RandomAccessFile::RandomAccessFile(RandomAccessFile&& other) noexcept : fd_(other.fd_), size_(other.size_) {
    other.fd_ = -1;
    other.size_ = 0;
}

RandomAccessFile& RandomAccessFile::operator=(RandomAccessFile&& other) noexcept {
    if (this != &other) {
        Close();
        fd_ = other.fd_;
        size_ = other.size_;
        other.fd_ = -1;
        other.size_ = 0;
    }
    return *this;
}

bool RandomAccessFile::Open(const std::string& path, std::string* error) {
    Close();
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (error) *error = std::strerror(errno);
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        if (error) *error = S_ISDIR(st.st_mode) ? "is a folder" : "not a regular file";
        ::close(fd);
        return false;
    }
    fd_ = fd;
    size_ = static_cast<uint64_t>(st.st_size);
    return true;
}

void RandomAccessFile::Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    size_ = 0;
}

bool RandomAccessFile::ReadAt(uint64_t position, void* destination, size_t count) const {
    if (fd_ < 0 || position > size_ || count > size_ - position) return false;
    auto* out = static_cast<uint8_t*>(destination);
    size_t done = 0;
    while (done < count) {
        const ssize_t n = ::pread(fd_, out + done, count - done, static_cast<off_t>(position + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;  // the file shrank under us, or an I/O error
        done += static_cast<size_t>(n);
    }
    return true;
}

bool FileTokenStream::ReadAt(uint64_t position, void* destination, size_t count) {
    const uint64_t size = file_.Size();
    if (position > size || count > size - position) return false;
    if (count >= kWindow / 2) return file_.ReadAt(position, destination, count);
    if (window_.empty() || position < windowStart_ || position + count > windowStart_ + window_.size()) {
        // Small atoms one behind the other share a read; heads far apart (behind large frames)
        // cost a short read each.
        const bool near = !window_.empty() && position >= windowStart_ && position - windowStart_ < 4 * kWindow;
        const uint64_t length = std::min<uint64_t>(near ? kWindow : std::max<size_t>(count, 64), size - position);
        window_.resize(static_cast<size_t>(length));
        if (!file_.ReadAt(position, window_.data(), window_.size())) {
            window_.clear();
            return false;
        }
        windowStart_ = position;
    }
    std::memcpy(destination, window_.data() + (position - windowStart_), count);
    return true;
}

bool MemoryTokenStream::ReadAt(uint64_t position, void* destination, size_t count) {
    if (position > size_ || count > size_ - position) return false;
    if (count) std::memcpy(destination, data_ + position, count);
    return true;
}

}  // namespace ombrel::r3d
