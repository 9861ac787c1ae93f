#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct DemoOptions {
    std::string out;  // empty: the user's render folder
    bool cpu = false;
};

// The demo clip made at build time: $OMBREL_DEMO_CLIP, the build tree's, or the installed one.
// Empty when none is there.
std::string FindDemoClip();

// Adds `demo [--out DIR]`.
CLI::App* AddDemoCommand(CLI::App& app, DemoOptions& options);
// Renders the demo clip with a colour negative stock and Super 35 grain to DPX, then writes a
// PNG of the first graded frame beside the frames. Returns an exit code.
int RunDemo(const DemoOptions& options);

}  // namespace ombrel::cli
