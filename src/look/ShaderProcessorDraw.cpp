// The draw: frame upload, blur, the render pass with its read-back, the preview passes and
// the histogram.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "core/Log.h"
#include "look/LutManager.h"
#include "look/ShaderProcessor.h"
#include "look/fast/LookKernel.h"

namespace ombrel {

namespace {

constexpr float kPi = 3.14159265358979323846f;

struct TableSlot {
    int unit;
    GLenum target;
};
// Units 1 to 6 and 8, in the order they are bound.
constexpr TableSlot kTableSlots[] = {
    {kUnitGrainMap, GL_TEXTURE_RECTANGLE}, {kUnitGrainCurve, GL_TEXTURE_1D}, {kUnitStockLUT, GL_TEXTURE_3D},
    {kUnitHistogram, GL_TEXTURE_1D},       {kUnitExposure, GL_TEXTURE_1D},   {kUnitLift, GL_TEXTURE_1D},
    {kUnitBalls, GL_TEXTURE_1D},
};

void LinearClampTexture(GLenum target, GLint filter) {
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    if (target != GL_TEXTURE_1D) glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    if (target == GL_TEXTURE_3D) glTexParameteri(target, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
}

void IdentityMatrices() {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}

}  // namespace

// ---------------------------------------------------------------- frame upload

void ShaderProcessor::RenderUsingR3DRenderBuffer(DrawParams* params) {
    if (!r3dRenderBuffer_ || !params) return;
    std::lock_guard lock(drawLock_);
    params->renderingQT = false;
    if (backend_ == Backend::Cpu) {
        RenderPassCpu(params);
        return;
    }
    if (!SetCorrectContext(params->context)) return;
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_RECTANGLE, params->name);
    LinearClampTexture(GL_TEXTURE_RECTANGLE, GL_LINEAR);
    // Packed 16-bit RGB rows are 6 bytes a pixel: no row padding at any width.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, static_cast<GLint>(float3_), static_cast<GLsizei>(params->baseSize.width),
                 static_cast<GLsizei>(params->baseSize.height), 0, GL_RGB, GL_UNSIGNED_SHORT, r3dRenderBuffer_);
    ClearGlErrors();
    BlurUploadedFrameAndDraw(params);
}

void ShaderProcessor::RenderUsingAVRenderBufferParams(const uint8_t* buffer, DrawParams* params) {
    if (!buffer || !params || backend_ != Backend::OpenGL) return;
    std::lock_guard lock(drawLock_);
    params->renderingQT = false;
    if (!SetCorrectContext(params->context)) return;
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_RECTANGLE, params->name);
    LinearClampTexture(GL_TEXTURE_RECTANGLE, GL_LINEAR);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA, static_cast<GLsizei>(params->baseSize.width),
                 static_cast<GLsizei>(params->baseSize.height), 0, GL_RGBA, GL_UNSIGNED_BYTE, buffer);
    ClearGlErrors();
    BlurUploadedFrameAndDraw(params);
}

// The frame is on unit 0 under params->name: blur it when asked, then draw the look.
void ShaderProcessor::BlurUploadedFrameAndDraw(DrawParams* params) {
    if (blurAmount_ > 0.0f) {
        if (!blurTexture_[0]) BlurFboWidthHeight(static_cast<int>(imageWidth_), static_cast<int>(imageHeight_));
        SetViewportToImageSize();
        BlurTexture(params->name);
        BlurTexture(blurTexture_[1].get());
        glfbo::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE, 0, 0);
        glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_RECTANGLE, blurTexture_[1].get());
        params->name = blurTexture_[1].get();
        SetViewportToWindowSize(params->viewportRect);
        ClearGlErrors();
    }
    params->needsFlip = true;
    DrawRect(params);
}

void ShaderProcessor::RenderUsingTexture0(DrawParams* params) {
    if (!params || backend_ != Backend::OpenGL) return;
    std::lock_guard lock(drawLock_);
    if (!SetCorrectContext(params->context)) return;
    params->needsFlip = true;
    locCurrent_ = &locationsOBShader_[0];
    EnableShaders(&attributesOBShader_[0]);
    if (glGetError() != GL_NO_ERROR) ValidateProgramObject(&attributesOBShader_[0]);
    const OBShaderLocations& l = *locCurrent_;
    glUniform1f(l.locHistogramAmount, 1.0f);
    glUniform1f(l.locStockLUTAmount, 0.0f);
    glUniform1f(l.locSBlendAmount, 0.0f);
    glUniform1f(l.locGrainAmount, 0.0f);
    glUniformMatrix4fv(l.locSaturation, 1, GL_TRUE, idMat_.data());
    glUniformMatrix4fv(l.locBlackAndWhite, 1, GL_TRUE, fullSatMat_.data());
    glUniform2f(l.locGrainOffset, 0.0f, 0.0f);
    glUniform1f(l.locGrainColorfulness, 0.6f);
    const auto size = grainSize();
    glUniform1iv(l.locGrainSize, 2, size.data());
    BindAndUploadTables(true);
    SendTableUniforms();
    glFinish();
    DrawTextureAtX1Y1X2Y2IsFlipped(0.0f, 0.0f, params->baseSize.width, params->baseSize.height, true);
    glFlush();
    glFinish();
    DisableShaders();
    ClearGlErrors();
}

