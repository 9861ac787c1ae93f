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

inline uint32_t BigEndian32(const std::string& bytes, size_t offset) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v = v << 8 | static_cast<uint8_t>(bytes.at(offset + i));
    return v;
}

inline uint16_t BigEndian16(const std::string& bytes, size_t offset) {
    return static_cast<uint16_t>(static_cast<uint8_t>(bytes.at(offset)) << 8 |
                                 static_cast<uint8_t>(bytes.at(offset + 1)));
}

inline uint32_t LittleEndian32(const std::string& bytes, size_t offset) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i) v = v << 8 | static_cast<uint8_t>(bytes.at(offset + i));
    return v;
}

inline uint16_t LittleEndian16(const std::string& bytes, size_t offset) {
    return static_cast<uint16_t>(static_cast<uint8_t>(bytes.at(offset + 1)) << 8 |
                                 static_cast<uint8_t>(bytes.at(offset)));
}

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
        if (!Refuses()) {
            const int fd = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            int flags = 0;
            if (fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
                flags |= FS_IMMUTABLE_FL;
                immutable_ = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
            }
            if (fd >= 0) ::close(fd);
        }
        works_ = Refuses();
    }
    ~UnwritableFolder() {
        if (immutable_) {
            const int fd = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            int flags = 0;
            if (fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
                flags &= ~FS_IMMUTABLE_FL;
                ::ioctl(fd, FS_IOC_SETFLAGS, &flags);
            }
            if (fd >= 0) ::close(fd);
        }
        ::chmod(path_.c_str(), 0755);
    }
    UnwritableFolder(const UnwritableFolder&) = delete;
    UnwritableFolder& operator=(const UnwritableFolder&) = delete;
    bool works() const { return works_; }

private:
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
