#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sources/R3DSource.h"

namespace ombrel {

// The calibration's test cube as a clip with no file behind it: 64 frames of 1024 x 1024 at
// 25 frames a second, handed out as 16-bit interleaved RGB. Every frame is ready at once.
class CalibrateRenderSource : public R3DSource {
public:
    static constexpr size_t kBufferBytes = 0x800000;

    CalibrateRenderSource();

    // Only stores the path.
    bool OpenFileForOutputSize(const std::string& path, bool forOutputSize) override;
    bool OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path, bool forOutputSize,
                                                                int32_t bufferCount, bool useRocket,
                                                                bool willBlur) override;
    void DecodeSetup() override {}
    bool DecodeFrame(int32_t) override { return true; }
    bool Decode(int32_t) override { return true; }
    OriginalSize GetOriginalSizeForPath(const std::string& path) override;
    uint32_t FramesInClip() const override;
    uint32_t MetadataKelvin() const override { return 5600; }
    float MetadataExposure() const { return 0.0f; }
    bool ExposureConsistent() const { return true; }
    const BitmapImage* ImageRep() const override { return &rep_; }
    uint8_t* RawBuffer() override { return buffer_.data(); }
    uint8_t* ResizeBuffer() override { return buffer_.data(); }
    uint8_t* ProcessedBuffer() override { return buffer_.data(); }
    void SetExposureKelvin(float, float) override {}
    bool ExtractAudio(const std::string&) override { return true; }
    float FramesPerSecond() const override;
    TimecodeValues Timecode(int32_t) const override { return {}; }
    std::string TimecodeString() const override;
    std::string TimecodeString(int32_t frame) const override;
    std::string EdgecodeString(int32_t frame) const override;
    // Stays interleaved.
    void SetPlanar(bool) override {}
    std::string SourceType() const override { return "EpicX_RC3RG3"; }
    bool PreFectchFrame(int32_t) override { return true; }
    // Writes frame f of the pattern into the buffer; answers kFrameReady.
    int32_t RetrieveBufferForFrame(int32_t frame) override;
    bool DiscardFrame(int32_t) override { return true; }

    size_t bufferSize() const { return buffer_.size(); }

private:
    std::vector<uint8_t> buffer_;
    BitmapImage rep_;
};

}  // namespace ombrel
