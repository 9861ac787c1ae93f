#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/ZeroedBlock.h"
#include "sources/R3DFile.h"
#include "sources/RenderSource.h"

namespace ombrel {

// A timecode text of an R3D clip at its rate, as R3DSource::Timecode() reads it.
TimecodeValues R3DTimecodeForText(const std::string& text, uint64_t rateNumerator, uint64_t rateDenominator);

// The render source of R3D clips: 16-bit RGB frames developed by the camera SDK with the
// user's exposure and Kelvin in the chosen extract type, decoded into the ring of its R3DFile
// at the smallest resolution that covers the output.
//
// Timecode texts: the SDK's own text is handed out as it stands, "." and ";" included.
// Timecode() splits a text at ":", ";" or "." alike. Above 30 frames per second a timecode
// step covers two frames, the first written with ".", the second with ":"; Timecode() counts
// such frames in the clip's own rate: twice the step's frame field, plus one for the second.
class R3DSource : public RenderSource {
public:
    R3DSource();
    ~R3DSource() override;

    // Opens with that many ring slots, trying the card.
    bool OpenFileForOutputSizeWithAsyncBuffersWillBlur(const std::string& path, bool forOutputSize, int32_t bufferCount,
                                                       bool willBlur);
    bool OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path, bool forOutputSize,
                                                                int32_t bufferCount, bool useRocket,
                                                                bool willBlur) override;
    // A plain open: 4 slots at full resolution, 8 otherwise, with the card, no blur.
    bool OpenFileForOutputSize(const std::string& path, bool forOutputSize) override;

    R3DFile* r3dFile() const { return r3dFile_.get(); }
    bool ExposureConsistent() const;
    void CopyInterleavedRawToResized();

    void DecodeSetup() override;
    bool DecodeFrame(int32_t frame) override;
    OriginalSize GetOriginalSizeForPath(const std::string& path) override;
    bool SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit) override;
    uint32_t FramesInClip() const override;
    uint32_t MetadataKelvin() const override;
    const BitmapImage* ImageRep() const override;
    uint8_t* RawBuffer() override;
    uint8_t* ResizeBuffer() override;
    uint8_t* ProcessedBuffer() override;
    void SetExposureKelvin(float exposure, float kelvin) override;
    bool ExtractAudio(const std::string& destinationPath) override;
    float FramesPerSecond() const override;
    TimecodeValues Timecode(int32_t frame) const override;
    std::string TimecodeString() const override;
    std::string TimecodeString(int32_t frame) const override;
    std::string EdgecodeString(int32_t frame) const override;
    void SetPlanar(bool planar) override;
    std::string SourceType() const override;
    bool PreFectchFrame(int32_t frame) override;
    int32_t RetrieveBufferForFrame(int32_t frame) override;
    bool DiscardFrame(int32_t frame) override;
    void WaitForFrameLanding(int32_t frame, std::chrono::milliseconds longest) override;
    void WaitForFreeSlot(std::chrono::milliseconds longest) override;

    bool isPlanar() const { return isPlanar_; }
    const std::array<uint8_t*, 5>& altPlanes() const { return altPlanes_; }
    int32_t bytesPerPlane() const { return bytesPerPlane_; }
    int32_t bytesPerRow() const { return bytesPerRow_; }

private:
    std::unique_ptr<R3DFile> r3dFile_;
    std::unique_ptr<R3DFile> oldFile_;  // the previous clip's buffers stay valid until the next open
    std::array<uint8_t*, 5> altPlanes_{};
    bool isPlanar_ = false;
    // Width x height x 8 bytes at the decoded size each; pages are only taken when written,
    // so a render that reads the decode slots in place never pays for them.
    ZeroedBlock processedBuffer_;
    ZeroedBlock resizeBuffer_;
    BitmapImage rep_;
    uint8_t* asycBufferPtr_ = nullptr;
    mutable std::atomic<int> sensorId_{0};
    mutable std::atomic<int> cameraId_{0};
};

// The camera profile of an R3D clip for an extract type: the row of the extract type, the
// column of camera 1 with sensor 0, camera 1 with sensor 1, or any other.
std::string R3DSourceTypeFor(int extractType, int cameraModelId, int sensorId);

// Makes R3D clips render through R3DSource and lets the file rules read R3D clips through the
// camera SDK. Safe to call more than once.
void RegisterR3DSource();

}  // namespace ombrel
