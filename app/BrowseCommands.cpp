#include "BrowseCommands.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <set>

#include "InfoCommand.h"
#include "Json.h"
#include "RenderCommand.h"
#include "core/MainQueue.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"
#include "library/browse/BrowseShotsDataSource.h"
#include "library/browse/DriveDataSource.h"

namespace ombrel::cli {
namespace {

const char* TypeName(int32_t type) {
    switch (type) {
        case VolumeDescription::kServer: return "server";
        case VolumeDescription::kFolder: return "folder";
        case VolumeDescription::kLocalVolume: return "volume";
        case VolumeDescription::kHome: return "home";
        default: return "unknown";
    }
}

// Waits for the records the scan asked for, as a view waits for its redraws.
class RecordWaiter : public MetadataObserver {
public:
    void SetNeedsDisplay(const std::string& path) override { pending.erase(path); }
    std::set<std::string> pending;
};

struct ScannedClip {
    std::string path;
    std::string displayName;
    std::string kind;
    std::shared_ptr<ClipMetadata> meta;
    std::string timecode;
    std::optional<std::string> thumbnailPath;
    std::optional<std::string> proxyPath;
};

// Timecode text: an R3D clip's own; a movie's first timecode at its rate rounded up.
std::string TimecodeOf(const ScannedClip& clip) {
    if (clip.kind == "r3d") {
        ClipFacts facts;
        return ReadClipFacts(clip.path, 0, &facts).ok() ? facts.startTimecode : std::string("00:00:00:00");
    }
    const float rate = std::ceil(static_cast<float>(clip.meta->fps()));
    return FileParser::GetStringOfTimecodeFPS(static_cast<uint32_t>(std::max(clip.meta->timecodeStartFrame(), 0)), rate);
}

std::string OrNull(const std::optional<std::string>& text) { return text ? JsonString(*text) : "null"; }

std::string ScanJson(const std::string& folder, const std::vector<ScannedClip>& clips) {
    std::string s = "{\"folder\": " + JsonString(folder) + ", \"clips\": [";
    for (size_t i = 0; i < clips.size(); ++i) {
        const ScannedClip& c = clips[i];
        const ClipMetadata& m = *c.meta;
        s += std::string(i ? ", " : "") + "{\"path\": " + JsonString(c.path) +
             ", \"displayName\": " + JsonString(c.displayName) + ", \"kind\": " + JsonString(c.kind) +
             ", \"width\": " + JsonNumber(m.originalWidth()) + ", \"height\": " + JsonNumber(m.originalHeight()) +
             ", \"fps\": " + JsonNumber(m.fps()) + ", \"frameCount\": " + std::to_string(m.frameCount()) +
             ", \"timeScale\": " + JsonNumber(m.timeScale()) + ", \"duration\": " + JsonNumber(m.duration()) +
             ", \"timecode\": " + JsonString(c.timecode) +
             ", \"timecodeStartFrame\": " + std::to_string(m.timecodeStartFrame()) +
             ", \"notPlayable\": " + (m.notPlayable() ? "true" : "false") +
             ", \"thumbnailPath\": " + OrNull(c.thumbnailPath) + ", \"proxyPath\": " + OrNull(c.proxyPath) + "}";
    }
    return s + "]}";
}

}  // namespace

CLI::App* AddScanCommand(CLI::App& app, ScanOptions& o) {
    CLI::App* scan = app.add_subcommand(
        "scan", "The clips under a folder as the browser finds them, with rate, frames, size, timecode and thumbnail");
    scan->add_option("FOLDER", o.folder, "Folder to scan")->required();
    scan->add_flag("--json", o.json, "Print one JSON object");
    scan->add_flag("--all-levels", o.allLevels, "Look at any depth, as a drop on the shot list does (the browser "
                                                "looks three folders deep)");
    scan->add_flag("--no-thumbnails", o.noThumbnails, "Read the records without making thumbnails");
    return scan;
}

int RunScan(const ScanOptions& o) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::exists(o.folder, ec)) {
        std::fprintf(stderr, "ombrel scan: %s: no such folder\n", o.folder.c_str());
        return kExitFailed;
    }
    std::string folder = fs::absolute(o.folder, ec).lexically_normal().string();
    if (folder.size() > 1 && folder.back() == '/') folder.pop_back();

    MainQueue& main = MainQueue::Instance();
    main.AdoptCurrentThread();
    BrowseShotsDataSource shots;
    if (o.allLevels) shots.setScanLevels(INT_MAX);
    shots.LoadForPath(folder);
    main.ServeUntil([&] { return !shots.isScanning(); });

    auto waiter = std::make_shared<RecordWaiter>();
    auto& cache = MetadataCache::Instance();
    const std::vector<FileSystemItemPtr> found = shots.ShotsFound();
    for (const auto& item : found) {
        const std::string path = item->fullPath();
        if (!cache.MetadataForPathWithThumbnailNotifyDiscard(path, !o.noThumbnails, waiter, false))
            waiter->pending.insert(path);
    }
    main.ServeUntil([&] { return waiter->pending.empty(); });

    std::vector<ScannedClip> clips;
    for (const auto& item : found) {
        ScannedClip c;
        c.path = item->fullPath();
        c.displayName = FileParser::DisplayNameForPath(c.path);
        c.kind = FileParser::IsR3DFile(c.path) ? "r3d" : "movie";
        c.meta = cache.CacheGet(c.path);
        if (!c.meta) c.meta = std::make_shared<ClipMetadata>(c.path);
        c.timecode = TimecodeOf(c);
        if (const std::string thumb = c.meta->thumbnailPath(); !thumb.empty() && fs::exists(thumb, ec))
            c.thumbnailPath = thumb;
        c.proxyPath = item->proxyPath();
        clips.push_back(std::move(c));
    }
    if (o.json) {
        std::printf("%s\n", ScanJson(folder, clips).c_str());
        return kExitOk;
    }
    std::printf("%s: %zu clip%s\n", folder.c_str(), clips.size(), clips.size() == 1 ? "" : "s");
    for (const auto& c : clips) {
        const ClipMetadata& m = *c.meta;
        std::printf("%s  %s  %gx%g  %g fps  %u frames  %s%s\n  %s\n", c.displayName.c_str(), c.kind.c_str(),
                    double(m.originalWidth()), double(m.originalHeight()), m.fps(), m.frameCount(), c.timecode.c_str(),
                    m.notPlayable() ? "  not playable" : "", c.path.c_str());
        if (c.thumbnailPath) std::printf("  thumbnail: %s\n", c.thumbnailPath->c_str());
        if (c.proxyPath && *c.proxyPath != c.path) std::printf("  proxy: %s\n", c.proxyPath->c_str());
    }
    return kExitOk;
}

