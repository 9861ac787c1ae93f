#pragma once

#include <epoxy/gl.h>

#include <cstdint>

#include "look/PixelPacking.h"
#include "platform/gl/GlContext.h"

namespace ombrel {

struct FloatPoint {
    float x = 0.0f;
    float y = 0.0f;
};
struct FloatSize {
    float width = 0.0f;
    float height = 0.0f;
};
struct FloatRect {
    FloatPoint origin;
    FloatSize size;
};

// The caller's description of one draw, filled for each frame.
struct DrawParams {
    GLuint name = 0;                       // texture holding the frame
    GLenum target = GL_TEXTURE_RECTANGLE;  // its target
    bool writeToDisk = false;              // render (true) or preview (false)
    void* writeToDiskData = nullptr;       // read-back destination; null reads nothing back
    GlContextPtr context;                  // ignored while the processor draws in its own context
    FloatSize baseSize;                    // frame size, the range of its texture coordinates
    FloatRect viewportRect;                // render target area or view bounds
    bool renderingQT = false;              // the frame is a texture the draw binds (and blurs)
    bool outputRGBA = false;               // read back four channels instead of three
    int32_t fitMethod = 0;                 // 2 and above fill the viewport; 0, 1 centre in aspectSize
    FloatSize aspectSize;
    bool needsFlip = false;
    int32_t animationFrame = 0;
    PixelPacking packing = PixelPacking::kHost16;  // asked
    bool packed = false;                           // answered: the read-back is in `packing`
};

}  // namespace ombrel
