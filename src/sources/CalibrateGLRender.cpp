#include "sources/CalibrateGLRender.h"

#include <cstring>

#include "core/Log.h"
#include "look/DrawParams.h"
#include "look/ShaderProcessor.h"
#include "model/ColorBallInfo.h"
#include "sources/Calibration.h"

namespace ombrel {

using calibration::kSide;
using calibration::kViewHeight;
using calibration::kViewWidth;

CalibrateGLRender::CalibrateGLRender() = default;

CalibrateGLRender::~CalibrateGLRender() {
    if (!context_) return;
    // The GL names and the pipeline go while their context is current.
    ScopedGlCurrent current(context_.get());
    texture_.reset();
    fbo_.reset();
    colour_.reset();
    shader_.reset();
}

bool CalibrateGLRender::Fail(std::string message) {
    lastError_ = std::move(message);
    LogError("{}", lastError_);
    return false;
}

bool CalibrateGLRender::SetupGLRender() {
    if (shader_) return true;
    if (Status s = GlContext::Create(&context_); !s.ok()) return Fail("no OpenGL for the calibration: " + s.message());
    ScopedGlCurrent current(context_.get());
    if (!current.ok()) return Fail("the calibration's OpenGL context cannot be made current");
    auto shader = std::make_unique<ShaderProcessor>();
    shader->setUseRenderContext(false);
    shader->setImageWidth(kSide);
    shader->setImageHeight(kSide);
    shader->setOutputWidth(kViewWidth);
    shader->setOutputHeight(kViewHeight);
    shader->SetBallInfo(ColorBallInfo{});
    shader->SetLiftGammaGain(1.0f, 1.0f, 1.0f);
    shader->SetSaturation(1.0f);
    shader->SetExposureKelvin(0.0f, 5600.0f);
    shader->SetBlendValue(0.0);
    shader->SetGrainValue(1.0);
    shader->SetHistogramBMW(0.0, 0.5, 1.0);
    const FloatRect viewport{{0.0f, 0.0f}, {float(kViewWidth), float(kViewHeight)}};
    if (!shader->InitPipelineForViewportContext(viewport, context_))
        return Fail("the calibration's look pipeline could not be built");
    if (!shader->FBOSetup(context_)) return Fail("the calibration's render target could not be made");
    shader->SetBlurAmount(0.0f);
    shader->SetCurrentLUTSourceTypeChosenR3DMode("5207", "5D", std::nullopt, false);
    shader_ = std::move(shader);

    GLuint name = 0;
    glfbo::GenFramebuffers(1, &name);
    fbo_ = GlObject(GlKind::Framebuffer, name);
    colour_ = GlObject::Renderbuffer();
    glfbo::BindRenderbuffer(GL_RENDERBUFFER, colour_.get());
    glfbo::RenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, kViewWidth, kViewHeight);
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, fbo_.get());
    glfbo::FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, colour_.get());
    const bool complete = glfbo::CheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
    if (!complete) return Fail("the calibration's framebuffer is not complete");
    texture_ = GlObject::Texture();
    ClearGlErrors();
    return true;
}

bool CalibrateGLRender::DrawTestData(const float* pattern) {
    if (!shader_ && !SetupGLRender()) return false;
    ScopedGlCurrent current(context_.get());
    if (!current.ok()) return Fail("the calibration's OpenGL context cannot be made current");
    glUseProgram(0);
    glBindTexture(GL_TEXTURE_RECTANGLE, texture_.get());
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGB32F, kSide, kSide, 0, GL_RGB, GL_FLOAT, pattern);

    DrawParams params;
    params.context = context_;
    params.baseSize = {float(kSide), float(kSide)};
    params.viewportRect = {{0.0f, 0.0f}, {float(kViewWidth), float(kViewHeight)}};
    params.name = texture_.get();
    params.target = GL_TEXTURE_RECTANGLE;
    params.writeToDisk = false;
    params.writeToDiskData = nullptr;
    params.renderingQT = true;
    params.outputRGBA = false;
    params.fitMethod = 2;
    params.aspectSize = {float(kViewWidth), float(kViewHeight)};

    shader_->setWindowFramebuffer(fbo_.get());
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, fbo_.get());
    glViewport(0, 0, kViewWidth, kViewHeight);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_RECTANGLE, texture_.get());
    shader_->RenderUsingTexture0(&params);

    const size_t row = size_t(kViewWidth) * 4;
    std::vector<uint8_t> bottomUp(row * kViewHeight);
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, fbo_.get());
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, kViewWidth, kViewHeight, GL_RGBA, GL_UNSIGNED_BYTE, bottomUp.data());
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
    // GL counts rows from the bottom; a picture counts them from the top.
    rgba_.resize(bottomUp.size());
    for (int y = 0; y < kViewHeight; ++y)
        std::memcpy(&rgba_[size_t(y) * row], &bottomUp[size_t(kViewHeight - 1 - y) * row], row);
    if (GLenum e = ClearGlErrors(); e != GL_NO_ERROR) return Fail("the calibration's draw failed: " + GlErrorText(e));
    return true;
}

}  // namespace ombrel