// ---------------------------------------------------------------- the draw

void ShaderProcessor::ShiftGrain() {
    if (nextGrainOffset_) {
        grainOffset_ = *nextGrainOffset_;
        nextGrainOffset_.reset();
        pauseGrainShift_ = false;
        return;
    }
    if (pauseGrainShift_.exchange(false)) {
        grainOffset_ = {0.0f, 0.0f};
        return;
    }
    const auto size = grainSize();
    for (size_t k = 0; k < 2; ++k) {
        const int g = size[k];
        if (g <= 0) continue;
        const int half = g / 2;
        const int jump = (half > 0 ? std::rand() % half : 0) + g / 4;
        grainOffset_[k] = static_cast<float>((static_cast<int>(grainOffset_[k]) + jump) % g);
    }
}

void ShaderProcessor::DrawRect(DrawParams* params) {
    if (!params || backend_ != Backend::OpenGL) return;
    std::lock_guard lock(drawLock_);
    const bool blurActive = NeedsBlur();
    if (!SetCorrectContext(params->context)) return;
    // Tables first: which of them give back every level decides the program.
    BindAndUploadTables(false);
    DrawSetup_Begin(params);
    ShiftGrain();
    grainColorfulness_ = 0.6f;
    glUniform1f(locCurrent_->locGrainColorfulness, grainColorfulness_);
    DrawSetup_Uniforms(params);
    SendLookUniforms();
    if (params->renderingQT) {
        glActiveTexture(GL_TEXTURE0);
        if (blurActive) {
            glBindTexture(GL_TEXTURE_RECTANGLE, blurTexture_[1].get());
        } else {
            glBindTexture(params->target, params->name);
        }
    }
    SendTableUniforms();
    DrawSetup_Samplers(params);
    ClearGlErrors();
    if (params->writeToDisk) {
        RenderPass(params);
    } else {
        PreviewPasses(params);
    }
    DisableShaders();
    ClearGlErrors();
}

void ShaderProcessor::DrawSetup_Begin(DrawParams* params) {
    if (NeedsBlur() && params->renderingQT) {
        if (!blurTexture_[0]) BlurFboWidthHeight(static_cast<int>(imageWidth_), static_cast<int>(imageHeight_));
        SetViewportToImageSize();
        BlurTexture(params->name);
        BlurTexture(blurTexture_[1].get());
        glfbo::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE, 0, 0);
        glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
        SetViewportToWindowSize(params->viewportRect);
        ClearGlErrors();
    }
    GLSLAttributes* program = CoreProgramForUploadedTables();
    EnableShaders(program);
    if (glGetError() != GL_NO_ERROR) ValidateProgramObject(program);
}

void ShaderProcessor::SendLookUniforms() {
    const OBShaderLocations& l = *locCurrent_;
    const bool original = showOriginal_;
    glUniform1f(l.locStockLUTAmount, original ? originalLutAmount_ : lutAmount_.load());
    glUniform1f(l.locSBlendAmount, original ? originalSBlendAmount_ : sBlendAmount_.load());
    glUniform1f(l.locGrainAmount, original ? originalGrainAmount_ : grainAmount_.load());
    std::array<int32_t, 2> size;
    {
        std::lock_guard lock(textureLock_);
        glUniformMatrix4fv(l.locSaturation, 1, GL_TRUE, original ? idMat_.data() : satMat_.data());
        size = grainSize_;
    }
    const float* bw = original ? fullSatMat_.data() : (isBlackAndWhite_ ? zeroSatMat_.data() : fullSatMat_.data());
    glUniformMatrix4fv(l.locBlackAndWhite, 1, GL_TRUE, bw);
    glUniform1f(l.locGrainColorfulness, 0.6f);
    glUniform2f(l.locGrainOffset, grainOffset_[0], grainOffset_[1]);
    glUniform1iv(l.locGrainSize, 2, size.data());
}

void ShaderProcessor::SendTableUniforms() {
    const OBShaderLocations& l = *locCurrent_;
    glUniform3f(l.locGrainNeutral, uploadedGrainNeutral_[0], uploadedGrainNeutral_[1], uploadedGrainNeutral_[2]);
}

void ShaderProcessor::SendHistogramAmount(float amount) {
    histogramAmount_ = amount;
    glUniform1f(locCurrent_->locHistogramAmount, amount);
}

void ShaderProcessor::BindAndUploadTables(bool all) {
    for (const TableSlot& slot : kTableSlots) {
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(slot.unit));
        glBindTexture(slot.target, textures_[static_cast<size_t>(slot.unit)].get());
        UploadTable(slot.unit, all);
    }
    glActiveTexture(GL_TEXTURE0);
    ClearGlErrors();
}

