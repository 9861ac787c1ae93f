#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "r3d/sdk/R3DSDK.h"
#include "sources/DecodeSlotRing.h"

namespace ombrel {

// One R3D clip opened through the camera SDK: the decode resolution, the decode jobs and the
// ring of slots that frames are decoded into, in software or on the accelerator card.
//
// Row bytes: the jobs ask for rows of width x 6 bytes, the packed rows that every consumer
// reads, while each slot keeps room for width x 12 bytes a row. Our decoder honours the row
// size literally, so a row size of width x 12 would leave gaps between the rows.
class R3DFile {
public:
    static constexpr int kMaxBuffers = 8;

    explicit R3DFile(int bufferCount = kMaxBuffers);
    ~R3DFile();
    R3DFile(const R3DFile&) = delete;
    R3DFile& operator=(const R3DFile&) = delete;

    // Colour treatment of every clip: 0 RC2RG, 1 RC3RG3, 2 RC3RLF. Read at decode setup.
    static void SetExtractType(int type);
    static int GetExtractType();
    static bool UsingRocket();
    // Called when a card job ends: the job's slot becomes ready, whatever the status.
    static void RocketCallback(R3DSDK::RocketDecodeJob* job, int status);

    void SetUserKelvin(int kelvin) { userKelvin_ = kelvin; }
    void SetUserExposure(float stops) { userExposure_ = stops; }
    int GetMetaKelvin() const { return metaKelvin_; }
    int GetMetaIso() const { return metaIso_; }

    // Opens for an output size: the largest divisor whose decode still covers it.
    bool LoadR3DClip(const std::string& path, uint32_t width, uint32_t height, bool useRocket, bool willBlur);
    // Opens at a divisor, with a try at the card.
    bool LoadR3DClip(const std::string& path, int resolution);
    // The same without the card: a look at the size.
    bool LoadR3DClipNoRocket(const std::string& path, int resolution);
    void SetDimensionsForRes(int res);
    bool AllocateBuffers(size_t bytes);

    void PreDecode();
    bool Decode(int32_t frame);
    bool Decode_RocketStyle(int32_t frame, int slot);
    bool PreFectchFrame(int32_t frame);
    bool PreFectchFrame_RocketStyle(int32_t frame);
    // 2 with the slot locked when the frame is ready, -1 when it will never decode, else 0.
    int32_t RetrieveBufferForFrame(int32_t frame, uint8_t** data);
    bool DiscardFrame(int32_t frame);
    void WaitForFrameLanding(int32_t frame, std::chrono::milliseconds longest);
    // After a failed try: until a slot frees, or, when one is free (the decode failed and
    // may succeed later), the whole of `longest`.
    void WaitForFreeSlot(std::chrono::milliseconds longest);
    uint8_t* Buffer() const;

    uint32_t Width() const { return width_; }
    uint32_t Height() const { return height_; }
    int Resolution() const { return resolution_; }
    uint32_t ClipLength() const;
    float FramesPerSecond() const;
    int SensorId() const;
    int CameraId() const;
    // Timecode texts; empty without a clip.
    std::string TimecodeForFrame(int32_t frame) const;
    std::string StartTimecode() const;
    std::string EdgecodeForFrame(int32_t frame) const;
    bool ExposureConsistent() const;
    bool ExtractAudio(const std::string& path) const;

    const R3DSDK::Clip* clip() const { return clip_.get(); }
    const R3DSDK::VideoDecodeJob& decodeJob() const { return decodeJob_; }
    const R3DSDK::ImageProcessingSettings& imageSettings() const { return imageSettings_; }
    int bufferCount() const { return bufferCount_; }
    size_t slotBytes() const { return ring_ ? ring_->bytesPerSlot() : 0; }
    // Why the last decode failed; empty after a success.
    std::string lastDecodeError() const;
    // Why a frame that the ring gave up on failed; empty when it did not.
    std::string DecodeErrorForFrame(int32_t frame) const;

private:
    bool Open(const std::string& path);
    void RocketStep(bool useRocket);
    bool CheckVersionOk();
    bool SoftwareDecodeInto(int32_t frame, int slot);

    // What a card job's private data names: the slot it fills.
    struct SlotRef {
        DecodeSlotRing* ring = nullptr;
        int slot = 0;
    };

    std::unique_ptr<R3DSDK::Clip> clip_;
    uint32_t width_ = 0;
    uint32_t height_ = 0;
    int bufferCount_ = kMaxBuffers;
    std::unique_ptr<DecodeSlotRing> ring_;
    std::array<R3DSDK::RocketDecodeJob, kMaxBuffers> slotJobs_{};
    std::array<SlotRef, kMaxBuffers> slotRefs_{};
    int currentBuffer_ = 0;
    int resolution_ = 1;
    int userKelvin_ = 0;
    int metaKelvin_ = 0;
    int metaIso_ = 0;
    float userExposure_ = 0.0f;
    R3DSDK::VideoDecodeJob decodeJob_;
    R3DSDK::ImageProcessingSettings imageSettings_;
    R3DSDK::RocketDecodeJob rocketJob_;
    bool preDecoded_ = false;
    std::atomic<int> lastStatus_{0};
    mutable std::mutex failedLock_;
    std::map<int32_t, int> failedFrames_;  // frames given up, with their status
};

}  // namespace ombrel
