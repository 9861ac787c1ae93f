#include "DemoCommand.h"

#include <CLI/CLI.hpp>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "RenderCommand.h"
#include "core/Paths.h"
#include "render/RenderManager.h"

extern char** environ;

namespace ombrel::cli {

namespace {

namespace fs = std::filesystem;

// The look of the demo: a colour negative stock at Super 35 grain.
constexpr const char* kDemoStock = "5207";
constexpr const char* kDemoGauge = "Super 35";

std::string FindOnPath(const std::string& tool) {
    const char* path = std::getenv("PATH");
    if (!path) return {};
    std::string all = path;
    size_t start = 0;
    while (start <= all.size()) {
        const size_t end = std::min(all.find(':', start), all.size());
        const std::string dir = all.substr(start, end - start);
        if (!dir.empty()) {
            const std::string candidate = dir + "/" + tool;
            if (::access(candidate.c_str(), X_OK) == 0) return candidate;
        }
        start = end + 1;
    }
    return {};
}

// Runs a program without a shell; true when it ends with status 0.
bool RunTool(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, args[0].c_str(), nullptr, nullptr, argv.data(), environ) != 0) return false;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string FirstFrameIn(const std::string& folder) {
    std::vector<std::string> frames;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        if (entry.is_regular_file(ec) && entry.path().extension() == ".dpx") frames.push_back(entry.path().string());
    std::sort(frames.begin(), frames.end());
    return frames.empty() ? std::string() : frames.front();
}

std::string DemoClipIn(const std::string& folder) {
    std::error_code ec;
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        const std::string name = entry.path().filename().string();
        if (name.find("demo") != std::string::npos && entry.path().extension() == ".R3D") found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found.empty() ? std::string() : found.front();
}

}  // namespace

std::string FindDemoClip() {
    std::error_code ec;
    if (const char* env = std::getenv("OMBREL_DEMO_CLIP"); env && *env) return fs::is_regular_file(env, ec) ? env : "";
#ifdef OMBREL_DEMO_CLIP
    if (fs::is_regular_file(OMBREL_DEMO_CLIP, ec)) return OMBREL_DEMO_CLIP;
#endif
    // Installed: <prefix>/bin/ombrel beside <prefix>/share/ombrel/demo/.
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) return DemoClipIn((exe.parent_path().parent_path() / "share" / "ombrel" / "demo").string());
    return {};
}

CLI::App* AddDemoCommand(CLI::App& app, DemoOptions& o) {
    CLI::App* demo = app.add_subcommand("demo", "Render the demo clip with a film look");
    demo->add_option("--out", o.out, "Output folder (default ~/Documents/Ombrel/Render/)");
    demo->add_flag("--cpu", o.cpu, "Render the look on the CPU (the default where OpenGL renders in software)");
    return demo;
}

int RunDemo(const DemoOptions& o) {
    const std::string clip = FindDemoClip();
    if (clip.empty()) {
        std::fprintf(stderr,
                     "ombrel demo: the demo clip is not there. The build makes it (demo/A001_C001_0101AB_demo_001.R3D "
                     "in the build folder): run \"make build\" first, or name a clip in OMBREL_DEMO_CLIP.\n");
        return kExitFailed;
    }
    RenderOptions r;
    r.clips = {clip};
    r.format = "dpx";
    r.out = o.out.empty() ? RenderFolder() : o.out;
    r.stock = kDemoStock;
    r.gauge = kDemoGauge;
    r.cpu = o.cpu;
    r.given = {"--format", "--out", "--stock", "--gauge"};
    std::fprintf(stderr, "ombrel demo: rendering %s with stock %s and Super 35 grain\n", clip.c_str(), kDemoStock);
    const int status = RunRender(r);
    if (status != kExitOk) return status;

    std::string folder;
    for (const auto& item : RenderManager::Instance().renderQueue())
        if (!item->errorState()) folder = item->DestPath();
    const std::string first = folder.empty() ? std::string() : FirstFrameIn(folder);
    if (first.empty()) {
        std::fprintf(stderr, "ombrel demo: no frames were written to %s\n", folder.c_str());
        return kExitFailed;
    }
    std::printf("Graded DPX frames: %s\n", folder.c_str());

    const std::string png = folder + "_first_frame.png";
    std::string made;
    if (const std::string oiio = FindOnPath("oiiotool"); !oiio.empty()) {
        if (RunTool({oiio, first, "--ch", "R,G,B", "-d", "uint8", "-o", png})) made = "oiiotool";
    }
    if (made.empty()) {
        if (const std::string ffmpeg = FindOnPath("ffmpeg"); !ffmpeg.empty()) {
            if (RunTool({ffmpeg, "-y", "-loglevel", "error", "-i", first, "-frames:v", "1", png})) made = "ffmpeg";
        }
    }
    if (!made.empty()) {
        std::printf("First graded frame as PNG (made with %s): %s\n", made.c_str(), png.c_str());
    } else {
        std::fprintf(stderr, "ombrel demo: neither oiiotool nor ffmpeg could make a PNG of %s\n", first.c_str());
    }
    std::printf(
        "To view: open the PNG in any image viewer, or play the frames with "
        "ffplay -framerate 24 -pattern_type glob -i '%s/*.dpx'\n",
        folder.c_str());
    return made.empty() ? kExitFailed : kExitOk;
}

}  // namespace ombrel::cli