void ShaderProcessor::UploadTable(int unit, bool all) {
    std::atomic<bool>* flag = nullptr;
    switch (unit) {
        case kUnitGrainMap: flag = &reloadGrain_; break;
        case kUnitGrainCurve: flag = &reloadGrainCurve_; break;
        case kUnitStockLUT: flag = &reloadLUT_; break;
        case kUnitHistogram: flag = &pushSplineTexture_; break;
        case kUnitExposure: flag = &reloadExposure_; break;
        case kUnitLift: flag = &reloadLift_; break;
        case kUnitBalls: flag = &reloadBalls_; break;
        default: return;
    }
    if (!all && !flag->load()) return;
    std::lock_guard lock(textureLock_);
    // The GPU must be done with the old table before it is replaced, and with the new one
    // before a setter may touch the CPU copy again.
    glFinish();
    flag->store(false);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    const GLint f3 = static_cast<GLint>(float3_);
    const GLint f1 = static_cast<GLint>(float1_);
    switch (unit) {
        case kUnitGrainMap: {
            // Rectangle textures cannot repeat: the shader wraps its own coordinate and reads
            // texel centres, so nearest filtering keeps the wrap line seamless.
            LinearClampTexture(GL_TEXTURE_RECTANGLE, GL_NEAREST);
            if (grain_ && grainSize_[0] > 0 && grainSize_[1] > 0) {
                glTexImage2D(GL_TEXTURE_RECTANGLE, 0, f3, grainSize_[0], grainSize_[1], 0, GL_RGB, GL_FLOAT,
                             grain_->GetTextureData());
                uploadedGrainNeutral_ = GrainNeutral(grain_.get());
            }
            break;
        }
        case kUnitGrainCurve: {
            LinearClampTexture(GL_TEXTURE_1D, GL_LINEAR);
            static const GrainLookup kNone;
            const float* curve = grain_ ? grain_->grainCurve()->buffer() : kNone.buffer();
            glTexImage1D(GL_TEXTURE_1D, 0, f3, GrainLookup::kEntries, 0, GL_RGB, GL_FLOAT, curve);
            break;
        }
        case kUnitStockLUT:
            LinearClampTexture(GL_TEXTURE_3D, GL_LINEAR);
            if (stockLut_.size() == kStockLutFloats) {
                glTexImage3D(GL_TEXTURE_3D, 0, f3, 64, 64, 64, 0, GL_RGB, GL_FLOAT, stockLut_.data());
            }
            break;
        case kUnitHistogram:
            LinearClampTexture(GL_TEXTURE_1D, GL_LINEAR);
            glTexImage1D(GL_TEXTURE_1D, 0, f1, kTableLength, 0, GL_RED, GL_FLOAT, splineTexture_.data());
            uploadedIsIdentity_[kUnitHistogram] = cpu::IsIdentityTable(splineTexture_.data(), kTableLength, 1, 4096.0f);
            break;
        case kUnitExposure:
            LinearClampTexture(GL_TEXTURE_1D, GL_LINEAR);
            glTexImage1D(GL_TEXTURE_1D, 0, f3, kTableLength, 0, GL_RGB, GL_FLOAT, exposureTexture_.data());
            uploadedIsIdentity_[kUnitExposure] =
                cpu::IsIdentityTable(exposureTexture_.data(), kTableLength, 3, 4095.0f);
            break;
        case kUnitLift:
            LinearClampTexture(GL_TEXTURE_1D, GL_LINEAR);
            glTexImage1D(GL_TEXTURE_1D, 0, f1, kTableLength, 0, GL_RED, GL_FLOAT, liftTexture_.data());
            uploadedIsIdentity_[kUnitLift] = cpu::IsIdentityTable(liftTexture_.data(), kTableLength, 1, 4096.0f);
            break;
        case kUnitBalls:
            LinearClampTexture(GL_TEXTURE_1D, GL_LINEAR);
            glTexImage1D(GL_TEXTURE_1D, 0, f3, kTableLength, 0, GL_RGB, GL_FLOAT, ballTexture_.data());
            uploadedIsIdentity_[kUnitBalls] = cpu::IsIdentityTable(ballTexture_.data(), kTableLength, 3, 4095.0f);
            break;
    }
    glFinish();
}

