#include "core/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ombrel {
namespace {

std::string KindOfMode(mode_t mode) {
    if (S_ISREG(mode)) return "a regular file";
    if (S_ISDIR(mode)) return "a directory";
    if (S_ISFIFO(mode)) return "a FIFO (named pipe)";
    if (S_ISCHR(mode)) return "a character device";
    if (S_ISBLK(mode)) return "a block device";
    if (S_ISSOCK(mode)) return "a socket";
    return "not a regular file";
}

std::string Megabytes(size_t bytes) { return std::to_string((bytes + (size_t{1} << 20) - 1) >> 20) + " MB"; }

}  // namespace

std::string FileKindText(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return "nothing";
    return KindOfMode(st.st_mode);
}

Status ReadRegularFile(const std::string& path, std::string* contents, size_t maxBytes) {
    using Code = Status::Code;
    auto Fail = [](Code code, std::string message) { return Status(code, std::move(message)); };
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        const int err = errno;
        return Fail(err == ENOENT || err == ENOTDIR ? Code::kNotFound : Code::kIo,
                    path + ": " + (err == ENOENT || err == ENOTDIR ? std::string("no such file") : std::strerror(err)));
    }
    if (!S_ISREG(st.st_mode)) return Fail(Code::kUnsupported, path + " is " + KindOfMode(st.st_mode) + ", not a file");
    if (static_cast<unsigned long long>(st.st_size) > maxBytes)
        return Fail(Code::kInvalid, path + " is " + Megabytes(static_cast<size_t>(st.st_size)) + "; files over " +
                                        Megabytes(maxBytes) + " are not read");
    // Non-blocking, so that a file swapped for a FIFO since the stat cannot hold us.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return Fail(Code::kIo, path + ": " + std::strerror(errno));
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return Fail(Code::kUnsupported, path + " is " + KindOfMode(st.st_mode) + ", not a file");
    std::string text;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            return Fail(Code::kIo, path + ": " + std::strerror(errno));
        }
        if (n == 0) break;
        if (text.size() + static_cast<size_t>(n) > maxBytes)
            return Fail(Code::kInvalid, path + " is over " + Megabytes(maxBytes) + "; it is not read");
        text.append(buffer, static_cast<size_t>(n));
    }
    if (contents) *contents = std::move(text);
    return OkStatus();
}

}  // namespace ombrel
