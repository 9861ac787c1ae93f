// Helpers of the command-line tests: running `ombrel`, writing small clips, listing frames.
#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "r3d/sdk/SdkClips.h"
#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel::clitest {

// Runs `ombrel ARGS` through the shell with stderr folded in; a hang ends as status 124.
inline test::ShellResult Ombrel(const std::string& args) {
    return test::RunShell("timeout 300 " + std::string(OMBREL_CLI) + " " + args);
}

inline std::string Quoted(const std::string& s) { return "'" + s + "'"; }

inline bool Has(const test::ShellResult& r, const std::string& text) {
    return r.output.find(text) != std::string::npos;
}

inline size_t Lines(const std::string& text) { return size_t(std::count(text.begin(), text.end(), '\n')); }

// Writes a clip (its folders made first); ADD_FAILURE when the writer complains.
inline std::string WriteClip(const std::string& path, const sdktest::SdkClip& clip) {
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    const std::string why = sdktest::WriteSdkClip(path, clip);
    if (!why.empty()) ADD_FAILURE() << path << ": " << why;
    return path;
}

// The DPX frame names in a folder, sorted.
inline std::vector<std::string> DpxFrames(const std::string& folder) {
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(folder, ec))
        if (e.path().extension() == ".dpx") out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

inline std::string MakeFifo(const std::string& path) {
    if (::mkfifo(path.c_str(), 0600) != 0) ADD_FAILURE() << "mkfifo " << path;
    return path;
}

}  // namespace ombrel::clitest
