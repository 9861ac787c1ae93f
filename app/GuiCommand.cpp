#include "GuiCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>

#include "RenderCommand.h"
#include "shell/IniPreferencesStore.h"
#include "shell/ShellApp.h"

namespace ombrel::cli {

CLI::App* AddGuiCommand(CLI::App& app, GuiOptions& options) {
    CLI::App* gui = app.add_subcommand("gui", "Open the window (the default without a command)");
    gui->add_option("--project", options.project, "Open this project instead of the autosaved one");
    gui->add_option("--script", options.script, "Drive the window from a script of actions, then quit");
    gui->add_option("--shots", options.shots, "Folder for the pictures a script's `shot` lines take");
    return gui;
}

int RunGuiCommand(int argc, char** argv, const GuiOptions& options) {
    ombrel::GuiOptions o;
    o.version = OMBREL_VERSION;
    if (!options.project.empty()) o.project = options.project;
    if (!options.script.empty()) o.script = options.script;
    if (!options.shots.empty()) o.shotsDir = options.shots;
    // Qt takes only the program's name: the command line was ours.
    int qtArgc = argc > 0 ? 1 : 0;
    return RunGui(qtArgc, argv, o);
}

CLI::App* AddPrefsCommand(CLI::App& app, PrefsOptions& options) {
    CLI::App* prefs = app.add_subcommand("prefs", "Print the window's preferences, or the value of one key");
    prefs->add_option("key", options.key, "The key to print");
    return prefs;
}

int RunPrefs(const PrefsOptions& options) {
    IniPreferencesStore store(IniPreferencesStore::DefaultPath());
    if (!options.key.empty()) {
        const auto value = store.Read(options.key);
        if (!value) {
            std::fprintf(stderr, "ombrel prefs: no preference \"%s\"\n", options.key.c_str());
            return kExitFailed;
        }
        std::printf("%s\n", IniPreferencesStore::ToText(*value).c_str());
        return kExitOk;
    }
    for (const std::string& key : store.Keys()) {
        const auto value = store.Read(key);
        if (value) std::printf("%s = %s\n", key.c_str(), IniPreferencesStore::ToText(*value).c_str());
    }
    return kExitOk;
}

}  // namespace ombrel::cli
