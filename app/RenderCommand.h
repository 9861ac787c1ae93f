#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ombrel {
class ClipSettings;
class RenderManagerItem;
}

namespace ombrel::cli {

// Exit codes of the command line: 2 only for arguments that cannot be parsed or make no sense
// together; a file that cannot be read or a clip that fails is 1.
enum ExitCode : int { kExitOk = 0, kExitFailed = 1, kExitUsage = 2, kExitCancelled = 130 };

// The options of `ombrel render`, as parsed; applied to the records by ApplyRenderOptions.
struct RenderOptions {
    std::vector<std::string> clips;
    std::string format = "dpx";
    std::optional<std::string> codec;  // --codec TAG|FOURCC|NAME of a movie
    std::optional<std::string> out;
    std::optional<std::string> size;
    std::optional<int> sizeTag;
    int fit = 0;
    std::optional<std::string> frames;
    bool keepExisting = false;
    int folders = 0;
    bool noClipPrefix = false;
    bool indexNames = false;
    std::optional<std::string> stock;
    std::optional<std::string> gauge;
    std::optional<float> grain;
    std::optional<float> exposure;
    std::optional<float> kelvin;
    std::optional<double> saturation;
    std::optional<float> lift, gamma, gain;
    std::optional<std::string> levels;
    std::optional<double> colorAmount;
    std::optional<double> scurveAmount;
    std::optional<std::string> settingsFile;
    std::optional<std::string> project;     // --project FILE: the clips of a saved project
    std::vector<std::string> projectClips;  // --clip PATH: some of them
    std::optional<std::string> conform;     // --conform EDIT_FILE: the clips an edit uses, and just their frames
    std::vector<std::string> footage;       // with --conform: where to find them
    std::optional<std::string> conformType;
    bool mov = false;
    std::optional<int> edlOptions;
    std::set<std::string> given;            // the options named on the command line
    std::string progress = "plain";
    bool cpu = false;  // the fast CPU path; neither flag: OpenGL unless it renders in software
    bool gl = false;   // OpenGL whatever its renderer
    std::optional<std::string> damage;  // --damage NAME|FILE: a film damage treatment
    bool allowIncomplete = false;  // render what exists of a spanned clip that lacks a file
    std::optional<int> audioAt;    // --audio-at F: the .au only from the range that starts at F
    // Set by the farm: the clips are looked at and queued as for a render, the queue lands here
    // and nothing is rendered.
    std::vector<std::shared_ptr<RenderManagerItem>>* planOnly = nullptr;
};

// Adds the `render` subcommand with its options bound to `options`.
CLI::App* AddRenderCommand(CLI::App& app, RenderOptions& options);
// Adds the options of `render` to another command (the farm's), bound to `options`.
CLI::App* AddRenderOptions(CLI::App* command, RenderOptions& options);
// Puts the look options that were given on a clip's record; they were checked when read.
void ApplyLookOptions(const RenderOptions& options, ClipSettings& look);
// The codec menu tag that --codec names: a tag, a four-character code or a preset's title
// (either case), of the factory presets or the loaded custom codecs; nullopt for none.
std::optional<int> CodecTagForName(const std::string& name);
// The 2K rule of movies: a chosen size above 2048 x 1152 becomes 2048 x 1152, with the
// message that says so (empty when the size stands).
std::string LimitMovieSize(float* width, float* height);
// Runs a parsed render command: queues the clips and renders them. Returns an exit code.
int RunRender(const RenderOptions& options);

}  // namespace ombrel::cli
