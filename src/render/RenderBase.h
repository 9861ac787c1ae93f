#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/FolderLock.h"
#include "render/FrameProcessor.h"
#include "render/RenderSetup.h"
#include "render/Renderer.h"
#include "sources/RenderSource.h"

namespace ombrel {

class RenderManager;

// One output file of one frame. `job` is the index of the snippet job the file belongs
// to, or -1 outside a per-snippet render.
struct FrameTarget {
    std::string path;
    int job = -1;
};

// The base of the disk renderers, and, as a plain instance, the decode driver of the
// preview. One instance lives for one clip: it opens the clip's source at the output
// size, sets the clip up, runs the prefetch thread and the one frame loop, and hands
// each finished frame to the writer of its output.
//
// A writing renderer (FrameSequenceRenderer for every frame-file format; a movie writer
// next) answers WritesFrames() true and supplies OutputWantsRGBA(), FrameTargetsForFrame()
// and WriteFrame(), optionally BeginFrameSequence() and EndFrameSequence(). Per clip, on the
// render worker thread except WriteFrame of raw frames, which runs on the frame writer's
// thread (one frame at a time, while the next is drawn):
//
//   SetupForRender (folders, audio, timecode base, snippets, frame flags, and the refusal
//   when output exists: FrameTargetsForFrame of every frame of the range is tested)
//   BeginFrameSequence(setup, first, last)          once; false ends the clip
//   WriteFrame(setup, f, buffer)                    per frame rendered, after the look stage
//   EndFrameSequence(setup, completed)              once, also after a cancel or failure
//
// `buffer` is the read-back frame: OutputWidth x OutputHeight pixels, 16-bit samples in host
// order, rows without gaps, 4 samples a pixel (R, G, B, A) when OutputWantsRGBA() is true,
// else 3 (R, G, B). The block always has room for 8 bytes a pixel, and the writer may change
// it in place. The renderer owns it in the raw-frame branch; in the movie branch it is the
// source's slot, valid until the frame is discarded after the write.
class RenderBase : public Renderer {
public:
    RenderBase();
    ~RenderBase() override;
    RenderBase(const RenderBase&) = delete;
    RenderBase& operator=(const RenderBase&) = delete;

    // ---- What the render queue calls ----
    // Opens the item's clip at the output size and records its look values. False, with
    // the item failed and a message, when the clip cannot be rendered.
    bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) override;
    void setRenderManager(RenderManager* manager) override;
    RenderManagerItemPtr currentRenderItem() const override;
    // Renders first to last, both inclusive, on the calling thread; blocks until done or
    // cancelled. Movie sources ("5D") take the movie branch, all others the raw-frame branch.
    void RenderFrameSequenceStartingEnding(int first, int last) override;

    // ---- Steps, public so that renderers and tests can call them one by one ----
    // Opening the source; the only way a source is opened for rendering.
    bool LoadSettingsForRenderManagerItem32Bit(const RenderManagerItemPtr& item, const ClipSettings& clip,
                                               const OutputSettings& output);
    // Fill destPath and baseName and make the folders; false (item failed) when the
    // folder cannot be made.
    virtual bool SetDestPathForR3D(RenderSetup& setup);
    virtual bool SetDestPathForQT(RenderSetup& setup);
    // Per-clip setup. False when the clip is not to be rendered (existing output, no
    // folder); the item then carries the message.
    bool SetupForRenderStartingEnding(RenderSetup& setup, int first, int last);
    // Starts the prefetch thread over first..last. `frameFlags` must outlive the thread.
    bool StartPrefetchThreadEndingFrameFlagsUseFrameFlags(int first, int last, const std::vector<uint8_t>* frameFlags,
                                                          bool useFrameFlags);
    // Asks the prefetch thread to stop and waits for it to end.
    void StopPrefetchThread();
    // The prefetch thread's body.
    void PreFetch(PreFetchData& data);
    void UpdateCurrentGrainAmount();
    // The files of one frame, which must not exist when output is to be kept; none by default.
    virtual std::vector<FrameTarget> FrameTargetsForFrame(const RenderSetup& setup, int frame) const;

    // Buffer conversions of the movie output path.
    static void SwapRGBA16BufferEndiannessPixels(uint16_t* buffer, size_t pixels);
    // R, G, B, A to A, R, G, B for OutputWidth x OutputHeight pixels of the source.
    void ConvertShaderBufferToARGB(uint16_t* buffer) const;
    static void ConvertShaderBufferToARGBPixels(uint16_t* buffer, size_t pixels);

    // The whole frames a second of a rate: 23.976 counts as 24, 24.005 as 24.
    static int FrameBaseForRate(float fps);
    // Reel and clip parts of a base name for the folder options.
    static std::pair<std::string, std::string> ReelAndClipOfBaseName(const std::string& baseName);

    // ---- Preview role ----
    void setRenderSource(RenderSourcePtr source) { renderSource_ = std::move(source); }
    const RenderSourcePtr& renderSource() const { return renderSource_; }
    void DecodeSetup();
    void ResetAbortStatus() { shouldAbort_ = false; }
    void AbortRender() { shouldAbort_ = true; }
    // Nothing while aborted; otherwise the source decodes and the frame is recorded.
    bool Decode(int frame);
    int decodedFrame() const { return decodedFrame_.load(); }
    void setDecodedFrame(int frame) { decodedFrame_ = frame; }
    void SetExposureKelvin(float exposure, float kelvin);

    void setGrainMultiplier(float v) { grainMultiplier_ = v; }
    void setColorChangePercent(double v) { colorChangePercent_ = v; }
    void setSCurveChangePercent(double v) { sCurveChangePercent_ = v; }
    void setKelvin(float v) { kelvin_ = v; }
    void setExposure(float v) { exposure_ = v; }
    void setBlack(float v) { black_ = v; }
    void setMid(float v) { mid_ = v; }
    void setWhite(float v) { white_ = v; }

