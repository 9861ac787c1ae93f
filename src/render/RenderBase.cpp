#include "render/RenderBase.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>
#include <vector>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "core/ZeroedBlock.h"
#include "library/FileParser.h"
#include "look/AppState.h"
#include "look/GrainWalk.h"
#include "model/LookRanges.h"
#include "model/SettingsManager.h"
#include "render/FrameWriter.h"
#include "render/RenderManager.h"
#include "sources/SourceFactory.h"

namespace ombrel {

namespace {

constexpr auto kRawFramePoll = std::chrono::milliseconds(50);
constexpr auto kPrefetchRetry = std::chrono::milliseconds(10);
const char* const kMovieSourceType = "5D";
// The frame being drawn, the next one ready and the one after that decoding: the decode
// overlaps the look, and a 4K slot is 53 MB that more slots would only hold idle.
constexpr int kRenderDecodeSlots = 3;

std::string FrameFileName(const std::string& prefix, int number, const std::string& extension) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%06i", number);
    return prefix + digits + "." + extension;
}

std::string JobFolderName(int jobNumber) {
    char name[32];
    std::snprintf(name, sizeof name, "S%04i", jobNumber);
    return name;
}

// Stops the prefetch thread on every way out of a frame-sequence operation.
class PrefetchStopper {
public:
    explicit PrefetchStopper(RenderBase& r) : r_(r) {}
    ~PrefetchStopper() { r_.StopPrefetchThread(); }
    PrefetchStopper(const PrefetchStopper&) = delete;
    PrefetchStopper& operator=(const PrefetchStopper&) = delete;

private:
    RenderBase& r_;
};

}  // namespace

RenderBase::RenderBase() = default;

RenderBase::~RenderBase() { StopPrefetchThread(); }

void RenderBase::setRenderManager(RenderManager* manager) { renderManager_ = manager; }

RenderManagerItemPtr RenderBase::currentRenderItem() const { return currentRenderItem_; }

std::shared_ptr<const PreFetchData> RenderBase::pfdata() const { return pfdata_; }

bool RenderBase::ShouldCancel() const {
    RenderManager* m = renderManager_.load();
    return m && m->ShouldCancel();
}

void RenderBase::CancelRender(const std::string& reason) const {
    FailItem(reason);
    if (RenderManager* m = renderManager_.load()) m->CancelRender(reason);
}

void RenderBase::FailItem(const std::string& message) const {
    if (currentRenderItem_)
        currentRenderItem_->Fail(message);
    else
        LogError("{}", message);
}

int RenderBase::FrameBaseForRate(float fps) {
    const auto n = static_cast<int>(fps);
    return static_cast<double>(fps) > n + 0.01 ? n + 1 : n;
}

std::pair<std::string, std::string> RenderBase::ReelAndClipOfBaseName(const std::string& baseName) {
    // Camera names carry the reel in characters 0-3 and the clip in 5-8 (A001_C001_...).
    if (baseName.size() < 10) return {baseName, "_"};
    return {baseName.substr(0, 4), baseName.substr(5, 4)};
}

// ---------------------------------------------------------------------------------------
// Loading

