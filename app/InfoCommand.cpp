#include "InfoCommand.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "Json.h"
#include "RenderCommand.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/RegularFile.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"
#include "look/LutManager.h"
#include "platform/movie/MovieProbe.h"
#include "r3d/sdk/R3DSDK.h"
#include "sources/R3DSource.h"

namespace ombrel::cli {

namespace {

// Keeps the log's stderr lines back while alive.
class QuietLog {
public:
    QuietLog() { SetLogToStderr(false); }
    ~QuietLog() { SetLogToStderr(true); }
    QuietLog(const QuietLog&) = delete;
    QuietLog& operator=(const QuietLog&) = delete;
};

// "HH:MM:SS:FF" whatever separators the clip wrote ("." marks the first frame of a step above
// 30 fps, ";" a first-generation clip).
std::string Colons(std::string tc) {
    for (char& c : tc)
        if (c == '.' || c == ';') c = ':';
    return tc;
}

Status ReadR3DFacts(const std::string& path, int extractType, ClipFacts* f) {
    R3DSDK::Clip clip(path);
    if (clip.Status() != R3DSDK::kClipLoaded)
        return UnsupportedError(std::string("not a clip: ") + R3DSDK::ClipStatusText(clip.Status()));
    f->kind = "r3d";
    f->width = uint32_t(clip.Width());
    f->height = uint32_t(clip.Height());
    const uint32_t num = clip.FrameRateNumerator(), den = clip.FrameRateDenominator();
    f->fps = den ? double(num) / double(den) : 0.0;
    f->frameRate = den == 1 ? std::to_string(num) : std::to_string(num) + "/" + std::to_string(den);
    f->frameCount = int64_t(clip.VideoFrameCount());
    const size_t last = f->frameCount > 0 ? size_t(f->frameCount - 1) : 0;
    auto orZero = [](const std::string& tc) { return tc.empty() ? std::string("00:00:00:00") : Colons(tc); };
    f->startTimecode = orZero(clip.Timecode(0));
    f->endTimecode = orZero(clip.Timecode(last));
    f->startEdgecode = orZero(clip.EdgeTimecode(0));
    f->endEdgecode = orZero(clip.EdgeTimecode(last));
    f->reel = clip.MetadataItemAsString("reel_id");
    f->clip = clip.MetadataItemAsString("clip_id");
    if (f->reel.empty()) f->reel = FileParser::DisplayReelNameForPath(path);
    if (f->clip.empty()) f->clip = FileParser::DisplayClipNameForPath(path);
    size_t blockSize = 0;
    f->audioChannels = clip.AudioBlockCountAndSize(&blockSize) > 0 ? int(clip.AudioChannelCount()) : 0;
    f->audioSampleRate = f->audioChannels > 0 ? clip.MetadataItemAsInt("samplerate") : 0;
    f->camera = clip.MetadataItemAsString("camera_model");
    f->sensor = clip.MetadataItemAsString("sensor_name");
    f->sourceType =
        R3DSourceTypeFor(extractType, clip.MetadataItemAsInt("camera_model_id"), clip.MetadataItemAsInt("sensor_id"));
    f->whiteBalanceKelvin = int(std::lround(clip.MetadataItemAsFloat("white_balance_kelvin")));
    f->iso = clip.MetadataItemAsInt("iso");
    f->droppedFrames = clip.MetadataItemAsInt("dropped_frame_count");
    return OkStatus();
}

std::string RateText(int64_t num, int64_t den) {
    return den == 1 ? std::to_string(num) : std::to_string(num) + "/" + std::to_string(den);
}

Status ReadMovieFacts(const std::string& path, ClipFacts* f) {
    MovieProbe probe(path);
    const MovieTrack* video = probe.ok() ? probe.info().FirstVideoTrack() : nullptr;
    if (!video) {
        return UnsupportedError(probe.ok() ? "not a clip: the movie has no picture"
                                           : "not a clip: neither an R3D clip nor a movie that can be read");
    }
    f->kind = "movie";
    f->width = uint32_t(std::max(video->width, 0));
    f->height = uint32_t(std::max(video->height, 0));
    f->codec = video->FourCC() != "????" ? video->FourCC() : video->codecName;
    double fps = 0.0, frames = 0.0;
    FileParser::GetDetailsFromMovieOutFPSOutFrameCount(probe.info(), &fps, &frames);
    f->fps = fps;
    f->frameRate = JsonNumber(fps);
    f->frameCount = int64_t(frames);
    // Renders count the movie as the metadata does: its exact rate, its length, its timecode.
    const std::shared_ptr<ClipMetadata> meta = MetadataCache::Instance().ForceMetadataForPath(path);
    int64_t fpsUp = int64_t(std::ceil(fps));
    if (meta && meta->hasTimingInfo() && meta->rateNumerator() > 0 && meta->rateDenominator() > 0) {
        f->fps = double(meta->rateNumerator()) / double(meta->rateDenominator());
        f->frameRate = RateText(meta->rateNumerator(), meta->rateDenominator());
        f->frameCount = meta->frameCount();
        f->timeScale = meta->qtDuration().timeScale;
        f->duration = meta->qtDuration().value;
        f->timecodeStartFrame = meta->timecodeStartFrame();
        fpsUp = (meta->rateNumerator() + meta->rateDenominator() - 1) / meta->rateDenominator();
    }
    // Non-drop at the rate rounded up, as the timecode track counts.
    const auto timecode = [&](int64_t frame) {
        return FileParser::GetStringOfTimecodeFPS(uint32_t(std::max<int64_t>(frame, 0)), float(fpsUp));
    };
    f->startTimecode = timecode(f->timecodeStartFrame);
    f->endTimecode = timecode(f->timecodeStartFrame + std::max<int64_t>(f->frameCount - 1, 0));
    // Edge code counts the movie's own frames from 0.
    f->startEdgecode = FileParser::GetStringOfTimecodeFPS(0, float(f->fps));
    f->endEdgecode =
        FileParser::GetStringOfTimecodeFPS(uint32_t(std::max<int64_t>(f->frameCount - 1, 0)), float(f->fps));
    for (const MovieTrack& t : probe.info().tracks)
        if (t.kind == MediaKind::Audio && f->audioChannels == 0) {
            f->audioChannels = t.channels;
            f->audioSampleRate = t.sampleRate;
        }
    f->sourceType = "5D";
    return OkStatus();
}

}  // namespace

bool IsR3DName(const std::string& path) { return FileParser::IsR3DFile(path) || SpanPartOfR3DName(path) > 1; }

int SpanPartOfR3DName(const std::string& path) {
    const std::string name = LastPathComponent(path);
    if (name.size() < 8) return 0;
    std::string ext = name.substr(name.size() - 4);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    const std::string number = name.substr(name.size() - 7, 3);
    if (ext != ".r3d" || name[name.size() - 8] != '_' ||
        !std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return 0;
    return std::stoi(number);
}

Status ReadClipFacts(const std::string& path, int extractType, ClipFacts* facts) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        const std::string kind = FileKindText(path);
        return kind == "nothing" ? NotFoundError("no such file") : UnsupportedError(kind + ", not a clip");
    }
    facts->path = std::filesystem::absolute(path, ec).string();
    Status read;
    {
        // The reader's own lines would repeat what the one message below says.
        QuietLog quiet;
        read = IsR3DName(path) ? ReadR3DFacts(path, extractType, facts) : ReadMovieFacts(path, facts);
    }
    if (read.ok() && LutManager::LutAvailable(facts->sourceType)) {
        const auto tables = LutManager::InstalledTables();
        const auto it = tables.find(facts->sourceType);
        facts->stockTables = it == tables.end() ? 0 : int(it->second.size());
    }
    return read;
}

