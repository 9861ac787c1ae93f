#include "library/browse/FileSystemItem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <mutex>

#include "core/Paths.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"

namespace ombrel {
namespace {

std::mutex& RootLock() {
    static std::mutex lock;
    return lock;
}

FileSystemItemPtr& RootSlot() {
    static FileSystemItemPtr root;
    return root;
}

bool IsFolder(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

std::vector<std::string> VisibleNamesInFolder(const std::string& folder) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return names;
    while (const dirent* entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

bool IsBrowsableClip(const std::string& path) {
    return FileParser::IsR3DFile(path) || FileParser::IsUseableQuicktimeMov(path);
}

namespace {

void Walk(const std::string& path, bool followLink, int level, int endLevel, const std::function<bool()>& cancelled,
          const std::function<void(const std::string&)>& found) {
    if (level >= endLevel || (cancelled && cancelled())) return;
    struct stat st {};
    const int got = followLink ? ::stat(path.c_str(), &st) : ::lstat(path.c_str(), &st);
    if (got == 0 && S_ISDIR(st.st_mode)) {
        for (const auto& name : VisibleNamesInFolder(path))
            Walk(AppendingPathComponent(path, name), false, level + 1, endLevel, cancelled, found);
    } else if (IsBrowsableClip(path)) {
        found(path);
    }
}

}  // namespace

void WalkForClips(const std::string& path, int level, int endLevel, const std::function<bool()>& cancelled,
                  const std::function<void(const std::string&)>& found) {
    Walk(path, true, level, endLevel, cancelled, found);
}

FileSystemItemPtr FileSystemItem::MakeRoot(const std::string& path) {
    auto item = std::make_shared<FileSystemItem>(path, nullptr);
    item->relativePath_ = path;
    return item;
}

FileSystemItem::FileSystemItem(const std::string& path, FileSystemItem* parent)
    : relativePath_(LastPathComponent(path)), parent_(parent) {}

FileSystemItemPtr FileSystemItem::rootItem() {
    std::lock_guard lock(RootLock());
    if (!RootSlot()) RootSlot() = MakeRoot(HomeFolder());
    return RootSlot();
}

void FileSystemItem::changeRoot(const std::string& path) {
    auto root = MakeRoot(path);
    std::lock_guard lock(RootLock());
    RootSlot() = std::move(root);
}

std::string FileSystemItem::fullPath() const {
    return parent_ ? AppendingPathComponent(parent_->fullPath(), relativePath_) : relativePath_;
}

const std::vector<FileSystemItemPtr>& FileSystemItem::children() {
    if (listing_ != Listing::kUnknown) return children_;
    const std::string path = fullPath();
    if (!IsFolder(path)) {
        listing_ = Listing::kNoFolder;
        return children_;
    }
    listing_ = Listing::kFolder;
    for (const auto& name : VisibleNamesInFolder(path)) {
        const std::string child = AppendingPathComponent(path, name);
        if (IsBrowsableClip(child) || IsFolder(child)) children_.push_back(std::make_shared<FileSystemItem>(child, this));
    }
    return children_;
}

FileSystemItem* FileSystemItem::childAtIndex(size_t index) {
    const auto& list = children();
    return index < list.size() ? list[index].get() : nullptr;
}

int FileSystemItem::numberOfChildren() {
    const auto& list = children();
    return listing_ == Listing::kNoFolder ? -1 : static_cast<int>(list.size());
}

bool FileSystemItem::IsR3D() const { return FileParser::IsR3DFile(fullPath()); }

std::optional<std::string> FileSystemItem::proxyPath() const {
    const std::string path = fullPath();
    if (FileParser::IsUseableQuicktimeMov(path)) return path;
    if (!FileParser::IsR3DFile(path) || path.size() < 8) return std::nullopt;
    const std::string proxy = path.substr(0, path.size() - 8) + "_P.mov";
    struct stat st {};
    if (::stat(proxy.c_str(), &st) != 0) return std::nullopt;
    return proxy;
}

std::optional<std::string> FileSystemItem::MetadataPath() const {
    if (IsR3D()) return fullPath();
    return proxyPath();
}

int32_t FileSystemItem::FrameCount() {
    if (frameCount_.load() > 0) return frameCount_.load();
    const auto path = MetadataPath();
    if (!path) return 0;
    if (auto meta = MetadataCache::Instance().MetadataForPathWithThumbnailNotifyDiscard(*path, true, nullptr, false))
        frameCount_.store(static_cast<int32_t>(meta->frameCount()));
    return frameCount_.load();
}

int32_t FileSystemItem::FrameCountImmediate() {
    if (frameCount_.load() > 0) return frameCount_.load();
    const auto path = MetadataPath();
    if (!path) return 0;
    if (auto meta = MetadataCache::Instance().ForceMetadataForPath(*path))
        frameCount_.store(static_cast<int32_t>(meta->frameCount()));
    return frameCount_.load();
}

float FileSystemItem::FPS() {
    if (fps_.load() > 0.0f) return fps_.load();
    const auto path = MetadataPath();
    if (!path) return 0.0f;
    auto meta = MetadataCache::Instance().MetadataForPathWithThumbnailNotifyDiscard(*path, true, nullptr, false);
    fps_.store(meta ? static_cast<float>(meta->fps()) : 0.0f);
    return fps_.load();
}

std::optional<std::chrono::system_clock::time_point> FileSystemItem::Date() const {
    const std::string path = fullPath();
    struct statx sx {};
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_MTIME, &sx) != 0) return std::nullopt;
    const statx_timestamp& t = (sx.stx_mask & STATX_BTIME) ? sx.stx_btime : sx.stx_mtime;
    return std::chrono::system_clock::time_point(std::chrono::duration_cast<std::chrono::system_clock::duration>(
        std::chrono::seconds(t.tv_sec) + std::chrono::nanoseconds(t.tv_nsec)));
}

std::string FileSystemItem::DisplayPath() const { return FileParser::DisplayNameForPath(relativePath_); }

void FileSystemItem::ChangeFilePath(const std::string& path) {
    relativePath_ = parent_ ? LastPathComponent(path) : path;
    listing_ = Listing::kUnknown;
    children_.clear();
}

}  // namespace ombrel
