#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

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
    AuFileWriter() = default;
    ~AuFileWriter();
    AuFileWriter(const AuFileWriter&) = delete;
    AuFileWriter& operator=(const AuFileWriter&) = delete;

    // Creates the file and writes the header. False, with the reason, when it cannot.
    bool Open(const std::string& path, uint32_t sampleRate, uint32_t channels, std::string* error = nullptr);
    // Appends sample bytes as they are (already big-endian).
    bool Append(const void* bytes, size_t size, std::string* error = nullptr);
    // Closes the file and renames it onto its path, replacing what was there.
    bool Finish(std::string* error = nullptr);

    bool isOpen() const { return fd_ >= 0; }
    uint64_t bytesWritten() const { return written_; }

private:
    void Discard();

    int fd_ = -1;
    std::string path_;
    std::string tmp_;
    uint64_t written_ = 0;
};

}  // namespace ombrel
