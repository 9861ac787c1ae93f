#include "render/FrameFile.h"

#include "core/AtomicFile.h"

namespace ombrel {

Status WriteFrameFile(const std::string& path, std::span<const std::span<const uint8_t>> parts, bool replace) {
    AtomicFileWriter out;
    AtomicFileWriter::Options options;
    options.mode = replace ? AtomicFileWriter::Mode::kReplace : AtomicFileWriter::Mode::kKeepExisting;
    options.sync = false;
    if (Status s = out.Open(path, options); !s.ok()) return s;
    for (const std::span<const uint8_t> part : parts)
        if (Status s = out.Write(part.data(), part.size()); !s.ok()) return s;
    return out.Commit();
}

}  // namespace ombrel
