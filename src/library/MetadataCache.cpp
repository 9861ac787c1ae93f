#include "library/MetadataCache.h"

#include "core/Log.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "library/FileParser.h"
#include "platform/movie/MovieReader.h"
#include "r3d/sdk/R3DSDK.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <numeric>

namespace ombrel {

namespace {

constexpr int kMovieThumbWidth = 156;
constexpr int kMovieThumbHeight = 94;
constexpr int kR3DThumbDivisor = 16;

bool Exists(const std::string& path) {
    std::error_code ec;
    return !path.empty() && std::filesystem::exists(path, ec);
}

void MakeThumbnailsFolder() {
    std::error_code ec;
    std::filesystem::create_directories(ThumbnailsFolder(), ec);
}

ImagePtr ReadThumb(const std::string& path) {
    ImagePtr image;
    if (Exists(path)) (void)ReadTiffImage(path, &image);
    return image;
}

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};

// The first picture of an R3D clip at one sixteenth, kept as three planes of 16 bits; the file
// is the answer. Null when the clip cannot be decoded.
ImagePtr LoadR3DThumb(const std::string& path) {
    if (!Exists(path)) return nullptr;
    const std::string tiff = MetadataCache::TiffPath(path);
    if (ImagePtr known = ReadThumb(tiff)) return known;
    R3DSDK::Clip clip(path);
    if (clip.Status() != R3DSDK::kClipLoaded) return nullptr;
    const size_t w = clip.Width() / kR3DThumbDivisor;
    const size_t h = clip.Height() / kR3DThumbDivisor;
    if (w == 0 || h == 0) return nullptr;
    const size_t bytes = w * h * 6;
    std::unique_ptr<uint16_t, FreeDeleter> buffer(static_cast<uint16_t*>(std::aligned_alloc(16, (bytes + 15) / 16 * 16)));
    if (!buffer) {
        LogWarn("Failed to allocate {} bytes of memory for output image", bytes);
        return nullptr;
    }
    const R3DSDK::ImageProcessingSettings settings;
    R3DSDK::VideoDecodeJob job;
    job.mode = R3DSDK::kDecodeSixteenthResGood;
    job.pixelType = R3DSDK::kPixelRGB16Planar;
    job.outputBuffer = buffer.get();
    job.outputBufferSize = bytes;
    job.bytesPerRow = w * 2;
    job.imageProcessingSettings = &settings;
    if (const int rc = clip.DecodeVideoFrame(0, job); rc != R3DSDK::kDecodeOk) {
        LogWarn("Decode failed {}?", rc);
        return nullptr;
    }
    clip.Close();
    MakeThumbnailsFolder();
    if (const Status written = WriteRgb16PlanarTiff(buffer.get(), static_cast<int>(w), static_cast<int>(h), tiff);
        !written.ok()) {
        LogWarn("Failed to create thumb {}", written.message());
        return nullptr;
    }
    return ReadThumb(tiff);
}

// 16-bit RGB samples to an 8-bit picture with opaque alpha.
ImagePtr ToImage(const std::vector<uint16_t>& rgb, int width, int height) {
    auto image = std::make_shared<Image>(width, height);
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    for (size_t i = 0; i < pixels; ++i) {
        for (size_t c = 0; c < 3; ++c) image->rgba[i * 4 + c] = static_cast<uint8_t>((rgb[i * 3 + c] + 128u) / 257u);
        image->rgba[i * 4 + 3] = 255;
    }
    return image;
}

}  // namespace

MetadataCache::MetadataCache() : queuePtr_(std::make_unique<std::shared_ptr<ClipMetadata>[]>(kQueueCapacity)) {
    metaCollection_.reserve(1000);
    thumbCache_.reserve(1000);
    // What the worker uses must outlive it: made before the exit hook, they are torn down after it.
    Log();
    MainQueue::Instance();
    std::atexit([] { MetadataCache::UnsafeInstance().StopWorkerForExit(); });
    StartWorker();
}

// ---- asynchronous service

