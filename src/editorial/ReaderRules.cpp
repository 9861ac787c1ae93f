#include "editorial/ReaderRules.h"

#include "core/Paths.h"

#include <cctype>
#include <cmath>

namespace ombrel {

bool HasRedPrefix(const std::string& name, bool r3dMode) {
    if (!r3dMode && !name.empty()) {
        std::string lower = name;
        for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (lower.size() >= 4 && lower.compare(lower.size() - 4, 4, ".mov") == 0) return true;
    }
    if (name.size() < 16) return false;
    const auto up = [&](size_t i) { return static_cast<char>(std::toupper(static_cast<unsigned char>(name[i]))); };
    const auto digit = [&](size_t i) { return name[i] >= '0' && name[i] <= '9'; };
    return up(0) >= 'A' && up(0) <= 'Z' && digit(1) && digit(2) && digit(3) && name[4] == '_' && up(5) == 'C' &&
           digit(6) && digit(7) && digit(8) && name[9] == '_';
}

void AddFileForMeta(std::map<std::string, FCPFile>& files, const R3DFileMeta& meta) {
    if (files.count(meta.path())) return;
    const std::string name = LastPathComponent(meta.path());
    FCPFile file(meta.path(), meta.frameCount(), name);
    file.setBaseFps(std::ceil(meta.fps()));
    file.setIsNtsc(file.baseFps() > meta.fps());
    file.setTimecode(meta.timecodeIn());
    file.setName(name);
    file.setTimecodeFrame(meta.frameIn());
    files.emplace(meta.path(), std::move(file));
}

}  // namespace ombrel
