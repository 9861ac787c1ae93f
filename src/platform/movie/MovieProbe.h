#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Status.h"

struct AVFormatContext;

namespace ombrel {

enum class MediaKind { Video, Audio, Other };

// What the container and FFmpeg say about one stream of a movie.
struct MovieTrack {
    int index = -1;
    MediaKind kind = MediaKind::Other;
    std::string codecName;  // empty when FFmpeg does not know the codec
    uint32_t codecTag = 0;  // the container's four characters, first one in the low byte
    bool decoderAvailable = false;
    int64_t sampleCount = 0;  // 0 when the container does not say
    int timeBaseNum = 0;      // one tick of duration is timeBaseNum / timeBaseDen seconds
    int timeBaseDen = 0;
    int64_t duration = 0;  // in ticks; 0 when unknown
    double averageFrameRate = 0.0;
    double realFrameRate = 0.0;  // FFmpeg's guess at the base rate
    int width = 0;
    int height = 0;
    int sampleRate = 0;
    int channels = 0;

    // The four characters of codecTag, "????" for a missing or unprintable one.
    std::string FourCC() const;
};

struct MovieInfo {
    std::string path;
    std::string formatName;      // FFmpeg's demuxer name, as "mov,mp4,m4a,3gp,3g2,mj2"
    int64_t durationMicros = 0;  // the whole file; 0 when unknown
    std::vector<MovieTrack> tracks;

    // The first video stream that is a moving picture (cover art does not count).
    const MovieTrack* FirstVideoTrack() const;
    bool HasAudio() const;
    // A video stream we have a decoder for, with a size.
    bool HasDecodableVideo() const;
    // MPEG program, transport and elementary streams: their rate is the encoded one
    // and their length has to be worked out from the duration.
    bool IsMpegMedia() const;
};

// Opens a movie and reads its stream facts. Keeps the demuxer open for a caller
// that wants to go on reading; it closes when the probe goes.
class MovieProbe {
public:
    explicit MovieProbe(const std::string& path);
    ~MovieProbe();
    MovieProbe(const MovieProbe&) = delete;
    MovieProbe& operator=(const MovieProbe&) = delete;

    bool ok() const { return ok_; }
    // Why the file could not be opened as a movie; empty when ok().
    const std::string& error() const { return error_; }
    const MovieInfo& info() const { return info_; }
    AVFormatContext* context() const { return context_; }

private:
    bool ok_ = false;
    std::string error_;
    MovieInfo info_;
    AVFormatContext* context_ = nullptr;
};

// One-shot forms for callers that only want the facts; `out` is left alone on failure.
Status ProbeMovie(const std::string& path, MovieInfo& out);
bool IsDecodableMovie(const std::string& path);

}  // namespace ombrel
