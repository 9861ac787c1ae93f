#pragma once

#include <cstdint>
#include <string>

#include "core/Status.h"

namespace CLI {
class App;
}

namespace ombrel::cli {

struct InfoOptions {
    std::string clip;
    bool json = false;
    int extract = 0;  // the extract type whose camera profile is shown for R3D clips
};

// What a user checks before a render: size, rate, length, timecode, reel and clip, audio and
// the camera profile.
struct ClipFacts {
    std::string path;
    uint32_t width = 0;
    uint32_t height = 0;
    double fps = 0.0;
    std::string frameRate;  // the rate as an exact fraction, "24000/1001", or a whole number
    int64_t frameCount = 0;
    std::string startTimecode;
    std::string endTimecode;
    std::string startEdgecode;
    std::string endEdgecode;
    std::string reel;
    std::string clip;
    int audioChannels = 0;
    int audioSampleRate = 0;
    std::string sourceType;
    // Stock tables the profile store holds for the profile; 0 means renders of the clip
    // use the fallback table.
    int stockTables = 0;
    std::string camera;
    std::string sensor;
    int whiteBalanceKelvin = 0;
    int iso = 0;
    int64_t droppedFrames = 0;
    std::string kind;  // "r3d" or "movie"
    // Movies only, as the metadata keeps them: the picture's four characters (FFmpeg's codec
    // name where the container has none), ticks a second and the length in them, and the frame
    // number of the timecode track's start.
    std::string codec;
    int64_t timeScale = 0;
    int64_t duration = 0;
    int64_t timecodeStartFrame = 0;
};

// The part number of a file of a spanned R3D clip ("_002.R3D" is 2); 0 when the name has none.
int SpanPartOfR3DName(const std::string& path);
// An R3D clip by its name: its first file, or a later part of a spanned clip.
bool IsR3DName(const std::string& path);

// Reads the facts of a clip; fails with the reason when the file is no clip we can read (one
// message: the reader's log lines are kept back meanwhile).
Status ReadClipFacts(const std::string& path, int extractType, ClipFacts* facts);
std::string ClipFactsJson(const ClipFacts& facts);
std::string ClipFactsText(const ClipFacts& facts);

// Adds `info CLIP [--json]`.
CLI::App* AddInfoCommand(CLI::App& app, InfoOptions& options);
// Runs a parsed `info`; 0, or 1 when the file is no clip.
int RunInfo(const InfoOptions& options);

}  // namespace ombrel::cli
