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

// A file record for a matched clip under its path, unless one is there: its length, its rate
// rounded up (NTSC when that is above the real rate), start timecode and its frame.
void AddFileForMeta(std::map<std::string, FCPFile>& files, const R3DFileMeta& meta);
FCPFile FileRecordForMeta(const R3DFileMeta& meta);

// A movie matched by name takes its length and rate from the metadata cache and counts from
// frame 0: timecodes "00:00:00.00" to its length.
void RefreshMovieMeta(R3DFileMeta& meta);

}  // namespace ombrel