bool RenderBase::LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) {
    if (!item) return false;
    // Recorded first so that a failure below reaches the item.
    currentRenderItem_ = item;
    ClipSettingsPtr clip = SettingsManager::Instance().SettingsForClip(item->filePath());
    if (!clip) clip = item->settings();
    if (!clip) clip = ClipSettings::Make();
    const OutputSettingsPtr& out = item->outputSettings();
    if (!out) {
        FailItem("The clip has no output settings");
        return false;
    }

    grainMultiplier_ = clip->grainMultiplier();
    kelvin_ = clip->kelvin();
    exposure_ = clip->exposure();
    // Without a chosen folder output goes where the user's renders go by default.
    destDirectory_ =
        out->outputDirectory() && !out->outputDirectory()->empty() ? *out->outputDirectory() : RenderFolder();
    timecodeSettings_ = out->timecode();
    folderSettings_ = out->folders();
    filenameSettings_ = out->filenames();
    edlOptionsSetting_ = out->edlOptions();
    sourcePath_ = item->filePath();
    overwrite_ = out->overwrite() == 0;

    renderSource_.reset();
    if (!LoadSettingsForRenderManagerItem32Bit(item, *clip, *out)) return false;
    RenderSource& source = *renderSource_;

    if (clip->useMetadata()) {
        exposure_ = 0.0f;
        kelvin_ = static_cast<float>(source.MetadataKelvin());
    }
    source.SetExposureKelvin(exposure_, kelvin_);
    source.DecodeSetup();
    imageWidth_ = source.Width();
    imageHeight_ = source.Height();

    const double scale = clip->grainScale();
    if (out->fitMethod() == 2) {
        grainWidth_ = static_cast<float>(source.OutputWidth() * scale);
        grainHeight_ = static_cast<float>(source.OutputHeight() * scale);
    } else {
        grainWidth_ = static_cast<float>(source.AspectWidth() * scale);
        grainHeight_ = static_cast<float>(source.AspectHeight() * scale);
    }
    // A name from a file or a command line is the user's: a scan that is not installed under
    // it is bad input, where the loader would take it for a broken installation.
    if (!IsGrainScanName(clip->grainName())) {
        FailItem("The grain \"" + clip->grainName() + "\" names no grain scan (CP35, CP16, CP8)");
        return false;
    }
    const RenderHooks hooks = GetRenderHooks();
    currentGrain_ =
        hooks.grainMapWithNameSizeStockName
            ? hooks.grainMapWithNameSizeStockName(clip->grainName(), grainWidth_, grainHeight_, clip->stockName())
            : nullptr;
    return true;
}

bool RenderBase::LoadSettingsForRenderManagerItem32Bit(const RenderManagerItemPtr& item, const ClipSettings& clip,
                                                       const OutputSettings& output) {
    const std::string path = item->filePath();
    std::unique_ptr<RenderSource> made;
    if (const Status status = MakeRenderSourceForPath(path, &made); !status.ok()) {
        FailItem(status.message());
        return false;
    }
    RenderSourcePtr source(std::move(made));

    // The size query belongs to the main thread; the worker waits for it.
    OriginalSize original;
    auto askSize = [&] {
        return MainQueue::Instance().RunSync([&] { original = source->GetOriginalSizeForPath(path); });
    };
    source->SetFilePath(path);
    bool sized = false;
    const OutputSize size = output.size();
    if (size.width > 1.0f) {
        if (!askSize()) {
            FailItem("The application is closing; " + path + " was not rendered");
            return false;
        }
        sized = source->SetOutputWidthHeightFit(static_cast<int32_t>(size.width), static_cast<int32_t>(size.height),
                                                output.fitMethod());
    } else {
        source->setNeedsResize(false);
        if (!askSize()) {
            FailItem("The application is closing; " + path + " was not rendered");
            return false;
        }
        const auto w = source->Width() ? static_cast<int32_t>(source->Width()) : static_cast<int32_t>(original.width);
        const auto h =
            source->Height() ? static_cast<int32_t>(source->Height()) : static_cast<int32_t>(original.height);
        sized = source->SetOutputWidthHeightFit(w, h, output.fitMethod());
    }
    if (!sized) {
        FailItem("The picture size of " + path + " could not be read");
        return false;
    }
    source->SetPlanar(output.format() == kFormatDpx);
    source->setDebayer(output.debayerQuality());

    bool opened = false;
    if (SourceKindForPath(path) == SourceKind::R3D) {
        const RenderHooks hooks = GetRenderHooks();
        const bool useRocket = hooks.useRocketPreference ? hooks.useRocketPreference().value_or(true) : true;
        opened = source->OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(
            path, true, kRenderDecodeSlots, useRocket, clip.blurRadius() > 0.0f);
    } else {
        opened = source->OpenFileForOutputSize(path, true);
    }
    if (!opened) {
        const std::string why = source->lastError();
        FailItem(why.empty() ? path + " could not be opened for rendering" : why);
        return false;
    }
    if (source->AspectWidth() == 0) {
        FailItem("Render source aspect width was 0");
        return false;
    }
    renderSource_ = std::move(source);
    return true;
}

