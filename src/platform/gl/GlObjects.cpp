#include "platform/gl/GlObjects.h"

#include <fmt/format.h>

namespace ombrel {

namespace {

// The core entry points need GL 3.0 or ARB_framebuffer_object; the answer is the same for
// every context of one driver.
bool CoreFbo() {
    static const bool core = epoxy_gl_version() >= 30 || epoxy_has_gl_extension("GL_ARB_framebuffer_object");
    return core;
}

}  // namespace

void GlObject::reset(GLuint name) {
    if (name_ != 0) {
        switch (kind_) {
            case GlKind::Texture: glDeleteTextures(1, &name_); break;
            case GlKind::Framebuffer: glfbo::DeleteFramebuffers(1, &name_); break;
            case GlKind::Renderbuffer: glfbo::DeleteRenderbuffers(1, &name_); break;
            case GlKind::Buffer: glDeleteBuffers(1, &name_); break;
            case GlKind::Program: glDeleteProgram(name_); break;
            case GlKind::Shader: glDeleteShader(name_); break;
        }
    }
    name_ = name;
}

GlObject GlObject::Texture() {
    GLuint n = 0;
    glGenTextures(1, &n);
    return {GlKind::Texture, n};
}
GlObject GlObject::Framebuffer() {
    GLuint n = 0;
    glfbo::GenFramebuffers(1, &n);
    return {GlKind::Framebuffer, n};
}
GlObject GlObject::Renderbuffer() {
    GLuint n = 0;
    glfbo::GenRenderbuffers(1, &n);
    return {GlKind::Renderbuffer, n};
}
GlObject GlObject::Buffer() {
    GLuint n = 0;
    glGenBuffers(1, &n);
    return {GlKind::Buffer, n};
}

namespace glfbo {
void GenFramebuffers(GLsizei n, GLuint* names) {
    CoreFbo() ? glGenFramebuffers(n, names) : glGenFramebuffersEXT(n, names);
}
void DeleteFramebuffers(GLsizei n, const GLuint* names) {
    CoreFbo() ? glDeleteFramebuffers(n, names) : glDeleteFramebuffersEXT(n, names);
}
void BindFramebuffer(GLenum target, GLuint name) {
    CoreFbo() ? glBindFramebuffer(target, name) : glBindFramebufferEXT(target, name);
}
GLenum CheckFramebufferStatus(GLenum target) {
    return CoreFbo() ? glCheckFramebufferStatus(target) : glCheckFramebufferStatusEXT(target);
}
void FramebufferTexture2D(GLenum target, GLenum attachment, GLenum texTarget, GLuint texture, GLint level) {
    CoreFbo() ? glFramebufferTexture2D(target, attachment, texTarget, texture, level)
              : glFramebufferTexture2DEXT(target, attachment, texTarget, texture, level);
}
void FramebufferRenderbuffer(GLenum target, GLenum attachment, GLenum rbTarget, GLuint renderbuffer) {
    CoreFbo() ? glFramebufferRenderbuffer(target, attachment, rbTarget, renderbuffer)
              : glFramebufferRenderbufferEXT(target, attachment, rbTarget, renderbuffer);
}
void GenRenderbuffers(GLsizei n, GLuint* names) {
    CoreFbo() ? glGenRenderbuffers(n, names) : glGenRenderbuffersEXT(n, names);
}
void DeleteRenderbuffers(GLsizei n, const GLuint* names) {
    CoreFbo() ? glDeleteRenderbuffers(n, names) : glDeleteRenderbuffersEXT(n, names);
}
void BindRenderbuffer(GLenum target, GLuint name) {
    CoreFbo() ? glBindRenderbuffer(target, name) : glBindRenderbufferEXT(target, name);
}
void RenderbufferStorage(GLenum target, GLenum internalFormat, GLsizei width, GLsizei height) {
    CoreFbo() ? glRenderbufferStorage(target, internalFormat, width, height)
              : glRenderbufferStorageEXT(target, internalFormat, width, height);
}
void GetRenderbufferParameteriv(GLenum target, GLenum pname, GLint* value) {
    CoreFbo() ? glGetRenderbufferParameteriv(target, pname, value)
              : glGetRenderbufferParameterivEXT(target, pname, value);
}
}  // namespace glfbo

std::string GlErrorText(GLenum code) {
    switch (code) {
        case GL_NO_ERROR: return "GL_NO_ERROR";
        case GL_INVALID_ENUM: return "GL_INVALID_ENUM";
        case GL_INVALID_VALUE: return "GL_INVALID_VALUE";
        case GL_INVALID_OPERATION: return "GL_INVALID_OPERATION";
        case GL_STACK_OVERFLOW: return "GL_STACK_OVERFLOW";
        case GL_STACK_UNDERFLOW: return "GL_STACK_UNDERFLOW";
        case GL_OUT_OF_MEMORY: return "GL_OUT_OF_MEMORY";
        case GL_INVALID_FRAMEBUFFER_OPERATION: return "GL_INVALID_FRAMEBUFFER_OPERATION";
        default: return fmt::format("GL error 0x{:04x}", code);
    }
}

GLenum ClearGlErrors() {
    GLenum first = GL_NO_ERROR;
    // A lost context can answer an error for ever; a bounded loop cannot hang.
    for (int i = 0; i < 64; ++i) {
        GLenum e = glGetError();
        if (e == GL_NO_ERROR) break;
        if (first == GL_NO_ERROR) first = e;
    }
    return first;
}

}  // namespace ombrel
