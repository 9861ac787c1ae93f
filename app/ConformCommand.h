#pragma once

#include "core/PlistValue.h"

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ombrel {
class EdlGuiController;
}

namespace ombrel::cli {

struct ConformOptions {
    std::string editFile;
    std::vector<std::string> footage;
    std::optional<std::string> type;  // edl, fcp, avid, fcpx
    bool mov = false;
    bool json = false;
};

// Adds `conform EDIT_FILE [--footage DIR]... [--type edl|fcp|avid|fcpx] [--mov] [--json]`.
CLI::App* AddConformCommand(CLI::App& app, ConformOptions& options);
// Conforms the edit to the footage and prints the log, the stage results and the shot list.
// 0 when the shot list was loaded (or, with no footage, when the edit has edits), 1 when a
// stage stopped the run, 2 for bad usage, 130 after a signal.
int RunConform(const ConformOptions& options);

// What a quiet conform gives the renderer: the shot list in order, and the files' ranges as
// the project file keeps them (key to "sourcePath" and the flat "KVCSnippetList").
struct ConformResult {
    int exitCode = 0;
    std::string error;  // why the run stopped, when it did
    std::vector<std::string> shotList;
    PlistValue snippetList;
};
ConformResult ConformQuietly(const ConformOptions& options);

}  // namespace ombrel::cli
