#include "sources/MovieVisualContext.h"

#include "platform/movie/MovieReader.h"

namespace ombrel {

MovieVisualContext::MovieVisualContext() : reader_(std::make_unique<MovieReader>()) {}

MovieVisualContext::~MovieVisualContext() = default;

bool MovieVisualContext::Open(const std::string& path) {
    hasNewImage_ = hasImage_ = false;
    position_ = 0;
    if (reader_->Open(path)) return true;
    lastError_ = reader_->lastError();
    return false;
}

void MovieVisualContext::setCurrentFrame(int64_t frame) {
    if (frame != position_) hasNewImage_ = false;
    position_ = frame;
}

bool MovieVisualContext::task() {
    if (hasNewImage_) return true;
    if (!reader_->isOpen()) {
        lastError_ = "no movie is open";
        return false;
    }
    if (position_ < 0 || position_ >= reader_->frameCount()) {
        lastError_ = "the movie has no frame " + std::to_string(position_) + " (it has " +
                     std::to_string(reader_->frameCount()) + ")";
        return false;
    }
    if (!reader_->ReadFrame(position_, pixels_)) {
        lastError_ = reader_->lastError();
        return false;
    }
    hasNewImage_ = true;
    return true;
}

const MovieImage* MovieVisualContext::copyImageForTime(GLenum textureFormat) {
    if (!hasNewImage_) return nullptr;
    hasNewImage_ = false;
    image_ = MovieImage{};
    image_.width = static_cast<uint32_t>(reader_->width());
    image_.height = static_cast<uint32_t>(reader_->height());
    image_.pixels = pixels_.data();
    // Decoded rows run top first, so the picture is drawn flipped.
    image_.flipped = true;
    if (textureFormat != 0) {
        ClearGlErrors();
        if (!texture_) texture_ = GlObject::Texture();
        glBindTexture(GL_TEXTURE_RECTANGLE, texture_.get());
        glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        // Rows of 6 bytes a pixel have no padding at any width.
        glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
        glTexImage2D(GL_TEXTURE_RECTANGLE, 0, static_cast<GLint>(textureFormat), static_cast<GLsizei>(image_.width),
                     static_cast<GLsizei>(image_.height), 0, GL_RGB, GL_UNSIGNED_SHORT, pixels_.data());
        const GLenum error = glGetError();
        if (error != GL_NO_ERROR) {
            lastError_ = "the picture could not be uploaded (GL error " + std::to_string(error) + ")";
            return nullptr;
        }
        image_.name = texture_.get();
        image_.target = GL_TEXTURE_RECTANGLE;
    }
    hasImage_ = true;
    return &image_;
}

void MovieVisualContext::deleteCVTexture() {
    hasImage_ = false;
    image_ = MovieImage{};
}

}  // namespace ombrel