// ---------------------------------------------------------------------------------------
// Setup

std::string RenderBase::ClipBaseName(const std::string& path) {
    std::string base = DeletingPathExtension(LastPathComponent(path));
    const std::string suffix = "_001";
    if (base.size() >= suffix.size() && base.compare(base.size() - suffix.size(), suffix.size(), suffix) == 0)
        base.erase(base.size() - suffix.size());
    return base;
}

bool RenderBase::HasMovieSource() const { return renderSource_ && renderSource_->SourceType() == kMovieSourceType; }

bool RenderBase::MakeFolder(const std::string& path) const {
    if (FileParser::CreateDirectoryWithIntermediaries(path)) return true;
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) return true;
    FailItem("The output folder " + path + " could not be made");
    return false;
}

bool RenderBase::SetDestPathForR3D(RenderSetup& setup) {
    setup.baseName = ClipBaseName(sourcePath_);
    const auto [reel, clip] = ReelAndClipOfBaseName(setup.baseName);
    switch (folderSettings_) {
        case 0: setup.destPath = AppendingPathComponent(destDirectory_, setup.baseName); break;
        case 1: setup.destPath = AppendingPathComponent(destDirectory_, reel + "_" + clip); break;
        case 2: setup.destPath = AppendingPathComponent(AppendingPathComponent(destDirectory_, reel), clip); break;
        default: setup.destPath = destDirectory_; break;
    }
    if (!MakeFolder(setup.destPath)) return false;
    const std::string audioPath = AppendingPathComponent(setup.destPath, setup.baseName + ".au");
    std::error_code ec;
    // Output that is to be kept includes its sound.
    if (!overwrite_ && std::filesystem::exists(audioPath, ec)) return true;
    const RenderManagerItem* item = currentRenderItem_.get();
    if (item && item->audioFrame() && *item->audioFrame() != setup.firstFrame && item->outputSettings() &&
        item->outputSettings()->format() != kFormatMovie)
        return true;
    if (renderSource_ && !renderSource_->ExtractAudio(audioPath))
        LogWarn("The audio of {} was not extracted", sourcePath_);
    return true;
}

bool RenderBase::SetDestPathForQT(RenderSetup& setup) {
    setup.baseName = DeletingPathExtension(LastPathComponent(sourcePath_));
    setup.destPath = folderSettings_ == 0 ? AppendingPathComponent(destDirectory_, setup.baseName) : destDirectory_;
    return MakeFolder(setup.destPath);
}

