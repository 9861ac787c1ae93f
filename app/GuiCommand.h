#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct GuiOptions {
    std::string project;
    std::string script;
    std::string shots;
};

// Adds `gui [--project FILE] [--script FILE --shots DIR]`.
CLI::App* AddGuiCommand(CLI::App& app, GuiOptions& options);
int RunGuiCommand(int argc, char** argv, const GuiOptions& options);

struct PrefsOptions {
    std::string key;
};

// Adds `prefs [KEY]`: the window's preferences, all of them or one value.
CLI::App* AddPrefsCommand(CLI::App& app, PrefsOptions& options);
int RunPrefs(const PrefsOptions& options);

}  // namespace ombrel::cli
