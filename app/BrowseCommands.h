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

// Adds `volumes [--json]`.
CLI::App* AddVolumesCommand(CLI::App& app, VolumesOptions& options);
// Lists the volumes of the browse tab: name, path, type, image and icon name. Returns 0.
int RunVolumes(const VolumesOptions& options);

}  // namespace ombrel::cli
