#include "sources/R3DView.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "library/FileParser.h"
#include "datafile/Resource.h"
#include "look/AppState.h"

namespace ombrel {

std::vector<uint8_t> LoadPlaceholderPixels() {
    constexpr size_t kBytes = size_t{R3DView::kPlaceholderWidth} * R3DView::kPlaceholderHeight * 3;
    std::vector<uint8_t> pixels(kBytes, 60);
    std::string path;
    if (!FindResource("Resources/Images/Placeholder.ppm", &path).ok()) {
        LogError("The viewer's placeholder picture is missing: {}", ResourcePath("Resources/Images/Placeholder.ppm"));
        return pixels;
    }
    std::ifstream in(path, std::ios::binary);
    std::string magic;
    int w = 0, h = 0, maxValue = 0;
    in >> magic >> w >> h >> maxValue;
    in.get();
    if (magic != "P6" || w != R3DView::kPlaceholderWidth || h != R3DView::kPlaceholderHeight || maxValue != 255 ||
        !in.read(reinterpret_cast<char*>(pixels.data()), static_cast<std::streamsize>(kBytes))) {
        LogError("The viewer's placeholder picture {} is not a 1024 x 512 RGB picture", path);
        std::fill(pixels.begin(), pixels.end(), uint8_t{60});
    }
    return pixels;
}

R3DView::R3DView() = default;

R3DView::~R3DView() {
    StopPlayback();
    JoinGrab();
    std::lock_guard lock(drawLock_);
    if (!processor_) return;
    // The GL objects go with the context current; the pipeline deletes its own.
    if (context_ && context_->MakeCurrent()) {
        fbo_.reset();
        colorBuffer_.reset();
        placeholderTexture_.reset();
        frameTexture_.reset();
        context_->ReleaseCurrent();
    } else {
        fbo_.release();
        colorBuffer_.release();
        placeholderTexture_.release();
        frameTexture_.release();
    }
    processor_.reset();
}

std::string R3DView::lastError() const {
    std::lock_guard lock(errorLock_);
    return lastError_;
}

FloatRect R3DView::PlaceholderViewport(int32_t viewWidth, int32_t viewHeight) {
    const int k = static_cast<int>(static_cast<float>(viewWidth) * 0.5f);
    return {{0.0f, static_cast<float>(viewHeight - k) * 0.5f}, {static_cast<float>(2 * k), static_cast<float>(k)}};
}

bool R3DView::AwakeFromNib(int32_t width, int32_t height) {
    std::lock_guard lock(drawLock_);
    setBounds(width, height);
    if (!processor_) processor_ = std::make_unique<ShaderProcessor>();
    processor_->setUseRenderContext(true);
    context_ = processor_->renderContext();
    if (!context_) {
        std::lock_guard e(errorLock_);
        lastError_ = "no OpenGL for the viewer: " + processor_->renderContextError();
        LogError("{}", lastError_);
        return false;
    }
    processor_->setImageWidth(1920);
    processor_->setImageHeight(1080);
    processor_->setOutputWidth(1920);
    processor_->setOutputHeight(1080);
    imageWidth_ = 1920;
    imageHeight_ = 1080;
    if (!processor_->InitPipelineForViewportContext(PlaceholderViewport(width, height), context_)) {
        std::lock_guard e(errorLock_);
        lastError_ = "the viewer's look pipeline could not be built";
        return false;
    }
    processor_->setZoomEnabled(false);
    zoom_ = false;
    placeholderPixels_ = LoadPlaceholderPixels();
    if (!context_->MakeCurrent()) return false;
    placeholderTexture_ = GlObject::Texture();
    frameTexture_ = GlObject::Texture();
    glBindTexture(GL_TEXTURE_RECTANGLE, placeholderTexture_.get());
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGB, kPlaceholderWidth, kPlaceholderHeight, 0, GL_RGB, GL_UNSIGNED_BYTE,
                 placeholderPixels_.data());
    ClearGlErrors();
    processor_->HistogramFBOSetup();
    processor_->BlurFboWidthHeight(1024, 576);
    context_->ReleaseCurrent();
    {
        std::lock_guard p(panLock_);
        zoomHandles_ = {0.0f, 0.0f};
    }
    ready_ = true;
    return true;
}

void R3DView::setBounds(int32_t width, int32_t height) {
    viewWidth_ = std::max(0, width);
    viewHeight_ = std::max(0, height);
}

// ---------------------------------------------------------------- look pass-through