void ShaderProcessor::RenderPass(DrawParams* params) {
    SendHistogramAmount(1.0f);
    const GLuint rb = fboRenderBuffer_.get();
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, rb);
    glfbo::BindRenderbuffer(GL_RENDERBUFFER, rb);
    glfbo::FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, rb);
    GLint sizes[5] = {};
    const GLenum names[5] = {GL_RENDERBUFFER_BLUE_SIZE, GL_RENDERBUFFER_GREEN_SIZE, GL_RENDERBUFFER_RED_SIZE,
                             GL_RENDERBUFFER_ALPHA_SIZE, GL_RENDERBUFFER_DEPTH_SIZE};
    for (int i = 0; i < 5; ++i) glfbo::GetRenderbufferParameteriv(GL_RENDERBUFFER, names[i], &sizes[i]);
    if (sizes[0] != 16) LogInfo("FBO: {} {} {} {} {}", sizes[0], sizes[1], sizes[2], sizes[3], sizes[4]);
    const FloatRect& vp = params->viewportRect;
    const GLsizei vw = static_cast<GLsizei>(vp.size.width);
    const GLsizei vh = static_cast<GLsizei>(vp.size.height);
    glViewport(static_cast<GLint>(vp.origin.x), static_cast<GLint>(vp.origin.y), vw, vh);
    ClearGlErrors();
    {
        std::lock_guard lock(drawLock_);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        const float bw = params->baseSize.width;
        const float bh = params->baseSize.height;
        if (params->fitMethod > 1) {
            DrawTextureAtX1Y1X2Y2IsFlipped(0.0f, bh, bw, 0.0f, params->needsFlip);
        } else {
            const float W = vp.size.width;
            const float H = vp.size.height;
            const float a = params->aspectSize.width;
            const float b = params->aspectSize.height;
            const float x1 = (W - a) * 0.5f / W;
            const float x2 = x1 + a / W;
            const float y1 = 1.0f - (H - b) * 0.5f / H;
            const float y2 = y1 - b / H;
            DrawTextureAtX1Y1X2Y2U1V1U2V2IsFlipped(x1, y1, x2, y2, 0.0f, bh, bw, 0.0f, params->needsFlip);
        }
        DrawEffectsSecondPass();
        glFlush();
        if (params->writeToDiskData) {
            glPixelStorei(GL_PACK_ALIGNMENT, 1);
            if (!params->outputRGBA) {
                glReadPixels(0, 0, vw, vh, GL_RGB, GL_UNSIGNED_SHORT, params->writeToDiskData);
            } else if (!output32Bit_) {
                glReadPixels(0, 0, vw, vh, GL_RGBA, GL_UNSIGNED_SHORT, params->writeToDiskData);
            } else {
                std::memset(params->writeToDiskData, 0, static_cast<size_t>(vw) * static_cast<size_t>(vh) * 4);
                glReadPixels(0, 0, vw, vh, GL_RGBA, GL_UNSIGNED_BYTE, params->writeToDiskData);
            }
            const GLenum error = glGetError();
            if (error != GL_NO_ERROR) LogError("glReadPixels Issues: {}: {}", error, GlErrorText(error));
        }
    }
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
    ClearGlErrors();
}

void ShaderProcessor::PreviewPasses(DrawParams* params) {
    const bool preLevels = histogramPreLevels_;
    SendHistogramAmount(preLevels ? 0.0f : 1.0f);
    glViewport(0, 0, kHistogramWidth, kHistogramHeight);
    if (!histogramFBO_) HistogramFBOSetup();
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, histogramFBO_.get());
    glfbo::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, histogramTexture_.get(), 0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    const float iw = static_cast<float>(imageWidth_);
    const float ih = static_cast<float>(imageHeight_);
    DrawTextureAtX1Y1X2Y2IsFlipped(0.0f, ih, iw, 0.0f, params->needsFlip);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, kHistogramWidth, kHistogramHeight, GL_RGBA, GL_UNSIGNED_BYTE, histogramShaderOut_.data());
    if (preLevels) {
        SendHistogramAmount(1.0f);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        DrawTextureAtX1Y1X2Y2IsFlipped(0.0f, ih, iw, 0.0f, params->needsFlip);
        glReadPixels(0, 0, kHistogramWidth, kHistogramHeight, GL_RGBA, GL_UNSIGNED_BYTE,
                     histogramShaderOutForClip_.data());
    }
    ClearGlErrors();
    StartHistogramThread();
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, windowFramebuffer_);

    const FloatRect& vp = params->viewportRect;
    const double r = static_cast<double>(imageWidth_) / static_cast<double>(imageHeight_);
    const int vh = static_cast<int>(vp.size.width / r);
    const int vw = static_cast<int>(vh * r);
    glViewport(0, static_cast<GLint>((vp.size.height - static_cast<float>(vh)) / 2.0f), vw, vh);
    SendHistogramAmount(1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    const bool zoomed = zoomEnabled();
    const FloatPoint offset = zoomOffset();
    if (!zoomed) {
        DrawTextureAtX1Y1X2Y2IsFlipped(0.0f, 0.0f, params->baseSize.width, params->baseSize.height, params->needsFlip);
    } else if (vp.size.width > iw) {
        const float sx = iw / static_cast<float>(vw);
        const float sy = ih / static_cast<float>(vh);
        const float x1 = (1.0f - sx) / 2.0f;
        const float y1 = (1.0f - sy) / 2.0f;
        DrawTextureAtX1Y1X2Y2U1V1U2V2IsFlipped(x1, sy + y1, sx + x1, y1, 0.0f, 0.0f, iw, ih, params->needsFlip);
    } else {
        DrawTextureAtX1Y1X2Y2IsFlipped(offset.x, offset.y, static_cast<float>(vw) + offset.x,
                                       static_cast<float>(vh) + offset.y, params->needsFlip);
    }
    DrawEffectsSecondPass();
    glFlush();
    ClearGlErrors();
}

// ---------------------------------------------------------------- quads

