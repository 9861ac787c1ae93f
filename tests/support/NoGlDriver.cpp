#include "NoGlDriver.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace ombrel::test {

::testing::AssertionResult RunsWithoutGlDriver(const std::string& filter) {
    std::string self = "/proc/self/exe";
    std::string filterArg = "--gtest_filter=" + filter;
    char* argv[] = {self.data(), filterArg.data(), nullptr};
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) env.emplace_back(*e);
    env.emplace_back("__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent/vendor.json");
    env.emplace_back(std::string(kNoGlDriverVariable) + "=1");
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, self.c_str(), nullptr, nullptr, argv, envp.data()) != 0)
        return ::testing::AssertionFailure() << "cannot start the child";
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return ::testing::AssertionFailure() << "cannot wait for the child";
    if (!WIFEXITED(status)) return ::testing::AssertionFailure() << "the child died of a signal";
    if (WEXITSTATUS(status) != 0) return ::testing::AssertionFailure() << "the child's tests failed: " << filter;
    return ::testing::AssertionSuccess();
}

}  // namespace ombrel::test
