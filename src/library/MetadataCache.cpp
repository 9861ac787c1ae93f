#include "library/MetadataCache.h"

#include "core/Log.h"
#include "library/FileParser.h"
#include "platform/movie/MovieReader.h"
#include "r3d/sdk/R3DSDK.h"

#include <cmath>
#include <filesystem>
#include <numeric>

namespace ombrel {

std::shared_ptr<ClipMetadata> MetadataCache::ForceMetadataForPath(const std::string& path) {
    std::error_code ec;
    if (path.empty() || !std::filesystem::exists(path, ec)) return nullptr;
    if (auto known = CacheGet(path)) return known;
    auto meta = std::make_shared<ClipMetadata>(path);
    if (FileParser::IsR3DFile(path)) {
        LoadMetaForR3D(*meta);
    } else {
        LoadMetaForMovie(*meta);
    }
    std::lock_guard hold(lock_);
    // Another thread may have loaded the same clip meanwhile; the first record stays.
    return metaCollection_.try_emplace(path, meta).first->second;
}

bool MetadataCache::HasMetadataForPath(const std::string& path) const { return CacheGet(path) != nullptr; }

std::shared_ptr<ClipMetadata> MetadataCache::CacheGet(const std::string& path) const {
    std::lock_guard hold(lock_);
    const auto it = metaCollection_.find(path);
    return it == metaCollection_.end() ? nullptr : it->second;
}

void MetadataCache::LoadMetaForR3D(ClipMetadata& meta) {
    std::error_code ec;
    if (!std::filesystem::exists(meta.filePath(), ec)) return;
    const R3DSDK::Clip clip(meta.filePath());
    if (clip.Status() != R3DSDK::kClipLoaded) {
        LogWarn("Error loading {}", meta.filePath());
        return;
    }
    const double fps = clip.MetadataItemAsFloat("framerate");
    meta.setFrameCount(static_cast<uint32_t>(clip.VideoFrameCount()));
    meta.setFps(fps);
    meta.setOriginalSize(static_cast<float>(clip.Width()), static_cast<float>(clip.Height()));
    // A rate that is not whole is an NTSC one: 23.976 counts 24000 ticks a second, 1001 a frame.
    const int64_t k = fps == std::floor(fps) ? 1000 : 1001;
    const auto timeScale = static_cast<int64_t>(std::llround(fps * static_cast<double>(k)));
    const int64_t duration = static_cast<int64_t>(meta.frameCount()) * k;
    meta.setTimeScale(static_cast<double>(timeScale));
    meta.setDuration(static_cast<double>(duration));
    const int64_t common = std::gcd(timeScale, k);
    if (common > 0) meta.setRate(timeScale / common, k / common);
    meta.setQtDuration({duration, timeScale});
    meta.setHasTimingInfo(true);
}

void MetadataCache::LoadMetaForMovie(ClipMetadata& meta) {
    if (meta.notPlayable()) return;
    MovieReader reader;
    if (!reader.Open(meta.filePath())) {
        LogWarn("Cannot read movie metadata: {}", reader.lastError());
        meta.setNotPlayable(true);
        return;
    }
    const StaticFrameRate rate = reader.staticFrameRate();
    meta.setTimeScale(static_cast<double>(rate.timeScale));
    meta.setDuration(static_cast<double>(rate.duration));
    meta.setFps(rate.fps());
    meta.setFrameCount(static_cast<uint32_t>(rate.frameCount));
    meta.setRate(rate.fpsNum, rate.fpsDen);
    meta.setTimecodeStartFrame(static_cast<int32_t>(reader.timecodeStartFrame()));
    if (rate.duration > 0) {
        meta.setOriginalSize(static_cast<float>(reader.width()), static_cast<float>(reader.height()));
        meta.setQtDuration({rate.duration, rate.timeScale});
        meta.setHasTimingInfo(true);
    }
}

}  // namespace ombrel
