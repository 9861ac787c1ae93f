#include "support/Shell.h"

#include "support/NoGlDriver.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace ombrel::test {

ShellResult RunShell(const std::string& command) {
    ShellResult r;
    FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return r;
    char buffer[512];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) r.output.append(buffer, n);
    const int status = ::pclose(pipe);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

int RunSelfWithoutGlDriver(const std::string& gtestFilter) {
    std::string self = "/proc/self/exe", filter = "--gtest_filter=" + gtestFilter;
    char* argv[] = {self.data(), filter.data(), nullptr};
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) env.emplace_back(*e);
    env.emplace_back("__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent/vendor.json");
    env.emplace_back(std::string(kNoGlDriverVariable) + "=1");
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    pid_t pid = 0;
    if (::posix_spawn(&pid, self.c_str(), nullptr, nullptr, argv, envp.data()) != 0) return -1;
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

::testing::AssertionResult RunsWithoutGlDriver(const std::string& filter) {
    const int status = RunSelfWithoutGlDriver(filter);
    if (status == -1) return ::testing::AssertionFailure() << "the child could not run or died of a signal";
    if (status != 0) return ::testing::AssertionFailure() << "the child's tests failed: " << filter;
    return ::testing::AssertionSuccess();
}

}  // namespace ombrel::test
