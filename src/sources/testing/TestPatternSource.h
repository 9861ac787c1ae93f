#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "sources/DecodeSlotRing.h"
#include "sources/FramePlacement.h"
#include "sources/RenderSource.h"

namespace ombrel::test {

// What a test pattern clip looks like and how its source misbehaves on request.
struct TestPatternConfig {
    uint32_t width = 64;
    uint32_t height = 36;
    float fps = 24.0f;
    int32_t frames = 48;
    TimecodeValues startTimecode{1, 0, 0, 0};
    // Empty: "5D" (a movie source) for files that are not R3D clips, "EpicM" for R3D clips.
    std::string sourceType;
    std::chrono::microseconds decodeLatency{0};
    int slots = 4;  // when the opener does not ask for a number
    uint32_t metadataKelvin = 5600;
    int audioChannels = 0;  // 0: a clip without sound
    int audioSampleRate = 48000;
    bool failOpen = false;
    bool zeroAspectWidth = false;
    int32_t failFrame = -1;  // this frame never decodes
};

// What a source saw, kept beyond its life so that tests can look after the render.
struct TestPatternLog {
    mutable std::mutex lock;
    int sourcesMade = 0;
    int sourcesDestroyed = 0;
    int originalSizeCalls = 0;
    int originalSizeCallsOffMainThread = 0;
    int opens = 0;
    int32_t bufferCount = 0;
    bool useRocket = false;
    bool willBlur = false;
    bool planar = false;
    int32_t debayer = 0;
    int decodeSetups = 0;
    float exposure = 0.0f;
    float kelvin = 0.0f;
    std::vector<int32_t> prefetched;  // frames in the order they entered the ring
    int maxInFlight = 0;
    int prefetchThreadsEntered = 0;
    int prefetchThreadsLeft = 0;
    std::optional<bool> diskRendererAlpha;
    std::vector<std::string> audioPaths;
};

// A deterministic synthetic clip: every sample is a known function of frame, column,
// row and channel (SampleAt), so whatever a renderer writes can be checked exactly.
// It behaves as an R3D source (raw 16-bit RGB frames through the ring) unless its
// source type is "5D", where it acts as a movie source and hands out frames already
// drawn at the output size.
class TestPatternSource final : public RenderSource {
public:
    explicit TestPatternSource(TestPatternConfig config, std::shared_ptr<TestPatternLog> log = nullptr);
    ~TestPatternSource() override;

    static uint16_t SampleAt(int32_t frame, uint32_t x, uint32_t y, int channel, uint32_t width, uint32_t height);
    // Packed 16-bit RGB of one frame.
    static std::vector<uint16_t> FramePixels(int32_t frame, uint32_t width, uint32_t height);

    const TestPatternConfig& config() const { return config_; }

    void DecodeSetup() override;
    bool DecodeFrame(int32_t frame) override;
    bool OpenFileForOutputSize(const std::string& path, bool forOutputSize) override;
    bool OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path, bool forOutputSize,
                                                                int32_t bufferCount, bool useRocket,
                                                                bool willBlur) override;
    OriginalSize GetOriginalSizeForPath(const std::string& path) override;
    uint32_t FramesInClip() const override;
    uint32_t MetadataKelvin() const override;
    const BitmapImage* ImageRep() const override { return nullptr; }
    uint8_t* RawBuffer() override;
    uint8_t* ResizeBuffer() override { return RawBuffer(); }
    uint8_t* ProcessedBuffer() override { return nullptr; }
    bool SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit) override;
    void SetExposureKelvin(float exposure, float kelvin) override;
    bool ExtractAudio(const std::string& destinationPath) override;
    float FramesPerSecond() const override;
    TimecodeValues Timecode(int32_t frame) const override;
    std::string TimecodeString() const override { return TimecodeString(0); }
    std::string TimecodeString(int32_t frame) const override;
    std::string EdgecodeString(int32_t frame) const override { return TimecodeString(frame); }
    void SetPlanar(bool planar) override;
    std::string SourceType() const override { return sourceType_; }
    bool PreFectchFrame(int32_t frame) override;
    int32_t RetrieveBufferForFrame(int32_t frame) override;
    bool DiscardFrame(int32_t frame) override;
    bool SetupDiskRendererSourceWithAlpha(const ClipSettings& settings, const std::string& sourceType,
                                          bool withAlpha) override;
    int32_t RetrieveBufferForFrameOutputBuffer(int32_t frame, uint8_t** buffer) override;
    void EnterPrefetchThread() override;
    void LeavePrefetchThread() override;

private:
    bool FillFrame(int32_t frame, uint8_t* dest);
    bool FrameDecodes(int32_t frame) const;

    TestPatternConfig config_;
    std::shared_ptr<TestPatternLog> log_;
    std::string sourceType_;
    int32_t slotCount_ = 0;
    std::unique_ptr<DecodeSlotRing> ring_;
    std::vector<uint8_t> decodeBuffer_;
    uint8_t* asyncBufferPtr_ = nullptr;
    // Movie mode: frames are drawn at the output size into the ring.
    bool diskRenderer_ = false;
    bool withAlpha_ = false;
    std::vector<uint16_t> scratch_;  // used by the prefetch thread only
};

// Installs the test pattern as the source of both kinds of clip for the life of the object.
class ScopedTestPatternSources {
public:
    explicit ScopedTestPatternSources(TestPatternConfig config, std::shared_ptr<TestPatternLog> log = nullptr);
    // A config per clip path; paths not listed get `fallback`.
    ScopedTestPatternSources(std::vector<std::pair<std::string, TestPatternConfig>> perPath, TestPatternConfig fallback,
                             std::shared_ptr<TestPatternLog> log = nullptr);
    ~ScopedTestPatternSources();
    ScopedTestPatternSources(const ScopedTestPatternSources&) = delete;
    ScopedTestPatternSources& operator=(const ScopedTestPatternSources&) = delete;

    const std::shared_ptr<TestPatternLog>& log() const { return log_; }

private:
    std::shared_ptr<TestPatternLog> log_;
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace ombrel::test
