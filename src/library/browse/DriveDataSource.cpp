#include "library/browse/DriveDataSource.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "library/browse/FileSystemItem.h"

namespace ombrel {
namespace {

// \040 and the like: mountinfo escapes blanks, tabs, newlines and backslashes in octal.
std::string Unescaped(const std::string& field) {
    std::string out;
    for (size_t i = 0; i < field.size(); ++i) {
        const auto octal = [&](size_t k) { return k < field.size() && field[k] >= '0' && field[k] <= '7'; };
        if (field[i] == '\\' && octal(i + 1) && octal(i + 2) && octal(i + 3)) {
            out.push_back(static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0')));
            i += 3;
        } else {
            out.push_back(field[i]);
        }
    }
    return out;
}

bool UnderOrAt(const std::string& path, const std::string& folder) {
    return path == folder || path.rfind(folder + "/", 0) == 0;
}

// Read as a stream: /proc files tell no size.
std::string ReadMountInfo(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> LocalMountPoints(const std::string& mountInfoPath) {
    std::vector<std::string> points;
    for (const auto& entry : LocalVolumes(ParseMountInfo(ReadMountInfo(mountInfoPath)))) points.push_back(entry.mountPoint);
    return points;
}

}  // namespace

std::vector<MountEntry> ParseMountInfo(const std::string& text) {
    std::vector<MountEntry> entries;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        std::vector<std::string> words;
        for (std::string w; fields >> w;) words.push_back(w);
        // id parent major:minor root mount-point options [optional...] - type source super-options
        const auto dash = std::find(words.begin(), words.end(), "-");
        if (words.size() < 5 || dash == words.end() || words.end() - dash < 3 || dash - words.begin() < 6) continue;
        MountEntry entry;
        entry.root = Unescaped(words[3]);
        entry.mountPoint = Unescaped(words[4]);
        entry.fsType = dash[1];
        entry.source = Unescaped(dash[2]);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<MountEntry> LocalVolumes(const std::vector<MountEntry>& entries) {
    // The last mount at a point is the one in force; the first fixes its place in the list.
    std::vector<MountEntry> latest;
    for (const auto& entry : entries) {
        auto it = std::find_if(latest.begin(), latest.end(),
                               [&](const MountEntry& e) { return e.mountPoint == entry.mountPoint; });
        if (it == latest.end())
            latest.push_back(entry);
        else
            *it = entry;
    }
    std::vector<MountEntry> local;
    for (const auto& e : latest) {
        const bool whole = e.root == "/" && e.source.rfind("/dev/", 0) == 0 && e.source.rfind("/dev/loop", 0) != 0;
        const bool system = UnderOrAt(e.mountPoint, "/boot") || e.fsType == "autofs" || e.fsType == "squashfs";
        if (e.mountPoint == "/" || (whole && !system)) local.push_back(e);
    }
    return local;
}

VolumeImage ImageForVolume(const VolumeDescription& volume) {
    if (volume.path == "/") return {"ID4", "InternalDrive"};
    switch (volume.type) {
        case VolumeDescription::kServer: {
            std::string lower = volume.name.substr(0, 4);
            for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            return lower == "smb:" ? VolumeImage{"PC4", "PCServer"} : VolumeImage{"MS4", "MacServer"};
        }
        case VolumeDescription::kFolder: return {"CF4", "OpenFolder"};
        case VolumeDescription::kLocalVolume: return {"FW4", "FirewireDrive"};
        case VolumeDescription::kHome: return {"HM4", "Home"};
        default: return {"OF4", ""};
    }
}

const char* ImageForGroup(const std::string& title) {
    return title == "Servers" || title == "Volumes" ? "NW5" : "OF4";
}

const char* ImageForFolderRow(bool expanded) { return expanded ? "FolderOpen" : "FolderClosed"; }

MountWatcher::MountWatcher(std::string mountInfoPath, std::chrono::milliseconds interval, Changed changed)
    : path_(std::move(mountInfoPath)), interval_(interval), changed_(std::move(changed)),
      known_(LocalMountPoints(path_)) {
    if (::pipe2(wake_, O_CLOEXEC) != 0) {
        LogWarn("Cannot watch the volumes: no pipe to stop the watcher");
        return;
    }
    thread_ = std::thread([this] { Run(); });
}

MountWatcher::~MountWatcher() {
    if (thread_.joinable()) {
        const char stop = 1;
        [[maybe_unused]] const ssize_t n = ::write(wake_[1], &stop, 1);
        thread_.join();
    }
    for (int fd : wake_)
        if (fd >= 0) ::close(fd);
}

void MountWatcher::Run() {
    std::vector<std::string> known = std::move(known_);
    const int table = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    for (;;) {
        pollfd fds[2] = {{wake_[0], POLLIN, 0}, {table, POLLPRI, 0}};
        const int ready = ::poll(fds, table >= 0 ? 2 : 1, static_cast<int>(interval_.count()));
        if (ready > 0 && (fds[0].revents & POLLIN)) break;
        if (table >= 0 && (fds[1].revents & (POLLPRI | POLLERR))) {
            // Reading the table again clears the mark.
            char buffer[4096];
            ::lseek(table, 0, SEEK_SET);
            while (::read(table, buffer, sizeof buffer) > 0) {}
        }
        std::vector<std::string> now = LocalMountPoints(path_);
        if (now == known) continue;
        for (const auto& point : known)
            if (std::find(now.begin(), now.end(), point) == now.end()) changed_(point, false);
        for (const auto& point : now)
            if (std::find(known.begin(), known.end(), point) == known.end()) changed_(point, true);
        known = std::move(now);
    }
    if (table >= 0) ::close(table);
}

DriveDataSource::DriveDataSource(std::string mountInfoPath) : mountInfoPath_(std::move(mountInfoPath)) {}

DriveDataSource::~DriveDataSource() { watcher_.reset(); }

void DriveDataSource::Add(VolumeDescription volume) {
    // Two volumes of one name keep apart by the second's whole path.
    const auto taken = [&](const std::string& name) {
        return std::any_of(volumes_.begin(), volumes_.end(), [&](const auto& v) { return v.name == name; });
    };
    if (volume.name.empty() || taken(volume.name)) volume.name = volume.path;
    if (!taken(volume.name)) volumes_.push_back(std::move(volume));
}

void DriveDataSource::Reload() {
    volumes_.clear();
    const std::string home = HomeFolder();
    Add({LastPathComponent(home), home, "", VolumeDescription::kHome});
    const std::vector<MountEntry> mounted = lister_ ? lister_->MountedVolumes() : ParseMountInfo(ReadMountInfo(mountInfoPath_));
    for (const auto& entry : LocalVolumes(mounted)) {
        const std::string name = entry.mountPoint == "/" ? kRootVolumeName : LastPathComponent(entry.mountPoint);
        Add({name, entry.mountPoint, "", VolumeDescription::kLocalVolume});
    }
}

void DriveDataSource::DriveMount(const std::string& /*path*/) {
    Reload();
    if (guiController_) guiController_->RedisplayDriveTree();
}

void DriveDataSource::DriveUnmount(const std::string& path) { DriveMount(path); }

void DriveDataSource::StartWatching(std::chrono::milliseconds interval) {
    std::weak_ptr<int> alive = alive_;
    watcher_ = std::make_unique<MountWatcher>(mountInfoPath_, interval, [this, alive](const std::string& point, bool mounted) {
        MainQueue::Instance().RunAsync([this, alive, point, mounted] {
            if (alive.expired()) return;
            mounted ? DriveMount(point) : DriveUnmount(point);
        });
    });
}

const char* DriveDataSource::ImageForRow(size_t index) {
    if (index >= volumes_.size()) return ImageForFolderRow(false);
    const VolumeImage image = ImageForVolume(volumes_[index]);
    volumes_[index].iconName = image.iconName;
    return image.image;
}

void DriveDataSource::SelectVolume(size_t index) {
    if (index >= volumes_.size()) return;
    FileSystemItem::changeRoot(volumes_[index].path);
    if (guiController_) guiController_->SourceDriveChanged(volumes_[index]);
}

}  // namespace ombrel
