#pragma once

#include "library/FileParser.h"

#include <cstdint>
#include <string>
#include <utility>

namespace ombrel {

// A clip's size and timing as the footage library knows them. A new record holds the
// defaults (24 frames a second, 1920 x 1080, a length of one second) until a loader fills it
// and sets hasTimingInfo.
class ClipMetadata {
public:
    explicit ClipMetadata(std::string filePath = {}) : filePath_(std::move(filePath)) {}

    // Ticks per second of duration(): the movie stream's own; for an R3D clip the rate times
    // 1000, or 1001 for a rate that is not whole.
    double timeScale() const { return timeScale_; }
    double fps() const { return fps_; }
    double duration() const { return duration_; }
    uint32_t frameCount() const { return frameCount_; }
    float originalWidth() const { return originalWidth_; }
    float originalHeight() const { return originalHeight_; }
    // duration() and timeScale() as whole numbers, as movie time.
    const MovieTime& qtDuration() const { return qtDuration_; }
    // The rate as an exact fraction (24000 / 1001), 0 / 1 while unknown.
    int64_t rateNumerator() const { return rateNumerator_; }
    int64_t rateDenominator() const { return rateDenominator_; }
    const std::string& filePath() const { return filePath_; }
    bool hasTimingInfo() const { return hasTimingInfo_; }
    // No movie could be made of the file; no further attempts are made.
    bool notPlayable() const { return notPlayable_; }
    // The frame number of a movie's first timecode.
    int32_t timecodeStartFrame() const { return timecodeStartFrame_; }

    void setTimeScale(double v) { timeScale_ = v; }
    void setFps(double v) { fps_ = v; }
    void setDuration(double v) { duration_ = v; }
    void setFrameCount(uint32_t v) { frameCount_ = v; }
    void setOriginalSize(float width, float height) {
        originalWidth_ = width;
        originalHeight_ = height;
    }
    void setQtDuration(const MovieTime& v) { qtDuration_ = v; }
    void setRate(int64_t numerator, int64_t denominator) {
        rateNumerator_ = numerator;
        rateDenominator_ = denominator;
    }
    void setFilePath(const std::string& v) { filePath_ = v; }
    void setHasTimingInfo(bool v) { hasTimingInfo_ = v; }
    void setNotPlayable(bool v) { notPlayable_ = v; }
    void setTimecodeStartFrame(int32_t v) { timecodeStartFrame_ = v; }

private:
    double timeScale_ = 1000.0;
    double fps_ = 24.0;
    double duration_ = 1.0;
    uint32_t frameCount_ = 0;
    float originalWidth_ = 1920.0f;
    float originalHeight_ = 1080.0f;
    MovieTime qtDuration_{1000, 1000};
    int64_t rateNumerator_ = 0;
    int64_t rateDenominator_ = 1;
    std::string filePath_;
    bool hasTimingInfo_ = false;
    bool notPlayable_ = false;
    int32_t timecodeStartFrame_ = 0;
};

}  // namespace ombrel
