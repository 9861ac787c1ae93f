#include "core/AtomicFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace ombrel {

std::string TemporaryPathFor(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    std::filesystem::path p(path);
    std::string name =
        "." + p.filename().string() + ".part" + std::to_string(::getpid()) + "_" + std::to_string(counter.fetch_add(1));
    return (p.parent_path() / name).string();
}

bool WriteFileAtomically(const std::string& path, std::string_view bytes, std::string* error) {
    auto fail = [&](const std::string& what, int err) {
        if (error) *error = what + " " + path + ": " + std::strerror(err);
        return false;
    };
    const std::string tmp = TemporaryPathFor(path);
    int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return fail("cannot create", errno);
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            int err = errno;
            ::close(fd);
            ::unlink(tmp.c_str());
            return fail("cannot write", err);
        }
        done += static_cast<size_t>(n);
    }
    if (::fsync(fd) != 0 || ::close(fd) != 0) {
        int err = errno;
        ::unlink(tmp.c_str());
        return fail("cannot flush", err);
    }
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        int err = errno;
        ::unlink(tmp.c_str());
        return fail("cannot replace", err);
    }
    return true;
}

}  // namespace ombrel
