#pragma once

#include "library/FCPFile.h"
#include "library/R3DFileMeta.h"

#include <map>
#include <string>

namespace ombrel {

// Rules every edit reader shares.

// Whether `name` starts as an R3D clip's name does (letter, three digits, "_C", three digits,
// "_", at least 16 characters); outside R3D mode any ".mov" name passes too.
bool HasRedPrefix(const std::string& name, bool r3dMode);

// What each edit document keeps of its reading: where it came from, whether it matches R3D
// clips or movies, and why its load failed.
class EditDocument {
public:
    // R3D names, or in movie mode any ".mov" name.
    bool HasRedPrefix(const std::string& name) const { return ombrel::HasRedPrefix(name, r3dMode_); }
    bool r3dMode() const { return r3dMode_; }
    void setR3dMode(bool on) { r3dMode_ = on; }
    const std::string& originalPath() const { return originalPath_; }
    const std::string& lastError() const { return lastError_; }

protected:
    std::string originalPath_;
    bool r3dMode_ = false;
    std::string lastError_;
};

// A file record for a matched clip under its path, unless one is there: its length, its rate
// rounded up (NTSC when that is above the real rate), start timecode and its frame.
void AddFileForMeta(std::map<std::string, FCPFile>& files, const R3DFileMeta& meta);
FCPFile FileRecordForMeta(const R3DFileMeta& meta);

// A movie matched by name takes its length and rate from the metadata cache and counts from
// frame 0: timecodes "00:00:00.00" to its length.
void RefreshMovieMeta(R3DFileMeta& meta);

}  // namespace ombrel
