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

// The same at a home of the test's own; `env` adds VAR=value words before the command.
inline test::ShellResult OmbrelAt(const test::TempDir& home, const std::string& args, const std::string& env = "") {
    return test::RunShell("HOME=" + Quoted(home.path()) + " " + (env.empty() ? "" : env + " ") + "timeout 300 " +
                          std::string(OMBREL_CLI) + " " + args);
}

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

// The image data of a DPX file: from the offset its header names to the end (the header names
// the render's first frame, so renders of different ranges compare by this). The magic tells
// the byte order.
inline std::string DpxImageData(const std::string& path) {
    const std::string bytes = test::ReadWholeFile(path);
    const bool big = bytes.starts_with("SDPX");
    if (bytes.size() < 8 || (!big && !bytes.starts_with("XPDS"))) return {};
    uint32_t offset = 0;
    for (int i = 0; i < 4; ++i) offset |= uint32_t(uint8_t(bytes[size_t(4 + i)])) << (big ? 24 - 8 * i : 8 * i);
    return offset < bytes.size() ? bytes.substr(offset) : std::string();
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