CLI::App* AddVolumesCommand(CLI::App& app, VolumesOptions& o) {
    CLI::App* volumes = app.add_subcommand("volumes", "The volumes of the browse tab: home, \"/\" and local disks");
    volumes->add_flag("--json", o.json, "Print one JSON object");
    return volumes;
}

int RunVolumes(const VolumesOptions& o) {
    DriveDataSource drives(o.mountInfo);
    drives.Reload();
    const auto& volumes = drives.volumes();
    std::vector<std::string> images;
    for (size_t i = 0; i < volumes.size(); ++i) images.emplace_back(drives.ImageForRow(i));
    if (o.json) {
        std::string s = "{\"volumes\": [";
        for (size_t i = 0; i < volumes.size(); ++i) {
            const auto& v = volumes[i];
            s += (i ? ", " : "") + std::string("{\"name\": ") + JsonString(v.name) + ", \"path\": " + JsonString(v.path) +
                 ", \"type\": " + std::to_string(v.type) + ", \"image\": " + JsonString(images[i]) +
                 ", \"iconName\": " + JsonString(v.iconName) + "}";
        }
        std::printf("%s]}\n", s.c_str());
        return kExitOk;
    }
    size_t nameWidth = 4, pathWidth = 4;
    for (const auto& v : volumes) {
        nameWidth = std::max(nameWidth, v.name.size());
        pathWidth = std::max(pathWidth, v.path.size());
    }
    const int nw = static_cast<int>(nameWidth), pw = static_cast<int>(pathWidth);
    std::printf("%-*s  %-*s  %-10s  %-5s  %s\n", nw, "name", pw, "path", "type", "image", "iconName");
    for (size_t i = 0; i < volumes.size(); ++i) {
        const auto& v = volumes[i];
        const std::string type = std::to_string(v.type) + " " + TypeName(v.type);
        std::printf("%-*s  %-*s  %-10s  %-5s  %s\n", nw, v.name.c_str(), pw, v.path.c_str(), type.c_str(),
                    images[i].c_str(), v.iconName.c_str());
    }
    return kExitOk;
}

}  // namespace ombrel::cli
