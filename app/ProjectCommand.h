#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/ClipSettings.h"
#include "model/OutputSettings.h"
#include "model/ProjectFile.h"

namespace CLI {
class App;
}

namespace ombrel::cli {

struct RenderOptions;

struct ProjectOptions {
    enum class Action { kShow, kAdd, kRemove };
    Action action = Action::kShow;
    std::string file;
    std::vector<std::string> paths;
};

// Adds `project show FILE`, `project add FILE PATH...` and `project remove FILE PATH...`.
CLI::App* AddProjectCommand(CLI::App& app, ProjectOptions& options);
// Runs a parsed `project` command: `show` lists the clips and their key settings, `add` and
// `remove` edit the shot list. Returns an exit code.
int RunProject(const ProjectOptions& options);
// `add` and `remove`: the shot list of the project (made when missing) edited as the browse tab
// does, and the project written whole.
int RunProjectEdit(const ProjectOptions& options);

// A saved project as `render --project` queues it. The project is read without
// migrating it: a render never writes the project file or the preset libraries.
class ProjectRender {
public:
    // Reads options.project into the settings manager. On failure prints why and
    // returns null with the exit code in *exitCode.
    static std::unique_ptr<ProjectRender> Load(const RenderOptions& options, const OutputSettings& fromOptions,
                                               int* exitCode);

    // The clips to render, in order: the --clip choices, or all of the project's.
    const std::vector<std::string>& clips() const { return clips_; }
    // The project's output settings, with the output options named on the command line.
    const OutputSettingsPtr& output() const { return output_; }
    // The clip's own look, then the look options named on the command line.
    // Returns why the clip's saved settings cannot be rendered, or empty.
    std::string PrepareLook(const std::string& clip, ClipSettings& look) const;
    // The clip's ranges from the project's snippet list, as the window attaches them.
    void AttachSnippets(const std::string& clip, ClipSettings& settings) const;

private:
    explicit ProjectRender(const RenderOptions& options) : options_(options) {}

    const RenderOptions& options_;
    ProjectState state_;
    std::vector<std::string> clips_;
    OutputSettingsPtr output_;
};

}  // namespace ombrel::cli
