#pragma once

namespace CLI {
class App;
}

namespace ombrel::cli {

struct CalibrateOptions {
    int codec = 9;
};

// Adds `calibrate [--codec TAG]`: the display calibration without a display.
CLI::App* AddCalibrateCommand(CLI::App& app, CalibrateOptions& options);
int RunCalibrateCommand(int argc, char** argv, const CalibrateOptions& options);

}  // namespace ombrel::cli
