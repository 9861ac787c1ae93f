#include "Floors.h"

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace ombrel::floors {
namespace fs = std::filesystem;

std::vector<Library> ReadFloorTable(const std::string& markdown, std::vector<std::string>* bad) {
    static const std::regex kRow(R"(^\|\s*(\d+)\s*\|\s*`ombrel_(\w+)`\s*\|\s*`([\w/]+)`\s*\|)");
    std::vector<Library> out;
    std::istringstream in(markdown);
    std::string line;
    bool inTable = false;
    while (std::getline(in, line)) {
        if (line.rfind("| floor | library | folder |", 0) == 0) {
            inTable = true;
            continue;
        }
        if (!inTable) continue;
        if (line.empty() || line[0] != '|') break;
        if (line.rfind("|---", 0) == 0) continue;
        std::smatch m;
        if (!std::regex_search(line, m, kRow)) {
            if (bad) bad->push_back(line);
            continue;
        }
        Library lib;
        lib.floor = std::stoi(m[1]);
        lib.name = m[2];
        lib.folder = m[3];
        lib.include = lib.folder.rfind("src/", 0) == 0 ? lib.folder.substr(4) : lib.folder;
        out.push_back(lib);
    }
    return out;
}

namespace {

bool UnderFolder(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 && path[folder.size()] == '/';
}

// The library whose folder holds the path most closely (r3d/sdk before r3d).
const Library* Owner(const std::string& path, const std::vector<Library>& libraries, bool byInclude) {
    const Library* best = nullptr;
    for (const Library& lib : libraries) {
        const std::string& prefix = byInclude ? lib.include : lib.folder;
        if (UnderFolder(path, prefix) && (!best || prefix.size() > (byInclude ? best->include : best->folder).size()))
            best = &lib;
    }
    return best;
}

}  // namespace

std::vector<std::string> UpwardIncludes(const std::string& root, const std::vector<Library>& libraries,
                                        const std::vector<std::string>& executableFolders) {
    static const std::regex kInclude(R"(^\s*#\s*include\s*"([^"]+)\")");
    std::vector<std::string> problems;
    std::vector<std::string> folders;
    for (const Library& lib : libraries) folders.push_back(lib.folder);
    for (const std::string& exe : executableFolders) folders.push_back(exe);
    for (const std::string& folder : folders) {
        std::error_code ec;
        if (!fs::is_directory(fs::path(root) / folder, ec)) continue;
        for (fs::recursive_directory_iterator it(fs::path(root) / folder, ec), end; !ec && it != end;
             it.increment(ec)) {
            const std::string ext = it->path().extension().string();
            if (!it->is_regular_file() || (ext != ".h" && ext != ".cpp")) continue;
            const std::string file = fs::relative(it->path(), root).generic_string();
            const Library* owner = Owner(file, libraries, false);
            bool isExecutable = false;
            for (const std::string& exe : executableFolders) isExecutable |= UnderFolder(file, exe);
            if (!owner && !isExecutable) continue;
            std::ifstream in(it->path());
            std::string line;
            for (int n = 1; std::getline(in, line); ++n) {
                std::smatch m;
                if (!std::regex_search(line, m, kInclude)) continue;
                const Library* target = Owner(m[1], libraries, true);
                if (!target || isExecutable || target == owner) continue;
                if (target->floor >= owner->floor) {
                    problems.push_back(file + ":" + std::to_string(n) + " includes \"" + std::string(m[1]) + "\": " +
                                       owner->name + " (floor " + std::to_string(owner->floor) + ") may not use " +
                                       target->name + " (floor " + std::to_string(target->floor) + ")");
                }
            }
        }
    }
    return problems;
}

}  // namespace ombrel::floors