    float grainMultiplier() const { return grainMultiplier_; }
    float kelvin() const { return kelvin_; }
    float exposure() const { return exposure_; }
    const std::string& destDirectory() const { return destDirectory_; }
    const std::string& sourcePath() const { return sourcePath_; }
    uint32_t imageWidth() const { return imageWidth_; }
    uint32_t imageHeight() const { return imageHeight_; }
    bool overwrite() const { return overwrite_; }
    int folderSettings() const { return folderSettings_; }
    int timecodeSettings() const { return timecodeSettings_; }
    int filenameSettings() const { return filenameSettings_; }
    float grainWidth() const { return grainWidth_; }
    float grainHeight() const { return grainHeight_; }
    const std::shared_ptr<RenderGrain>& currentGrain() const { return currentGrain_; }
    // The prefetch job in hand, or null.
    std::shared_ptr<const PreFetchData> pfdata() const;

protected:
    // ---- Hooks of a writing renderer (see the class comment) ----
    virtual bool WritesFrames() const { return false; }
    // Four samples a pixel in the read-back instead of three.
    virtual bool OutputWantsRGBA() const { return false; }
    // The file's pixel bytes, which the look may lay out as it draws.
    virtual PixelPacking OutputPacking() const { return PixelPacking::kHost16; }
    // Whether the draw that filled `buffer` gave OutputPacking() already (for WriteFrame).
    bool DrawnPacked(const uint8_t* buffer) const;
    // How long the movie branch sleeps between tries for a frame.
    virtual std::chrono::milliseconds MovieFramePollInterval() const { return std::chrono::milliseconds(10); }
    // Once per clip, after the setup and before the first frame is drawn. False ends the
    // clip; the hook fails the item with its message.
    virtual bool BeginFrameSequence(const RenderSetup& setup, int first, int last);
    // Writes one frame. A write that fails the item (FailItem) ends the clip, and the frame
    // does not count; a frame with no files counts as done.
    virtual void WriteFrame(RenderSetup& setup, int frame, uint8_t* buffer);
    // Once per clip after the loop; `completed` is false after a cancel or a failure.
    virtual void EndFrameSequence(const RenderSetup& setup, bool completed);
    // A movie keeps its length: a raw clip's frames that the snippets leave out reach
    // WriteFrame with a null buffer, and a movie source renders every frame of the range.
    virtual bool KeepsMovieLength() const { return false; }
    // Stops the whole run; the item fails with the reason.
    void CancelRender(const std::string& reason) const;

    // The files of a frame as the frame sequences name them: "%@%06i.<extension>" of the
    // prefix and the frame's number, under "S%04i" of each snippet job that holds it when
    // each snippet goes to its own folder.
    std::vector<FrameTarget> SequenceTargetsForFrame(const RenderSetup& setup, int frame,
                                                     const std::string& extension) const;

    // The two branches of the frame loop.
    void RenderR3DFrameSequenceStartingEnding(int first, int last);
    void RenderQTFrameSequenceStartingEnding(int first, int last);

    bool ShouldCancel() const;
    // The item fails with a message (the first one wins).
    void FailItem(const std::string& message) const;
    // Makes an output folder and its parents; false, with the item failed, when it cannot.
    bool MakeFolder(const std::string& path) const;
    // The clip's file name without its extension and, as R3D clips name their first file,
    // without a trailing "_001".
    static std::string ClipBaseName(const std::string& path);
    // The source is a movie, not a raw clip.
    bool HasMovieSource() const;

private:
    // The two draw buffers of the frame loop that hold packed pixels (null where not).
    std::array<std::atomic<const uint8_t*>, 2> packedDraws_{};
    // Waits for frame f; answers kFrameReady, kFrameFailed, or kFrameNotReady on a cancel.
    int32_t WaitForFrame(int frame, bool movie, uint8_t** buffer);
    // The loop over first..last; false when it ended early.
    bool RunFrameLoop(RenderSetup& setup, int first, int last, bool movie, FrameProcessor* processor,
                      const FrameDrawParams* params);
    // Writes a frame and counts it done; false when the write failed the item (or a
    // cancel had). Runs on the frame writer's thread for raw frames.
    bool WriteAndCountFrame(RenderSetup& setup, int frame, uint8_t* buffer);
    void PostFramesRendered(int frame) const;

    FolderLock destLock_;  // first, so it is let go last; the clip's frames in its output folder
    RenderSourcePtr renderSource_;
    std::shared_ptr<RenderGrain> currentGrain_;
    float grainMultiplier_ = 1.0f;
    float exposure_ = 0.0f;
    float kelvin_ = 5600.0f;
    double colorChangePercent_ = 1.0;
    double sCurveChangePercent_ = 1.0;
    float black_ = 0.1f;
    float mid_ = 0.5f;
    float white_ = 1.0f;
    std::string destDirectory_;
    std::string sourcePath_;
    uint32_t imageWidth_ = 0;
    uint32_t imageHeight_ = 0;
    std::atomic<bool> shouldAbort_{false};
    bool overwrite_ = true;
    int folderSettings_ = 0;
    int timecodeSettings_ = 0;
    int filenameSettings_ = 0;
    int edlOptionsSetting_ = 0;
    float grainWidth_ = 0.0f;
    float grainHeight_ = 0.0f;
    std::atomic<int> decodedFrame_{-1};
    RenderManagerItemPtr currentRenderItem_;
    std::atomic<RenderManager*> renderManager_{nullptr};
    std::shared_ptr<PreFetchData> pfdata_;
    std::thread prefetchThread_;
};

}  // namespace ombrel
