#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "library/FileParser.h"
#include "look/DrawParams.h"
#include "look/GrainWalk.h"
#include "look/ShaderProcessor.h"
#include "platform/movie/MovieProbe.h"
#include "sources/DecodeSlotRing.h"
#include "sources/MovieVisualContext.h"
#include "sources/RenderSource.h"

namespace ombrel {

// The render source of every clip that is not an R3D clip: a movie read picture by picture,
// graded at once by a look pipeline of its own, and handed to the renderer as finished
// frames in a ring of five output slots (8 bytes a pixel of the output size each).
//
// Threads: the render worker opens the source and sets it up with its GL context current,
// then lets go of the context; the prefetch thread takes it (EnterPrefetchThread), decodes,
// draws and reads back into the slots; the worker retrieves and discards them.
// A movie source has no timecode of its own: its frames are numbered from 0.
class QTRenderSource : public RenderSource {
public:
    static constexpr int kSlotCount = 5;

    explicit QTRenderSource(ShaderProcessor::Backend backend = ShaderProcessor::Backend::OpenGL);
    ~QTRenderSource() override;

    bool OpenFileForOutputSize(const std::string& path, bool forOutputSize) override;
    OriginalSize GetOriginalSizeForPath(const std::string& path) override;
    bool SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit) override;
    uint32_t FramesInClip() const override { return frameCount_; }
    uint32_t MetadataKelvin() const override { return 5600; }
    const BitmapImage* ImageRep() const override { return nullptr; }
    uint8_t* RawBuffer() override { return nullptr; }
    uint8_t* ResizeBuffer() override { return nullptr; }
    uint8_t* ProcessedBuffer() override { return nullptr; }
    void SetExposureKelvin(float exposure, float kelvin) override;
    // Movies have no sound file of their own: their audio goes by GetAudioTracks.
    bool ExtractAudio(const std::string& /*destinationPath*/) override { return false; }
    float FramesPerSecond() const override { return static_cast<float>(fps_); }
    TimecodeValues Timecode(int32_t /*frame*/) const override { return {}; }
    std::string TimecodeString() const override;
    std::string TimecodeString(int32_t frame) const override;
    std::string EdgecodeString(int32_t frame) const override { return TimecodeString(frame); }
    void SetPlanar(bool /*planar*/) override {}
    std::string SourceType() const override { return "5D"; }
    // Frames arrive by PreFectchFrame only.
    void DecodeSetup() override {}
    bool DecodeFrame(int32_t /*frame*/) override { return false; }

    // The movie's rate, length and size: from the metadata cache when it knows the file.
    void ReadCurrentMovieDetails();
    // The pipeline's render target and the five output slots.
    bool FBOSetup();
    bool SetupDiskRendererSourceWithAlpha(const ClipSettings& settings, const std::string& sourceType,
                                          bool withAlpha) override;
    // Fills a free slot with frame f, graded. False when no slot is free. A frame the movie
    // cannot give fails its slot, and every later one: the renderer then stops with the reason.
    bool PreFectchFrame(int32_t frame) override;
    // Draws frame f into `buffer`. A frame other than the one the movie stands at moves the
    // movie there and answers false; the next call draws it. Then the movie steps one frame.
    bool GetNextFrameForRender(uint8_t* buffer, int32_t frame);
    void DrawRectForDisk(bool flipped);

    // The forms of taking a frame: kFrameReady with the slot locked, kFrameNotReady while it
    // is not drawn, kFrameFailed when it never will be.
    int32_t RetrieveBufferForFrame(int32_t frame) override;
    int32_t RetrieveBufferForFrameOutputBuffer(int32_t frame, uint8_t** buffer) override;
    // The slot as 16-bit samples, 4 a pixel when alpha was asked for, else 3.
    int32_t RetrieveBufferForFrameBitmapRep(int32_t frame, BitmapImage* rep);
    bool DiscardFrame(int32_t frame) override;

    // The movie's sound streams.
    std::vector<MovieTrack> GetAudioTracks() const;

    void EnterPrefetchThread() override;
    void LeavePrefetchThread() override;

    ShaderProcessor* shaderProcessor() const { return shaderProcessor_.get(); }
    MovieVisualContext* visualContext() const { return visualContext_.get(); }
    int32_t nextExpectedFrame() const { return nextExpectedFrame_; }

private:
    void SetImageWidthHeight(uint32_t width, uint32_t height);
    // Fails this frame and every later one with the reason.
    void StopAtEndOfData(const std::string& why);

    ShaderProcessor::Backend backend_;
    std::unique_ptr<ShaderProcessor> shaderProcessor_;
    std::unique_ptr<MovieVisualContext> visualContext_;
    DrawParams drawParams_;
    std::recursive_mutex renderLock_;
    double fps_ = 0.0;
    uint32_t frameCount_ = 0;
    MovieTime duration_;
    int32_t fit_ = 0;
    std::unique_ptr<DecodeSlotRing> frameBuffers_;
    int32_t currentBuffer_ = -1;
    int32_t nextExpectedFrame_ = 0;
    bool needsAlphaFromShader_ = false;
    bool endOfData_ = false;
    float exposure_ = 0.0f;
    float kelvin_ = 5600.0f;
    std::optional<GrainWalk> grainWalk_;
};

// Makes every file that is not an R3D clip render through QTRenderSource with a look
// pipeline of that kind. Safe to call more than once.
void RegisterMovieSource(ShaderProcessor::Backend backend);

}  // namespace ombrel