std::string ClipFactsJson(const ClipFacts& f) {
    std::string s = "{";
    auto key = [&](const char* k) { s += (s.size() > 1 ? ", " : "") + JsonString(k) + ": "; };
    key("path"), s += JsonString(f.path);
    key("width"), s += std::to_string(f.width);
    key("height"), s += std::to_string(f.height);
    key("fps"), s += JsonNumber(f.fps);
    key("frameRate"), s += JsonString(f.frameRate);
    key("frameCount"), s += std::to_string(f.frameCount);
    key("startTimecode"), s += JsonString(f.startTimecode);
    key("endTimecode"), s += JsonString(f.endTimecode);
    key("startEdgecode"), s += JsonString(f.startEdgecode);
    key("endEdgecode"), s += JsonString(f.endEdgecode);
    key("reel"), s += JsonString(f.reel);
    key("clip"), s += JsonString(f.clip);
    key("audioChannels"), s += std::to_string(f.audioChannels);
    key("audioSampleRate"), s += std::to_string(f.audioSampleRate);
    key("sourceType"), s += JsonString(f.sourceType);
    key("stockTables"), s += std::to_string(f.stockTables);
    key("camera"), s += JsonString(f.camera);
    key("sensor"), s += JsonString(f.sensor);
    key("whiteBalanceKelvin"), s += std::to_string(f.whiteBalanceKelvin);
    key("iso"), s += std::to_string(f.iso);
    key("droppedFrames"), s += std::to_string(f.droppedFrames);
    if (f.kind == "movie") {
        key("codec"), s += JsonString(f.codec);
        key("timeScale"), s += std::to_string(f.timeScale);
        key("duration"), s += std::to_string(f.duration);
        key("timecodeStartFrame"), s += std::to_string(f.timecodeStartFrame);
    }
    key("kind"), s += JsonString(f.kind);
    return s + "}\n";
}