std::shared_ptr<ClipMetadata> MetadataCache::MetadataForPathWithThumbnailNotifyDiscard(
    const std::string& path, bool withThumbnail, const std::shared_ptr<MetadataObserver>& notify, bool discard) {
    if (path.empty()) return nullptr;
    std::shared_ptr<ClipMetadata> meta = CacheGet(path);
    if (meta) {
        if (meta->isQueued()) {
            // Not yet taken, it still gets its thumbnail in this round.
            if (withThumbnail) meta->setNeedsThumbnail(true);
            meta->AddNotifyTarget(notify);
            return nullptr;
        }
        if (meta->hasThumbnail() || !withThumbnail) return meta;
        meta->setNeedsThumbnail(true);
        meta->AddNotifyTarget(notify);
        ReQueue(path);
    }
    if (meta) {
        // Queued just now, or done by the worker in the meantime: either way this record goes on.
        if (withThumbnail) meta->setNeedsThumbnail(true);
    } else {
        meta = std::make_shared<ClipMetadata>(path);
        if (meta->LoadFromPList()) {
            meta = Adopt(meta);
            if (meta->hasThumbnail()) {
                KeepThumbnail(path, meta->thumbnail());
                return meta;
            }
            if (!withThumbnail) return meta;
        }
        // Another thread may have made the clip known meanwhile: its record is the one to queue.
        meta = Adopt(meta);
        if (withThumbnail) meta->setNeedsThumbnail(true);
    }
    meta->AddNotifyTarget(notify);
    if (!discard) EnQueue(meta);
    return nullptr;
}

ImagePtr MetadataCache::RequestThumbNotify(const std::string& path, const std::shared_ptr<MetadataObserver>& notify) {
    if (path.empty()) return nullptr;
    MetadataCache& cache = Instance();
    if (ImagePtr known = cache.CachedThumbnail(path)) return known;
    if (ImagePtr file = ReadThumb(TiffPath(path))) {
        cache.KeepThumbnail(path, file);
        return file;
    }
    cache.MetadataForPathWithThumbnailNotifyDiscard(path, true, notify, false);
    return ThumbPlaceholder();
}

ImagePtr MetadataCache::ThumbPlaceholder() {
    static const ImagePtr placeholder = [] {
        const std::string path = RequireResource("Resources/ThumbPlaceholder.tif");
        ImagePtr image;
        if (const Status read = ReadTiffImage(path, &image); !read.ok()) {
            LogError("Thumbnail placeholder: {}", read.message());
            auto grey = std::make_shared<Image>(kMovieThumbWidth, kMovieThumbHeight);
            std::fill(grey->rgba.begin(), grey->rgba.end(), uint8_t{64});
            image = grey;
        }
        return image;
    }();
    return placeholder;
}

ImagePtr MetadataCache::CachedThumbnail(const std::string& path) const {
    std::lock_guard hold(lock_);
    const auto it = thumbCache_.find(path);
    return it == thumbCache_.end() ? nullptr : it->second;
}

void MetadataCache::KeepThumbnail(const std::string& path, const ImagePtr& image) {
    if (!image) return;
    std::lock_guard hold(lock_);
    thumbCache_[path] = image;
}

// ---- synchronous service

std::shared_ptr<ClipMetadata> MetadataCache::ForceMetadataForPath(const std::string& path) {
    if (!Exists(path)) return nullptr;
    std::shared_ptr<ClipMetadata> meta = CacheGet(path);
    if (!meta) {
        auto fresh = std::make_shared<ClipMetadata>(path);
        const bool fromFile = fresh->LoadFromPList();
        if (!fromFile) LoadForKind(*fresh);
        meta = Adopt(fresh);
        if (meta == fresh) {
            if (fromFile) {
                KeepThumbnail(path, meta->thumbnail());
            } else {
                EnQueue(meta);
                Cache(meta);
            }
            return meta;
        }
        // Another thread made the clip known meanwhile: its record is the answer, as below.
    }
    if (meta->isQueued()) {
        // The worker will load it again from its queue entry; both loads agree.
        LoadForKind(*meta);
        Cache(meta);
    }
    return meta;
}

bool MetadataCache::HasMetadataForPath(const std::string& path) const { return CacheGet(path) != nullptr; }

