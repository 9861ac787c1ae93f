#pragma once

#include <cstddef>
#include <string>

#include "core/Status.h"

namespace ombrel {

// Projects, settings and presets are small; a file larger than this is not one of them.
inline constexpr size_t kMaxSmallFileBytes = size_t{64} << 20;

// Reads a regular file of at most `maxBytes` whole. A directory, FIFO, device or socket is
// refused without being read or waited on, so /dev/zero or a pipe never stalls the caller.
// kNotFound when there is nothing, kUnsupported for what is not a regular file, kInvalid for
// a file over the bound, kIo when it cannot be read; the message begins with the path.
Status ReadRegularFile(const std::string& path, std::string* contents, size_t maxBytes = kMaxSmallFileBytes);

// "a directory", "a FIFO (named pipe)", "a character device", ... for what is not a regular
// file; "a regular file" or "nothing" otherwise. Follows symbolic links.
std::string FileKindText(const std::string& path);

}  // namespace ombrel
