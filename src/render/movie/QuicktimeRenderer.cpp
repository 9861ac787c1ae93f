#include "render/movie/QuicktimeRenderer.h"

#include <cmath>
#include <filesystem>
#include <system_error>

#include "core/Log.h"
#include "core/Paths.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"
#include "model/SettingsManager.h"
#include "platform/movie/MovieProbe.h"
#include "platform/movie/MovieWriter.h"
#include "sources/QTRenderSource.h"

namespace ombrel {
namespace fs = std::filesystem;

namespace {

bool SameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    if (fs::equivalent(a, b, ec)) return true;
    return fs::weakly_canonical(a, ec) == fs::weakly_canonical(b, ec) && !ec;
}

// The sound streams among the tracks of the file at `path`: the one road of both kinds of clip.
std::vector<MovieSoundStream> SoundStreams(const std::string& path, const std::vector<MovieTrack>& tracks) {
    std::vector<MovieSoundStream> streams;
    for (const MovieTrack& track : tracks)
        if (track.kind == MediaKind::Audio) streams.push_back({path, track.index});
    return streams;
}

}  // namespace

QuicktimeRenderer::QuicktimeRenderer() = default;

QuicktimeRenderer::~QuicktimeRenderer() = default;

std::unique_ptr<Renderer> MakeQuicktimeRenderer() { return std::make_unique<QuicktimeRenderer>(); }

bool QuicktimeRenderer::LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) {
    // Projects keep no menu preset of their own; the codec is the output's.
    if (item && item->outputSettings()) codecTag_ = item->outputSettings()->qtCodec();
    return RenderBase::LoadSettingsForRenderManagerItem(item);
}

bool QuicktimeRenderer::SetDestPathForR3D(RenderSetup& setup) {
    setup.baseName = ClipBaseName(sourcePath());
    setup.destPath = destDirectory();
    return MakeFolder(setup.destPath);
}

bool QuicktimeRenderer::SetDestPathForQT(RenderSetup& setup) {
    setup.baseName = DeletingPathExtension(LastPathComponent(sourcePath()));
    setup.destPath = destDirectory();
    return MakeFolder(setup.destPath);
}

bool QuicktimeRenderer::IsRawClip() const { return renderSource() && !HasMovieSource(); }

bool QuicktimeRenderer::RemoveInTheWay(const std::string& path, const std::string& logText,
                                       const std::string& reason) const {
    std::error_code ec;
    if (!fs::exists(path, ec) || fs::remove(path, ec)) return true;
    LogError("{} {}\n{}", logText, path, ec.message());
    CancelRender(reason + ": " + path + " (" + ec.message() + ")");
    return false;
}

