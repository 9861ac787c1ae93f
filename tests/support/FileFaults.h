#pragma once

// Writes that fail on purpose, and small readers of what tests wrote: a cap on file sizes (a
// full disk), listings, hidden temporary names, numbers read in either byte order.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/Shell.h"

namespace ombrel::test {

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
