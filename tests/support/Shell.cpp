#include "support/Shell.h"

#include <sys/wait.h>

#include <cstdio>

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

}  // namespace ombrel::test
