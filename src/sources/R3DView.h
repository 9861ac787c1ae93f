#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <mutex>
#include <string>
#include <vector>

#include "look/DrawParams.h"
#include "look/ShaderProcessor.h"
#include "platform/gl/GlObjects.h"
#include "platform/movie/MovieReader.h"

namespace ombrel {

// One finished picture of the viewer: RGBA, 8 bits a sample, rows top-down.
struct PreviewImage {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> rgba;
    uint64_t serial = 0;
};
using PreviewImagePtr = std::shared_ptr<const PreviewImage>;

// Where the viewer's pictures go: a widget, or a test. Present runs on any thread.
class PreviewSurface {
public:
    virtual ~PreviewSurface() = default;
    virtual void Present(PreviewImagePtr image) = 0;
    // False while the surface cannot show anything (hidden, being torn down): draws then
    // pass through the pipeline without a fault, as a failed focus lock does.
    virtual bool CanDraw() const { return true; }
};

// The picture on the film settings tab, without any window system: the look pipeline draws
// into a framebuffer the size of the surface, which is read back, turned top-down and handed
// to the PreviewSurface. It owns zoom, panning and the placeholder shown without a clip.
// Draws come from the main thread and the preview decode thread; the GL context is current
// only for the length of one draw. Lock order: the movie lock of a caller, then the draw
// lock here, then the pipeline's own table lock.
class R3DView {
public:
    static constexpr int kPlaceholderWidth = 1024;
    static constexpr int kPlaceholderHeight = 512;

    R3DView();
    ~R3DView();
    R3DView(const R3DView&) = delete;
    R3DView& operator=(const R3DView&) = delete;

    // Makes the pipeline and its GL objects for a surface of width x height. False, with
    // lastError(), when there is no OpenGL; the view then draws nothing.
    bool AwakeFromNib(int32_t width, int32_t height);
    std::string lastError() const;

    void setSurface(PreviewSurface* surface) { surface_ = surface; }
    // The surface's size: the framebuffer follows at the next draw.
    void setBounds(int32_t width, int32_t height);
    int32_t viewWidth() const { return viewWidth_.load(); }
    int32_t viewHeight() const { return viewHeight_.load(); }

    // Where the placeholder goes in a view of this size: half the width high, centred.
    static FloatRect PlaceholderViewport(int32_t viewWidth, int32_t viewHeight);

    // The look, passed on to the pipeline; each takes effect at the next draw.
    void SetExposureKelvin(float exposure, float kelvin);
    void SetLiftGammaGain(float lift, float gamma, float gain);
    void SetBallInfo(const ColorBallInfo& info);
    void SetSaturation(float saturation);
    void SetBlendValue(double v);
    void SetSBlendValue(double v);
    void SetGrainValue(double v);
    void SetHistogramBMW(double black, double mid, double white);
    void SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock, const std::string& sourceType,
                                              const std::optional<std::string>& chosen, bool r3dMode);
    void ChangeGrainMapToStockScale(const std::string& stock, double scale);
    void setBlurRadius(double v);
    void setHistogramPreLevels(bool v);
    void setBucketList(uint32_t** buckets);

    void setZoom(bool zoom);
    bool zoom() const { return zoom_.load(); }
    void setShowOriginal(bool on);
    bool showOriginal() const { return showOriginal_.load(); }
    void setHasOpenClip(bool v) { hasOpenClip_ = v; }
    bool hasOpenClip() const { return hasOpenClip_.load(); }
    void setFullResWidth(int32_t v) { fullResWidth_ = v; }
    void setFullResHeight(int32_t v) { fullResHeight_ = v; }
    int32_t imageWidth() const { return imageWidth_.load(); }
    int32_t imageHeight() const { return imageHeight_.load(); }

    // The decoded R3D frame: 16-bit RGB, interleaved, width x height. The buffer stays the
    // caller's and must live until the next call.
    void SetBufferWidthHeight(const uint8_t* buffer, int32_t width, int32_t height);
    // Draws the R3D buffer through the look (the frame number drives the grain walk).
    void ShowR3DFrame(int32_t frame);
    void ShowR3DFrame();
    void DrawPlaceholder();
    // What a repaint of the window needs: the placeholder without a clip, else the last frame.
    void Redraw();

    // Panning, in view coordinates with y upwards.
    void mouseDown(float x, float y);
    void mouseDragged(float x, float y);
    FloatPoint zoomHandles() const;

    // A live resize clears the picture; its end draws again.
    void windowResized();
    void viewDidEndLiveResize();

    // ---- Movies: frames by number, drawn through the same pipeline ----
    // Replaces the movie; a null path only lets go of it. False when the file cannot be read:
    // the view then has no movie and shows the placeholder.
    bool OpenMovieAtPath(const std::optional<std::string>& path);
    int32_t FramesInClip() const { return static_cast<int32_t>(frameCount_.load()); }
    double fps() const { return fps_.load(); }
    std::string EdgecodeString(int32_t frame) const;
    // Shows one frame on the grab thread; the same frame again keeps the grain in place.
    void ShowFrame(int32_t frame);
    void getFrameAtFrameNumber(int32_t frame);
    bool isGettingFrame() const { return isGettingFrame_.load(); }
    // Waits up to 2.2 s for a grab in flight; on the main thread it serves the main queue
    // meanwhile, since the grab hops to main. False when the grab is still running.
    bool WaitForFrameGrabToComplete();
    // Draws `frame`: 0 with a picture, -6660 when the movie has given none yet. Only tries
    // the movie lock: a busy lock is a skipped refresh.
    int32_t getFrameForTime(int32_t frame, bool fromDisplayLink);

