#pragma once

#include <string>
#include <string_view>

namespace ombrel {

// Writes `bytes` to a temporary file beside `path`, flushes it to disk and renames it
// over `path`. Either the old file or the complete new one is there afterwards.
bool WriteFileAtomically(const std::string& path, std::string_view bytes, std::string* error = nullptr);

// The temporary name used beside `path` while it is being written.
std::string TemporaryPathFor(const std::string& path);

}  // namespace ombrel