bool RenderBase::SetupForRenderStartingEnding(RenderSetup& setup, int first, int last) {
    ClipSettingsPtr clip = SettingsManager::Instance().SettingsForClip(sourcePath_);
    if (!clip && currentRenderItem_) clip = currentRenderItem_->settings();
    if (!clip) clip = ClipSettings::Make();
    setup.clipSettings = clip;

    setup.firstFrame = first;
    const bool movie = HasMovieSource();
    if (!(movie ? SetDestPathForQT(setup) : SetDestPathForR3D(setup))) return false;
    // Another render writing the same frames into this folder would leave a mixed sequence.
    if (const Status locked = destLock_.TryLock(setup.destPath, first, last); !locked.ok()) {
        FailItem(locked.message() + "; " + sourcePath_ + " was not rendered");
        return false;
    }

    TimecodeValues tc;
    int base = 0;
    if (renderSource_) {
        base = FrameBaseForRate(renderSource_->FramesPerSecond());
        tc = renderSource_->Timecode(0);
    }
    setup.timecodeBase = (tc.hours * 3600 + tc.minutes * 60 + tc.seconds) * base + tc.frames;
    setup.filenamePrefix = filenameSettings_ == 0 ? setup.baseName + "." : std::string();

    UpdateCurrentGrainAmount();

    setup.edlOptions = edlOptionsSetting_;
    if (!clip->hasSnippets())
        setup.edlOptions = 2;
    else if (setup.edlOptions != 2)
        clip->CreateFrameFlags();

    const std::vector<int> snippets = clip->snippets().value_or(std::vector<int>{});
    setup.jobCount = static_cast<int>(snippets.size() / 2);
    setup.jobs.clear();
    if (setup.edlOptions == 1) {
        for (int j = 0; j < setup.jobCount; ++j) {
            setup.jobs.push_back(
                SnippetJob{snippets[static_cast<size_t>(2 * j)], snippets[static_cast<size_t>(2 * j + 1)], 0});
            if (!MakeFolder(AppendingPathComponent(setup.destPath, JobFolderName(j + 1)))) return false;
        }
    }

    setup.useFrameFlags = setup.edlOptions != 2 && !clip->frameFlags().empty();
    setup.frameFlags = setup.useFrameFlags ? clip->frameFlags() : std::vector<uint8_t>{};

    if (!overwrite_ && first <= last) {
        std::error_code ec;
        for (int f = first; f <= last; ++f) {
            for (const FrameTarget& t : FrameTargetsForFrame(setup, f)) {
                if (!std::filesystem::exists(t.path, ec)) continue;
                const std::string message = "Part of sequence exists at " + t.path + ".  Not rendering.";
                LogWarn("{}", message);
                FailItem(message);
                return false;
            }
        }
    }
    return true;
}

void RenderBase::UpdateCurrentGrainAmount() {
    if (!currentGrain_) return;
    const RenderHooks hooks = GetRenderHooks();
    const int colorFormat = hooks.currentColorFormat ? hooks.currentColorFormat() : 0;
    currentGrain_->SetGrainAmount(GrainAmountFor(grainMultiplier_, colorFormat));
}

std::vector<FrameTarget> RenderBase::FrameTargetsForFrame(const RenderSetup& /*setup*/, int /*frame*/) const {
    return {};
}

std::vector<FrameTarget> RenderBase::SequenceTargetsForFrame(const RenderSetup& setup, int frame,
                                                             const std::string& ext) const {
    std::vector<FrameTarget> targets;
    if (setup.edlOptions != 1) {
        const int number = timecodeSettings_ == 1 ? frame : setup.timecodeBase + frame;
        targets.push_back(
            {AppendingPathComponent(setup.destPath, FrameFileName(setup.filenamePrefix, number, ext)), -1});
        return targets;
    }
    for (size_t j = 0; j < setup.jobs.size(); ++j) {
        const SnippetJob& job = setup.jobs[j];
        if (!job.Holds(frame)) continue;
        const int number = timecodeSettings_ == 1 ? frame - job.First() : setup.timecodeBase + frame;
        const std::string folder = AppendingPathComponent(setup.destPath, JobFolderName(static_cast<int>(j) + 1));
        targets.push_back(
            {AppendingPathComponent(folder, FrameFileName(setup.filenamePrefix, number, ext)), static_cast<int>(j)});
    }
    return targets;
}

// ---------------------------------------------------------------------------------------
// Prefetch