std::shared_ptr<ClipMetadata> MetadataCache::CacheGet(const std::string& path) const {
    std::lock_guard hold(lock_);
    const auto it = metaCollection_.find(path);
    return it == metaCollection_.end() ? nullptr : it->second;
}

std::shared_ptr<ClipMetadata> MetadataCache::Adopt(const std::shared_ptr<ClipMetadata>& meta) {
    std::lock_guard hold(lock_);
    return metaCollection_.try_emplace(meta->filePath(), meta).first->second;
}

std::string MetadataCache::TiffPath(const std::string& path) {
    return ThumbnailsFolder() + "/" + FileParser::PathHashForPath(path) + ".tif";
}

// ---- the queue

void MetadataCache::EnQueue(const std::shared_ptr<ClipMetadata>& meta) {
    if (!meta || meta->exchangeIsQueued(true)) return;
    {
        std::lock_guard hold(lock_);
        ++cacheCount_;
        metaCollection_.try_emplace(meta->filePath(), meta);
        const int32_t count = queueCount_.load();
        if (count >= kQueueCapacity) return;
        queuePtr_[count] = meta;
        queueCount_.store(count + 1);
    }
    { std::lock_guard sleeping(sleepLock_); }
    wake_.notify_all();
}

void MetadataCache::ReQueue(const std::string& path) {
    const auto meta = CacheGet(path);
    if (!meta) return;
    meta->setIsQueued(false);
    EnQueue(meta);
}

std::shared_ptr<ClipMetadata> MetadataCache::QueueTop() {
    int32_t top = queueTop_.load();
    do {
        if (top >= queueCount_.load()) return nullptr;
    } while (!queueTop_.compare_exchange_weak(top, top + 1));
    return queuePtr_[top];
}

std::shared_ptr<ClipMetadata> MetadataCache::QueuedMeta(const std::string& path) const {
    auto meta = CacheGet(path);
    return meta && meta->isQueued() ? meta : nullptr;
}

void MetadataCache::Cache(const std::shared_ptr<ClipMetadata>& meta) {
    meta->setIsQueued(false);
    const std::string path = meta->filePath();
    for (const auto& target : meta->notifyTargets()) {
        if (target.expired()) continue;
        MainQueue::Instance().RunAsync([target, path] {
            if (const auto view = target.lock()) view->SetNeedsDisplay(path);
        });
    }
}

// ---- the worker

void MetadataCache::StartWorker() {
    std::lock_guard hold(threadLock_);
    if (worker_.joinable()) worker_.join();
    threadActive_ = true;
    worker_ = std::thread([this] { MetadataThread(); });
}

void MetadataCache::Pause() {
    threadActive_ = false;
    { std::lock_guard sleeping(sleepLock_); }
    wake_.notify_all();
}

void MetadataCache::Restart() { StartWorker(); }

void MetadataCache::WaitForWorker() {
    std::lock_guard hold(threadLock_);
    if (!threadActive_ && worker_.joinable()) worker_.join();
}

void MetadataCache::StopWorkerForExit() {
    Pause();
    WaitForWorker();
}

void MetadataCache::MetadataThread() {
    while (threadActive_) {
        while (threadActive_) {
            const std::shared_ptr<ClipMetadata> meta = QueueTop();
            if (!meta) break;
            try {
                LoadForKind(*meta);
                // On disk before anyone is told, so that a view told finds the record there.
                meta->SaveToPList();
                Cache(meta);
            } catch (const std::exception& e) {
                LogWarn("Metadata Error: {}", e.what());
            }
        }
        std::unique_lock sleeping(sleepLock_);
        wake_.wait_for(sleeping, std::chrono::duration<double>(kIdleWaitSeconds),
                       [this] { return !threadActive_ || queueCount_.load() > queueTop_.load(); });
    }
}

// ---- loaders

void MetadataCache::LoadForKind(ClipMetadata& meta) {
    if (FileParser::IsR3DFile(meta.filePath())) {
        LoadMetaForR3D(meta);
    } else {
        LoadMetaForQTBgThread(meta);
    }
}

