#pragma once

#include <epoxy/gl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/gl/GlObjects.h"

namespace ombrel {

class MovieReader;

// One picture the movie has delivered: its texture (none when the pipeline reads pixels on
// the CPU), whether its rows run top first, its encoded size and the decoded samples.
struct MovieImage {
    GLuint name = 0;
    GLenum target = GL_TEXTURE_RECTANGLE;
    bool flipped = true;
    uint32_t width = 0;
    uint32_t height = 0;
    const uint16_t* pixels = nullptr;  // width x height x 3 samples, host order
};

// The receiver of a movie's pictures for the movie source: a position in the movie, a picture
// decoded there on demand, and that picture as a rectangle texture on the GL context current
// on the calling thread. One thread at a time.
class MovieVisualContext {
public:
    MovieVisualContext();
    // Its texture goes with it: the caller makes the context current first.
    ~MovieVisualContext();
    MovieVisualContext(const MovieVisualContext&) = delete;
    MovieVisualContext& operator=(const MovieVisualContext&) = delete;

    bool Open(const std::string& path);
    const std::string& lastError() const { return lastError_; }
    MovieReader& reader() { return *reader_; }

    // Moves the movie; a picture decoded at the old place is dropped.
    void setCurrentFrame(int64_t frame);
    int64_t currentFrame() const { return position_; }
    void stepForward() { setCurrentFrame(position_ + 1); }

    // Gives the movie time to work: decodes the picture at the current place when none is
    // waiting. False, with lastError(), when the movie has no picture there.
    bool task();
    bool isNewImageAvailable() const { return hasNewImage_; }
    // Makes the waiting picture the current image; with a texture format it is uploaded in
    // that format. Null when no picture waits.
    const MovieImage* copyImageForTime(GLenum textureFormat);
    // Lets go of the current image (its texture name stays for the next upload).
    void deleteCVTexture();
    const MovieImage* currentImage() const { return hasImage_ ? &image_ : nullptr; }

private:
    std::unique_ptr<MovieReader> reader_;
    std::string lastError_;
    int64_t position_ = 0;
    bool hasNewImage_ = false;
    bool hasImage_ = false;
    std::vector<uint16_t> pixels_;
    GlObject texture_;
    MovieImage image_;
};

}  // namespace ombrel
