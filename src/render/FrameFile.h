#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "core/Status.h"

namespace ombrel {

// Puts a whole frame file on disk through the AtomicFileWriter: its parts one after the
// other under a temporary name beside `path`, then a rename onto `path`. A failed write (full
// disk, no permission, vanished folder) leaves nothing under the frame's name and no temporary
// file. With `replace` false an existing file at `path` stays and the write fails. Frames are
// not synced one by one: a render that a crash cuts short is rendered again.
Status WriteFrameFile(const std::string& path, std::span<const std::span<const uint8_t>> parts, bool replace);

}  // namespace ombrel
