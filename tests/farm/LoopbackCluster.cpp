#include "LoopbackCluster.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "farm/Process.h"

extern char** environ;

namespace ombrel::farmtest {
namespace {

int FreePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    int port = -1;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) == 0)
        port = ntohs(a.sin_port);
    if (fd >= 0) ::close(fd);
    return port;
}

std::string Tail(const std::string& path) {
    const std::string text = test::ReadWholeFile(path);
    return text.size() > 600 ? text.substr(text.size() - 600) : text;
}

}  // namespace

std::string LoopbackCluster::Spawn(const std::vector<std::string>& argv, const std::string& log) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    std::vector<std::string> args = argv;
    // The daemons live in /usr/sbin, which a user's PATH often leaves out.
    if (!farm::ProgramOnPath(args[0])) args[0] = "/usr/sbin/" + args[0];
    std::vector<char*> p;
    for (auto& a : args) p.push_back(a.data());
    p.push_back(nullptr);
    pid_t pid = -1;
    const int e = ::posix_spawnp(&pid, p[0], &actions, nullptr, p.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (e != 0) return argv[0] + " does not start: " + std::strerror(e);
    daemons_.emplace_back(pid, log);
    return {};
}

std::string LoopbackCluster::Exited() {
    for (auto& [pid, log] : daemons_)
        if (pid > 0 && ::waitpid(pid, nullptr, WNOHANG) == pid) {
            pid = -1;  // reaped: its number may belong to another process now
            return log + " ended: " + Tail(log);
        }
    return {};
}

std::string LoopbackCluster::Start(const std::string& dir) {
    for (const char* tool : {"munged", "slurmctld", "slurmd", "sbatch", "sinfo", "squeue", "scancel"})
        if (!farm::ProgramOnPath(tool) && !farm::ProgramOnPath(std::string("/usr/sbin/") + tool))
            return std::string(tool) + " is not installed (scripts/install-deps installs slurm-wlm and munge)";
    namespace fs = std::filesystem;
    for (const char* sub : {"munge", "spool", "state"}) fs::create_directories(fs::path(dir) / sub);
    fs::permissions(dir + "/munge", fs::perms::owner_all);
    std::string key(1024, '\0');
    std::ifstream("/dev/urandom", std::ios::binary).read(key.data(), 1024);
    test::WriteWholeFile(dir + "/munge/key", key);
    fs::permissions(dir + "/munge/key", fs::perms::owner_read | fs::perms::owner_write);
    const passwd* me = ::getpwuid(::getuid());
    const std::string user = user_ = me ? me->pw_name : "root";
    const int ctldPort = FreePort(), slurmdPort = FreePort();
    if (ctldPort < 0 || slurmdPort < 0 || ctldPort == slurmdPort) return "no free loopback ports";
    const std::string conf = dir + "/slurm.conf";
    std::string text = test::ReadWholeFile(OMBREL_FARM_CONF_TEMPLATE);
    const std::pair<std::string, std::string> fill[] = {
        {"@DIR@", dir}, {"@USER@", user}, {"@CTLD_PORT@", std::to_string(ctldPort)},
        {"@SLURMD_PORT@", std::to_string(slurmdPort)}};
    for (const auto& [key, value] : fill)
        for (size_t at; (at = text.find(key)) != std::string::npos;) text.replace(at, key.size(), value);
    test::WriteWholeFile(conf, text);
    conf_ = std::make_unique<test::ScopedEnv>("SLURM_CONF", conf.c_str());
    if (std::string why = Spawn({"munged", "-F", "--force", "--key-file=" + dir + "/munge/key",
                                 "--socket=" + dir + "/munge/sock", "--pid-file=" + dir + "/munge/pid",
                                 "--seed-file=" + dir + "/munge/seed", "--log-file=" + dir + "/munge/log"},
                                dir + "/munged.out");
        !why.empty())
        return why;
    for (int i = 0; i < 50 && !fs::exists(dir + "/munge/sock"); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (std::string why = Spawn({"slurmctld", "-D", "-i", "-f", conf}, dir + "/slurmctld.out"); !why.empty())
        return why;
    if (std::string why = Spawn({"slurmd", "-D", "-N", "localhost", "-f", conf}, dir + "/slurmd.out"); !why.empty())
        return why;
    for (int i = 0; i < 150; ++i) {
        if (std::string why = Exited(); !why.empty()) return why;
        farm::ProcessResult r;
        if (farm::RunProcess({"sinfo", "-h", "-o", "%T"}, {}, &r).ok() && r.out.find("idle") != std::string::npos)
            return {};
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return "the node did not come up in 15 s: " + Tail(dir + "/slurmd.log") + Tail(dir + "/ctld.log");
}

void LoopbackCluster::Stop() {
    if (daemons_.size() == 3) {
        farm::ProcessResult r;
        (void)farm::RunProcess({"scancel", "-u", user_}, {}, &r);
        for (int i = 0; i < 30; ++i) {
            if (!farm::RunProcess({"squeue", "-h"}, {}, &r).ok() || r.out.empty()) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    for (auto d = daemons_.rbegin(); d != daemons_.rend(); ++d) {
        const pid_t pid = d->first;
        if (pid <= 0) continue;
        ::kill(pid, SIGTERM);
        bool gone = false;
        for (int i = 0; i < 30 && !gone; ++i) {
            gone = ::waitpid(pid, nullptr, WNOHANG) != 0;
            if (!gone) std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        if (!gone) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }
    daemons_.clear();
    conf_.reset();
}

}  // namespace ombrel::farmtest
