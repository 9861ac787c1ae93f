#include "farm/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

extern char** environ;

namespace ombrel::farm {
namespace {

// Closes a pipe end on every way out.
struct Fd {
    int fd = -1;
    ~Fd() { Close(); }
    void Close() {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
};

std::vector<std::string> MergedEnvironment(const std::map<std::string, std::string>& extra) {
    std::vector<std::string> env;
    for (char** e = environ; e && *e; ++e) {
        const std::string entry = *e;
        const std::string key = entry.substr(0, entry.find('='));
        if (!extra.count(key)) env.push_back(entry);
    }
    for (const auto& [key, value] : extra) env.push_back(key + "=" + value);
    return env;
}

std::vector<char*> Pointers(std::vector<std::string>& strings) {
    std::vector<char*> p;
    for (auto& s : strings) p.push_back(s.data());
    p.push_back(nullptr);
    return p;
}

}  // namespace

bool ProgramOnPath(const std::string& name) {
    if (name.find('/') != std::string::npos) return ::access(name.c_str(), X_OK) == 0;
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= dirs.size()) {
        const size_t end = std::min(dirs.find(':', start), dirs.size());
        const std::string dir = dirs.substr(start, end - start);
        const std::string candidate = (dir.empty() ? "." : dir) + "/" + name;
        struct stat st {};
        if (::stat(candidate.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(candidate.c_str(), X_OK) == 0)
            return true;
        start = end + 1;
    }
    return false;
}

Status RunProcess(const std::vector<std::string>& argv, const std::map<std::string, std::string>& extraEnv,
                  ProcessResult* result) {
    *result = {};
    if (argv.empty()) return InvalidError("no program to run");
    if (!ProgramOnPath(argv[0])) return NotFoundError(argv[0] + " is not on PATH");
    Fd out[2], err[2];
    int pipeOut[2], pipeErr[2];
    if (::pipe2(pipeOut, O_CLOEXEC) != 0) return SystemError("pipe for", argv[0], errno);
    out[0].fd = pipeOut[0];
    out[1].fd = pipeOut[1];
    if (::pipe2(pipeErr, O_CLOEXEC) != 0) return SystemError("pipe for", argv[0], errno);
    err[0].fd = pipeErr[0];
    err[1].fd = pipeErr[1];

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1].fd, 1);
    posix_spawn_file_actions_adddup2(&actions, err[1].fd, 2);
    std::vector<std::string> args = argv;
    std::vector<std::string> env = MergedEnvironment(extraEnv);
    std::vector<char*> argp = Pointers(args), envp = Pointers(env);
    pid_t pid = -1;
    const int spawned = ::posix_spawnp(&pid, argv[0].c_str(), &actions, nullptr, argp.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return SystemError("cannot run", argv[0], spawned);
    out[1].Close();
    err[1].Close();

    std::array<pollfd, 2> fds{pollfd{out[0].fd, POLLIN, 0}, pollfd{err[0].fd, POLLIN, 0}};
    std::string* sinks[2] = {&result->out, &result->err};
    int open = 2;
    char buffer[8192];
    while (open > 0) {
        if (::poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (size_t i = 0; i < fds.size(); ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                fds[i].fd = -1;
                --open;
            }
        }
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result->exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return OkStatus();
}

}  // namespace ombrel::farm
