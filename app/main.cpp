#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>

#include "BrowseCommands.h"
#include "CalibrateCommand.h"
#include "CodecsCommand.h"
#include "ColourCommand.h"
#include "ConformCommand.h"
#include "DamageCommand.h"
#include "DemoCommand.h"
#include "FarmCommand.h"
#include "GuiCommand.h"
#include "InfoCommand.h"
#include "PresetsCommand.h"
#include "ProjectCommand.h"
#include "RenderCommand.h"
#include "ServicesCommands.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "look/LutManager.h"
#include "render/DefaultRenderers.h"
#include "services/Events.h"
#include "shell/IniPreferencesStore.h"
#include "sources/R3DSource.h"

using namespace ombrel;

int main(int argc, char** argv) {
    // A reader that went away (`ombrel render ... | head`) is no reason to stop a render.
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app{"Ombrel: film looks for digital camera footage"};
    app.require_subcommand(0, 1);
    bool version = false;
    app.add_flag("--version", version, "Print the version and the data root in use");

    cli::RenderOptions renderOptions;
    CLI::App* render = cli::AddRenderCommand(app, renderOptions);
    cli::ProjectOptions projectOptions;
    CLI::App* project = cli::AddProjectCommand(app, projectOptions);
    cli::InfoOptions infoOptions;
    CLI::App* info = cli::AddInfoCommand(app, infoOptions);
    cli::DemoOptions demoOptions;
    CLI::App* demo = cli::AddDemoCommand(app, demoOptions);
    cli::CodecsOptions codecsOptions;
    CLI::App* codecs = cli::AddCodecsCommand(app, codecsOptions);
    cli::ScanOptions scanOptions;
    CLI::App* scan = cli::AddScanCommand(app, scanOptions);
    cli::VolumesOptions volumesOptions;
    CLI::App* volumes = cli::AddVolumesCommand(app, volumesOptions);
    cli::ConformOptions conformOptions;
    CLI::App* conform = cli::AddConformCommand(app, conformOptions);
    cli::ColourOptions colourOptions;
    CLI::App* colour = cli::AddColourCommand(app, colourOptions);
    cli::FarmOptions farmOptions;
    CLI::App* farm = cli::AddFarmCommand(app, farmOptions);
    cli::DamageOptions damageOptions;
    CLI::App* damage = cli::AddDamageCommand(app, damageOptions);
    cli::GuiOptions guiOptions;
    CLI::App* gui = cli::AddGuiCommand(app, guiOptions);
    cli::PrefsOptions prefsOptions;
    CLI::App* prefs = cli::AddPrefsCommand(app, prefsOptions);
    cli::CameraOptions cameraOptions;
    CLI::App* camera = cli::AddCameraCommand(app, cameraOptions);
    cli::UsageOptions usageOptions;
    CLI::App* usage = cli::AddUsageCommand(app, usageOptions);
    cli::PresetsOptions presetsOptions;
    CLI::App* presets = cli::AddPresetsCommand(app, presetsOptions);
    cli::CalibrateOptions calibrateOptions;
    CLI::App* calibrate = cli::AddCalibrateCommand(app, calibrateOptions);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) { return app.exit(e) == 0 ? cli::kExitOk : cli::kExitUsage; }
    SetLogToSyslog(false);
    RegisterDefaultRenderers();
    RegisterR3DSource();

    if (version) {
        std::printf("ombrel %s\ndata root: %s\n", OMBREL_VERSION, DataRoot().c_str());
        const auto tables = LutManager::InstalledTables();
        if (tables.empty()) std::printf("stock tables: none in %s\n", LutManager::PictureStyleBasePath().c_str());
        for (const auto& [profile, stocks] : tables)
            std::printf("stock tables: %-14s %zu%s\n", profile.c_str(), stocks.size(),
                        LutManager::LutAvailable(profile) ? "" : " (no \"5207\" table: profile not usable)");
        return cli::kExitOk;
    }
    // The commands that make events send them under the user's choices, and wait a little at exit
    // for those in flight.
    auto withEvents = [](auto run) {
        platform::Preferences::SetSharedStore(
            std::make_shared<IniPreferencesStore>(IniPreferencesStore::DefaultPath()));
        services::WireUsageEvents();
        const int rc = run();
        services::VersionChecker::Instance().WaitForInFlight(std::chrono::seconds(3));
        return rc;
    };
    if (*render) return withEvents([&] { return cli::RunRender(renderOptions); });
    if (*project) return cli::RunProject(projectOptions);
    if (*info) return cli::RunInfo(infoOptions);
    if (*demo) return cli::RunDemo(demoOptions);
    if (*codecs) return cli::RunCodecs(codecsOptions);
    if (*scan) return cli::RunScan(scanOptions);
    if (*volumes) return cli::RunVolumes(volumesOptions);
    if (*conform) return withEvents([&] { return cli::RunConform(conformOptions); });
    if (*colour) return cli::RunColour(colourOptions);
    if (*farm) return cli::RunFarm(farmOptions);
    if (*damage) return cli::RunDamage(damageOptions);
    if (*gui) return cli::RunGuiCommand(argc, argv, guiOptions);
    if (*prefs) return cli::RunPrefs(prefsOptions);
    if (*camera) return cli::RunCamera(cameraOptions);
    if (*usage) return cli::RunUsage(usageOptions);
    if (*presets) return cli::RunPresets(presetsOptions);
    if (*calibrate) return cli::RunCalibrateCommand(argc, argv, calibrateOptions);
    // No command: the window.
    return cli::RunGuiCommand(argc, argv, guiOptions);
}
