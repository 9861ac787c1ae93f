#include "sources/QTRenderSource.h"

#include "core/Log.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"
#include "model/ClipSettings.h"
#include "platform/movie/MovieReader.h"
#include "sources/SourceFactory.h"

namespace ombrel {

namespace {

// A seek answers false once, then the picture comes or the movie has none there.
constexpr int kTriesPerFrame = 3;

// The worker lets go of the context after set-up, whichever way it ends, so that the
// prefetch thread can take it.
class ReleaseContextAtEnd {
public:
    explicit ReleaseContextAtEnd(GlContext* context) : context_(context) {}
    ~ReleaseContextAtEnd() {
        if (context_) context_->ReleaseCurrent();
    }
    ReleaseContextAtEnd(const ReleaseContextAtEnd&) = delete;
    ReleaseContextAtEnd& operator=(const ReleaseContextAtEnd&) = delete;

private:
    GlContext* context_;
};

}  // namespace

QTRenderSource::QTRenderSource(ShaderProcessor::Backend backend) : backend_(backend) {}

QTRenderSource::~QTRenderSource() {
    const auto context = openGLContext();
    // The texture and the pipeline's objects go in the context they were made in.
    ScopedGlCurrent scope(context.get());
    visualContext_.reset();
    shaderProcessor_.reset();
}

bool QTRenderSource::OpenFileForOutputSize(const std::string& path, bool forOutputSize) {
    RenderSource::OpenFileForOutputSize(path, forOutputSize);
    if (!shaderProcessor_) {
        shaderProcessor_ = std::make_unique<ShaderProcessor>(backend_);
        // Movies take the same fast CPU path as raw frames; the reference stays for the tests.
        if (backend_ == ShaderProcessor::Backend::Cpu) shaderProcessor_->setCpuKernel(ShaderProcessor::CpuKernel::Fast);
        if (backend_ == ShaderProcessor::Backend::OpenGL) {
            if (!shaderProcessor_->renderContext()) {
                setLastError(path + ": no OpenGL context for the look pipeline (" +
                             shaderProcessor_->renderContextError() + "); render with --cpu to use the CPU pipeline");
                return false;
            }
            shaderProcessor_->setUseRenderContext(true);
            setOpenGLContext(shaderProcessor_->renderContext());
        }
    }
    visualContext_ = std::make_unique<MovieVisualContext>();
    if (!visualContext_->Open(path)) {
        setLastError(path + ": " + visualContext_->lastError());
        return false;
    }
    ReadCurrentMovieDetails();
    endOfData_ = false;
    nextExpectedFrame_ = 0;
    return true;
}

OriginalSize QTRenderSource::GetOriginalSizeForPath(const std::string& path) {
    const auto meta = MetadataCache::Instance().ForceMetadataForPath(path);
    if (!meta || meta->notPlayable()) return {};
    fps_ = meta->fps();
    frameCount_ = meta->frameCount();
    duration_ = meta->qtDuration();
    SetImageWidthHeight(static_cast<uint32_t>(meta->originalWidth()), static_cast<uint32_t>(meta->originalHeight()));
    return {meta->originalWidth(), meta->originalHeight()};
}

bool QTRenderSource::SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit) {
    if (Width() == 0) return false;
    fit_ = fit;
    return RenderSource::SetOutputWidthHeightFit(width, height, fit);
}

void QTRenderSource::SetImageWidthHeight(uint32_t width, uint32_t height) {
    setImageSize(width, height);
    if (!shaderProcessor_) return;
    shaderProcessor_->setImageWidth(width);
    shaderProcessor_->setImageHeight(height);
}

void QTRenderSource::ReadCurrentMovieDetails() {
    if (!visualContext_ || !visualContext_->reader().isOpen()) {
        LogInfo("Getting details for nil movie");
        return;
    }
    const std::string path = FilePath();
    if (MetadataCache::Instance().HasMetadataForPath(path)) {
        GetOriginalSizeForPath(path);
        return;
    }
    MovieReader& reader = visualContext_->reader();
    const StaticFrameRate rate = reader.staticFrameRate();
    fps_ = rate.fps();
    frameCount_ = static_cast<uint32_t>(reader.frameCount());
    duration_ = MovieTime{rate.duration, rate.timeScale};
    SetImageWidthHeight(static_cast<uint32_t>(reader.width()), static_cast<uint32_t>(reader.height()));
}

void QTRenderSource::SetExposureKelvin(float exposure, float kelvin) {
    exposure_ = exposure;
    kelvin_ = kelvin;
    if (shaderProcessor_) shaderProcessor_->SetExposureKelvin(exposure, kelvin);
}