bool RenderBase::StartPrefetchThreadEndingFrameFlagsUseFrameFlags(int first, int last,
                                                                  const std::vector<uint8_t>* frameFlags,
                                                                  bool useFrameFlags) {
    StopPrefetchThread();
    auto data = std::make_shared<PreFetchData>();
    data->startFrame = first;
    data->endFrame = last;
    data->frameFlags = frameFlags;
    data->useFrameFlags = useFrameFlags && frameFlags;
    data->active = true;
    pfdata_ = data;
    try {
        prefetchThread_ = std::thread([this, data] { PreFetch(*data); });
    } catch (const std::system_error& e) {
        data->active = false;
        FailItem(std::string("The prefetch thread could not start: ") + e.what());
        return false;
    }
    return true;
}

void RenderBase::StopPrefetchThread() {
    if (pfdata_) pfdata_->shouldExit = true;
    if (prefetchThread_.joinable()) prefetchThread_.join();
}

void RenderBase::PreFetch(PreFetchData& data) {
    data.active = true;
    const RenderSourcePtr source = renderSource_;
    if (source) {
        source->EnterPrefetchThread();
        for (int f = data.startFrame; f <= data.endFrame; ++f) {
            const bool wanted = !data.useFrameFlags || (f >= 0 && static_cast<size_t>(f) < data.frameFlags->size() &&
                                                        (*data.frameFlags)[static_cast<size_t>(f)]);
            if (wanted) {
                // A renderer that stopped waiting (a failed frame) stops the retries too:
                // nobody would free a slot any more.
                while (!source->PreFectchFrame(f)) {
                    if (ShouldCancel() || data.shouldExit) break;
                    source->WaitForFreeSlot(kPrefetchRetry);
                }
            }
            if (ShouldCancel() || data.shouldExit) break;
        }
        source->LeavePrefetchThread();
    }
    data.active = false;
}

// ---------------------------------------------------------------------------------------
// The frame loop

void RenderBase::RenderFrameSequenceStartingEnding(int first, int last) {
    if (!WritesFrames()) {
        LogWarn("Error: RenderFrameSequenceStarting for RenderBase not implemented.");
        return;
    }
    if (!renderSource_ || !currentRenderItem_) {
        LogError("RenderFrameSequenceStarting without a loaded clip");
        return;
    }
    try {
        if (HasMovieSource())
            RenderQTFrameSequenceStartingEnding(first, last);
        else
            RenderR3DFrameSequenceStartingEnding(first, last);
    } catch (const std::bad_alloc&) {
        StopPrefetchThread();
        FailItem("Out of memory while rendering " + sourcePath_);
    } catch (const std::exception& e) {
        StopPrefetchThread();
        FailItem("The render of " + sourcePath_ + " stopped: " + e.what());
    }
}

