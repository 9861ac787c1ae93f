#pragma once

// Film gauges as the user names them. A gauge is a grain scale: the grain image is laid over
// the frame at its width times the scale, so a smaller film gauge gives larger grain against
// the frame. The gauge popup's tags are that scale x 100.

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

struct Gauge {
    int tag;           // grain scale x 100
    const char* name;  // as shown to the user
};

// Every gauge the popup offers, largest film first. The tags of the 35mm formats come from
// the width of their camera aperture against Super 35's.
const std::vector<Gauge>& GaugeList();

// The display name of a grain scale (scale x 100, truncated, falls into the name's range).
std::string GrainSizeForMultiplier(double multiplier);

// The tag a user means by a gauge: a listed name, spelled loosely ("super16", "S16",
// "35mm-academy"), a tag number, or a scan name standing for its gauge ("CP35" is Super 35,
// "CP16" 16mm, "CP8" 8mm). Nothing for anything else.
std::optional<int> GaugeTagForName(const std::string& text);

// The grain scan a gauge text names, spelled as installed ("CP 16" and "cp-16" are "CP16"),
// or nothing when the text is not a scan name. The user's spelling never reaches the loader.
std::optional<std::string> GrainScanForName(const std::string& text);

}  // namespace ombrel