std::string QTRenderSource::TimecodeString() const { return TimecodeString(0); }

std::string QTRenderSource::TimecodeString(int32_t frame) const {
    return FileParser::GetStringOfTimecode(static_cast<uint32_t>(frame > 0 ? frame : 0), static_cast<float>(fps_));
}

bool QTRenderSource::FBOSetup() {
    if (!shaderProcessor_) return false;
    shaderProcessor_->setOutputWidth(OutputWidth());
    shaderProcessor_->setOutputHeight(OutputHeight());
    if (!shaderProcessor_->FBOSetup(openGLContext())) {
        setLastError(FilePath() + ": the look pipeline has no render target of " + std::to_string(OutputWidth()) +
                     " x " + std::to_string(OutputHeight()));
        return false;
    }
    frameBuffers_ = std::make_unique<DecodeSlotRing>(kSlotCount, size_t(OutputWidth()) * OutputHeight() * 8);
    if (frameBuffers_->count() != kSlotCount) {
        setLastError(FilePath() + ": not enough memory for its output frames");
        return false;
    }
    return true;
}

bool QTRenderSource::SetupDiskRendererSourceWithAlpha(const ClipSettings& clip, const std::string& sourceType,
                                                      bool withAlpha) {
    if (!shaderProcessor_ || !visualContext_ || OutputWidth() == 0) return false;
    const auto context = openGLContext();
    ReleaseContextAtEnd release(context.get());
    if (context && !context->MakeCurrent()) return false;
    ShaderProcessor& sp = *shaderProcessor_;
    needsAlphaFromShader_ = withAlpha;
    sp.setImageWidth(Width());
    sp.setImageHeight(Height());
    if (!sp.InitPipelineForViewportContext({{0, 0}, {float(OutputWidth()), float(OutputHeight())}}, context)) {
        setLastError(FilePath() + ": the look pipeline could not be built");
        return false;
    }
    if (!FBOSetup()) return false;
    sp.ChangeGrainMapToStockScaleCurveOnly(clip.stockName(), clip.grainScale(), false);
    // Movies carry no white balance: exposure and colour temperature run in the pipeline.
    if (clip.useMetadata())
        sp.SetExposureKelvin(0.0f, static_cast<float>(MetadataKelvin()));
    else
        sp.SetExposureKelvin(clip.exposure(), clip.kelvin());
    sp.SetBlendValue(clip.colorChangePercent());
    sp.SetSBlendValue(clip.scurveChangePercent());
    sp.SetHistogramBMW(clip.black(), clip.mid(), clip.white());
    sp.SetGrainValue(clip.grainMultiplier());
    sp.SetSaturation(static_cast<float>(clip.saturation()));
    sp.SetLiftGammaGain(clip.lift(), clip.gamma(), clip.gain());
    sp.SetBallInfo(clip.ballInfo());
    sp.SetCurrentLUTSourceTypeChosenR3DMode(clip.stockName(), sourceType, clip.sourceCameraChosen(), false);
    sp.SetBlurAmount(clip.blurRadius());
    sp.setPushSplineTexture(true);
    grainWalk_.emplace(GrainWalk::SeedForClip(FilePath()));
    nextExpectedFrame_ = 0;
    visualContext_->setCurrentFrame(0);
    return true;
}

void QTRenderSource::EnterPrefetchThread() {
    if (const auto context = openGLContext(); context && !context->MakeCurrent())
        StopAtEndOfData("the GL context of its look pipeline could not be taken by the prefetch thread");
}

void QTRenderSource::LeavePrefetchThread() {
    if (const auto context = openGLContext()) context->ReleaseCurrent();
}

void QTRenderSource::StopAtEndOfData(const std::string& why) {
    endOfData_ = true;
    setLastError(why);
}

bool QTRenderSource::PreFectchFrame(int32_t frame) {
    if (!frameBuffers_) return false;
    const int slot = frameBuffers_->Claim(frame);
    if (slot < 0) return false;
    currentBuffer_ = slot;
    for (int tries = 0; tries < kTriesPerFrame && !endOfData_; ++tries) {
        if (GetNextFrameForRender(frameBuffers_->Data(slot), frame)) {
            frameBuffers_->MarkReady(slot);
            return true;
        }
    }
    if (!endOfData_) StopAtEndOfData("the movie yields no picture for frame " + std::to_string(frame));
    frameBuffers_->MarkFailed(slot);
    return true;
}