void RenderBase::RenderR3DFrameSequenceStartingEnding(int first, int last) {
    RenderSource& source = *renderSource_;
    const auto context = source.openGLContext();
    if (context) context->MakeCurrent();

    RenderSetup setup;
    if (!SetupForRenderStartingEnding(setup, first, last)) return;
    // Raw frames: a stock without a table for the camera falls back to the raw chain. Set
    // before the pipeline loads the table, which reads it.
    AppState::Instance().setState(0);
    const ClipSettings& clip = *setup.clipSettings;
    const ClipSettings& itemLook = currentRenderItem_->settings() ? *currentRenderItem_->settings() : clip;
    const OutputSettings& out = *currentRenderItem_->outputSettings();
    const uint32_t ow = source.OutputWidth();
    const uint32_t oh = source.OutputHeight();

    // The first frames decode while the look's tables load.
    PrefetchStopper stopper(*this);
    if (!StartPrefetchThreadEndingFrameFlagsUseFrameFlags(first, last, &setup.frameFlags, setup.useFrameFlags)) return;
    std::unique_ptr<FrameProcessor> processor = MakeFrameProcessor();
    processor->setUseRenderContext(true);
    processor->setImageWidth(source.Width());
    processor->setImageHeight(source.Height());
    processor->setOutputWidth(ow);
    processor->setOutputHeight(oh);
    processor->SetSaturation(static_cast<float>(itemLook.saturation()));
    processor->SetBallInfo(itemLook.ballInfo());
    processor->SetLiftGammaGain(itemLook.lift(), itemLook.gamma(), itemLook.gain());
    // The decoder has applied exposure and colour temperature to raw frames already.
    processor->SetExposureKelvin(0.0f, 5600.0f);
    processor->SetBlendValue(clip.colorChangePercent());
    processor->SetSBlendValue(clip.scurveChangePercent());
    processor->SetGrainValue(clip.grainMultiplier());
    processor->SetHistogramBMW(clip.black(), clip.mid(), clip.white());
    processor->setR3dRenderBuffer(source.needsResize() ? source.ResizeBuffer() : source.RawBuffer());
    if (!processor->InitPipelineForViewportContext(ow, oh, context) || !processor->FBOSetup(context)) {
        FailItem("The look pipeline could not be set up for " + std::to_string(ow) + " x " + std::to_string(oh));
        return;
    }
    processor->SetBlurAmount(clip.blurRadius());
    processor->SetCurrentLUTSourceTypeChosenR3DMode(clip.stockName(), source.SourceType(), clip.sourceCameraChosen(),
                                                    true);
    // A render follows the clip's gauge as the preview does: 16mm grain is 16mm grain
    // whether the clip is raw or a movie.
    processor->ChangeGrainMapToStockScale(clip.stockName(), clip.grainScale());

    // One block per clip: room for 8 bytes a pixel whatever the read-back layout, though
    // only what a frame writes is ever touched.
    ZeroedBlock frameBuffer(static_cast<size_t>(ow) * oh * 8);
    if (frameBuffer.empty()) {
        FailItem("Out of memory for the frames of " + sourcePath_);
        return;
    }
    FrameDrawParams params;
    params.context = context;
    params.baseWidth = imageWidth_;
    params.baseHeight = imageHeight_;
    params.viewportWidth = ow;
    params.viewportHeight = oh;
    params.outputRGBA = OutputWantsRGBA();
    params.packing = OutputPacking();
    params.fitMethod = out.fitMethod();
    params.aspectWidth = source.AspectWidth();
    params.aspectHeight = source.AspectHeight();
    params.writeToDiskData = frameBuffer.data();

    if (!BeginFrameSequence(setup, first, last)) return;
    LogDebug("RenderR3DFrameSequenceStarting starting from {} to {}", first, last);
    const bool completed = RunFrameLoop(setup, first, last, false, processor.get(), &params);
    StopPrefetchThread();
    processor.reset();
    frameBuffer.reset();
    EndFrameSequence(setup, completed);
}

void RenderBase::RenderQTFrameSequenceStartingEnding(int first, int last) {
    RenderSource& source = *renderSource_;
    if (const auto context = source.openGLContext()) context->MakeCurrent();

    RenderSetup setup;
    if (!SetupForRenderStartingEnding(setup, first, last)) return;
    // Movie frames take the movie chain of stock fallbacks, also after a raw clip of the run.
    AppState::Instance().setState(1);
    if (!source.SetupDiskRendererSourceWithAlpha(*setup.clipSettings, source.SourceType(), OutputWantsRGBA())) {
        FailItem("The movie source of " + sourcePath_ + " could not be set up for rendering");
        return;
    }
    if (KeepsMovieLength()) {
        setup.useFrameFlags = false;
        setup.frameFlags.clear();
    }
    if (!BeginFrameSequence(setup, first, last)) return;
    bool completed = false;
    {
        PrefetchStopper stopper(*this);
        if (StartPrefetchThreadEndingFrameFlagsUseFrameFlags(first, last, &setup.frameFlags, setup.useFrameFlags)) {
            LogDebug("RenderQTFrameSequenceStarting starting from {} to {}", first, last);
            completed = RunFrameLoop(setup, first, last, true, nullptr, nullptr);
        }
    }
    EndFrameSequence(setup, completed);
}

