#pragma once

#include <string>

namespace ombrel::test {

struct ShellResult {
    int status = -1;     // the exit code; -1 when the command did not exit normally
    std::string output;  // stdout and stderr together
};

// Runs a shell command with stderr folded into the output.
ShellResult RunShell(const std::string& command);

// Runs the tests of this executable that `gtestFilter` names in a child whose EGL loader finds
// no driver at all, with OMBREL_GL_PROBE_NO_DRIVER set so that probes meant only for it run.
// Returns the child's exit status, -1 when it died of a signal.
int RunSelfWithoutGlDriver(const std::string& gtestFilter);

}  // namespace ombrel::test
