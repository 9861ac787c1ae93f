#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/ZeroedBlock.h"
#include "platform/gl/GlContext.h"

namespace ombrel {

class ClipSettings;

// Start timecode of a frame. All four 0 means the clip has no timecode.
struct TimecodeValues {
    int32_t hours = 0;
    int32_t minutes = 0;
    int32_t seconds = 0;
    int32_t frames = 0;
    bool operator==(const TimecodeValues&) const = default;
};

// Width and height of a clip as the file tells them.
struct OriginalSize {
    float width = 0.0f;
    float height = 0.0f;
};

// A view of one processed frame: 16-bit samples in host order, rows without gaps.
struct BitmapImage {
    uint8_t* data = nullptr;
    uint32_t width = 0;
    uint32_t height = 0;
    int samplesPerPixel = 0;
    size_t bytesPerRow = 0;
};

// The GL context that a source carries. The renderer makes it current on its worker
// before it builds its pipeline. A source without one has a null context.
using OpenGLContext = GlContext;

// What RetrieveBufferForFrame answers.
inline constexpr int32_t kFrameNotReady = 0;
inline constexpr int32_t kFrameReady = 2;
// The frame was given up for good (its decode failed and will not succeed on retry).
inline constexpr int32_t kFrameFailed = -1;

// The one interface of every frame supplier: sizes, fit, the decode slots with their
// prefetch contract, timecode and audio. One object stands for one opened clip; a clip
// is closed by releasing the source.
//
// Threads: the render worker sets the source up, retrieves and discards frames; the
// prefetch thread calls PreFectchFrame; GetOriginalSizeForPath runs on the main thread.
// Everything else is set before those threads start.
class RenderSource {
public:
    RenderSource();
    virtual ~RenderSource();
    RenderSource(const RenderSource&) = delete;
    RenderSource& operator=(const RenderSource&) = delete;

    bool HasOpenFile() const;
    // A copy, so the caller's text survives a later open. Empty, never null.
    std::string FilePath() const;
    void SetFilePath(const std::string& path);

    // Brings the decode parameters up to date (resolution, exposure, Kelvin, extract type).
    // Once before the first DecodeFrame and again after such a change.
    virtual void DecodeSetup() = 0;
    // Decodes one frame synchronously with the parameters in force.
    virtual bool DecodeFrame(int32_t frame) = 0;
    // DecodeSetup, then DecodeFrame.
    virtual bool Decode(int32_t frame);

    // Opening. The base stores the path; a subclass calls it first and then opens the
    // clip. `forOutputSize` tells that the aspect size is valid and the decode resolution
    // is derived from it. False when the clip cannot be read; lastError() says why.
    virtual bool OpenFileForOutputSize(const std::string& path, bool forOutputSize);
    // The opening of clips with a decode ring. Sources without a ring open as above.
    virtual bool OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path, bool forOutputSize,
                                                                        int32_t bufferCount, bool useRocket,
                                                                        bool willBlur);
    // Why the last open failed; empty when it did not.
    std::string lastError() const;

    uint32_t Width() const { return imageWidth_; }
    uint32_t Height() const { return imageHeight_; }
    uint32_t OutputWidth() const { return outputWidth_; }
    uint32_t OutputHeight() const { return outputHeight_; }
    uint32_t AspectWidth() const { return aspectWidth_; }
    uint32_t AspectHeight() const { return aspectHeight_; }

    // Size of the clip at `path`, before any open. Main thread only. The base knows none.
    virtual OriginalSize GetOriginalSizeForPath(const std::string& path);

    virtual uint32_t FramesInClip() const = 0;
    // White balance recorded in the clip; 5600 when it has none or none is open.
    virtual uint32_t MetadataKelvin() const = 0;
    virtual const BitmapImage* ImageRep() const = 0;
    // The buffer that holds the last decoded frame: 16-bit RGB, Width x Height, packed.
    virtual uint8_t* RawBuffer() = 0;
    // What a consumer reads when the frame is not taken straight from RawBuffer.
    virtual uint8_t* ResizeBuffer() = 0;
    virtual uint8_t* ProcessedBuffer() = 0;

