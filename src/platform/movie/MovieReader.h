#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ombrel {

// The rate and length of a movie's picture as exact integers: `frameCount` frames last
// `duration` ticks of 1 / `timeScale` second, at `fpsNum` / `fpsDen` frames a second.
struct StaticFrameRate {
    int64_t timeScale = 0;
    int64_t duration = 0;
    int64_t frameCount = 0;
    int64_t fpsNum = 0;
    int64_t fpsDen = 1;

    double fps() const { return fpsDen > 0 ? static_cast<double>(fpsNum) / static_cast<double>(fpsDen) : 0.0; }
};

// Reads a movie's pictures by frame number as 16-bit RGB (three samples a pixel, host order).
// Frame f is the f-th picture in presentation order. Reading f + 1 after f decodes on; any
// other frame seeks to the key frame at or before it and decodes forward to its exact time.
// Not for use from two threads at once.
class MovieReader {
public:
    MovieReader();
    ~MovieReader();
    MovieReader(const MovieReader&) = delete;
    MovieReader& operator=(const MovieReader&) = delete;

    // Opens the first picture stream of a movie; false with lastError() when it cannot.
    bool Open(const std::string& path);
    void Close();
    bool isOpen() const;
    const std::string& lastError() const { return lastError_; }

    int width() const;
    int height() const;
    int64_t frameCount() const;
    StaticFrameRate staticFrameRate() const;
    // The frame number of the first frame's timecode; 0 without a timecode track.
    int64_t timecodeStartFrame() const;

    // Frame f at the movie's size into `rgb` (width x height x 3 samples).
    bool ReadFrame(int64_t frame, std::vector<uint16_t>& rgb);
    // Frame f scaled to width x height.
    bool ReadFrameScaled(int64_t frame, int width, int height, std::vector<uint16_t>& rgb);

    // Seeks made since the open, so that a caller can see that a straight run made none.
    int64_t seekCount() const;

private:
    struct State;
    bool Fail(std::string message);

    std::unique_ptr<State> state_;
    std::string lastError_;
};

}  // namespace ombrel