void R3DView::SetExposureKelvin(float exposure, float kelvin) {
    if (processor_) processor_->SetExposureKelvin(exposure, kelvin);
}
void R3DView::SetLiftGammaGain(float lift, float gamma, float gain) {
    if (processor_) processor_->SetLiftGammaGain(lift, gamma, gain);
}
void R3DView::SetBallInfo(const ColorBallInfo& info) {
    if (processor_) processor_->SetBallInfo(info);
}
void R3DView::SetSaturation(float saturation) {
    if (processor_) processor_->SetSaturation(saturation);
}
void R3DView::SetBlendValue(double v) {
    if (processor_) processor_->SetBlendValue(v);
}
void R3DView::SetSBlendValue(double v) {
    if (processor_) processor_->SetSBlendValue(v);
}
void R3DView::SetGrainValue(double v) {
    if (processor_) processor_->SetGrainValue(v);
}
void R3DView::SetHistogramBMW(double black, double mid, double white) {
    if (processor_) processor_->SetHistogramBMW(black, mid, white);
}
void R3DView::SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock, const std::string& sourceType,
                                                   const std::optional<std::string>& chosen, bool r3dMode) {
    if (processor_) processor_->SetCurrentLUTSourceTypeChosenR3DMode(stock, sourceType, chosen, r3dMode);
}
void R3DView::ChangeGrainMapToStockScale(const std::string& stock, double scale) {
    if (!processor_) return;
    std::lock_guard lock(drawLock_);
    ScopedGlCurrent current(context_.get());
    processor_->ChangeGrainMapToStockScaleCurveOnly(stock, scale, false);
}
void R3DView::setBlurRadius(double v) {
    if (processor_) processor_->SetBlurAmount(static_cast<float>(v));
}
void R3DView::setHistogramPreLevels(bool v) {
    if (processor_) processor_->setHistogramPreLevels(v);
}
void R3DView::setBucketList(uint32_t** buckets) {
    if (processor_) processor_->setBucketList(buckets);
}

void R3DView::setZoom(bool zoom) {
    zoom_ = zoom;
    if (!processor_) return;
    processor_->setZoomEnabled(zoom);
    processor_->setZoomOffset(zoomHandles());
}

void R3DView::setShowOriginal(bool on) {
    showOriginal_ = on;
    if (processor_) processor_->setShowOriginal(on);
}

// ---------------------------------------------------------------- drawing

bool R3DView::EnsureFramebuffer() {
    const int32_t w = viewWidth_.load(), h = viewHeight_.load();
    if (w <= 0 || h <= 0) return false;
    if (fbo_ && w == fboWidth_ && h == fboHeight_) return true;
    if (!fbo_) {
        GLuint name = 0;
        glfbo::GenFramebuffers(1, &name);
        fbo_.reset();
        fbo_ = GlObject(GlKind::Framebuffer, name);
        colorBuffer_ = GlObject::Renderbuffer();
    }
    glfbo::BindRenderbuffer(GL_RENDERBUFFER, colorBuffer_.get());
    glfbo::RenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, w, h);
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, fbo_.get());
    glfbo::FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, colorBuffer_.get());
    if (glfbo::CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        LogError("The viewer's framebuffer of {} x {} is not complete", w, h);
        return false;
    }
    fboWidth_ = w;
    fboHeight_ = h;
    return true;
}

bool R3DView::BeginDraw() {
    if (!ready_ || !context_ || !context_->MakeCurrent()) return false;
    if (!EnsureFramebuffer()) {
        context_->ReleaseCurrent();
        return false;
    }
    processor_->setWindowFramebuffer(fbo_.get());
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, fbo_.get());
    return true;
}

void R3DView::EndDraw() {
    ReadBackAndPresent();
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
    ClearGlErrors();
    context_->ReleaseCurrent();
}

void R3DView::ReadBackAndPresent() {
    auto image = std::make_shared<PreviewImage>();
    image->width = fboWidth_;
    image->height = fboHeight_;
    const size_t row = static_cast<size_t>(fboWidth_) * 4;
    std::vector<uint8_t> bottomUp(row * static_cast<size_t>(fboHeight_));
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, fbo_.get());
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, fboWidth_, fboHeight_, GL_RGBA, GL_UNSIGNED_BYTE, bottomUp.data());
    // GL counts rows from the bottom; a picture counts them from the top.
    image->rgba.resize(bottomUp.size());
    for (int32_t y = 0; y < fboHeight_; ++y)
        std::memcpy(&image->rgba[static_cast<size_t>(y) * row],
                    &bottomUp[static_cast<size_t>(fboHeight_ - 1 - y) * row], row);
    image->serial = ++serial_;
    PreviewSurface* surface = surface_;
    if (surface && surface->CanDraw()) surface->Present(std::move(image));
}

