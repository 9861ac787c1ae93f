#pragma once

#include <string>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct ColourOptions {
    std::string profile;
    bool display = false;
    int workingSpace = -1;
    bool useFloat = false;
    bool json = false;
};

// Adds `colour PROFILE.icc | --display | --working-space N [--float] [--json]`.
CLI::App* AddColourCommand(CLI::App& app, ColourOptions& options);
// Prints what the colour classes make of an ICC file, the main display's profile or a working
// space: description, colorants, chromaticities, gamma, the RGB-to-XYZ matrix and its inverse,
// and the Bradford adaptation of its white to D65. A file that is no profile: 1, with the reason.
int RunColour(const ColourOptions& options);

}  // namespace ombrel::cli
