#include "look/grain/GrainDiskCache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "core/AtomicFile.h"
#include "core/Paths.h"
#include "fmt/format.h"

namespace ombrel {

namespace {

constexpr char kMagic[8] = {'O', 'B', 'G', 'R', 'A', 'I', 'N', '1'};
constexpr size_t kMaxBytes = size_t(1) << 30;

// What a file says about itself, ahead of its pixels.
struct Header {
    char magic[8];
    int32_t askedWidth, askedHeight;
    int32_t width, height, bytesPerRow, samplesPerPixel;
    uint64_t scanLength;
    int64_t scanTime;
    uint64_t hash;  // of the pixels
};

// 64-bit words through a multiply and shift: quick enough to check 9 MB on every start,
// and any torn or stale page shows.
uint64_t Hash(const uint8_t* p, size_t n) {
    uint64_t h = 0x9E3779B97F4A7C15ull ^ n;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        h = (h ^ w) * 0xFF51AFD7ED558CCDull;
        h ^= h >> 32;
    }
    for (; i < n; ++i) h = (h ^ p[i]) * 0xC4CEB9FE1A85EC53ull;
    return h;
}

Status ScanStamp(const std::string& scanPath, uint64_t* length, int64_t* time) {
    struct stat st {};
    if (::stat(scanPath.c_str(), &st) != 0) return SystemError("Cannot look at", scanPath, errno);
    *length = static_cast<uint64_t>(st.st_size);
    *time = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    return OkStatus();
}

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) ::close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

bool ReadAll(int fd, void* to, size_t n) {
    auto* p = static_cast<uint8_t*>(to);
    while (n > 0) {
        const ssize_t got = ::read(fd, p, n);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        p += got;
        n -= static_cast<size_t>(got);
    }
    return true;
}

}  // namespace

std::string GrainCacheFolder() {
    const char* xdg = std::getenv("XDG_CACHE_HOME");
    const std::string base = xdg && *xdg ? std::string(xdg) : HomeFolder() + "/.cache";
    return base + "/ombrel/grain";
}

std::string GrainCachePath(const std::string& scanName, int width, int height) {
    return GrainCacheFolder() + "/" + fmt::format("{}-{}x{}.grain", scanName, width, height);
}

Status LoadCachedGrain(const std::string& scanName, int width, int height, const std::string& scanPath,
                       BitmapRepPtr* out) {
    *out = nullptr;
    const std::string path = GrainCachePath(scanName, width, height);
    const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return SystemError("Cannot open", path, errno);
    Header h{};
    uint64_t length = 0;
    int64_t time = 0;
    if (const Status s = ScanStamp(scanPath, &length, &time); !s.ok()) return s;
    if (!ReadAll(fd.get(), &h, sizeof h) || std::memcmp(h.magic, kMagic, sizeof kMagic) != 0)
        return InvalidError(path + ": not a grain cache file");
    if (h.askedWidth != width || h.askedHeight != height || h.scanLength != length || h.scanTime != time)
        return InvalidError(path + ": made for another scan or size");
    const int spp = h.samplesPerPixel;
    if (h.width < 1 || h.height < 1 || spp < 1 || spp > 4 || h.bytesPerRow < h.width * spp ||
        static_cast<size_t>(h.bytesPerRow) * static_cast<size_t>(h.height) > kMaxBytes)
        return InvalidError(path + ": a broken header");
    auto rep = std::make_shared<BitmapRep>();
    rep->width = h.width;
    rep->height = h.height;
    rep->bytesPerRow = h.bytesPerRow;
    rep->samplesPerPixel = spp;
    rep->bitsPerSample = 8;
    rep->bitsPerPixel = 8 * spp;
    rep->data.resize(static_cast<size_t>(h.bytesPerRow) * static_cast<size_t>(h.height));
    uint8_t extra = 0;
    if (!ReadAll(fd.get(), rep->data.data(), rep->data.size()) || ReadAll(fd.get(), &extra, 1))
        return InvalidError(path + ": the wrong length");
    if (Hash(rep->data.data(), rep->data.size()) != h.hash) return InvalidError(path + ": its pixels do not check");
    *out = std::move(rep);
    return OkStatus();
}

Status StoreCachedGrain(const std::string& scanName, int width, int height, const std::string& scanPath,
                        const BitmapRep& map) {
    if (map.empty() || map.bitsPerSample != 8 || map.samplesPerPixel < 1 || map.samplesPerPixel > 4)
        return InvalidError("not an 8-bit map");
    Header h{};
    std::memcpy(h.magic, kMagic, sizeof kMagic);
    h.askedWidth = width;
    h.askedHeight = height;
    h.width = map.width;
    h.height = map.height;
    h.bytesPerRow = map.bytesPerRow;
    h.samplesPerPixel = map.samplesPerPixel;
    if (const Status s = ScanStamp(scanPath, &h.scanLength, &h.scanTime); !s.ok()) return s;
    h.hash = Hash(map.data.data(), map.data.size());
    std::error_code ec;
    std::filesystem::create_directories(GrainCacheFolder(), ec);
    AtomicFileWriter writer;
    // A cache file lost to a crash is made again, so no fsync holds up the render.
    if (Status s = writer.Open(GrainCachePath(scanName, width, height), {AtomicFileWriter::Mode::kReplace, false});
        !s.ok())
        return s;
    if (Status s = writer.Write(&h, sizeof h); !s.ok()) return s;
    if (Status s = writer.Write(map.data.data(), map.data.size()); !s.ok()) return s;
    return writer.Commit();
}

}  // namespace ombrel
