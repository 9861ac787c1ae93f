#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct CameraOptions {
    enum class Action { kNone, kList, kFetch };
    Action action = Action::kNone;
    bool json = false;
    std::string make, model, style;
    std::string location;  // a "DownloadLocations" title; "USA" when empty
    bool makeDefault = false;
};

// `camera list [--json]` and `camera fetch MAKE MODEL STYLE [--location TITLE] [--default]`.
CLI::App* AddCameraCommand(CLI::App& app, CameraOptions& options);
// list: 0, 1 when no list reads. fetch: 0 when the pack is there afterwards, 1 with the error,
// 2 for a camera not in the list, 130 when interrupted (nothing left behind).
int RunCamera(const CameraOptions& options);

struct UsageOptions {
    std::string usage, bugs, updates, offline;  // "on", "off" or empty
    std::string dismissVersion;
    bool send = false;
    std::string eventName, eventText;
};

// `usage [--usage|--bugs|--updates|--offline on|off] [--dismiss-version V]` and `usage send NAME [TEXT]`.
CLI::App* AddUsageCommand(CLI::App& app, UsageOptions& options);
int RunUsage(const UsageOptions& options);

}  // namespace ombrel::cli