    // Output size and fit. Needs the image size first (each subclass brings it in, so
    // this is virtual). False, with nothing changed, while the image size is unknown.
    virtual bool SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit);

    virtual void SetExposureKelvin(float exposure, float kelvin) = 0;
    // Writes the clip's audio to a file of its own. True when nothing went wrong, also
    // for a clip without audio.
    virtual bool ExtractAudio(const std::string& destinationPath) = 0;
    // 0 when no clip is open.
    virtual float FramesPerSecond() const = 0;
    virtual TimecodeValues Timecode(int32_t frame) const = 0;
    virtual std::string TimecodeString() const = 0;
    virtual std::string TimecodeString(int32_t frame) const = 0;
    virtual std::string EdgecodeString(int32_t frame) const = 0;
    // Planar (true) or interleaved processed frames. Before the open.
    virtual void SetPlanar(bool planar) = 0;
    // Key of the camera colour profile: "5D" for every movie source.
    virtual std::string SourceType() const = 0;

    // The decode ring: one producer (the prefetch thread) and one consumer (the render
    // loop); frames enter and leave in frame order.
    // Claims a free slot and fills it with the frame. False when no slot is free or the
    // decode failed; the producer then retries.
    virtual bool PreFectchFrame(int32_t frame) = 0;
    // kFrameReady when the frame sits decoded in a slot (which it then locks), kFrameNotReady
    // when not yet, kFrameFailed when the frame will never come.
    virtual int32_t RetrieveBufferForFrame(int32_t frame) = 0;
    // Gives the frame's slot back. False when no slot holds it.
    virtual bool DiscardFrame(int32_t frame) = 0;
    // The consumer's wait between two retrievals: until the frame may have landed, at most
    // `longest`. Sources without a ring that tells sleep it out.
    virtual void WaitForFrameLanding(int32_t frame, std::chrono::milliseconds longest);
    // The producer's wait between two tries: until a slot may be free, at most `longest`.
    virtual void WaitForFreeSlot(std::chrono::milliseconds longest);

    // Sources that run the look themselves (movie sources): the disk render set-up and
    // the processed frame, OutputWidth x OutputHeight with 3 samples per pixel, or 4 with
    // alpha. Sources that hand out raw frames answer false and kFrameNotReady.
    virtual bool SetupDiskRendererSourceWithAlpha(const ClipSettings& settings, const std::string& sourceType,
                                                  bool withAlpha);
    virtual int32_t RetrieveBufferForFrameOutputBuffer(int32_t frame, uint8_t** buffer);

    // The prefetch thread calls these first and last; a source whose decoder keeps
    // per-thread state enters and leaves it here.
    virtual void EnterPrefetchThread() {}
    virtual void LeavePrefetchThread() {}

    int32_t Debayer() const { return debayer_; }
    void setDebayer(int32_t v) { debayer_ = v; }
    bool needsResize() const { return needsResize_; }
    void setNeedsResize(bool v) { needsResize_ = v; }
    // Read and written as one unit: another thread may read it during a change.
    double blurRadius() const { return blurRadius_.load(); }
    virtual void setBlurRadius(double v) { blurRadius_.store(v); }
    bool decodeInterleaved() const { return decodeInterleaved_; }
    void SetDecodeInterleaved(bool v) { decodeInterleaved_ = v; }
    bool usingPrefetch() const { return usingPrefetch_; }

    std::shared_ptr<OpenGLContext> openGLContext() const { return openGLContext_; }
    void setOpenGLContext(std::shared_ptr<OpenGLContext> context) { openGLContext_ = std::move(context); }

    // The resize buffer of the output size: 8 bytes a pixel, zeroed when made.
    size_t resizeBufferSize() const { return resizeBuffer_.size(); }
    const uint8_t* resizeBufferData() const { return resizeBuffer_.empty() ? nullptr : resizeBuffer_.data(); }

protected:
    void setImageSize(uint32_t width, uint32_t height) {
        imageWidth_ = width;
        imageHeight_ = height;
    }
    void setAspectSize(uint32_t width, uint32_t height) {
        aspectWidth_ = width;
        aspectHeight_ = height;
    }
    void setUsingPrefetch(bool v) { usingPrefetch_ = v; }
    void setLastError(std::string message);
    uint8_t* resizeBufferMutable() { return resizeBuffer_.empty() ? nullptr : resizeBuffer_.data(); }

    int32_t bytesPerPlane_ = 0;
    int32_t bitsPerChannel_ = 16;
    int32_t bytesPerRow_ = 0;

private:
    uint32_t imageWidth_ = 0;
    uint32_t imageHeight_ = 0;
    bool needsResize_ = false;
    ZeroedBlock resizeBuffer_;  // pages taken only when a frame is resized into it
    bool usingPrefetch_ = false;
    uint32_t outputWidth_ = 0;
    uint32_t outputHeight_ = 0;
    uint32_t aspectWidth_ = 0;
    uint32_t aspectHeight_ = 0;
    mutable std::mutex pathLock_;  // the main thread reads the path while the worker opens
    std::string filePath_;
    std::string lastError_;
    int32_t debayer_ = 1;
    bool decodeInterleaved_ = false;
    std::atomic<double> blurRadius_{0.0};
    std::shared_ptr<OpenGLContext> openGLContext_;
};

using RenderSourcePtr = std::shared_ptr<RenderSource>;

// The picture's box in the output after the fit: fit 0 keeps the output width, fit 1
// the output height, any other fit fills the output. Equal sizes need no fit.
struct AspectSize {
    uint32_t width = 0;
    uint32_t height = 0;
};
AspectSize AspectSizeForFit(uint32_t imageWidth, uint32_t imageHeight, uint32_t outputWidth, uint32_t outputHeight,
                            int32_t fit);

}  // namespace ombrel
