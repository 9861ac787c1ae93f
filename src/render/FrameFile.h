#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace ombrel {

// Puts a whole frame file on disk: its parts, one after the other, to a temporary name
// beside `path`, then a rename onto `path`. A failed write (full disk, no permission,
// vanished folder) leaves nothing under the frame's name and removes the temporary file.
// With `replace` false an existing file at `path` is left alone and the write fails.
// Paths are passed to the file system as they stand, so UTF-8 names work.
bool WriteFrameFile(const std::string& path, std::span<const std::span<const uint8_t>> parts, bool replace,
                    std::string* error);

}  // namespace ombrel
