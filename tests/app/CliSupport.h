// Helpers of the command-line tests: running `ombrel`, writing small clips, listing frames.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "r3d/sdk/SdkClips.h"
#include "support/Shell.h"
#include "support/TempDir.h"

extern char** environ;

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

// A child `ombrel` whose stderr is a pipe this process holds, stdout going nowhere.
struct Child {
    pid_t pid = -1;
    int stderrFd = -1;  // read end
};

inline Child SpawnOmbrel(const std::vector<std::string>& args, bool closeOutputs) {
    int fds[2];
    Child child;
    if (::pipe(fds) != 0) return child;
    std::vector<std::string> all = {OMBREL_CLI};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : all) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 2);
    if (closeOutputs)
        posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    else
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    posix_spawn_file_actions_addclose(&actions, fds[1]);
    if (posix_spawn(&child.pid, OMBREL_CLI, &actions, nullptr, argv.data(), environ) != 0) child.pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    child.stderrFd = fds[0];
    return child;
}

// Reads the child's stderr to its end and waits for it: the exit code, or 1000 + the signal
// that ended it.
inline int Finish(Child& child, std::string* output) {
    char buffer[4096];
    ssize_t n;
    while (child.stderrFd >= 0 && (n = ::read(child.stderrFd, buffer, sizeof buffer)) != 0) {
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) break;
        if (output) output->append(buffer, size_t(n));
    }
    if (child.stderrFd >= 0) ::close(child.stderrFd);
    child.stderrFd = -1;
    int status = 0;
    while (::waitpid(child.pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : -1;
}

}  // namespace ombrel::clitest