void ShaderProcessor::DrawTextureAtX1Y1X2Y2IsFlipped(float x1, float y1, float x2, float y2, bool flipped) {
    IdentityMatrices();
    const float lower = flipped ? -1.0f : 1.0f;
    glBegin(GL_QUADS);
    setVertUVAtt_Ix1Ix2(0, 1);
    glTexCoord2f(x1, y2);
    glVertex2f(-1.0f, lower);
    setVertUVAtt_Ix1Ix2(2, 3);
    glTexCoord2f(x1, y1);
    glVertex2f(-1.0f, -lower);
    setVertUVAtt_Ix1Ix2(4, 5);
    glTexCoord2f(x2, y1);
    glVertex2f(1.0f, -lower);
    setVertUVAtt_Ix1Ix2(6, 7);
    glTexCoord2f(x2, y2);
    glVertex2f(1.0f, lower);
    glEnd();
}

void ShaderProcessor::DrawTextureAtX1Y1X2Y2U1V1U2V2IsFlipped(float x1, float y1, float x2, float y2, float u1, float v1,
                                                             float u2, float v2, bool flipped) {
    IdentityMatrices();
    const float px1 = 2.0f * x1 - 1.0f, py1 = 2.0f * y1 - 1.0f;
    const float px2 = 2.0f * x2 - 1.0f, py2 = 2.0f * y2 - 1.0f;
    glBegin(GL_QUADS);
    setVertUVAtt_Ix1Ix2(0, 3);
    glTexCoord2f(u1, flipped ? v2 : v1);
    glVertex2f(px1, py2);
    setVertUVAtt_Ix1Ix2(2, 1);
    glTexCoord2f(u1, flipped ? v1 : v2);
    glVertex2f(px1, py1);
    setVertUVAtt_Ix1Ix2(4, 7);
    glTexCoord2f(u2, flipped ? v1 : v2);
    glVertex2f(px2, py1);
    setVertUVAtt_Ix1Ix2(6, 5);
    glTexCoord2f(u2, flipped ? v2 : v1);
    glVertex2f(px2, py2);
    glEnd();
}

void ShaderProcessor::LoadUVArrayX1Y1X2Y2(float* array, int x1, int y1, int x2, int y2) {
    const float values[8] = {static_cast<float>(x1), static_cast<float>(y2), static_cast<float>(x1),
                             static_cast<float>(y1), static_cast<float>(x2), static_cast<float>(y1),
                             static_cast<float>(x2), static_cast<float>(y2)};
    std::copy(std::begin(values), std::end(values), array);
}

// ---------------------------------------------------------------- blur

void ShaderProcessor::BlurFboWidthHeight(int width, int height) {
    blurOffset_ = {0.0f, 1.3846154f, 3.2307692f, 0.0f, 0.0f};
    SetBlurWeight(0.5);
    if (backend_ != Backend::OpenGL || !SetCorrectContext(nullptr)) return;
    if (!blurTexture_[0]) {
        blurFBO_ = GlObject::Framebuffer();
        blurTexture_[0] = GlObject::Texture();
        blurTexture_[1] = GlObject::Texture();
    }
    for (auto& t : blurTexture_) {
        glBindTexture(GL_TEXTURE_RECTANGLE, t.get());
        LinearClampTexture(GL_TEXTURE_RECTANGLE, GL_LINEAR);
        glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA16F_ARB, std::max(width, 1), std::max(height, 1), 0, GL_RGBA,
                     GL_FLOAT, nullptr);
    }
    glBindTexture(GL_TEXTURE_RECTANGLE, 0);
    ClearGlErrors();
}

void ShaderProcessor::BlurTexture(GLuint texture) {
    SetBlurWeight(static_cast<double>(blurAmount_) * (static_cast<double>(imageWidth_) / 4096.0));
    glBindTexture(GL_TEXTURE_RECTANGLE, 0);
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, blurFBO_.get());
    glfbo::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE, blurTexture_[0].get(), 0);
    if (glfbo::CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) LogInfo("Blur FBO not ready");
    EnableShaders(&attributesBlurH_);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_RECTANGLE, texture);
    glUniform1i(locBlurTextureH_, 0);
    glUniform1fv(locBlurOffsetH_, 5, blurOffset_.data());
    glUniform1fv(locBlurWeightH_, 5, blurWeight_.data());
    const float w = static_cast<float>(imageWidth_);
    const float h = static_cast<float>(imageHeight_);
    DrawTextureAtX1Y1X2Y2IsFlipped(0.0f, 0.0f, w, h, true);

    glfbo::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE, 0, 0);
    glfbo::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_RECTANGLE, blurTexture_[1].get(), 0);
    if (glfbo::CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) LogInfo("Blur FBO not ready");
    EnableShaders(&attributesBlurV_);
    glBindTexture(GL_TEXTURE_RECTANGLE, blurTexture_[0].get());
    glUniform1i(locBlurTextureV_, 0);
    glUniform1fv(locBlurOffsetV_, 5, blurOffset_.data());
    glUniform1fv(locBlurWeightV_, 5, blurWeight_.data());
    DrawTextureAtX1Y1X2Y2IsFlipped(0.0f, 0.0f, w, h, true);
    ClearGlErrors();
}

