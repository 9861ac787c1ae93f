#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/AtomicFile.h"
#include "core/Status.h"

namespace ombrel {

// Sun/NeXT ".au" sound files of 32-bit big-endian linear PCM, the form in which the camera
// decoder hands out a clip's audio blocks.
inline constexpr size_t kAuHeaderBytes = 28;

// The 28 header bytes: ".snd", data offset 28, length unknown (0xFFFFFFFF), encoding 5,
// sample rate, channel count, 0. All big-endian.
std::array<uint8_t, kAuHeaderBytes> AuHeader(uint32_t sampleRate, uint32_t channels);

// Streams an .au file under a temporary name beside its path and puts it in place only when
// Finish succeeds, so a failed extract leaves no half file behind. Dropping an unfinished
// writer removes the temporary file.
class AuFileWriter {
public:
    // Creates the file and writes the header.
    Status Open(const std::string& path, uint32_t sampleRate, uint32_t channels);
    // Appends sample bytes as they are (already big-endian).
    Status Append(const void* bytes, size_t size);
    // Flushes the file and renames it onto its path, replacing what was there.
    Status Finish();

    bool isOpen() const { return out_.isOpen(); }
    uint64_t bytesWritten() const { return written_; }

private:
    AtomicFileWriter out_;
    uint64_t written_ = 0;
};

}  // namespace ombrel
