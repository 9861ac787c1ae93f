#pragma once

#include <map>
#include <string>
#include <vector>

#include "core/Status.h"

namespace ombrel::farm {

// What a finished child left: its exit code (-1 when a signal ended it) and what it wrote.
struct ProcessResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs argv[0] (found on PATH) with the argument vector as given, no shell in between, with
// `extraEnv` added to this process's environment. Fails (kNotFound) when the program is not
// there; a program that runs and fails is a result with its exit code.
Status RunProcess(const std::vector<std::string>& argv, const std::map<std::string, std::string>& extraEnv,
                  ProcessResult* result);

// Whether a program is on PATH.
bool ProgramOnPath(const std::string& name);

}  // namespace ombrel::farm