void ShaderProcessor::SetBlurWeight(double percent) {
    // The bell curve is defined for 0 to 1 only; frames wider than 4096 pixels with the
    // strongest radius would pass 1.
    const float p = std::clamp(static_cast<float>(percent), 0.0f, 1.0f);
    const float w0 = GaussForXYBlurPercent(0.0f, 0.0f, p);
    const float w1 = GaussForXYBlurPercent(1.0f, 0.0f, p);
    const float w2 = GaussForXYBlurPercent(2.0f, 0.0f, p);
    const float sum = w0 + 2.0f * w1 + 2.0f * w2;
    blurWeight_ = {w0 / sum, w1 / sum, w2 / sum, 0.0f, 0.0f};
}

float ShaderProcessor::GaussForXYBlurPercent(float x, float y, float percent) {
    const float p = std::clamp(percent, 0.0f, 1.0f);
    const float c = static_cast<float>(1.0 / (2.0 * static_cast<double>(kPi)));
    const float s = (1.0f - c) * p + c;
    const float e = static_cast<float>(std::pow(2.718281828459, static_cast<double>((x * x + y * y) / (-2.0f * s))));
    return e * static_cast<float>(1.0 / std::sqrt(2.0 * static_cast<double>(kPi) * static_cast<double>(s)));
}

void ShaderProcessor::SetViewportToImageSize() {
    glViewport(0, 0, static_cast<GLsizei>(imageWidth_), static_cast<GLsizei>(imageHeight_));
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
}

void ShaderProcessor::SetViewportToWindowSize(const FloatRect& rect) {
    if (imageWidth_ == 0 || imageHeight_ == 0) return;
    const double r = static_cast<double>(imageWidth_) / static_cast<double>(imageHeight_);
    const int vh = static_cast<int>(rect.size.width / r);
    const int vw = static_cast<int>(vh * r);
    glViewport(0, static_cast<GLint>((rect.size.height - static_cast<float>(vh)) / 2.0f), vw, vh);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
}

// ---------------------------------------------------------------- targets

bool ShaderProcessor::FBOSetup(const GlContextPtr& context) {
    if (backend_ == Backend::Cpu) {
        BlurFboWidthHeight(static_cast<int>(imageWidth_), static_cast<int>(imageHeight_));
        return outputWidth_ > 0 && outputHeight_ > 0;
    }
    if (!SetCorrectContext(context)) {
        LogError("The look pipeline has no OpenGL context for its render target{}{}",
                 renderContextError_.empty() ? "" : ": ", renderContextError_);
        return false;
    }
    glfbo::FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, 0);
    ClearGlErrors();
    BlurFboWidthHeight(static_cast<int>(imageWidth_), static_cast<int>(imageHeight_));
    if (fboRenderBuffer_) {
        GLuint old = fboRenderBuffer_.get();
        glfbo::DeleteFramebuffers(1, &old);
    }
    fboRenderBuffer_ = GlObject::Renderbuffer();
    const GLuint rb = fboRenderBuffer_.get();
    glViewport(0, 0, static_cast<GLsizei>(outputWidth_), static_cast<GLsizei>(outputHeight_));
    glfbo::BindRenderbuffer(GL_RENDERBUFFER, rb);
    glfbo::RenderbufferStorage(GL_RENDERBUFFER, GL_RGBA16, static_cast<GLsizei>(outputWidth_),
                               static_cast<GLsizei>(outputHeight_));
    // The render buffer's name is bound as the framebuffer's name too (a compatibility
    // context creates the framebuffer on first bind).
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, rb);
    glfbo::FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, rb);
    GLint sizes[5] = {};
    const GLenum names[5] = {GL_RENDERBUFFER_BLUE_SIZE, GL_RENDERBUFFER_GREEN_SIZE, GL_RENDERBUFFER_RED_SIZE,
                             GL_RENDERBUFFER_ALPHA_SIZE, GL_RENDERBUFFER_DEPTH_SIZE};
    for (int i = 0; i < 5; ++i) glfbo::GetRenderbufferParameteriv(GL_RENDERBUFFER, names[i], &sizes[i]);
    if (sizes[0] != 16) LogInfo("FBO: {} {} {} {} {}", sizes[0], sizes[1], sizes[2], sizes[3], sizes[4]);
    (void)glfbo::CheckFramebufferStatus(GL_FRAMEBUFFER);
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
    ClearGlErrors();
    if (sizes[0] < 1) {
        LogError("The OpenGL driver gave the {}x{} render target no colour storage", outputWidth_.load(),
                 outputHeight_.load());
        return false;
    }
    return true;
}

void ShaderProcessor::HistogramFBOSetup() {
    if (backend_ != Backend::OpenGL || !SetCorrectContext(nullptr)) return;
    histogramFBO_ = GlObject::Framebuffer();
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, histogramFBO_.get());
    histogramTexture_ = GlObject::Texture();
    glBindTexture(GL_TEXTURE_2D, histogramTexture_.get());
    LinearClampTexture(GL_TEXTURE_2D, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(float3_), kHistogramWidth, kHistogramHeight, 0, GL_RGBA,
                 GL_UNSIGNED_SHORT, nullptr);
    glfbo::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, histogramTexture_.get(), 0);
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
    glBindTexture(GL_TEXTURE_2D, 0);
    ClearGlErrors();
}