void MetadataCache::LoadMetaForR3D(ClipMetadata& meta) {
    const std::string& path = meta.filePath();
    if (!Exists(path)) return;
    std::lock_guard loading(meta.loadLock());
    ClipMetadata::Values v = meta.values();
    R3DSDK::Clip clip(path);
    if (clip.Status() != R3DSDK::kClipLoaded) {
        LogWarn("Error loading {}", path);
        return;
    }
    v.frameCount = static_cast<uint32_t>(clip.VideoFrameCount());
    v.fps = clip.MetadataItemAsFloat("framerate");
    v.originalWidth = static_cast<float>(clip.Width());
    v.originalHeight = static_cast<float>(clip.Height());
    // A rate that is not whole is an NTSC one: 23.976 counts 24000 ticks a second, 1001 a frame.
    const int64_t k = v.fps == std::floor(v.fps) ? 1000 : 1001;
    const auto timeScale = static_cast<int64_t>(std::llround(v.fps * static_cast<double>(k)));
    const int64_t duration = static_cast<int64_t>(v.frameCount) * k;
    v.timeScale = static_cast<double>(timeScale);
    v.duration = static_cast<double>(duration);
    if (const int64_t common = std::gcd(timeScale, k); common > 0) {
        v.rateNumerator = timeScale / common;
        v.rateDenominator = k / common;
    }
    v.qtDuration = {duration, timeScale};
    v.hasTimingInfo = true;
    clip.Close();
    if (meta.needsThumbnail()) {
        if (ImagePtr image = LoadR3DThumb(path)) {
            v.thumbnailPath = TiffPath(path);
            v.hasThumbnail = true;
            v.thumbnail = image;
            KeepThumbnail(path, image);
        }
    }
    meta.setValues(v);
}

void MetadataCache::LoadMetaForQTBgThread(ClipMetadata& meta) {
    const std::string& path = meta.filePath();
    std::lock_guard loading(meta.loadLock());
    ClipMetadata::Values v = meta.values();
    if (v.notPlayable) return;
    MovieReader reader;
    if (!reader.Open(path)) {
        LogWarn("Not playable: {}", reader.lastError());
        v.notPlayable = true;
        meta.setValues(v);
        return;
    }
    try {
        const StaticFrameRate rate = reader.staticFrameRate();
        v.timeScale = static_cast<double>(rate.timeScale);
        v.duration = static_cast<double>(rate.duration);
        v.fps = rate.fps();
        v.frameCount = static_cast<uint32_t>(rate.frameCount);
        v.rateNumerator = rate.fpsNum;
        v.rateDenominator = rate.fpsDen;
        v.timecodeStartFrame = static_cast<int32_t>(reader.timecodeStartFrame());
        if (rate.duration > 0) {
            v.originalWidth = static_cast<float>(reader.width());
            v.originalHeight = static_cast<float>(reader.height());
            v.qtDuration = {rate.duration, rate.timeScale};
            v.hasTimingInfo = true;
        }
        const std::string tiff = TiffPath(path);
        ImagePtr image = meta.needsThumbnail() ? ReadThumb(tiff) : nullptr;
        if (!image) {
            // The first picture, also when no thumbnail is wanted: a movie whose pictures do not
            // decode is not playable.
            std::vector<uint16_t> rgb;
            const bool decoded = reader.ReadFrameScaled(0, kMovieThumbWidth, kMovieThumbHeight, rgb) ||
                                 reader.ReadFrameScaled(0, kMovieThumbWidth, kMovieThumbHeight, rgb);
            if (!decoded) {
                LogWarn("Failed to create thumb {}", reader.lastError());
                v.notPlayable = true;
            } else if (meta.needsThumbnail()) {
                image = ToImage(rgb, kMovieThumbWidth, kMovieThumbHeight);
                MakeThumbnailsFolder();
                if (const Status written = WriteImageAsTiff(*image, tiff); !written.ok()) {
                    LogWarn("Failed to create thumb {}", written.message());
                    image = nullptr;
                }
            }
        }
        if (image) {
            v.thumbnailPath = tiff;
            v.hasThumbnail = true;
            v.thumbnail = image;
            KeepThumbnail(path, image);
        }
    } catch (const std::exception& e) {
        LogWarn("Metadata Error: {}", e.what());
        return;
    }
    meta.setValues(v);
}

}  // namespace ombrel
