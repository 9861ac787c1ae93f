#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "render/FrameFileFormat.h"

namespace ombrel {

// 10-bit RGB DPX, little-endian throughout: a 2080-byte header, then one 32-bit word per pixel.
inline constexpr size_t kDpxHeaderBytes = 2080;

struct DpxHeader {
    uint8_t bytes[kDpxHeaderBytes];
};

struct DpxTimecode {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
};

// Offsets of the fields that change per frame, and of the ones readers are checked against.
namespace dpx {
inline constexpr size_t kImageFileName = 36;
inline constexpr size_t kCreationTime = 136;
inline constexpr size_t kSourceFileName = 1432;
inline constexpr size_t kSourceFileNameWidth = 100;
inline constexpr size_t kFramePosition = 1712;
inline constexpr size_t kTimeCode = 1920;
}  // namespace dpx

class DpxFile {
public:
    // Fills the whole header for a clip. The file name is that of the first frame; creator,
    // project, slate, input device and the source file name get its stem.
    static void InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(DpxHeader* header, int width, int height,
                                                                      int frames, float fps,
                                                                      const std::string& filename,
                                                                      const DpxTimecode& timecode,
                                                                      std::chrono::system_clock::time_point created);
    // Sets the three fields that change per frame; each field is cleared whole first.
    // Characters outside ASCII are dropped from the name, which is cut to fit its field.
    static void UpdateHeaderWithTimecodeForFramePath(DpxHeader* header, const DpxTimecode& timecode, int frame,
                                                     const std::string& path);

    static uint32_t EndianSwap32(uint32_t value);
    static uint16_t EndianSwap16(uint16_t value);
    // Eight binary-coded decimal digits, hours tens in the top four bits.
    static uint32_t TimecodeBits(const DpxTimecode& timecode);
    // "10bit_planar_%06i.DPX" of the range's first frame.
    static std::string FirstFrameName(int firstFrame);
    // Why a frame of this size cannot be a file of this layout (its 32-bit file size), or empty.
    static std::string SizeProblem(int64_t width, int64_t height);
};

// Packs pixels of four 16-bit samples (R, G, B, A; host order) into little-endian words with
// the top 10 bits of R, G and B at bits 31-22, 21-12 and 11-2. `out` may be `rgba` itself:
// each word lands behind the samples still to be read.
void ConvertBufferTo10Bit(const uint16_t* rgba, size_t pixels, void* out);

// The DPX frame-file format: the header, built once per clip with three fields set per file,
// then the pixels packed in place to one word each.
class DpxFormat final : public FrameFileFormat {
public:
    const char* Name() const override { return "DPX"; }
    const char* Extension() const override { return "dpx"; }
    bool WantsRGBA() const override { return true; }
    std::chrono::milliseconds MovieFramePollInterval() const override { return std::chrono::milliseconds(40); }
    std::string SizeProblem(int64_t width, int64_t height) const override {
        return DpxFile::SizeProblem(width, height);
    }
    void Begin(const FrameClip& clip) override;
    size_t PackInPlace(uint8_t* buffer) override;
    PixelPacking Packing() const override { return PixelPacking::kDpx10; }
    size_t PackedBytes() const override { return pixels_ * 4; }
    FrameFileParts PartsForFile(int frame, const TimecodeValues& timecode, const std::string& path) override;

private:
    size_t pixels_ = 0;
    DpxHeader header_{};
};

}  // namespace ombrel
