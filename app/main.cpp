#include <CLI/CLI.hpp>

#include <cstdio>

#include "ProjectCommand.h"
#include "RenderCommand.h"
#include "core/Log.h"
#include "core/Paths.h"

using namespace ombrel;

int main(int argc, char** argv) {
    CLI::App app{"Ombrel: film looks for digital camera footage"};
    app.require_subcommand(0, 1);
    bool version = false;
    app.add_flag("--version", version, "Print the version and the data root in use");

    cli::RenderOptions renderOptions;
    CLI::App* render = cli::AddRenderCommand(app, renderOptions);
    cli::ProjectOptions projectOptions;
    CLI::App* project = cli::AddProjectCommand(app, projectOptions);
    std::string demoOut;
    CLI::App* demo = app.add_subcommand("demo", "Render the demo clip with a film look");
    demo->add_option("--out", demoOut, "Output folder");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? cli::kExitOk : cli::kExitUsage;
    }
    SetLogToSyslog(false);

    if (version) {
        std::printf("ombrel %s\ndata root: %s\n", OMBREL_VERSION, DataRoot().c_str());
        return cli::kExitOk;
    }
    if (*render) return cli::RunRender(renderOptions);
    if (*project) return cli::RunProject(projectOptions);
    if (*demo) {
        std::fprintf(stderr,
                     "ombrel demo: not there yet. The demo renders a generated R3D clip, which needs the R3D "
                     "source and the look pipeline; neither is built yet.\n");
        return cli::kExitFailed;
    }
    std::printf("%s", app.help().c_str());
    return cli::kExitUsage;
}
