#include "core/FolderLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace ombrel {
namespace {

std::string LockFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return runtime && *runtime ? runtime : "/tmp";
}

}  // namespace

FolderLock::~FolderLock() { Unlock(); }

void FolderLock::Unlock() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

Status FolderLock::TryLock(const std::string& folder, int first, int last) {
    Unlock();
    struct stat dir {};
    if (::stat(folder.c_str(), &dir) != 0 || !S_ISDIR(dir.st_mode)) return OkStatus();
    char name[96];
    std::snprintf(name, sizeof name, "/ombrel-render-%llx-%llx.lock", static_cast<unsigned long long>(dir.st_dev),
                  static_cast<unsigned long long>(dir.st_ino));
    const int fd = ::open((LockFolder() + name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return OkStatus();
    const long long from = std::max(first, 0);
    const long long to = std::max(last, first) < 0 ? 0 : std::max(last, first);
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(from);
    range.l_len = static_cast<off_t>(to - from + 1);
    if (::fcntl(fd, F_OFD_SETLK, &range) == 0) {
        fd_ = fd;
        return OkStatus();
    }
    // Open-file-description locks do not name their holder's process.
    const int err = errno;
    ::close(fd);
    if (err != EAGAIN && err != EACCES) return OkStatus();
    return {Status::Code::kExists, "another render is writing frames of " + std::to_string(from) + "-" +
                                       std::to_string(to) + " into " + folder};
}

}  // namespace ombrel
