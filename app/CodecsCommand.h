#pragma once

namespace CLI {
class App;
}

namespace ombrel::cli {

struct CodecsOptions {
    bool json = false;
};

// Adds `codecs [--json]`.
CLI::App* AddCodecsCommand(CLI::App& app, CodecsOptions& options);
// Lists the codec menu's factory tags with their titles and four characters, and whether each
// can encode here, found by writing a small movie with it. Returns 0.
int RunCodecs(const CodecsOptions& options);

}  // namespace ombrel::cli
