#include "editorial/ReaderRules.h"

#include "core/Paths.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"

#include <algorithm>
#include <climits>

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
    if (!files.count(meta.path())) files.emplace(meta.path(), FileRecordForMeta(meta));
}

FCPFile FileRecordForMeta(const R3DFileMeta& meta) {
    const std::string name = LastPathComponent(meta.path());
    FCPFile file(meta.path(), meta.frameCount(), name);
    file.setBaseFps(std::ceil(meta.fps()));
    file.setIsNtsc(file.baseFps() > meta.fps());
    file.setTimecode(meta.timecodeIn());
    file.setName(name);
    file.setTimecodeFrame(meta.frameIn());
    return file;
}

void RefreshMovieMeta(R3DFileMeta& meta) {
    const auto record = MetadataCache::Instance().ForceMetadataForPath(meta.path());
    if (!record) return;
    const auto fps = static_cast<float>(record->fps());
    const auto count = static_cast<int32_t>(std::min<uint32_t>(record->frameCount(), INT32_MAX));
    meta.setFps(fps);
    meta.setFrameCount(count);
    meta.setFrameOut(count);
    meta.setEdgeFrameOut(count);
    meta.setFrameIn(0);
    meta.setEdgeFrameIn(0);
    meta.setTimecodeIn("00:00:00.00");
    meta.setEdgecodeIn("00:00:00.00");
    meta.setTimecodeOut(FileParser::GetStringOfTimecode(static_cast<uint32_t>(count), fps));
    meta.setEdgecodeOut(meta.timecodeOut());
}

}  // namespace ombrel