void R3DView::DrawPlaceholder() {
    std::lock_guard lock(drawLock_);
    DrawPlaceholderLocked();
}

void R3DView::DrawPlaceholderLocked() {
    if (!BeginDraw()) return;
    glUseProgram(0);
    glViewport(0, 0, fboWidth_, fboHeight_);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    const FloatRect vp = PlaceholderViewport(fboWidth_, fboHeight_);
    glViewport(static_cast<GLint>(vp.origin.x), static_cast<GLint>(vp.origin.y), static_cast<GLsizei>(vp.size.width),
               static_cast<GLsizei>(vp.size.height));
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glActiveTexture(GL_TEXTURE0);
    glEnable(GL_TEXTURE_RECTANGLE);
    glBindTexture(GL_TEXTURE_RECTANGLE, placeholderTexture_.get());
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
    // The bitmap's first row is the picture's top: it goes to the top of the quad.
    const float w = kPlaceholderWidth, h = kPlaceholderHeight;
    glBegin(GL_QUADS);
    glTexCoord2f(0.0f, h);
    glVertex2f(-0.6f, -0.6f);
    glTexCoord2f(w, h);
    glVertex2f(0.6f, -0.6f);
    glTexCoord2f(w, 0.0f);
    glVertex2f(0.6f, 0.6f);
    glTexCoord2f(0.0f, 0.0f);
    glVertex2f(-0.6f, 0.6f);
    glEnd();
    glDisable(GL_TEXTURE_RECTANGLE);
    EndDraw();
}

void R3DView::SetBufferWidthHeight(const uint8_t* buffer, int32_t width, int32_t height) {
    std::lock_guard draw(drawLock_);
    std::lock_guard lock(monitor_);
    buffer_ = buffer;
    if (processor_) processor_->setR3dRenderBuffer(buffer);
    if (width > 0 && height > 0 && (width != imageWidth_.load() || height != imageHeight_.load())) {
        imageWidth_ = width;
        imageHeight_ = height;
        if (processor_ && context_) {
            processor_->setImageWidth(static_cast<uint32_t>(width));
            processor_->setImageHeight(static_cast<uint32_t>(height));
            ScopedGlCurrent current(context_.get());
            if (current.ok()) processor_->BlurFboWidthHeight(width, height);
        }
    }
}

void R3DView::ShowR3DFrame(int32_t frame) {
    std::lock_guard lock(drawLock_);
    ShowR3DFrameLocked(frame);
}

void R3DView::ShowR3DFrame() { ShowR3DFrame(lastFrame_.load()); }

void R3DView::ShowR3DFrameLocked(int32_t frame) {
    if (!hasOpenClip_) {
        DrawPlaceholderLocked();
        return;
    }
    lastFrame_ = frame;
    std::lock_guard buffer(monitor_);
    if (!buffer_ || !BeginDraw()) return;
    DrawParams params;
    params.context = context_;
    params.baseSize = {static_cast<float>(imageWidth_.load()), static_cast<float>(imageHeight_.load())};
    params.viewportRect = {{0.0f, 0.0f}, {static_cast<float>(fboWidth_), static_cast<float>(fboHeight_)}};
    params.name = frameTexture_.get();
    params.target = GL_TEXTURE_RECTANGLE;
    params.writeToDisk = false;
    params.renderingQT = AppState::Instance().State() == 1;
    params.animationFrame = frame;
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    processor_->RenderUsingR3DRenderBuffer(&params);
    EndDraw();
}

void R3DView::Redraw() {
    if (hasOpenClip_)
        ShowR3DFrame();
    else
        DrawPlaceholder();
}

// ---------------------------------------------------------------- panning and resizing

FloatPoint R3DView::zoomHandles() const {
    std::lock_guard lock(panLock_);
    return zoomHandles_;
}

void R3DView::mouseDown(float x, float y) {
    std::lock_guard lock(panLock_);
    mouseAnchor_ = {x, y};
}

void R3DView::mouseDragged(float x, float y) {
    const int32_t vw = viewWidth_.load(), vh = viewHeight_.load();
    const int32_t iw = imageWidth_.load(), ih = imageHeight_.load();
    if (!zoom_ || vw > iw) return;
    FloatPoint handles;
    {
        std::lock_guard lock(panLock_);
        const float dx = x - mouseAnchor_.x, dy = y - mouseAnchor_.y;
        mouseAnchor_ = {x, y};
        zoomHandles_.x -= dx;
        zoomHandles_.y += dy;
        zoomHandles_.x = std::clamp(zoomHandles_.x, 0.0f, static_cast<float>(std::max(0, iw - vw)));
        zoomHandles_.y = std::clamp(zoomHandles_.y, 0.0f, static_cast<float>(std::max(0, ih - vh)));
        handles = zoomHandles_;
    }
    if (processor_) processor_->setZoomOffset(handles);
    if (AppState::Instance().State() == 0) ShowR3DFrame();
}

