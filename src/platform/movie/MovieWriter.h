#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/Status.h"
#include "platform/movie/CodecPreset.h"

namespace ombrel {

// A sound stream copied into a track of the movie: stream `stream` of a file that FFmpeg reads,
// a movie or a Sun audio file.
struct MovieSoundStream {
    std::string path;
    int stream = 0;
};

// What a movie is made of: the codec, the picture size, the rate, the timecode track and the sound.
struct MovieWriterSettings {
    CodecPreset preset;
    int width = 0;
    int height = 0;
    bool alpha = false;  // frames are 16-bit RGBA, else 16-bit RGB
    int rateNum = 24;    // frames per second as an exact fraction: 24000 / 1001 stays exact
    int rateDen = 1;
    int timeScale = 24000;                // ticks per second of the video track: the caller's, not the muxer's
    int64_t timecodeStart = 0;            // first frame of the timecode track, counted at the rate rounded up
    std::string reelName;                 // the timecode track's source name
    std::vector<MovieSoundStream> sound;  // one track each, in order
    // The part of the sound copied, in frames of the rate from the source's first picture:
    // linear PCM is cut at the sample, other codecs at the packets that reach into the part.
    int64_t audioFirstFrame = 0;
    int64_t audioFrames = -1;  // -1: to its end
};

// Writes one QuickTime movie through an FFmpeg encoder and the mov muxer, into "__NAME.mov"
// beside the target; renaming it to the target is the caller's. Frames are converted to the
// preset's pixel format with BT.709 at limited range and tagged so. A failure, a cancel or a
// writer that dies unclosed deletes the "__" file.
class MovieWriter {
public:
    MovieWriter();
    ~MovieWriter();
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    static std::string TemporaryPathFor(const std::string& target);

    bool Open(const std::string& target, const MovieWriterSettings& settings);
    // One frame of native-endian 16-bit samples, `rowBytes` apart; frame n lasts from n to n + 1
    // frame durations.
    bool WriteFrame(const uint16_t* pixels, size_t rowBytes);
    // As WriteFrame, at a time stamp and for a duration of the caller's, in ticks of the time
    // scale. A movie takes one form or the other for all its frames.
    bool WriteFrameAt(const uint16_t* pixels, size_t rowBytes, int64_t timeStamp, int64_t duration);
    // Flushes the encoder and finishes the file, which stays at temporaryPath().
    bool Close();
    void Cancel();

    const std::string& temporaryPath() const { return tempPath_; }
    int64_t framesWritten() const { return frames_; }
    const Status& lastError() const { return error_; }

private:
    struct Av;
    bool Fail(Status error);
    bool Encode(bool flush);
    Status AddSoundTrack(const MovieSoundStream& source, int64_t firstFrame, int64_t frames);
    // Copies the sound up to where frame `frames` starts, or to its end with -1.
    bool WriteSoundUpTo(int64_t frames);
    void Discard();

    std::unique_ptr<Av> av_;
    std::string tempPath_;
    int64_t frames_ = 0;
    std::vector<std::pair<int64_t, int64_t>> stamps_;  // time stamp and duration by frame, if the caller's
    bool open_ = false;
    Status error_;
};

// Proves that a preset can encode: writes a few frames at the smallest size its encoder takes
// into a scratch folder, which goes afterwards. `writtenFourCC`, if given, gets the four
// characters of the test movie's video track as read back.
Status TestCodecPreset(const CodecPreset& preset, std::string* writtenFourCC = nullptr);
Status TestCodecPreset(int tag);
// The factory tags, 0 to 9 without 4 (tag 9's codec again), whose test fails.
std::vector<int> TestCodecs();

}  // namespace ombrel