bool QTRenderSource::GetNextFrameForRender(uint8_t* buffer, int32_t frame) {
    MovieVisualContext& movie = *visualContext_;
    if (nextExpectedFrame_ != frame) {
        movie.setCurrentFrame(frame);
        nextExpectedFrame_ = frame;
        return false;
    }
    std::lock_guard lock(renderLock_);
    if (!movie.isNewImageAvailable() && !movie.task()) {
        StopAtEndOfData(movie.lastError());
        return false;
    }
    movie.deleteCVTexture();
    const GLenum format = backend_ == ShaderProcessor::Backend::OpenGL ? shaderProcessor_->FLOAT_3() : 0;
    const MovieImage* image = movie.copyImageForTime(format);
    if (!image) {
        LogWarn("WARNING: QT Visual Contex Copy Image for Time Error! {}", movie.lastError());
        return false;
    }
    drawParams_ = DrawParams{};
    drawParams_.writeToDiskData = buffer;
    drawParams_.writeToDisk = true;
    drawParams_.needsFlip = image->flipped;
    drawParams_.animationFrame = frame;
    DrawRectForDisk(image->flipped);
    movie.stepForward();
    ++nextExpectedFrame_;
    return true;
}

void QTRenderSource::DrawRectForDisk(bool flipped) {
    const MovieImage* image = visualContext_->currentImage();
    if (!image) return;
    ShaderProcessor& sp = *shaderProcessor_;
    DrawParams& p = drawParams_;
    p.context = openGLContext();
    SetImageWidthHeight(image->width, image->height);
    p.baseSize = {float(image->width), float(image->height)};
    p.viewportRect = {{0, 0}, {float(OutputWidth()), float(OutputHeight())}};
    p.writeToDisk = true;
    p.name = image->name;
    p.target = image->target;
    p.renderingQT = true;
    p.outputRGBA = needsAlphaFromShader_;
    p.fitMethod = fit_;
    p.aspectSize = {float(AspectWidth()), float(AspectHeight())};
    p.needsFlip = flipped;
    // The grain of frame f is where the clip's walk puts it, whatever range is rendered.
    if (grainWalk_) {
        const auto size = sp.grainSize();
        const auto offset = grainWalk_->OffsetForFrame(p.animationFrame, size[0], size[1]);
        sp.SetGrainOffsetForNextDraw({float(offset[0]), float(offset[1])});
    }
    if (backend_ == ShaderProcessor::Backend::Cpu) {
        sp.setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(image->pixels));
        sp.RenderUsingR3DRenderBuffer(&p);
        return;
    }
    sp.DrawRect(&p);
}

int32_t QTRenderSource::RetrieveBufferForFrame(int32_t frame) {
    uint8_t* data = nullptr;
    return RetrieveBufferForFrameOutputBuffer(frame, &data);
}

int32_t QTRenderSource::RetrieveBufferForFrameOutputBuffer(int32_t frame, uint8_t** buffer) {
    if (buffer) *buffer = nullptr;
    if (!frameBuffers_) return kFrameNotReady;
    uint8_t* data = nullptr;
    const int32_t state = frameBuffers_->Retrieve(frame, &data);
    if (state == kFrameReady && buffer) *buffer = data;
    return state;
}

int32_t QTRenderSource::RetrieveBufferForFrameBitmapRep(int32_t frame, BitmapImage* rep) {
    uint8_t* data = nullptr;
    const int32_t state = RetrieveBufferForFrameOutputBuffer(frame, &data);
    if (state == kFrameReady && rep) {
        const int samples = needsAlphaFromShader_ ? 4 : 3;
        *rep = BitmapImage{data, OutputWidth(), OutputHeight(), samples, size_t(OutputWidth()) * samples * 2};
    }
    return state;
}

bool QTRenderSource::DiscardFrame(int32_t frame) { return frameBuffers_ && frameBuffers_->Discard(frame); }

std::vector<MovieTrack> QTRenderSource::GetAudioTracks() const {
    MovieInfo info;
    std::vector<MovieTrack> tracks;
    if (!ProbeMovie(FilePath(), info).ok()) return tracks;
    for (const MovieTrack& track : info.tracks)
        if (track.kind == MediaKind::Audio) tracks.push_back(track);
    return tracks;
}

void RegisterMovieSource(ShaderProcessor::Backend backend) {
    SetRenderSourceMaker(SourceKind::Movie, [backend](const std::string&) -> std::unique_ptr<RenderSource> {
        return std::make_unique<QTRenderSource>(backend);
    });
}

}  // namespace ombrel
