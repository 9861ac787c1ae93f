#pragma once

#include <string>
#include <vector>

namespace ombrel::floors {

struct Library {
    int floor = 0;
    std::string name;     // the CMake target without "ombrel_"
    std::string folder;   // under the tree's root, e.g. "src/platform/gl"
    std::string include;  // the include prefix of its headers, e.g. "platform/gl"
};

// The libraries of the floor table in an architecture document: rows of the form
// `| 3 | `ombrel_look` | `src/look` | ... |`. Rows that do not parse are named in *bad.
std::vector<Library> ReadFloorTable(const std::string& markdown, std::vector<std::string>* bad);

// Every quoted include in the .h and .cpp files under the libraries' folders whose target lies on
// the same floor or higher than the including file's library: one line each, naming file,
// include and floors. Executables (app/, tools/, bench/) sit above every library.
std::vector<std::string> UpwardIncludes(const std::string& root, const std::vector<Library>& libraries);

}  // namespace ombrel::floors