// ---------------------------------------------------------------- histogram

uint8_t ShaderProcessor::GetDitherValue(uint8_t v) {
    const int m = static_cast<int>(v * 0.1);
    if (v == 0 || m == 0) return 0;
    return static_cast<uint8_t>(std::rand() % m);
}

void ShaderProcessor::GenerateHistogramData() {
    GenerateHistogramDataFrom(histogramShaderOut_, histogramShaderOutForClip_, histogramPreLevels_);
}

void ShaderProcessor::GenerateHistogramDataFrom(const std::vector<uint8_t>& pass,
                                                const std::vector<uint8_t>& passForClip, bool preLevels) {
    uint32_t** buckets = bucketList_;
    if (!buckets) return;
    std::unique_lock lock(histogramLock_, std::try_to_lock);
    if (!lock.owns_lock()) return;  // a histogram is still being made: this frame gets none
    for (auto& c : histogramCounts_) c.fill(0);
    const size_t pixels = static_cast<size_t>(kHistogramWidth) * kHistogramHeight;
    for (size_t i = 0; i < pixels && 4 * i + 2 < pass.size(); ++i) {
        for (size_t ch = 0; ch < 3; ++ch) ++histogramCounts_[ch][pass[4 * i + ch]];
    }
    if (preLevels) {
        for (auto& c : histogramCounts_) c[0] = c[255];
        for (size_t i = 0; i < pixels && 4 * i + 2 < passForClip.size(); ++i) {
            for (size_t ch = 0; ch < 3; ++ch) {
                const uint8_t v = passForClip[4 * i + ch];
                if (v == 0) ++histogramCounts_[ch][0];
                if (v == 255) ++histogramCounts_[ch][255];
            }
        }
    }
    for (size_t i = 0; i < 256; ++i) {
        for (size_t ch = 0; ch < 3; ++ch) {
            const uint64_t n = histogramCounts_[ch][i];
            const uint64_t d = GetDitherValue(static_cast<uint8_t>(n & 0xff));
            buckets[ch][2 * i] = static_cast<uint32_t>(static_cast<float>(n - d) * 22.888184f);
            buckets[ch][2 * i + 1] = static_cast<uint32_t>(static_cast<float>(n + d) * 22.888184f);
        }
    }
}

std::array<std::array<uint64_t, 512>, 3> ShaderProcessor::histogramCounts() const {
    std::lock_guard lock(histogramLock_);
    return histogramCounts_;
}

void ShaderProcessor::StartHistogramThread() {
    ReapHistogramThreads(false);
    if (!bucketList_) return;
    // The thread counts its own copy, so the next draw may overwrite the read-back.
    auto pass = std::make_shared<std::vector<uint8_t>>(histogramShaderOut_);
    auto clip = std::make_shared<std::vector<uint8_t>>(histogramShaderOutForClip_);
    const bool preLevels = histogramPreLevels_;
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::lock_guard lock(histogramJobsLock_);
    histogramJobs_.push_back({std::thread([this, pass, clip, preLevels, done] {
                                  GenerateHistogramDataFrom(*pass, *clip, preLevels);
                                  done->store(true);
                              }),
                              done});
}

void ShaderProcessor::ReapHistogramThreads(bool all) {
    std::list<HistogramJob> finished;
    {
        std::lock_guard lock(histogramJobsLock_);
        for (auto it = histogramJobs_.begin(); it != histogramJobs_.end();) {
            if (all || it->done->load()) {
                finished.splice(finished.end(), histogramJobs_, it++);
            } else {
                ++it;
            }
        }
    }
    for (auto& job : finished) {
        if (job.thread.joinable()) job.thread.join();
    }
}

void ShaderProcessor::WaitForHistograms() { ReapHistogramThreads(true); }

// ---------------------------------------------------------------- CPU render pass

namespace {
#ifdef NDEBUG
constexpr bool kCrossCheckFastLook = false;
#else
constexpr bool kCrossCheckFastLook = true;
#endif
}  // namespace

