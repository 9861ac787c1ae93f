#pragma once

#include <optional>
#include <string>

namespace ombrel {

struct GuiOptions {
    std::string version;
    std::optional<std::string> project;    // opened instead of the autosave
    std::optional<std::string> script;     // a tour to run from a timer
    std::optional<std::string> shotsDir;   // where `shot` writes its pictures
};

// True when there is a display to open a window on (or a platform plugin is named).
bool HaveDisplay();
extern const char* const kNoDisplayMessage;

// The window's process: Qt application, dark style, preferences, the window, the loop.
// Answers the process's exit code.
int RunGui(int argc, char** argv, const GuiOptions& options);

}  // namespace ombrel
