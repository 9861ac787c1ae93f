#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "look/PixelPacking.h"
#include "sources/RenderSource.h"

namespace ombrel {

// What a frame-file format knows of the clip it writes, once per clip.
struct FrameClip {
    int width = 0;
    int height = 0;
    int firstFrame = 0;  // of the range being rendered
    int framesInClip = 0;
    float fps = 0.0f;
    TimecodeValues startTimecode;
    std::chrono::system_clock::time_point created;
};

// The bytes of one file around the packed pixels. They stay valid until the next call that
// lays out or names a file.
struct FrameFileParts {
    std::span<const uint8_t> head;
    std::span<const uint8_t> tail;
};

// One file per frame: the plug-in a frame-sequence renderer drives (render/tiff, render/dpx).
// A format holds the layout of one clip's files; one instance serves one clip.
class FrameFileFormat {
public:
    virtual ~FrameFileFormat() = default;

    // "TIFF", for messages; "tiff", the files' extension without the dot.
    virtual const char* Name() const = 0;
    virtual const char* Extension() const = 0;
    // The read-back the pixels come in: 4 samples a pixel (R, G, B, A) when true, else 3.
    virtual bool WantsRGBA() const = 0;
    // How long the movie branch sleeps between tries for a processed frame.
    virtual std::chrono::milliseconds MovieFramePollInterval() const { return std::chrono::milliseconds(10); }
    // Why a frame of this size cannot be a file of this format, or empty when it can.
    virtual std::string SizeProblem(int64_t width, int64_t height) const = 0;

    // Lays the files of a clip out; the size has passed SizeProblem.
    virtual void Begin(const FrameClip& clip) = 0;
    // Turns a read-back frame (width x height pixels, 16-bit host-order samples, rows without
    // gaps) into the file's pixel bytes in place; answers how many bytes they are.
    virtual size_t PackInPlace(uint8_t* buffer) = 0;
    // The same pixel bytes as PackInPlace gives, which a draw may lay out itself; and how
    // many bytes a frame of them is.
    virtual PixelPacking Packing() const { return PixelPacking::kHost16; }
    virtual size_t PackedBytes() const = 0;
    // The head and tail of the file of frame `frame` at `path`.
    virtual FrameFileParts PartsForFile(int frame, const TimecodeValues& timecode, const std::string& path) = 0;
};

}  // namespace ombrel