int32_t RenderBase::WaitForFrame(int frame, bool movie, uint8_t** buffer) {
    RenderSource& source = *renderSource_;
    const auto interval = movie ? MovieFramePollInterval() : std::chrono::milliseconds(kRawFramePoll);
    bool producerDone = false;
    for (;;) {
        const int32_t state =
            movie ? source.RetrieveBufferForFrameOutputBuffer(frame, buffer) : source.RetrieveBufferForFrame(frame);
        if (state == kFrameReady) return state;
        if (state < 0) return kFrameFailed;
        if (ShouldCancel()) return kFrameNotReady;
        // A producer that has ended will bring nothing more: one last look, then give up.
        if (producerDone) return kFrameFailed;
        producerDone = !pfdata_ || !pfdata_->active.load();
        if (producerDone) continue;
        if (movie) {
            std::this_thread::sleep_for(interval);
        } else {
            source.WaitForFrameLanding(frame, interval);
        }
    }
}

bool RenderBase::RunFrameLoop(RenderSetup& setup, int first, int last, bool movie, FrameProcessor* processor,
                              const FrameDrawParams* params) {
    RenderSource& source = *renderSource_;
    ClipSettings& clip = *setup.clipSettings;
    // Raw frames are drawn into two buffers in turn; the file of one is written while the
    // next frame is drawn into the other. Declared before the writer, which finishes the
    // frame in hand whichever way the loop ends.
    ZeroedBlock secondBuffer;
    FrameDrawParams draw;
    std::unique_ptr<FrameWriter> writer;
    uint8_t* drawBuffers[2] = {nullptr, nullptr};
    for (auto& p : packedDraws_) p.store(nullptr);
    if (!movie) {
        draw = *params;
        secondBuffer = ZeroedBlock(static_cast<size_t>(params->viewportWidth) * params->viewportHeight * 8);
        if (secondBuffer.empty()) {
            FailItem("Out of memory for the frames of " + sourcePath_);
            return false;
        }
        drawBuffers[0] = params->writeToDiskData;
        drawBuffers[1] = secondBuffer.data();
        writer = std::make_unique<FrameWriter>();
    }
    for (int f = first; f <= last; ++f) {
        if (setup.useFrameFlags && !setup.FrameFlagged(f)) {
            // The counters move in frame order: the frame in hand is counted first.
            if (writer && !writer->Wait()) return false;
            if (KeepsMovieLength()) {
                if (ShouldCancel() || !WriteAndCountFrame(setup, f, nullptr)) return false;
                continue;
            }
            // Skipped frames move the clip's own counter only.
            clip.setFramesRendered(static_cast<float>(f + 1));
            if (f == last) PostFramesRendered(f);
            continue;
        }
        if (ShouldCancel()) return false;
        uint8_t* buffer = nullptr;
        const int32_t state = WaitForFrame(f, movie, &buffer);
        if (state == kFrameFailed) {
            const std::string why = source.lastError();
            FailItem("Frame " + std::to_string(f) + " of " + sourcePath_ + " could not be decoded" +
                     (why.empty() ? std::string() : ": " + why));
            return false;
        }
        if (state != kFrameReady || ShouldCancel()) {
            if (state == kFrameReady) source.DiscardFrame(f);
            return false;
        }
        if (!movie) {
            draw.writeToDiskData = drawBuffers[f & 1];
            bool packed = false;
            draw.packed = &packed;
            processor->setR3dRenderBuffer(source.needsResize() ? source.ResizeBuffer() : source.RawBuffer());
            processor->SetGrainFrame(GrainWalk::SeedForClip(sourcePath_), f);
            const bool drawn = processor->RenderUsingR3DRenderBuffer(draw);
            // The writer of this buffer's last frame has finished (Wait below, a frame ago).
            packedDraws_[size_t(f & 1)].store(drawn && packed ? draw.writeToDiskData : nullptr);
            source.DiscardFrame(f);
            if (!drawn) {
                FailItem("Frame " + std::to_string(f) + " of " + sourcePath_ + " could not be drawn");
                return false;
            }
            if (!writer->Wait() || ShouldCancel()) return false;
            uint8_t* const filled = draw.writeToDiskData;
            writer->Submit([this, &setup, f, filled] { return WriteAndCountFrame(setup, f, filled); });
            continue;
        }
        if (!buffer) {
            source.DiscardFrame(f);
            FailItem("Frame " + std::to_string(f) + " of " + sourcePath_ + " came without pixels");
            return false;
        }
        const bool written = WriteAndCountFrame(setup, f, buffer);
        source.DiscardFrame(f);
        if (!written) return false;
    }
    return !writer || writer->Wait();
}

