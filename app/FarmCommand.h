#pragma once

#include <optional>
#include <string>

#include "RenderCommand.h"

namespace CLI {
class App;
}

namespace ombrel::cli {

struct FarmOptions {
    RenderOptions render;  // submit and template take the render options
    int chunk = 0;
    std::optional<std::string> partition;
    std::optional<std::string> time;
    bool dryRun = false;
    std::optional<std::string> resume;
    std::string dir;  // check: a job folder or the output folder above it
    std::string job;  // status: a job folder, an output folder or a Slurm job id
    CLI::App* submit = nullptr;
    CLI::App* templ = nullptr;
    CLI::App* check = nullptr;
    CLI::App* status = nullptr;
};

// Adds `farm submit|check|status|template`.
CLI::App* AddFarmCommand(CLI::App& app, FarmOptions& options);
int RunFarm(FarmOptions& options);

}  // namespace ombrel::cli
