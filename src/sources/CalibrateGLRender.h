#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/gl/GlContext.h"
#include "platform/gl/GlObjects.h"

namespace ombrel {

class ShaderProcessor;

// The calibration's upper picture: the pattern through a neutral look pipeline in a context of
// its own, drawn at 1024 x 256 and read back top-down as the viewer reads its frames.
class CalibrateGLRender {
public:
    CalibrateGLRender();
    ~CalibrateGLRender();
    CalibrateGLRender(const CalibrateGLRender&) = delete;
    CalibrateGLRender& operator=(const CalibrateGLRender&) = delete;

    // SetupGLRender: the context, the pipeline with every control neutral, the target.
    bool SetupGLRender();
    // DrawTestDataToOpenGLView: one frame of interleaved RGB floats (1024 x 1024) drawn and read
    // back into rgba() (1024 x 256 x 4, rows from the top).
    bool DrawTestData(const float* pattern);
    const std::vector<uint8_t>& rgba() const { return rgba_; }
    const std::string& lastError() const { return lastError_; }

private:
    bool Fail(std::string message);

    GlContextPtr context_;
    std::unique_ptr<ShaderProcessor> shader_;
    GlObject texture_;
    GlObject fbo_;
    GlObject colour_;
    std::vector<uint8_t> rgba_;
    std::string lastError_;
};

}  // namespace ombrel
