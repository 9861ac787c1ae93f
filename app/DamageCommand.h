#pragma once

#include <string>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct DamageOptions {
    enum class Action { kNone, kList, kShow, kAtlas };
    Action action = Action::kNone;
    std::string treatment;  // show: a file, a name in the Data folder, or a built-in
    std::string frames;     // show: inclusive range A-B; empty for the lead-in and one frame after it
    bool json = false;
    bool glsl = false;      // show: the main() generated for variants 1 and 2
    std::string atlas;      // atlas: a description; empty for ours
};

// Adds `damage list`, `damage show T [--frames A-B] [--json] [--glsl]` and `damage atlas [PLIST]`.
CLI::App* AddDamageCommand(CLI::App& app, DamageOptions& options);
// 0; 1 when a treatment or atlas does not read; 2 for a name that is nowhere or a bad range.
int RunDamage(const DamageOptions& options);

}  // namespace ombrel::cli
