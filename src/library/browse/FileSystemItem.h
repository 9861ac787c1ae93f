#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

class FileSystemItem;
using FileSystemItemPtr = std::shared_ptr<FileSystemItem>;

// One entry of the folder tree, or one clip of the found list and the shot list (a root that
// holds its whole path). Children are read from disk on first use and kept: folders and clips
// only, no names beginning with ".", sorted bytewise so that a listing repeats. The tree is
// the main thread's; the cached frame count and rate may be read from any thread.
class FileSystemItem {
public:
    // A root: `path` is kept whole.
    static FileSystemItemPtr MakeRoot(const std::string& path);
    // A child: keeps the last path component; `parent` must outlive it (it owns its children).
    FileSystemItem(const std::string& path, FileSystemItem* parent);

    // The root of the folder tree: the home folder until a volume is chosen.
    static FileSystemItemPtr rootItem();
    static void changeRoot(const std::string& path);

    const std::string& relativePath() const { return relativePath_; }
    FileSystemItem* parent() const { return parent_; }
    std::string fullPath() const;
    std::string FullPath() const { return fullPath(); }

    // Empty for a file; a folder that cannot be read has no children either.
    const std::vector<FileSystemItemPtr>& children();
    FileSystemItem* childAtIndex(size_t index);
    // -1 when the item is no folder (the outline shows no disclosure then).
    int numberOfChildren();

    bool IsR3D() const;
    // The movie that stands in for the clip where a movie is needed: a movie itself, an R3D
    // clip's camera proxy "<name less _001.R3D>_P.mov" when it exists; null otherwise.
    std::optional<std::string> proxyPath() const;
    // The clip's frames and rate, cached once known. FrameCount and FPS ask the metadata
    // cache without waiting (its worker makes the thumbnail too) and answer 0 until it knows;
    // FrameCountImmediate waits for it.
    int32_t FrameCount();
    int32_t FrameCountImmediate();
    float FPS();
    // When the file was made (its birth time where the file system keeps one, else its last
    // change); null when it cannot be read.
    std::optional<std::chrono::system_clock::time_point> Date() const;
    std::string DisplayPath() const;
    // The file was found elsewhere: a root takes the new path whole, a child its last component.
    void ChangeFilePath(const std::string& path);

    int32_t kelvin() const { return kelvin_.load(); }
    void setKelvin(int32_t v) { kelvin_.store(v); }

private:
    enum class Listing { kUnknown, kNoFolder, kFolder };

    // The path whose record holds the clip's timing: its own for R3D, else the proxy.
    std::optional<std::string> MetadataPath() const;

    std::string relativePath_;
    FileSystemItem* parent_ = nullptr;
    Listing listing_ = Listing::kUnknown;
    std::vector<FileSystemItemPtr> children_;
    std::atomic<int32_t> frameCount_{0};
    std::atomic<int32_t> kelvin_{0};
    std::atomic<float> fps_{0.0f};
};

// The names in a folder that the browser looks at (none beginning with "."), sorted bytewise;
// empty when the folder cannot be read.
std::vector<std::string> VisibleNamesInFolder(const std::string& folder);
// Does the browser list this file as a clip: the first file of an R3D clip or a useable movie.
bool IsBrowsableClip(const std::string& path);
// Hands every clip at or under `path` to `found`, in bytewise order, folder by folder: `path`
// is level `level`, and nothing is looked at from level `endLevel` on, nor once `cancelled`
// answers true. Folders behind symbolic links below `path` are not entered, so a link back
// up cannot make the walk endless.
void WalkForClips(const std::string& path, int level, int endLevel, const std::function<bool()>& cancelled,
                  const std::function<void(const std::string&)>& found);

}  // namespace ombrel