bool ShaderProcessor::RenderPassFast(DrawParams* params) {
    const int bw = static_cast<int>(params->baseSize.width);
    const int bh = static_cast<int>(params->baseSize.height);
    const int vw = static_cast<int>(params->viewportRect.size.width);
    const int vh = static_cast<int>(params->viewportRect.size.height);
    if (bw <= 0 || bh <= 0 || bw != vw || bh != vh || !r3dRenderBuffer_ || blurAmount_ > 0.0f) return false;
    if (params->outputRGBA && output32Bit_) return false;
    const cpu::Quad q = cpu::RenderPassQuad(vw, vh, params->baseSize.width, params->baseSize.height, params->fitMethod,
                                            params->aspectSize.width, params->aspectSize.height, true);
    const float w = static_cast<float>(vw), h = static_cast<float>(vh);
    if (q.x0 != 0.0f || q.y0 != 0.0f || q.x1 != w || q.y1 != h || q.s0 != 0.0f || q.s1 != w || q.tBottom != 0.0f ||
        q.tTop != h) {
        return false;
    }
    params->needsFlip = true;
    ShiftGrain();
    GrainMapPtr map;
    const cpu::CoreShaderInputs inputs = CoreShaderInputsForRender(&map);
    if (!fastKernel_) fastKernel_ = std::make_unique<fast::LookKernel>();
    // The map's own bytes where it has them: its float texture is never made.
    fast::GrainTexels texels;
    const BitmapRep* rep = map ? map->GetGrainBitmapRep().get() : nullptr;
    const bool bytes = rep && map->textureLevels() && rep->bitsPerSample == 8 && rep->width == inputs.grainWidth &&
                       rep->height == inputs.grainHeight;
    if (bytes) {
        texels.bytes = rep->data.data();
        texels.bytesPerRow = static_cast<size_t>(rep->bytesPerRow);
        texels.samplesPerPixel = std::max(rep->bitsPerPixel / rep->bitsPerSample, 1);
        texels.levels = map->textureLevels();
    }
    const bool rebaked =
        fastKernel_->Prepare(inputs, bytes || !map ? nullptr : map->GetTextureData(), bytes ? &texels : nullptr);
    if (kCrossCheckFastLook && rebaked) {
        if (const Status s = fastKernel_->CrossCheck(inputs); !s.ok()) {
            LogError("Fast look path: {}; this frame takes the reference path", s.message());
            fastKernel_.reset();
            return false;
        }
    }
    fastKernelGrain_ = std::move(map);  // keeps the baked map's address from being reused
    fast::KernelOutput layout = params->outputRGBA ? fast::KernelOutput::kRgba16 : fast::KernelOutput::kRgb16;
    // The kernel's words are little-endian, as the files' are.
    constexpr bool little = std::endian::native == std::endian::little;
    if (little && params->packing == PixelPacking::kDpx10 && params->outputRGBA) layout = fast::KernelOutput::kDpx10;
    if (little && params->packing == PixelPacking::kBigEndian16 && !params->outputRGBA)
        layout = fast::KernelOutput::kRgb16BigEndian;
    fastKernel_->Render(reinterpret_cast<const uint16_t*>(r3dRenderBuffer_), bw, bh, params->writeToDiskData, layout);
    params->packed = layout == fast::KernelOutput::kDpx10 || layout == fast::KernelOutput::kRgb16BigEndian;
    return true;
}

void ShaderProcessor::RenderPassCpu(DrawParams* params) {
    if (!params->writeToDiskData) return;
    if (cpuKernel_ == CpuKernel::Fast && RenderPassFast(params)) return;
    const int bw = static_cast<int>(params->baseSize.width);
    const int bh = static_cast<int>(params->baseSize.height);
    const int vw = static_cast<int>(params->viewportRect.size.width);
    const int vh = static_cast<int>(params->viewportRect.size.height);
    if (bw <= 0 || bh <= 0 || vw <= 0 || vh <= 0) return;
    cpu::Image frame =
        cpu::ImageFromRgb16(reinterpret_cast<const uint16_t*>(r3dRenderBuffer_), bw, bh, HalfFloatTextures());
    if (blurAmount_ > 0.0f) {
        for (int pass = 0; pass < 2; ++pass) {
            SetBlurWeight(static_cast<double>(blurAmount_) * (static_cast<double>(imageWidth_) / 4096.0));
            frame = cpu::BlurOnce(frame, blurWeight_, blurOffset_);
        }
    }
    params->needsFlip = true;
    ShiftGrain();
    const cpu::CoreShaderInputs inputs = CoreShaderInputsForRender();
    cpu::Image target;
    target.width = vw;
    target.height = vh;
    target.rgba.assign(static_cast<size_t>(vw) * static_cast<size_t>(vh) * 4, 0.0f);
    for (size_t i = 3; i < target.rgba.size(); i += 4) target.rgba[i] = needsARGBSwizzleOut_ ? 0.0f : 1.0f;
    const cpu::Quad quad =
        cpu::RenderPassQuad(vw, vh, params->baseSize.width, params->baseSize.height, params->fitMethod,
                            params->aspectSize.width, params->aspectSize.height, params->needsFlip);
    DrawCoreQuadCpu(inputs, frame, quad, *params, target);
    DrawEffectsSecondPassCpu(*params, target);
    if (params->outputRGBA && output32Bit_) {
        auto* out = static_cast<uint8_t*>(params->writeToDiskData);
        for (size_t i = 0; i < target.rgba.size(); ++i) {
            out[i] = static_cast<uint8_t>(std::lround(std::clamp(target.rgba[i], 0.0f, 1.0f) * 255.0f));
        }
        return;
    }
    cpu::ToUnsigned16(target, params->outputRGBA, static_cast<uint16_t*>(params->writeToDiskData));
}

}  // namespace ombrel
