#pragma once

#include <string>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct PresetsOptions {
    enum class Action { kNone, kList, kExport, kImport };
    Action action = Action::kNone;
    std::string library;
    std::string file;
};

// `presets list [LIB]`, `presets export LIB FILE` and `presets import FILE`, through the
// preset manager's own controller.
CLI::App* AddPresetsCommand(CLI::App& app, PresetsOptions& options);
// 0 done; 1 for an unknown library, a file that does not read or has no "Title".
int RunPresets(const PresetsOptions& options);

}  // namespace ombrel::cli