    // Playback under a steady-clock display link at the screen's rate, looping in the play range.
    void StartPlayback();
    void StopPlayback();
    void TogglePlay();
    void setPlayback(bool play);
    bool playback() const { return playback_.load(); }
    void MovePlaybackToFrame(int32_t frame);
    void setPlayFrameIn(int32_t frame) { playFrameIn_ = frame; }
    void setPlayFrameOut(int32_t frame) { playFrameOut_ = frame; }
    void setRefreshRate(double hz) { refreshRate_ = hz > 0.0 ? hz : 60.0; }
    // Told of each frame that playback shows, on the display link thread.
    void setPlaybackObserver(std::function<void(int32_t)> observer);
    // A resize during playback pauses it until the resize ends.
    bool pausedForResize() const { return pausedForResize_.load(); }

    // The pipeline's small picture of the last draw, for preset icons.
    ThumbnailRep GetThumbnailOfSize(int32_t width, int32_t height) const;
    ShaderProcessor* shaderProcessor() const { return processor_.get(); }
    uint64_t framesPresented() const { return serial_.load(); }

private:
    bool BeginDraw();
    void EndDraw();
    bool EnsureFramebuffer();
    void ReadBackAndPresent();
    void DrawPlaceholderLocked();
    void ShowR3DFrameLocked(int32_t frame);

    std::unique_ptr<ShaderProcessor> processor_;
    GlContextPtr context_;
    PreviewSurface* surface_ = nullptr;
    std::string lastError_;
    mutable std::mutex errorLock_;

    // The draw lock: one draw at a time, the context current inside it.
    std::recursive_mutex drawLock_;
    // Guards the R3D buffer and its size.
    std::mutex monitor_;
    const uint8_t* buffer_ = nullptr;

    GlObject fbo_;
    GlObject colorBuffer_;
    int32_t fboWidth_ = 0;
    int32_t fboHeight_ = 0;
    GlObject placeholderTexture_;
    GlObject frameTexture_;
    std::vector<uint8_t> placeholderPixels_;

    std::atomic<int32_t> viewWidth_{0};
    std::atomic<int32_t> viewHeight_{0};
    std::atomic<int32_t> imageWidth_{1920};
    std::atomic<int32_t> imageHeight_{1080};
    std::atomic<int32_t> fullResWidth_{0};
    std::atomic<int32_t> fullResHeight_{0};
    std::atomic<bool> zoom_{false};
    std::atomic<bool> showOriginal_{false};
    std::atomic<bool> hasOpenClip_{false};
    std::atomic<int32_t> lastFrame_{0};
    std::atomic<uint64_t> serial_{0};
    bool ready_ = false;

    void DisplayLinkLoop();
    void GrabThread(int32_t frame);
    void JoinGrab();
    void SetNextTime();

    // "renderlock": the movie and its frame buffer.
    std::recursive_mutex renderLock_;
    std::unique_ptr<MovieReader> movie_;
    std::vector<uint16_t> movieFrame_;
    int64_t movieFrameNumber_ = -1;
    std::atomic<double> fps_{0.0};
    std::atomic<uint32_t> frameCount_{0};
    std::atomic<bool> firstFrameRetrieved_{false};
    std::mutex grabMonitor_;
    std::atomic<bool> isGettingFrame_{false};
    std::atomic<int32_t> pendingFrame_{-1};
    // The frame a grab asked for and the movie's position, set on the main thread.
    std::atomic<int32_t> nextTime_{0};
    std::atomic<int32_t> movieTime_{0};
    std::atomic<int32_t> lastFrameRetrieved_{-1};
    std::atomic<int32_t> lastFrameShown_{-1};
    std::thread grabThread_;
    std::atomic<bool> playback_{false};
    std::atomic<bool> linkRunning_{false};
    std::thread displayLink_;
    std::atomic<int32_t> playStartFrame_{0};
    std::atomic<int64_t> playStartNs_{0};
    std::atomic<int32_t> playFrameIn_{0};
    std::atomic<int32_t> playFrameOut_{0};
    std::atomic<double> refreshRate_{60.0};
    std::atomic<bool> pausedForResize_{false};
    std::mutex observerLock_;
    std::function<void(int32_t)> playbackObserver_;

    mutable std::mutex panLock_;
    FloatPoint mouseAnchor_;
    FloatPoint zoomHandles_;
};

// The placeholder picture (RGB, 8 bits a sample, rows top-down) from the data root; a grey
// frame when the resource is missing, which a broken installation then shows.
std::vector<uint8_t> LoadPlaceholderPixels();

}  // namespace ombrel
