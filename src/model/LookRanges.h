#pragma once

// The values a look may take, one table for the command line and for saved files, so a
// value refused in one is refused in the other. NaN, the infinities and values far outside
// what the controls offer render black or white frames, or fail in the decoder; they are
// refused where they come in, with the name the user gave them.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/PlistValue.h"

namespace ombrel {

struct LookRange {
    const char* key;     // the dictionary key of ClipSettings
    const char* option;  // the command-line option that sets it, or null
    double min;          // inclusive
    double max;          // inclusive
};

// Every adjustable look value with its range.
const std::vector<LookRange>& LookRanges();
// The row of a dictionary key, or null.
const LookRange* LookRangeForKey(std::string_view key);

// Why `value` is not acceptable in the row, as "<what> <value> is not a number" or
// "<what> <value> is outside <min> to <max>" with `what` the caller's name for it; empty
// when it is acceptable.
std::string LookValueFault(const LookRange& range, double value, std::string_view what);

// The grain scans an installation holds: "CP35", "CP16", "CP8".
const std::vector<std::string>& GrainScanNames();
bool IsGrainScanName(std::string_view name);

// Frame indices a record may hold: an in point from 0, an out point of 0 (none) or at or
// after the in point. An out point before the in point is refused, not swapped: which of the
// two the user meant cannot be told. Empty when acceptable.
std::string InOutFault(int64_t in, int64_t out);

// The first value of a clip-settings dictionary that a render must not take, naming its key:
// a look value outside its row, a grain name beginning with "CP" that names no scan (other
// names are mended to "CP35" as the record's copy does), levels out of order, or in and out
// points that are not frame indices. Missing keys are not checked: they read as their
// defaults or 0. Empty when the dictionary is acceptable.
std::string ClipDictionaryFault(const PlistValue& dict);

}  // namespace ombrel
