#pragma once

#include <string>

namespace ombrel::test {

struct ShellResult {
    int status = -1;     // the exit code; -1 when the command did not exit normally
    std::string output;  // stdout and stderr together
};

// Runs a shell command with stderr folded into the output.
ShellResult RunShell(const std::string& command);

}  // namespace ombrel::test