bool QuicktimeRenderer::SetupMovieExporter(const RenderSetup& setup, SetupMovieExporterArgs* args) {
    // A custom codec's file may have gone or been spoilt since it was added: that fails the clip too.
    Status tested = SettingsManager::Instance().LoadCodecPresetForTag(codecTag_, &preset_);
    if (tested.ok()) tested = TestCodecPreset(preset_);
    if (!tested.ok()) {
        LogError("Codec test failed for preset {}", codecTag_);
        FailItem("Codec test failed for preset " + std::to_string(codecTag_) + ": " + tested.message());
        return false;
    }
    RenderSource& source = *renderSource();
    args->width = static_cast<int>(source.OutputWidth());
    args->height = static_cast<int>(source.OutputHeight());
    if (!MakeFolder(destDirectory())) return false;
    args->baseName = setup.baseName;
    args->finalPath = AppendingPathComponent(destDirectory(), setup.baseName + ".mov");
    args->tempPath = MovieWriter::TemporaryPathFor(args->finalPath);
    args->audioPath = AppendingPathComponent(destDirectory(), setup.baseName + ".au");

    // A movie rendered into its own folder would replace itself while it is read.
    if (SameFile(args->finalPath, sourcePath()) || SameFile(args->tempPath, sourcePath())) {
        FailItem(sourcePath() + " would be its own destination; render it into another folder");
        return false;
    }
    std::error_code ec;
    if (fs::exists(args->finalPath, ec) && !overwrite()) {
        LogError("File already exists at {}\nNot Rendering.", args->finalPath);
        CancelRender("File already exists: " + args->finalPath);
        return false;
    }
    if (!RemoveInTheWay(args->finalPath, "could not remove existing path", "Could not remove existing file") ||
        !RemoveInTheWay(args->tempPath, "could not remove existing path", "Could not remove existing file") ||
        !RemoveInTheWay(args->audioPath, "could not remove existing audio track",
                        "Could not remove existing audio track"))
        return false;

    const std::shared_ptr<ClipMetadata> meta = MetadataCache::Instance().ForceMetadataForPath(sourcePath());
    MovieWriterSettings s;
    s.preset = preset_;
    s.width = args->width;
    s.height = args->height;
    s.alpha = true;
    if (meta && meta->rateNumerator() > 0 && meta->rateDenominator() > 0) {
        s.rateNum = static_cast<int>(meta->rateNumerator());
        s.rateDen = static_cast<int>(meta->rateDenominator());
    } else {
        const double fps = source.FramesPerSecond();
        const bool whole = fps == std::floor(fps);
        s.rateNum = static_cast<int>(std::llround(fps * (whole ? 1.0 : 1001.0)));
        s.rateDen = whole ? 1 : 1001;
    }
    const auto scale = static_cast<int64_t>(meta ? meta->timeScale() : 0.0);
    s.timeScale = scale > 0 ? static_cast<int>(scale) : s.rateNum;
    frameStep_ = static_cast<double>(s.timeScale) * s.rateDen / s.rateNum;
    timeStamp_ = 0.0;
    const int fpsUp = (s.rateNum + s.rateDen - 1) / s.rateDen;
    const TimecodeValues tc = source.Timecode(0);
    s.timecodeStart = (static_cast<int64_t>(tc.hours) * 3600 + tc.minutes * 60 + tc.seconds) * fpsUp + tc.frames;
    s.reelName = LastPathComponent(sourcePath());
    s.sound = IsRawClip() ? InsertAudioFromR3DSource(args->audioPath) : InsertAudioFromQTSource();
    // A snippet render keeps all the sound, as its movie keeps the clip's length; a part of
    // the clip gets its part of the sound.
    if (!setup.clipSettings || !setup.clipSettings->hasSnippets()) {
        s.audioFirstFrame = firstFrame_;
        s.audioFrames = lastFrame_ - firstFrame_ + 1;
    }

    movieExporter_ = std::make_unique<MovieWriter>();
    if (!movieExporter_->Open(args->finalPath, s)) {
        LogError("{}", movieExporter_->lastError().message());
        movieExporter_.reset();
        CancelRender("Quicktime Movie Exporter could not be created - Codec not available");
        return false;
    }
    return true;
}

std::vector<MovieSoundStream> QuicktimeRenderer::InsertAudioFromQTSource() const {
    const auto* movie = dynamic_cast<const QTRenderSource*>(renderSource().get());
    return movie ? SoundStreams(sourcePath(), movie->GetAudioTracks()) : std::vector<MovieSoundStream>{};
}

std::vector<MovieSoundStream> QuicktimeRenderer::InsertAudioFromR3DSource(const std::string& audioPath) const {
    // The extract stays beside the movie as a file of its own; a clip without sound leaves none.
    if (!renderSource()->ExtractAudio(audioPath)) LogWarn("The audio of {} was not extracted", sourcePath());
    std::error_code ec;
    if (!fs::exists(audioPath, ec)) return {};
    MovieInfo extract;
    if (const Status read = ProbeMovie(audioPath, extract); !read.ok()) {
        LogWarn("The audio of {} is not in the movie: {}", sourcePath(), read.message());
        return {};
    }
    return SoundStreams(audioPath, extract.tracks);
}

bool QuicktimeRenderer::BeginFrameSequence(const RenderSetup& setup, int first, int last) {
    firstFrame_ = first;
    lastFrame_ = last;
    return SetupMovieExporter(setup, &args_);
}

