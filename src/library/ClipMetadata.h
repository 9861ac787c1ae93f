#pragma once

#include "library/FileParser.h"
#include "platform/imageio/Image.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ombrel {

// A view that shows clip records: told, on the main thread, when a record it asked for has
// more to show. The cache holds observers weakly; an observer that is gone is skipped.
class MetadataObserver {
public:
    virtual ~MetadataObserver() = default;
    virtual void SetNeedsDisplay(const std::string& path) = 0;
};

// A clip's size and timing as the footage library knows them. A new record holds the
// defaults (24 frames a second, 1920 x 1080, a length of one second) until a loader fills it
// and sets hasTimingInfo. Records are shared between the cache's worker and its callers:
// every access is locked, and a loader works on a copy of the values (values()) that it puts
// back whole (setValues()) while it holds loadLock().
class ClipMetadata {
public:
    // Everything a load fills, as one value.
    struct Values {
        // Ticks per second of duration: the movie stream's own; for an R3D clip the rate
        // times 1000, or 1001 for a rate that is not whole.
        double timeScale = 1000.0;
        double fps = 24.0;
        double duration = 1.0;
        uint32_t frameCount = 0;
        float originalWidth = 1920.0f;
        float originalHeight = 1080.0f;
        MovieTime qtDuration{1000, 1000};
        // The rate as an exact fraction (24000 / 1001), 0 / 1 while unknown.
        int64_t rateNumerator = 0;
        int64_t rateDenominator = 1;
        std::string thumbnailPath;
        ImagePtr thumbnail;
        bool hasThumbnail = false;
        bool hasTimingInfo = false;
        // No movie could be made of the file; no further attempts are made.
        bool notPlayable = false;
        // The frame number of a movie's first timecode.
        int32_t timecodeStartFrame = 0;
    };

    explicit ClipMetadata(std::string filePath = {}) : filePath_(std::move(filePath)) {}
    ClipMetadata(const ClipMetadata&) = delete;
    ClipMetadata& operator=(const ClipMetadata&) = delete;

    Values values() const;
    void setValues(const Values& v);
    // Held by whoever loads the record, so that two loads of one clip take turns.
    std::mutex& loadLock() { return loadLock_; }

    double timeScale() const { return Get(&Values::timeScale); }
    double fps() const { return Get(&Values::fps); }
    double duration() const { return Get(&Values::duration); }
    uint32_t frameCount() const { return Get(&Values::frameCount); }
    float originalWidth() const { return Get(&Values::originalWidth); }
    float originalHeight() const { return Get(&Values::originalHeight); }
    // duration() and timeScale() as whole numbers, as movie time.
    MovieTime qtDuration() const { return Get(&Values::qtDuration); }
    int64_t rateNumerator() const { return Get(&Values::rateNumerator); }
    int64_t rateDenominator() const { return Get(&Values::rateDenominator); }
    const std::string& filePath() const { return filePath_; }
    std::string thumbnailPath() const { return Get(&Values::thumbnailPath); }
    ImagePtr thumbnail() const { return Get(&Values::thumbnail); }
    bool hasThumbnail() const { return Get(&Values::hasThumbnail); }
    bool hasTimingInfo() const { return Get(&Values::hasTimingInfo); }
    bool notPlayable() const { return Get(&Values::notPlayable); }
    int32_t timecodeStartFrame() const { return Get(&Values::timecodeStartFrame); }
    // The worker is to make a thumbnail.
    bool needsThumbnail() const { return needsThumbnail_.load(); }
    // Waiting for the worker.
    bool isQueued() const { return isQueued_.load(); }

    void setTimeScale(double v) { Set(&Values::timeScale, v); }
    void setFps(double v) { Set(&Values::fps, v); }
    void setDuration(double v) { Set(&Values::duration, v); }
    void setFrameCount(uint32_t v) { Set(&Values::frameCount, v); }
    void setOriginalSize(float width, float height);
    void setQtDuration(const MovieTime& v) { Set(&Values::qtDuration, v); }
    void setRate(int64_t numerator, int64_t denominator);
    void setThumbnailPath(const std::string& v) { Set(&Values::thumbnailPath, v); }
    void setThumbnail(ImagePtr v) { Set(&Values::thumbnail, std::move(v)); }
    void setHasThumbnail(bool v) { Set(&Values::hasThumbnail, v); }
    void setHasTimingInfo(bool v) { Set(&Values::hasTimingInfo, v); }
    void setNotPlayable(bool v) { Set(&Values::notPlayable, v); }
    void setTimecodeStartFrame(int32_t v) { Set(&Values::timecodeStartFrame, v); }
    void setNeedsThumbnail(bool v) { needsThumbnail_.store(v); }
    void setIsQueued(bool v) { isQueued_.store(v); }
    // Sets isQueued and answers what it was.
    bool exchangeIsQueued(bool v) { return isQueued_.exchange(v); }

    // Views to redraw when the record is done: false for null or one already there.
    bool AddNotifyTarget(const std::shared_ptr<MetadataObserver>& target);
    std::vector<std::weak_ptr<MetadataObserver>> notifyTargets() const;

    // The record file, ".<path hash>_v3.plist" in the thumbnails folder.
    std::string PlistPath() const;
    // Reads the record file: false when it is missing or does not parse. Keys present replace
    // the fields; a "thumbnailPath" naming a file that exists brings the thumbnail in too.
    bool LoadFromPList();
    // Writes the record file atomically; false when it cannot.
    bool SaveToPList() const;

private:
    template <typename T>
    T Get(T Values::*field) const {
        std::lock_guard hold(lock_);
        return values_.*field;
    }
    template <typename T>
    void Set(T Values::*field, T v) {
        std::lock_guard hold(lock_);
        values_.*field = std::move(v);
    }

    const std::string filePath_;
    mutable std::mutex lock_;
    Values values_;
    std::vector<std::weak_ptr<MetadataObserver>> notifyTargets_;
    std::mutex loadLock_;
    std::atomic<bool> needsThumbnail_{false};
    std::atomic<bool> isQueued_{false};
};

}  // namespace ombrel
