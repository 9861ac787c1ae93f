#include "Floors.h"

#include <filesystem>
#include <regex>
#include <sstream>

#include "support/TempDir.h"

namespace ombrel::floors {
namespace fs = std::filesystem;

std::vector<Library> ReadFloorTable(const std::string& markdown, std::vector<std::string>* bad) {
    static const std::regex kRow(R"(^\|\s*(\d+)\s*\|\s*`ombrel_(\w+)`\s*\|\s*`([\w/]+)`\s*\|)");
    std::vector<Library> out;
    std::istringstream in(markdown);
    std::string line;
    while (std::getline(in, line) && line.rfind("| floor | library | folder |", 0) != 0) {}
    while (std::getline(in, line) && line.starts_with("|")) {
        std::smatch m;
        if (line.starts_with("|---")) continue;
        if (!std::regex_search(line, m, kRow)) {
            if (bad) bad->push_back(line);
            continue;
        }
        const std::string folder = m[3];
        out.push_back({std::stoi(m[1]), m[2], folder, folder.starts_with("src/") ? folder.substr(4) : folder});
    }
    return out;
}

namespace {

bool UnderFolder(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

// The library whose folder (or include prefix) holds the path most closely: r3d/sdk before r3d.
const Library* Owner(const std::string& path, const std::vector<Library>& libraries, std::string Library::*prefix) {
    const Library* best = nullptr;
    for (const Library& lib : libraries)
        if (UnderFolder(path, lib.*prefix) && (!best || (lib.*prefix).size() > (best->*prefix).size())) best = &lib;
    return best;
}

}  // namespace

std::vector<std::string> UpwardIncludes(const std::string& root, const std::vector<Library>& libraries) {
    static const std::regex kInclude(R"(^\s*#\s*include\s*"([^"]+)\")");
    std::vector<std::string> problems;
    for (const Library& lib : libraries) {
        std::error_code ec;
        for (fs::recursive_directory_iterator it(fs::path(root) / lib.folder, ec), end; !ec && it != end;
             it.increment(ec)) {
            const std::string ext = it->path().extension().string();
            if (!it->is_regular_file() || (ext != ".h" && ext != ".cpp")) continue;
            const std::string file = fs::relative(it->path(), root).generic_string();
            if (Owner(file, libraries, &Library::folder) != &lib) continue;  // r3d/sdk's files are its own
            std::istringstream in(test::ReadWholeFile(it->path()));
            std::string line;
            for (int n = 1; std::getline(in, line); ++n) {
                std::smatch m;
                if (!std::regex_search(line, m, kInclude)) continue;
                const Library* target = Owner(m[1], libraries, &Library::include);
                if (target && target != &lib && target->floor >= lib.floor)
                    problems.push_back(file + ":" + std::to_string(n) + " includes \"" + std::string(m[1]) +
                                       "\": " + lib.name + " (floor " + std::to_string(lib.floor) + ") may not use " +
                                       target->name + " (floor " + std::to_string(target->floor) + ")");
            }
        }
    }
    return problems;
}

}  // namespace ombrel::floors
