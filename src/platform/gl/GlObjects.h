#pragma once

// RAII holders for GL object names, and the framebuffer calls of whichever framebuffer
// extension the driver offers. Every call needs the owning context current on the calling
// thread, the destructors included: an owner makes its context current before it lets go
// of its objects.

#include <epoxy/gl.h>

#include <string>
#include <utility>

namespace ombrel {

enum class GlKind { Texture, Framebuffer, Renderbuffer, Buffer, Program, Shader };

class GlObject {
public:
    GlObject() = default;
    GlObject(GlKind kind, GLuint name) : kind_(kind), name_(name) {}
    ~GlObject() { reset(); }
    GlObject(GlObject&& other) noexcept : kind_(other.kind_), name_(std::exchange(other.name_, 0)) {}
    GlObject& operator=(GlObject&& other) noexcept {
        if (this != &other) {
            reset();
            kind_ = other.kind_;
            name_ = std::exchange(other.name_, 0);
        }
        return *this;
    }
    GlObject(const GlObject&) = delete;
    GlObject& operator=(const GlObject&) = delete;

    GLuint get() const { return name_; }
    explicit operator bool() const { return name_ != 0; }
    GlKind kind() const { return kind_; }
    // Deletes the object, if any, and takes `name` (of the same kind) in its place.
    void reset(GLuint name = 0);
    // Gives up ownership without deleting.
    GLuint release() { return std::exchange(name_, 0); }

    static GlObject Texture();
    static GlObject Framebuffer();
    static GlObject Renderbuffer();
    static GlObject Buffer();

private:
    GlKind kind_ = GlKind::Texture;
    GLuint name_ = 0;
};

// Framebuffer objects through GL 3.0 / ARB_framebuffer_object where present, else through
// EXT_framebuffer_object. In a compatibility context both accept names that were never
// generated, which the render target relies on.
namespace glfbo {
void GenFramebuffers(GLsizei n, GLuint* names);
void DeleteFramebuffers(GLsizei n, const GLuint* names);
void BindFramebuffer(GLenum target, GLuint name);
GLenum CheckFramebufferStatus(GLenum target);
void FramebufferTexture2D(GLenum target, GLenum attachment, GLenum texTarget, GLuint texture, GLint level);
void FramebufferRenderbuffer(GLenum target, GLenum attachment, GLenum rbTarget, GLuint renderbuffer);
void GenRenderbuffers(GLsizei n, GLuint* names);
void DeleteRenderbuffers(GLsizei n, const GLuint* names);
void BindRenderbuffer(GLenum target, GLuint name);
void RenderbufferStorage(GLenum target, GLenum internalFormat, GLsizei width, GLsizei height);
void GetRenderbufferParameteriv(GLenum target, GLenum pname, GLint* value);
}  // namespace glfbo

// Text of a GL error code, as "GL_INVALID_VALUE".
std::string GlErrorText(GLenum code);
// Reads and drops every pending GL error; answers the first one, or GL_NO_ERROR.
GLenum ClearGlErrors();

}  // namespace ombrel