MovieFrameTime QuicktimeRenderer::NextFrameTime(double* t, double step, int64_t n, bool rawClip) {
    MovieFrameTime time{static_cast<int64_t>(*t), static_cast<int64_t>(std::trunc(step))};
    if (!rawClip) {
        // Each frame's exact start, rounded: a whole step as it is; a step the time scale does
        // not hold (23.976 at 90 kHz) alternates and keeps the source's rate, where the step
        // rounded once would drift from its sound by the second.
        time.timeStamp = std::llround(static_cast<double>(n) * step);
        time.duration = std::llround(static_cast<double>(n + 1) * step) - time.timeStamp;
    }
    *t += step;
    return time;
}

std::vector<MovieFrameTime> QuicktimeRenderer::FrameTimes(int frames, double timeScale, int64_t rateNum,
                                                          int64_t rateDen, bool rawClip) {
    std::vector<MovieFrameTime> times;
    if (rateNum <= 0 || rateDen <= 0) return times;
    // From the exact rate: 24000 / 23.976 would truncate to 1000.
    const double step = timeScale * static_cast<double>(rateDen) / static_cast<double>(rateNum);
    double t = 0.0;
    for (int n = 0; n < frames; ++n) times.push_back(NextFrameTime(&t, step, n, rawClip));
    return times;
}

std::vector<uint16_t> QuicktimeRenderer::PlaceholderFrame(int width, int height) {
    std::vector<uint16_t> rgba(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    // Dark grey crossed by two light diagonals: a gap that reads as one at any size.
    const int thick = std::max(1, height / 60);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int along = static_cast<int>(static_cast<int64_t>(x) * height / std::max(1, width));
            const bool line = std::abs(along - y) < thick || std::abs(height - 1 - along - y) < thick;
            const uint8_t v = line ? 160 : 40;
            uint16_t* px = rgba.data() + (static_cast<size_t>(y) * width + x) * 4;
            px[0] = px[1] = px[2] = static_cast<uint16_t>(v << 8);
            px[3] = 65535;
        }
    }
    return rgba;
}

void QuicktimeRenderer::WriteFrame(RenderSetup& /*setup*/, int frame, uint8_t* buffer) {
    if (!movieExporter_) return;
    const uint16_t* pixels = reinterpret_cast<const uint16_t*>(buffer);
    if (!pixels) {
        if (placeholder_.empty()) placeholder_ = PlaceholderFrame(args_.width, args_.height);
        pixels = placeholder_.data();
    }
    const MovieFrameTime at = NextFrameTime(&timeStamp_, frameStep_, movieExporter_->framesWritten(), IsRawClip());
    if (!movieExporter_->WriteFrameAt(pixels, static_cast<size_t>(args_.width) * 8, at.timeStamp, at.duration))
        FailItem("Frame " + std::to_string(frame) + " was not written (" + movieExporter_->lastError().message() +
                 "); the clip stops here");
}

void QuicktimeRenderer::EndFrameSequence(const RenderSetup& /*setup*/, bool completed) {
    placeholder_.clear();
    if (!movieExporter_) return;
    const RenderManagerItemPtr item = currentRenderItem();
    const bool failed = item && !item->errorMessage().empty();
    if (!completed || failed || ShouldCancel()) {
        // Never renamed: a cut-short movie would pass for the whole clip.
        movieExporter_->Cancel();
        movieExporter_.reset();
        return;
    }
    if (!movieExporter_->Close()) {
        FailItem("The movie " + args_.finalPath + " could not be finished: " + movieExporter_->lastError().message());
        movieExporter_.reset();
        return;
    }
    movieExporter_.reset();
    std::error_code ec;
    fs::rename(args_.tempPath, args_.finalPath, ec);
    if (ec) {
        FailItem("The movie " + args_.tempPath + " could not be renamed to " + args_.finalPath + ": " + ec.message());
        fs::remove(args_.tempPath, ec);
    }
}

}  // namespace ombrel