std::string ClipFactsText(const ClipFacts& f) {
    std::string s;
    auto line = [&](const char* label, const std::string& value) {
        if (!value.empty()) s += fmt::format("{:<16}{}\n", label, value);
    };
    line("Path:", f.path);
    line("Size:", fmt::format("{} x {}", f.width, f.height));
    line("Rate:",
         f.frameRate == JsonNumber(f.fps) ? f.frameRate + " fps" : fmt::format("{} ({:.3f} fps)", f.frameRate, f.fps));
    line("Frames:", std::to_string(f.frameCount));
    line("Timecode:", f.startTimecode + " - " + f.endTimecode);
    if (f.kind == "r3d") line("Edge code:", f.startEdgecode + " - " + f.endEdgecode);
    if (f.kind == "movie") {
        line("Codec:", f.codec);
        line("Time scale:", fmt::format("{} ticks a second", f.timeScale));
        line("Duration:", fmt::format("{} ticks", f.duration));
        line("Timecode frame:", std::to_string(f.timecodeStartFrame));
    }
    line("Reel:", f.reel);
    line("Clip:", f.clip);
    line("Audio:", f.audioChannels > 0 ? fmt::format("{} channels at {} Hz", f.audioChannels, f.audioSampleRate)
                                       : std::string("none"));
    line("Camera:", f.camera);
    line("Sensor:", f.sensor);
    if (f.whiteBalanceKelvin > 0) line("White balance:", fmt::format("{} K", f.whiteBalanceKelvin));
    if (f.iso > 0) line("ISO:", std::to_string(f.iso));
    if (f.droppedFrames > 0) line("Dropped:", fmt::format("{} frames", f.droppedFrames));
    line("Profile:", f.stockTables > 0 ? fmt::format("{} ({} stock tables installed)", f.sourceType, f.stockTables)
                                       : fmt::format("{} (no stock tables installed: renders use the fallback "
                                                     "table \"5207\" of {})",
                                                     f.sourceType, f.sourceType == "5D" ? "5D" : "EpicM"));
    return s;
}

CLI::App* AddInfoCommand(CLI::App& app, InfoOptions& o) {
    CLI::App* info =
        app.add_subcommand("info", "What a clip is: size, rate, frames, timecode, reel/clip, audio, profile");
    info->add_option("CLIP", o.clip, "An R3D clip or a movie file")->required();
    info->add_flag("--json", o.json, "Print one JSON object");
    info->add_option("--extract", o.extract, "Extract type whose camera profile to show for R3D clips (0-2)")
        ->check(CLI::Range(0, 2));
    return info;
}

int RunInfo(const InfoOptions& o) {
    ClipFacts facts;
    if (Status s = ReadClipFacts(o.clip, o.extract, &facts); !s.ok()) {
        std::fprintf(stderr, "ombrel info: %s: %s\n", o.clip.c_str(), s.message().c_str());
        return kExitFailed;
    }
    const std::string out = o.json ? ClipFactsJson(facts) : ClipFactsText(facts);
    std::fputs(out.c_str(), stdout);
    return kExitOk;
}

}  // namespace ombrel::cli
