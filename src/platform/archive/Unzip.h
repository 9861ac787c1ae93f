#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Status.h"

namespace ombrel::platform {

struct UnzipLimits {
    uint64_t maxBytes = 4ull << 30;  // counted as written, whatever the headers claim
    uint64_t maxEntries = 10000;
};

struct UnzipResult {
    // The top-level names moved into the destination, sorted.
    std::vector<std::string> placed;
    uint64_t entries = 0;
    uint64_t bytes = 0;
};

// Unpacks a zip archive into `destination`. Names that are absolute, hold "..", or links that
// point out of the archive's folder are refused, as are archives past the limits. Everything
// goes to a hidden folder beside first; only when all of it unpacked are the top-level entries
// moved into place (an existing entry of the same name is replaced). A refusal leaves the
// destination as it was. "__MACOSX" folders of resource forks are passed over.
Status UnzipArchive(const std::string& archive, const std::string& destination, UnzipResult* result = nullptr,
                    const UnzipLimits& limits = {});

}  // namespace ombrel::platform