void R3DView::windowResized() {
    if (playback_) {
        StopPlayback();
        pausedForResize_ = true;
    }
    std::lock_guard lock(drawLock_);
    if (!BeginDraw()) return;
    glViewport(0, 0, fboWidth_, fboHeight_);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    EndDraw();
}

void R3DView::viewDidEndLiveResize() {
    if (viewWidth_.load() <= 0) return;
    Redraw();
    if (pausedForResize_.exchange(false)) StartPlayback();
}

ThumbnailRep R3DView::GetThumbnailOfSize(int32_t /*width*/, int32_t /*height*/) const {
    return processor_ ? processor_->thumbnailRep() : ThumbnailRep{};
}

// ---------------------------------------------------------------- movies

bool R3DView::OpenMovieAtPath(const std::optional<std::string>& path) {
    if (playback_) StopPlayback();
    JoinGrab();
    // The display link only tries this lock; here we wait for the draw in flight.
    std::unique_lock lock(renderLock_, std::defer_lock);
    while (!lock.try_lock()) {
        Log()->info("wait for lock");
        if (MainQueue::Instance().IsMainThread())
            MainQueue::Instance().ServeFor(std::chrono::milliseconds(100));
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    movie_.reset();
    movieFrameNumber_ = -1;
    firstFrameRetrieved_ = false;
    lastFrameRetrieved_ = -1;
    lastFrameShown_ = -1;
    frameCount_ = 0;
    fps_ = 0.0;
    {
        std::lock_guard m(monitor_);
        buffer_ = nullptr;
        if (processor_) processor_->setR3dRenderBuffer(nullptr);
    }
    if (!path || path->empty()) return false;
    auto movie = std::make_unique<MovieReader>();
    if (!movie->Open(*path)) {
        LogError("Cannot open {} for the viewer: {}", *path, movie->lastError());
        return false;
    }
    fps_ = movie->staticFrameRate().fps() > 0.0 ? movie->staticFrameRate().fps() : 25.0;
    frameCount_ = static_cast<uint32_t>(std::max<int64_t>(0, movie->frameCount()));
    playFrameIn_ = 0;
    playFrameOut_ = static_cast<int32_t>(frameCount_.load()) - 1;
    const int w = movie->width(), h = movie->height();
    movie_ = std::move(movie);
    lock.unlock();
    SetBufferWidthHeight(nullptr, w, h);
    return true;
}

std::string R3DView::EdgecodeString(int32_t frame) const {
    return FileParser::GetStringOfTimecode(static_cast<uint32_t>(std::max(0, frame)), static_cast<float>(fps_.load()));
}

int32_t R3DView::getFrameForTime(int32_t frame, bool fromDisplayLink) {
    std::unique_lock lock(renderLock_, std::try_to_lock);
    if (!lock.owns_lock()) {
        Log()->debug("unable to lock");
        return 0;
    }
    if (!movie_) return -6660;
    bool drawn = false;
    if (movieFrameNumber_ != frame) {
        if (movie_->ReadFrame(frame, movieFrame_)) {
            movieFrameNumber_ = frame;
            SetBufferWidthHeight(reinterpret_cast<const uint8_t*>(movieFrame_.data()), movie_->width(), movie_->height());
            firstFrameRetrieved_ = true;
            drawn = true;
        } else {
            Log()->warn("WARNING: movie frame {} could not be read: {}", frame, movie_->lastError());
        }
    }
    // Without a new picture the old one is drawn again, so that the look can change on a still.
    if (drawn || firstFrameRetrieved_) ShowR3DFrame(frame);
    const int32_t answer = firstFrameRetrieved_ ? 0 : -6660;
    lock.unlock();
    if (answer != 0) DrawPlaceholder();
    if (fromDisplayLink && playback_) {
        std::lock_guard o(observerLock_);
        if (playbackObserver_) playbackObserver_(frame);
    }
    return answer;
}

void R3DView::ShowFrame(int32_t frame) {
    if (frame == lastFrameShown_.load() && processor_) processor_->setPauseGrainShift(true);
    getFrameAtFrameNumber(frame);
    lastFrameShown_ = frame;
}

void R3DView::JoinGrab() {
    if (!grabThread_.joinable() || grabThread_.get_id() == std::this_thread::get_id()) return;
    // A grab hops to main for its seek: main must serve that hop while it waits.
    if (MainQueue::Instance().IsMainThread())
        MainQueue::Instance().ServeUntil([this] { return !isGettingFrame_.load(); }, std::chrono::milliseconds(5));
    grabThread_.join();
}

void R3DView::getFrameAtFrameNumber(int32_t frame) {
    {
        std::lock_guard lock(renderLock_);
        if (!movie_) return;
    }
    {
        std::lock_guard monitor(grabMonitor_);
        if (isGettingFrame_) {
            // One grab at a time; the newest request is taken up when the running one ends.
            pendingFrame_ = frame;
            return;
        }
        isGettingFrame_ = true;
    }
    // The last grab cleared its flag as its last act: this join does not wait.
    if (grabThread_.joinable()) grabThread_.join();
    grabThread_ = std::thread([this, frame] { GrabThread(frame); });
}

void R3DView::SetNextTime() { movieTime_ = nextTime_.load(); }

void R3DView::GrabThread(int32_t frame) {
    for (int32_t f = frame;;) {
        if (f == lastFrameRetrieved_.load() && processor_) processor_->setPauseGrainShift(true);
        nextTime_ = f;
        // The movie's clock belongs to the main thread; a closed queue means the program is ending.
        const bool moved = MainQueue::Instance().RunSync([this] { SetNextTime(); });
        if (moved) {
            getFrameForTime(movieTime_.load(), false);
            lastFrameRetrieved_ = f;
        }
        // A request that came meanwhile is taken up; the flag drops in the same turn of the monitor.
        std::lock_guard monitor(grabMonitor_);
        f = moved ? pendingFrame_.exchange(-1) : -1;
        if (f < 0) {
            isGettingFrame_ = false;
            return;
        }
    }
}

bool R3DView::WaitForFrameGrabToComplete() {
    for (int i = 0; i < 22; ++i) {
        if (!isGettingFrame_) return true;
        if (MainQueue::Instance().IsMainThread())
            MainQueue::Instance().ServeFor(std::chrono::milliseconds(100));
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return !isGettingFrame_;
}

void R3DView::setPlaybackObserver(std::function<void(int32_t)> observer) {
    std::lock_guard lock(observerLock_);
    playbackObserver_ = std::move(observer);
}

namespace {
int64_t SteadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
}  // namespace

void R3DView::StartPlayback() {
    {
        std::lock_guard lock(renderLock_);
        if (!movie_) return;
    }
    if (playback_) return;
    playStartFrame_ = std::max(0, movieFrameNumber_ < 0 ? 0 : static_cast<int32_t>(movieFrameNumber_));
    playStartNs_ = SteadyNs();
    playback_ = true;
    if (!linkRunning_.exchange(true)) displayLink_ = std::thread([this] { DisplayLinkLoop(); });
}

void R3DView::StopPlayback() {
    playback_ = false;
    if (linkRunning_.exchange(false) && displayLink_.joinable()) displayLink_.join();
}

void R3DView::TogglePlay() {
    if (playback_)
        StopPlayback();
    else
        StartPlayback();
}

void R3DView::setPlayback(bool play) {
    if (play)
        StartPlayback();
    else
        StopPlayback();
}

void R3DView::MovePlaybackToFrame(int32_t frame) {
    playStartFrame_ = frame;
    playStartNs_ = SteadyNs();
}

void R3DView::DisplayLinkLoop() {
    using namespace std::chrono;
    auto next = steady_clock::now();
    int32_t lastShown = -1;
    while (linkRunning_) {
        next += nanoseconds(static_cast<int64_t>(1e9 / refreshRate_.load()));
        std::this_thread::sleep_until(next);
        if (!linkRunning_) break;
        const double fps = fps_.load();
        const int32_t in = std::max(0, playFrameIn_.load());
        const int32_t out = std::max(in, playFrameOut_.load());
        const double elapsed = static_cast<double>(SteadyNs() - playStartNs_.load()) / 1e9;
        const int64_t span = int64_t{out} - in + 1;
        int64_t f = playStartFrame_.load() + static_cast<int64_t>(elapsed * fps);
        if (f > out) f = in + (f - in) % span;
        const auto frame = static_cast<int32_t>(f);
        if (frame == lastShown) continue;
        if (getFrameForTime(frame, true) == 0) lastShown = frame;
    }
}

}  // namespace ombrel
