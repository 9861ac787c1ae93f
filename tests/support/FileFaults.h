#pragma once

// Files and folders that fail on purpose, and small readers of what tests wrote: a folder that
// refuses new files, a cap on file sizes (a full disk), listings, hidden temporary names,
// numbers read in either byte order, a scoped environment variable.

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/Shell.h"

namespace ombrel::test {

using CommandResult = ShellResult;
inline CommandResult RunCommand(const std::string& command) { return RunShell(command); }

inline std::string Quoted(const std::string& path) {
    std::string q = "'";
    for (char c : path) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// The unsigned number of `width` bytes at `at`, most or least significant byte first.
inline uint32_t Be(const std::string& b, size_t at, int width) {
    uint32_t v = 0;
    for (int i = 0; i < width; ++i) v = v << 8 | static_cast<uint8_t>(b.at(at + i));
    return v;
}
inline uint32_t Le(const std::string& b, size_t at, int width) {
    uint32_t v = 0;
    for (int i = width - 1; i >= 0; --i) v = v << 8 | static_cast<uint8_t>(b.at(at + i));
    return v;
}
inline uint32_t BigEndian32(const std::string& bytes, size_t offset) { return Be(bytes, offset, 4); }
inline uint16_t BigEndian16(const std::string& bytes, size_t offset) { return uint16_t(Be(bytes, offset, 2)); }
inline uint32_t LittleEndian32(const std::string& bytes, size_t offset) { return Le(bytes, offset, 4); }
inline uint16_t LittleEndian16(const std::string& bytes, size_t offset) { return uint16_t(Le(bytes, offset, 2)); }

// Names, sizes and modification times of everything below a folder, hidden files included.
inline std::map<std::string, std::pair<uintmax_t, int64_t>> Listing(const std::string& folder) {
    std::map<std::string, std::pair<uintmax_t, int64_t>> out;
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(folder, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        struct stat st {};
        if (::lstat(it->path().c_str(), &st) != 0) continue;
        const int64_t mtime = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
        out[it->path().string()] = {it->is_directory() ? 0 : static_cast<uintmax_t>(st.st_size), mtime};
    }
    return out;
}

// Makes a folder refuse new files while alive: its mode goes to 0555, and where that does not
// stop this process (it runs as root) the folder is also marked immutable. `works()` says
// whether the folder really refuses writes here.
class UnwritableFolder {
public:
    explicit UnwritableFolder(const std::string& path) : path_(path) {
        ::chmod(path_.c_str(), 0555);
        if (!Refuses()) immutable_ = SetImmutable(true);
        works_ = Refuses();
    }
    ~UnwritableFolder() {
        if (immutable_) SetImmutable(false);
        ::chmod(path_.c_str(), 0755);
    }
    UnwritableFolder(const UnwritableFolder&) = delete;
    UnwritableFolder& operator=(const UnwritableFolder&) = delete;
    bool works() const { return works_; }

private:
    bool SetImmutable(bool on) const {
        const int fd = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        int flags = 0;
        const bool done = fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0 &&
                          (flags = on ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL,
                           ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0);
        if (fd >= 0) ::close(fd);
        return done;
    }
    bool Refuses() const {
        const std::string probe = path_ + "/.probe";
        const int fd = ::open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0) return true;
        ::close(fd);
        ::unlink(probe.c_str());
        return false;
    }

    std::string path_;
    bool immutable_ = false;
    bool works_ = false;
};

// Caps the size of files this process writes, so a write beyond it fails as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &old_);
        oldHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit lim = old_;
        lim.rlim_cur = bytes;
        ok_ = ::setrlimit(RLIMIT_FSIZE, &lim) == 0;
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, oldHandler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    bool ok() const { return ok_; }

private:
    struct rlimit old_ {};
    void (*oldHandler_)(int) = SIG_DFL;
    bool ok_ = false;
};

// Files in a folder whose names start with "." (temporary names of unfinished writes).
inline std::vector<std::string> HiddenFiles(const std::string& folder) {
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(folder, ec))
        if (e.path().filename().string().starts_with(".")) out.push_back(e.path().string());
    return out;
}

}  // namespace ombrel::test
