#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ombrel::cli {

struct CodecsOptions {
    bool json = false;
    // `codecs add`
    bool add = false;
    std::string encoder;
    std::vector<std::string> options;
    std::string pixelFormat;
};

// Adds `codecs [--json]` and `codecs add --encoder ENCODER [--option KEY=VALUE]... [--pix-fmt FMT]`.
CLI::App* AddCodecsCommand(CLI::App& app, CodecsOptions& options);
// Lists the codec menu's factory tags and the user's own codecs with their titles and four
// characters, and whether each can encode here, found by writing a small movie with it.
// With `add`, makes a codec of the user's own instead (RunCodecsAdd).
int RunCodecs(const CodecsOptions& options);
// Proves that the encoder opens with the options, names the codec after the four characters the
// mov muxer gives it, enters it in the custom codec list and writes its preset at the entry's
// path. A refusal writes nothing and returns 1.
int RunCodecsAdd(const CodecsOptions& options);

}  // namespace ombrel::cli
