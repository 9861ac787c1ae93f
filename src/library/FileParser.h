#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

struct MovieInfo;

// A length in a movie's own time: value / timeScale seconds.
struct MovieTime {
    int64_t value = 0;
    int64_t timeScale = 0;
};

// The shared rules on clip files: what counts as a clip, how it is named, how frame
// numbers and timecode text convert, where the cache keeps its files. No instances;
// everything is stateless and may run on any thread (the panels excepted).
class FileParser {
public:
    FileParser() = delete;

    // Is this the first file of an R3D clip? Looks at the name only; case does not matter.
    static bool IsR3DFile(const std::string& path);
    // Is this a movie worth listing? By extension and size; see MovieProbe for whether
    // FFmpeg can actually decode it.
    static bool IsUseableQuicktimeMov(const std::string& path);

    // Name on screen: an R3D clip loses its "_001.r3d" tail.
    static std::string DisplayNameForPath(const std::string& path);
    // Reel ("A001") and clip ("002") of an R3D name; empty for anything else.
    static std::string DisplayReelNameForPath(const std::string& path);
    static std::string DisplayClipNameForPath(const std::string& path);
    // Name of a clip's cache files: the path with "/", "\" and ":" made "_".
    static std::string PathHashForPath(const std::string& path);

    // Frame number to "HH:MM:SS:FF", non-drop. Rates in [23, 24) count as 24.
    static std::string GetStringOfTimecodeFPS(uint32_t frame, float fps);
    // "HH:MM:SS:FF" (any separators) to a frame number, non-drop. Rates in [23, 24)
    // count as 24 and rates in (29, 30) as 30. Text under 11 characters gives 0.
    static int32_t GetIntOfTimecodeFPS(std::string_view timecode, float fps);
    static std::string GetStringOfTimecode(uint32_t frame, float fps) { return GetStringOfTimecodeFPS(frame, fps); }
    static int32_t GetIntOfTimecode(std::string_view timecode, float fps) { return GetIntOfTimecodeFPS(timecode, fps); }
    // The first 11 characters of a buffer (fewer if it ends sooner).
    static std::string GetTimecode(const char* buffer);

    // Rate and frame count of a probed movie; the outputs stay untouched where the movie
    // does not tell. Answers the length of its picture.
    static MovieTime GetDetailsFromMovieOutFPSOutFrameCount(const MovieInfo& movie, double* outFps,
                                                            double* outFrameCount);
    static MovieTime GetDetailsFromQTMovieOutFPSOutFrameCount(const MovieInfo& movie, double* outFps,
                                                              double* outFrameCount);

    // Reads and unscrambles a data container, tail included; nullopt for a missing file.
    static std::optional<std::vector<uint8_t>> GetUnscrambledData(const std::string& path);

    // Front of the render engine's compact TIFF writer: w x h packed 16-bit RGB samples in
    // host order, left unchanged. 0 when written, 1 when the file could not be made (or no
    // writer is registered), with the reason in `error`. Quiet: the caller reports.
    static int Write16BitTiffOfWidthHeightFromBufferToPath(int width, int height, const uint16_t* buffer,
                                                           const std::string& path, std::string* error = nullptr);

    // Makes a folder and its missing parents.
    static bool CreateDirectoryWithIntermediaries(const std::string& path);
    // Modal panels; without a window the browse answers `path` and the save an empty text,
    // as a cancel would.
    static std::string BrowseFromPathNeedDirectoryNeedFileTitle(const std::string& path, bool needDirectory,
                                                                bool needFile, const std::string& title);
    static std::string ChooseSavePath(const std::string& title);

    // Facts for the usage report. The version falls back to 10.0 when unknown; memory and
    // clock speed to 0.
    static void getSystemVersionMajorminor(int32_t* major, int32_t* minor);
    static int64_t RamInMegs();
    static int64_t ClockSpeedInMHz();
};

}  // namespace ombrel
