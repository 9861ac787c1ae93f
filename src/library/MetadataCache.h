#pragma once

#include "core/Singleton.h"
#include "library/ClipMetadata.h"
#include "platform/imageio/Image.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>

namespace ombrel {

// What the footage library knows of each clip, by path, for the life of the process, in
// memory and in a small record file per clip under ~/Documents/Ombrel/Thumbnails/. One worker
// thread fills what is not known yet and makes the thumbnails. Records are shared: every
// caller of the same path gets the same one. Safe from any thread.
//
// Two services: asynchronous (MetadataForPathWithThumbnailNotifyDiscard, RequestThumbNotify)
// answers at once with what is known and tells the observer, on the main thread through
// MainQueue, when more arrives; synchronous (ForceMetadataForPath) blocks until it is known.
class MetadataCache : public Singleton<MetadataCache> {
public:
    static constexpr const char* kClassName = "MetadataCache";
    // Requests of one run beyond this many stay marked as queued and are never worked.
    static constexpr int32_t kQueueCapacity = 65535;
    // How long the idle worker sleeps before it looks at the queue again unasked.
    static constexpr double kIdleWaitSeconds = 3.0;

    // The record, when it is known and complete (with a thumbnail if `withThumbnail`); null
    // while the worker is still on it, and then `notify` is told when it is done. `discard`
    // asks for nothing to be queued. A null `notify` is allowed.
    std::shared_ptr<ClipMetadata> MetadataForPathWithThumbnailNotifyDiscard(
        const std::string& path, bool withThumbnail, const std::shared_ptr<MetadataObserver>& notify, bool discard);
    // The clip's thumbnail; while it is being made, the placeholder picture, and `notify` is
    // told when the real one is there. Null only for an empty path. Rows run top to bottom.
    static ImagePtr RequestThumbNotify(const std::string& path, const std::shared_ptr<MetadataObserver>& notify);
    // The placeholder picture of a thumbnail not made yet.
    static ImagePtr ThumbPlaceholder();
    // A thumbnail in memory, or null.
    ImagePtr CachedThumbnail(const std::string& path) const;

    // The record of a clip, loaded here and now when it is not known yet; null only for a
    // file that does not exist. A clip that cannot be read gets a record of defaults.
    std::shared_ptr<ClipMetadata> ForceMetadataForPath(const std::string& path);
    bool HasMetadataForPath(const std::string& path) const;
    // The known record, or null; never loads.
    std::shared_ptr<ClipMetadata> CacheGet(const std::string& path) const;
    // The thumbnail file of a clip, "<path hash>.tif" in the thumbnails folder.
    static std::string TiffPath(const std::string& path);

    // Pause: the worker ends after the record in hand. Restart: a worker runs again (after the
    // paused one has ended). WaitForWorker: waits until a paused worker has ended.
    void Pause();
    void Restart();
    void WaitForWorker();
    bool threadActive() const { return threadActive_.load(); }

    // The queue. EnQueue adds a record not queued yet (and makes it known); ReQueue sends a
    // known one round again; QueueTop takes the next one (null when none is waiting);
    // QueuedMeta is the record of a path only while it is queued; Cache marks a record done
    // and tells its observers.
    void EnQueue(const std::shared_ptr<ClipMetadata>& meta);
    void ReQueue(const std::string& path);
    std::shared_ptr<ClipMetadata> QueueTop();
    std::shared_ptr<ClipMetadata> QueuedMeta(const std::string& path) const;
    int32_t QueueSize() const { return queueCount_.load() - queueTop_.load(); }
    int32_t cacheCount() const { return cacheCount_.load(); }
    void Cache(const std::shared_ptr<ClipMetadata>& meta);

    // The loaders of the two kinds of clip: timing, size and, when the record needs one, the
    // thumbnail. A clip that cannot be opened leaves the record as it was (a movie also marks
    // it not playable).
    void LoadMetaForR3D(ClipMetadata& meta);
    void LoadMetaForQTBgThread(ClipMetadata& meta);

private:
    friend class Singleton<MetadataCache>;
    MetadataCache();

    void MetadataThread();
    void StartWorker();
    void StopWorkerForExit();
    void LoadForKind(ClipMetadata& meta);
    void KeepThumbnail(const std::string& path, const ImagePtr& image);
    // The record already known for its path, or `meta` made known.
    std::shared_ptr<ClipMetadata> Adopt(const std::shared_ptr<ClipMetadata>& meta);

    // Guards metaCollection_, thumbCache_, the stores into queuePtr_ and cacheCount_; never
    // held across a load.
    mutable std::mutex lock_;
    std::unordered_map<std::string, std::shared_ptr<ClipMetadata>> metaCollection_;
    std::unordered_map<std::string, ImagePtr> thumbCache_;
    // An entry is stored before queueCount_ moves past it; the worker reads no further.
    std::unique_ptr<std::shared_ptr<ClipMetadata>[]> queuePtr_;
    std::atomic<int32_t> queueTop_{0};
    std::atomic<int32_t> queueCount_{0};
    std::atomic<int32_t> cacheCount_{0};
    std::atomic<bool> threadActive_{false};

    std::mutex threadLock_;  // worker_
    std::mutex sleepLock_;   // wake_
    std::condition_variable wake_;
    std::thread worker_;
};

}  // namespace ombrel
