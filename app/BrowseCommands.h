#pragma once

#include <string>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct VolumesOptions {
    bool json = false;
    std::string mountInfo = "/proc/self/mountinfo";
};

struct ScanOptions {
    std::string folder;
    bool json = false;
    bool allLevels = false;
    bool noThumbnails = false;
};

// Adds `scan FOLDER [--json] [--all-levels] [--no-thumbnails]`.
CLI::App* AddScanCommand(CLI::App& app, ScanOptions& options);
// Finds the clips under a folder as the browser does (a scan thread, then each clip's record
// asked for asynchronously and waited for) and prints them. 0, or 1 for a missing folder.
int RunScan(const ScanOptions& options);

// Adds `volumes [--json]`.
CLI::App* AddVolumesCommand(CLI::App& app, VolumesOptions& options);
// Lists the volumes of the browse tab: name, path, type, image and icon name. Returns 0.
int RunVolumes(const VolumesOptions& options);

}  // namespace ombrel::cli
