#include "BrowseCommands.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>

#include "Json.h"
#include "RenderCommand.h"
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

}  // namespace

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
