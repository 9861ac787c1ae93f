#include "CalibrateCommand.h"

#include <CLI/CLI.hpp>

#include "shell/CalibrateRun.h"

namespace ombrel::cli {

CLI::App* AddCalibrateCommand(CLI::App& app, CalibrateOptions& options) {
    CLI::App* calibrate = app.add_subcommand(
        "calibrate", "Display calibration off screen: the test movie, the viewing table, its deviation");
    calibrate->add_option("--codec", options.codec, "Codec tag of the test movie (see `ombrel codecs`)")
        ->capture_default_str();
    return calibrate;
}

int RunCalibrateCommand(int argc, char** argv, const CalibrateOptions& options) {
    // Qt takes only the program's name: the command line was ours.
    int qtArgc = argc > 0 ? 1 : 0;
    return RunCalibrate(qtArgc, argv, options.codec);
}

}  // namespace ombrel::cli