bool RenderBase::DrawnPacked(const uint8_t* buffer) const {
    return buffer && (packedDraws_[0].load() == buffer || packedDraws_[1].load() == buffer);
}

bool RenderBase::WriteAndCountFrame(RenderSetup& setup, int frame, uint8_t* buffer) {
    RenderManagerItem& item = *currentRenderItem_;
    // A cancel also sets the item's error state, so the message tells a writer's failure.
    const bool failedBefore = !item.errorMessage().empty();
    WriteFrame(setup, frame, buffer);
    // A writer that failed the item ends the clip; the frame does not count.
    if (!failedBefore && !item.errorMessage().empty()) return false;
    setup.clipSettings->setFramesRendered(static_cast<float>(frame + 1));
    item.setFramesRendered(frame + 1);
    PostFramesRendered(frame);
    return true;
}

void RenderBase::PostFramesRendered(int frame) const {
    RenderManager* manager = renderManager_.load();
    if (!manager) return;
    MainQueue::Instance().RunAsync([manager, frame] { manager->UpdateFramesRendered(frame); });
}

bool RenderBase::BeginFrameSequence(const RenderSetup& /*setup*/, int /*first*/, int /*last*/) { return true; }

void RenderBase::WriteFrame(RenderSetup& /*setup*/, int /*frame*/, uint8_t* /*buffer*/) {}

void RenderBase::EndFrameSequence(const RenderSetup& /*setup*/, bool /*completed*/) {}

// ---------------------------------------------------------------------------------------
// Buffers

void RenderBase::SwapRGBA16BufferEndiannessPixels(uint16_t* buffer, size_t pixels) {
    if (!buffer) return;
    for (size_t i = 0, n = pixels * 4; i < n; ++i)
        buffer[i] = static_cast<uint16_t>((buffer[i] >> 8) | (buffer[i] << 8));
}

void RenderBase::ConvertShaderBufferToARGBPixels(uint16_t* buffer, size_t pixels) {
    if (!buffer) return;
    for (size_t p = 0; p < pixels; ++p) {
        uint16_t* px = buffer + p * 4;
        const uint16_t a = px[3];
        px[3] = px[2];
        px[2] = px[1];
        px[1] = px[0];
        px[0] = a;
    }
}

void RenderBase::ConvertShaderBufferToARGB(uint16_t* buffer) const {
    if (!renderSource_) return;
    ConvertShaderBufferToARGBPixels(buffer,
                                    static_cast<size_t>(renderSource_->OutputWidth()) * renderSource_->OutputHeight());
}

// ---------------------------------------------------------------------------------------
// Preview role

void RenderBase::DecodeSetup() {
    if (renderSource_) renderSource_->DecodeSetup();
}

bool RenderBase::Decode(int frame) {
    if (shouldAbort_ || !renderSource_) return false;
    if (!renderSource_->Decode(frame)) return false;
    decodedFrame_ = frame;
    return true;
}

void RenderBase::SetExposureKelvin(float exposure, float kelvin) {
    if (renderSource_) renderSource_->SetExposureKelvin(exposure, kelvin);
}

}  // namespace ombrel
