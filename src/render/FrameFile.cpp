#include "render/FrameFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/AtomicFile.h"

namespace ombrel {

namespace {

bool Fail(std::string* error, const char* what, const std::string& path, int err) {
    if (error) *error = std::string(what) + " " + path + ": " + std::strerror(err);
    return false;
}

// Fails with EEXIST instead of replacing; falls back to a hard link where the file system
// has no exclusive rename.
int RenameNoReplace(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return -1;
    if (::link(from.c_str(), to.c_str()) != 0) return -1;
    ::unlink(from.c_str());
    return 0;
}

}  // namespace

bool WriteFrameFile(const std::string& path, std::span<const std::span<const uint8_t>> parts, bool replace,
                    std::string* error) {
    const std::string tmp = TemporaryPathFor(path);
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) return Fail(error, "cannot create", path, errno);

    for (const std::span<const uint8_t> part : parts) {
        size_t done = 0;
        while (done < part.size()) {
            const ssize_t n = ::write(fd, part.data() + done, part.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                const int err = n < 0 ? errno : ENOSPC;
                ::close(fd);
                ::unlink(tmp.c_str());
                return Fail(error, "cannot write", path, err);
            }
            done += static_cast<size_t>(n);
        }
    }
    // Some file systems report a full disk only when the file is closed.
    if (::close(fd) != 0) {
        const int err = errno;
        ::unlink(tmp.c_str());
        return Fail(error, "cannot write", path, err);
    }
    if ((replace ? ::rename(tmp.c_str(), path.c_str()) : RenameNoReplace(tmp, path)) != 0) {
        const int err = errno;
        ::unlink(tmp.c_str());
        return Fail(error, "cannot put in place", path, err);
    }
    return true;
}

}  // namespace ombrel
