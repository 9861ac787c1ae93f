#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "library/browse/BrowseViews.h"

namespace ombrel {

// One row of the volume list.
struct VolumeDescription {
    enum Type : int32_t { kServer = 0, kFolder = 1, kLocalVolume = 2, kHome = 3 };

    std::string name;
    std::string path;
    std::string iconName;  // set when the row is drawn
    int32_t type = kServer;
};

// One line of /proc/self/mountinfo, its escapes (\040 for a blank) decoded.
struct MountEntry {
    std::string root;  // the folder of the file system mounted here: "/" unless a bind mount
    std::string mountPoint;
    std::string fsType;
    std::string source;
};

std::vector<MountEntry> ParseMountInfo(const std::string& text);
// The volumes a user browses: "/" and the disks mounted whole from a device, not pseudo or
// network file systems, loop images, bind mounts or the boot partitions. Mount points in
// the order they were first mounted; a mount over another hides it.
std::vector<MountEntry> LocalVolumes(const std::vector<MountEntry>& entries);

// The image of a volume row and the icon name it leaves for the controller's label.
struct VolumeImage {
    const char* image;
    const char* iconName;
};
VolumeImage ImageForVolume(const VolumeDescription& volume);
// A group row: "Servers" and "Volumes" show "NW5", any other "OF4".
const char* ImageForGroup(const std::string& title);
// Any other row of the outline.
const char* ImageForFolderRow(bool expanded);

// Where the volume list comes from: the mount table unless the window's toolkit answers.
class VolumeLister {
public:
    virtual ~VolumeLister() = default;
    // Every mounted file system; LocalVolumes picks the ones a user browses.
    virtual std::vector<MountEntry> MountedVolumes() = 0;
};

// Calls `changed(mountPoint, mounted)` on its own thread whenever a local volume comes or
// goes. It polls the mount table, which the kernel marks when mounts change, and also
// compares it every `interval` (a file that no kernel marks, in tests).
class MountWatcher {
public:
    using Changed = std::function<void(const std::string& mountPoint, bool mounted)>;
    MountWatcher(std::string mountInfoPath, std::chrono::milliseconds interval, Changed changed);
    ~MountWatcher();
    MountWatcher(const MountWatcher&) = delete;
    MountWatcher& operator=(const MountWatcher&) = delete;

private:
    void Run();

    std::string path_;
    std::chrono::milliseconds interval_;
    Changed changed_;
    std::vector<std::string> known_;  // the local volumes when the watch began
    int wake_[2] = {-1, -1};
    std::thread thread_;
};

// The volume list: the home folder, then "/" and the local volumes. Main thread only; the
// watcher's news arrives through the main queue.
class DriveDataSource {
public:
    static constexpr const char* kGroupTitle = "Volumes";
    static constexpr const char* kRootVolumeName = "File System";

    explicit DriveDataSource(std::string mountInfoPath = "/proc/self/mountinfo");
    ~DriveDataSource();
    DriveDataSource(const DriveDataSource&) = delete;
    DriveDataSource& operator=(const DriveDataSource&) = delete;

    void setGuiController(BrowseController* controller) { guiController_ = controller; }
    // Null goes back to the mount table. Not owned.
    void setVolumeLister(VolumeLister* lister) { lister_ = lister; }
    void Reload();
    // Both reload the list and have the controller redraw the tree.
    void DriveMount(const std::string& path);
    void DriveUnmount(const std::string& path);
    // Starts the watcher that calls DriveMount and DriveUnmount.
    void StartWatching(std::chrono::milliseconds interval = std::chrono::milliseconds(1000));

    // The outline: one group, kGroupTitle, over the volumes.
    const std::vector<VolumeDescription>& volumes() const { return volumes_; }
    // The row's image; sets the volume's iconName.
    const char* ImageForRow(size_t index);
    // The folder tree starts at the chosen volume.
    void SelectVolume(size_t index);

private:
    void Add(VolumeDescription volume);

    std::string mountInfoPath_;
    std::vector<VolumeDescription> volumes_;
    BrowseController* guiController_ = nullptr;
    VolumeLister* lister_ = nullptr;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
    std::unique_ptr<MountWatcher> watcher_;
};

}  // namespace ombrel
