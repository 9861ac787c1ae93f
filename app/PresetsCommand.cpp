#include "PresetsCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>

#include "RenderCommand.h"
#include "presets/PresetCell.h"
#include "presets/PresetManagerGuiController.h"

namespace ombrel::cli {

namespace {

using presets::PresetManagerGuiController;

// Selects the library in the sheet's own list; false (with the message) when it is not listed.
bool SelectLibrary(PresetManagerGuiController& c, const std::string& name) {
    if (c.libraryPopup().selectItemWithTitle(name)) return true;
    std::fprintf(stderr, "ombrel presets: no library named \"%s\" (ombrel presets list names them)\n", name.c_str());
    return false;
}

int List(PresetManagerGuiController& c, const std::string& library) {
    if (library.empty()) {
        for (const auto& name : c.libraryPopup().titles()) std::printf("%s\n", name.c_str());
        return kExitOk;
    }
    if (!SelectLibrary(c, library)) return kExitFailed;
    c.LibrarySelected();
    for (const auto& preset : c.presetList()) {
        std::printf("%s\t%s\n", preset->presetID().c_str(), presets::PresetTitle(*preset).c_str());
        for (const auto& line : presets::PresetCellLines(*preset->Settings())) std::printf("  %s\n", line.c_str());
    }
    return kExitOk;
}

}  // namespace

CLI::App* AddPresetsCommand(CLI::App& app, PresetsOptions& o) {
    CLI::App* cmd = app.add_subcommand("presets", "The preset libraries: list, export and import");
    cmd->require_subcommand(1);
    CLI::App* list = cmd->add_subcommand("list", "The libraries, or the presets of one with their looks");
    list->add_option("library", o.library, "A library's name");
    list->callback([&o] { o.action = PresetsOptions::Action::kList; });
    CLI::App* exp = cmd->add_subcommand("export", "Writes a library as one .OBPreset file");
    exp->add_option("library", o.library)->required();
    exp->add_option("file", o.file, "The file (its extension becomes OBPreset)")->required();
    exp->callback([&o] { o.action = PresetsOptions::Action::kExport; });
    CLI::App* imp = cmd->add_subcommand("import", "Makes a new library of an .OBPreset file");
    imp->add_option("file", o.file)->required();
    imp->callback([&o] { o.action = PresetsOptions::Action::kImport; });
    return cmd;
}

int RunPresets(const PresetsOptions& o) {
    PresetManagerGuiController c;
    if (const Status made = c.AwakeFromNib(); !made.ok()) {
        std::fprintf(stderr, "ombrel presets: %s\n", made.message().c_str());
        return kExitFailed;
    }
    Status done;
    std::string result;
    switch (o.action) {
        case PresetsOptions::Action::kList: return List(c, o.library);
        case PresetsOptions::Action::kExport:
            if (!SelectLibrary(c, o.library)) return kExitFailed;
            done = c.WrapLibrary(o.file, &result);
            break;
        case PresetsOptions::Action::kImport: done = c.UnWrapLibrary(o.file, &result); break;
        case PresetsOptions::Action::kNone: return kExitUsage;
    }
    if (!done.ok()) {
        std::fprintf(stderr, "ombrel presets: %s\n", done.message().c_str());
        return kExitFailed;
    }
    std::printf("%s\n", result.c_str());
    return kExitOk;
}

}  // namespace ombrel::cli
