#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/movie/CodecPreset.h"
#include "platform/movie/MovieWriter.h"
#include "render/RenderBase.h"

namespace ombrel {

// What SetupMovieExporter fills for the frame loop.
struct SetupMovieExporterArgs {
    int width = 0;
    int height = 0;
    std::string tempPath;   // "__NAME.mov" beside the movie while it is written
    std::string baseName;   // the clip's name without extension, "_001" dropped on raw clips
    std::string audioPath;  // "NAME.au": a raw clip's extracted sound, which stays beside the movie
    std::string finalPath;  // "NAME.mov"
};

// Where one frame lies in the movie, in ticks of its time scale.
struct MovieFrameTime {
    int64_t timeStamp = 0;
    int64_t duration = 0;
    bool operator==(const MovieFrameTime&) const = default;
};

// Renders a clip into one movie with a timecode track, through the codec preset that the
// output settings' qtCodec names. The movie is written as "__NAME.mov" and takes its name
// only when the clip is complete; a cancel or a failure deletes it.
class QuicktimeRenderer final : public RenderBase {
public:
    QuicktimeRenderer();
    ~QuicktimeRenderer() override;

    bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) override;
    // A movie goes straight into the output folder: folder options play no part.
    bool SetDestPathForR3D(RenderSetup& setup) override;
    bool SetDestPathForQT(RenderSetup& setup) override;
    // Tests the codec, clears the way for the movie and opens it. False ends the clip: a failed
    // codec test fails the clip alone, the other refusals stop the run with their reason.
    bool SetupMovieExporter(const RenderSetup& setup, SetupMovieExporterArgs* args);

    // The first `frames` frame times at a rate of rateNum / rateDen. A raw clip steps a double by
    // timeScale / fps and truncates it; a movie source rounds each frame's exact start, which is
    // the step rounded wherever the step is whole.
    static std::vector<MovieFrameTime> FrameTimes(int frames, double timeScale, int64_t rateNum, int64_t rateDen,
                                                  bool rawClip);
    // Frame n's time; `t` is the raw rule's running time, which it advances by `step`.
    static MovieFrameTime NextFrameTime(double* t, double step, int64_t n, bool rawClip);
    // The image of a frame that a snippet render leaves out, 16-bit RGBA.
    static std::vector<uint16_t> PlaceholderFrame(int width, int height);

    int codecTag() const { return codecTag_; }
    const SetupMovieExporterArgs& exporterArgs() const { return args_; }

protected:
    bool WritesFrames() const override { return true; }
    bool OutputWantsRGBA() const override { return true; }
    bool KeepsMovieLength() const override { return true; }
    bool BeginFrameSequence(const RenderSetup& setup, int first, int last) override;
    void WriteFrame(RenderSetup& setup, int frame, uint8_t* buffer) override;
    void EndFrameSequence(const RenderSetup& setup, bool completed) override;

private:
    // Removes a file in the way; false, after the cancel with `reason`, when it stays.
    bool RemoveInTheWay(const std::string& path, const std::string& logText, const std::string& reason) const;
    bool IsRawClip() const;
    // The sound that goes into the movie: a movie source's own streams; a raw clip's, extracted
    // to `audioPath` and read back as a movie.
    std::vector<MovieSoundStream> InsertAudioFromQTSource() const;
    std::vector<MovieSoundStream> InsertAudioFromR3DSource(const std::string& audioPath) const;

    int codecTag_ = 5;
    int firstFrame_ = 0;  // the rendered range, which the sound follows
    int lastFrame_ = -1;
    CodecPreset preset_;
    std::unique_ptr<MovieWriter> movieExporter_;
    SetupMovieExporterArgs args_;
    double frameStep_ = 1000.0;  // ticks a frame: timeScale / fps
    double timeStamp_ = 0.0;     // the raw-clip rule's running time
    std::vector<uint16_t> placeholder_;
};

std::unique_ptr<Renderer> MakeQuicktimeRenderer();

}  // namespace ombrel
