#pragma once

// The look pipeline: one generated fragment program fed by a film stock table, one-dimensional
// tables computed on the CPU, grain and a few matrices and scalars. One instance serves one
// image consumer (a preview view, a movie source, one render of one clip).
//
// Threads. Look setters run on any thread and make no GL calls; they change the CPU tables
// under `textureLock` and raise a reload flag, and the next draw uploads what is flagged.
// Everything that touches GL runs on the thread that has the context current, starting with
// SetCorrectContext; one draw runs at a time. The destructor must run where the processor's
// context can be made current (it makes it so itself when it draws in its own context).
//
// With Backend::Cpu no context is made and the render draw runs the CPU reference of the
// core shader instead (look/cpu), for machines without any OpenGL, or, with CpuKernel::Fast,
// the fast kernel (look/fast) wherever a draw is one frame one to one without blur.

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "look/DrawParams.h"
#include "look/cpu/CoreShaderCpu.h"
#include "look/grain/GrainManager.h"
#include "model/ColorBallInfo.h"
#include "platform/gl/GlContext.h"
#include "platform/gl/GlObjects.h"

namespace ombrel {

class colorTempExposureModel;
class colorBall2DLUT;
namespace fast {
class LookKernel;
}

// One program: its two sources and the linked program (empty when the build failed).
struct GLSLAttributes {
    std::string fragmentShaderSource;
    std::string vertexShaderSource;
    GlObject programObject;
};

// Uniform locations of one program variant; -1 where the program has no such uniform.
struct OBShaderLocations {
    int32_t locVideoFrame = -1;
    int32_t locGrainMap = -1;
    int32_t locStockLUT = -1;
    int32_t locCsGamma = -1;
    int32_t locCsContrast = -1;
    int32_t locGrainCurve = -1;
    int32_t locStockLUTAmount = -1;
    int32_t locSBlendAmount = -1;
    int32_t locHistogramAmount = -1;
    int32_t locGrainOffset = -1;
    int32_t locGrainSize = -1;
    int32_t locGrainAmount = -1;
    int32_t locGrainColorfulness = -1;
    int32_t locHistogram = -1;
    int32_t locExposure = -1;
    int32_t locSaturation = -1;
    int32_t locBlackAndWhite = -1;
    int32_t locLiftLookup = -1;
    int32_t locBallLookup = -1;
    int32_t locGrainNeutral = -1;
    int32_t locDisplayMat = -1;
    int32_t locD65CAMat = -1;
    int32_t locRec709MatInv = -1;
};

// Texture units of the core shader.
inline constexpr int kUnitVideoFrame = 0;
inline constexpr int kUnitGrainMap = 1;
inline constexpr int kUnitGrainCurve = 2;
inline constexpr int kUnitStockLUT = 3;
inline constexpr int kUnitHistogram = 4;
inline constexpr int kUnitExposure = 5;
inline constexpr int kUnitLift = 6;
inline constexpr int kUnitBalls = 8;

inline constexpr int kTableLength = 4096;
inline constexpr int kHistogramWidth = 512;
inline constexpr int kHistogramHeight = 256;
inline constexpr size_t kHistogramBytes = kHistogramWidth * kHistogramHeight * 4;  // 524,288

// The latest histogram pass as an image: 512 x 256 RGBA, 8 bits a sample, rows bottom-up.
struct ThumbnailRep {
    const uint8_t* data = nullptr;
    int width = kHistogramWidth;
    int height = kHistogramHeight;
    int bytesPerRow = kHistogramWidth * 4;
};

class ShaderProcessor {
public:
    enum class Backend { OpenGL, Cpu };

    // `init`: neutral tables, and (for OpenGL) the private float context. A context that
    // cannot be made leaves renderContextError() set; GL operations then answer false.
    explicit ShaderProcessor(Backend backend = Backend::OpenGL);
    virtual ~ShaderProcessor();
    ShaderProcessor(const ShaderProcessor&) = delete;
    ShaderProcessor& operator=(const ShaderProcessor&) = delete;

    Backend backend() const { return backend_; }
    // Which CPU implementation a CPU render draw runs; the reference unless set. The fast
    // one skips the CPU hooks below, so a subclass that draws over the core pass keeps the
    // reference.
    enum class CpuKernel { Reference, Fast };
    void setCpuKernel(CpuKernel kernel) { cpuKernel_ = kernel; }
    CpuKernel cpuKernel() const { return cpuKernel_; }
    const std::string& renderContextError() const { return renderContextError_; }
    const GlContextPtr& renderContext() const { return renderContext_; }

    // ---- Setup ----
    void setImageWidth(uint32_t v) { imageWidth_ = v; }
    void setImageHeight(uint32_t v) { imageHeight_ = v; }
    void setOutputWidth(uint32_t v) { outputWidth_ = v; }
    void setOutputHeight(uint32_t v) { outputHeight_ = v; }
    void setUseRenderContext(bool v) { useRenderContext_ = v; }
    uint32_t imageWidth() const { return imageWidth_; }
    uint32_t imageHeight() const { return imageHeight_; }
    uint32_t outputWidth() const { return outputWidth_; }
    uint32_t outputHeight() const { return outputHeight_; }
    bool useRenderContext() const { return useRenderContext_; }

    // Builds all programs and textures. False when no context could be made current.
    virtual bool InitPipelineForViewportContext(const FloatRect& rect, const GlContextPtr& context);
    // Makes the private context current when it is in use, else `context`; clears the GL
    // error flag. False when neither can be made current.
    bool SetCorrectContext(const GlContextPtr& context);
    virtual void LoadOBShader();
    virtual void PrepareTexturesForContext(const GlContextPtr& context);
    void EnableShaders(GLSLAttributes* attributes);
    void DisableShaders();

    // ---- Program build ----
    // The text of resource <name>.<extension>, gunzipped, with `append` added. A missing
    // or unreadable resource is a broken installation and stops the program.
    std::string getShaderSourceFromResourceExtensionAppend(const std::string& name, const std::string& extension,
                                                           const std::string* append);
    void getFragmentShaderSourceFromResourceAttributesAppend(const std::string& name, GLSLAttributes* attributes,
                                                             const std::string* append);
    void getVertexShaderSourceFromResourceAttributesAppend(const std::string& name, GLSLAttributes* attributes,
                                                           const std::string* append);
    bool getShadersFromResourceAttributesAppendFragAppendVert(const std::string& name, GLSLAttributes* attributes,
                                                              const std::string* appendFrag,
                                                              const std::string* appendVert);
    bool getShadersFromResourceAttributes(const std::string& name, GLSLAttributes* attributes);
    // Compiles and links the attributes' sources; non-zero on success.
    GLuint getProgramObjectAttributes(const std::string& name, GLSLAttributes* attributes);
    int32_t GetUniformLocationAttributes(const char* name, const GLSLAttributes* attributes);
    int32_t GetAttributeLocationAttributes(const char* name, const GLSLAttributes* attributes);
    // The text that LoadOBShader appends to the core shader's fragment source.
    std::string GeneratedMain() const;

    // ---- Look setters: any thread, no GL ----
    void SetExposureKelvin(float exposure, float kelvin);
    void SetBallInfo(ColorBallInfo info);
    void SetLiftGammaGain(float lift, float gamma, float gain);
    static void SetMatrixForSat(float* matrix, float saturation);
    void SetSaturation(float saturation);
    void SetBlackAndWhite(bool on) { isBlackAndWhite_ = on; }
    void SetHistogramBMW(double black, double mid, double white);
    void CreateCurve();
    static FloatPoint PointOnCurveP0P1P2P3(float t, FloatPoint p0, FloatPoint p1, FloatPoint p2, FloatPoint p3);
    void setShowOriginal(bool on);
    void SetBlendValue(double v) { lutAmount_ = static_cast<float>(v); }
    void SetSBlendValue(double v) { sBlendAmount_ = static_cast<float>(v); }
    void SetGrainValue(double v) { grainAmount_ = static_cast<float>(v); }
    void SetBlurAmount(float v) { blurAmount_ = v; }
    void SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stockName, const std::string& sourceType,
                                              const std::optional<std::string>& chosen, bool r3dMode);
    void ChangeGrainMapToStockScaleCurveOnly(const std::string& stockName, double scale, bool curveOnly);
    // Puts a grain image in force (what grain selection ends in); flags the image unless
    // curve-only, and the curve.
    void SetGrainMap(GrainMapPtr map, bool curveOnly);

    // The default camera profile of the user ("DefaultCamera_SourceCameraChosen"), read at
    // each stock change; unset answers none.
    static void SetDefaultCameraReader(std::function<std::optional<std::string>()> reader);

    // ---- Getters of the look state ----
    float lutAmount() const { return lutAmount_; }
    float sBlendAmount() const { return sBlendAmount_; }
    float grainAmount() const { return grainAmount_; }
    float blurAmount() const { return blurAmount_; }
    bool showOriginal() const { return showOriginal_; }
    bool isBlackAndWhite() const { return isBlackAndWhite_; }
    std::array<double, 3> histogram() const;
    std::array<double, 3> histogramLocal() const;
    bool lastExposureWasFlat() const { return lastExposureWasFlat_; }
    double lastGrainScale() const;
    GrainMapPtr grain() const;
    std::array<int32_t, 2> grainSize() const;
    std::array<float, 2> grainOffset() const { return grainOffset_; }
    void setGrainOffset(std::array<float, 2> v) { grainOffset_ = v; }
    bool reloadExposure() const { return reloadExposure_; }
    bool reloadLift() const { return reloadLift_; }
    bool reloadBalls() const { return reloadBalls_; }
    bool reloadGrain() const { return reloadGrain_; }
    bool reloadGrainCurve() const { return reloadGrainCurve_; }
    bool reloadLUT() const { return reloadLUT_; }
    bool pushSplineTexture() const { return pushSplineTexture_; }
    void setPushSplineTexture(bool v) { pushSplineTexture_ = v; }
    GLenum FLOAT_3() const { return float3_; }
    // Whether tables and frames are stored as 16-bit floats on the GPU.
    bool HalfFloatTextures() const { return float3_ == GL_RGB16F_ARB; }
    GLenum FLOAT_1() const { return float1_; }
    GLuint frameTexture() const { return frameTexture_.get(); }
    GLuint texture(int slot) const { return textures_[static_cast<size_t>(slot)].get(); }
    const OBShaderLocations& locations(int variant) const { return locationsOBShader_[static_cast<size_t>(variant)]; }
    const GLSLAttributes& attributes(int variant) const { return attributesOBShader_[static_cast<size_t>(variant)]; }

    // Runs `fn` on the CPU tables under textureLock and flags every table for upload: the
    // way a table source that fills a table itself hands it to the pipeline.
    struct Tables {
        std::vector<float>& stockLut;
        std::array<float, kTableLength>& splineTexture;
        std::array<float, kTableLength * 3>& ballTexture;
        std::array<float, kTableLength * 3>& exposureTexture;
        std::array<float, kTableLength * 3>& liftTexture;
    };
    void EditTables(const std::function<void(Tables&)>& fn);
    // Copies of the exposure and colour-ball tables as the setters left them (full float).
    std::array<float, kTableLength * 3> exposureTable() const;
    std::array<float, kTableLength * 3> ballTable() const;
    ColorBallInfo ballInfoLocal() const;

    // What the core shader reads in a render draw with the state now in force (the grain
    // offset as the last draw left it), tables rounded as the GPU stores them. With `grainMap`,
    // the grain image is not copied: the map it lies in comes back there instead.
    cpu::CoreShaderInputs CoreShaderInputsForRender(GrainMapPtr* grainMap = nullptr) const;

    // ---- Draw (frame in, graded frame out) ----
    void RenderUsingR3DRenderBuffer(DrawParams* params);
    void RenderUsingAVRenderBufferParams(const uint8_t* buffer, DrawParams* params);
    void RenderUsingTexture0(DrawParams* params);
    void DrawRect(DrawParams* params);
    virtual void DrawSetup_Begin(DrawParams* params);
    virtual void DrawSetup_Uniforms(DrawParams* params) { (void)params; }
    virtual void DrawSetup_Samplers(DrawParams* params) { (void)params; }
    virtual void DrawEffectsSecondPass() {}
    virtual void SetBorder(bool on) { (void)on; }
    // The CPU render's counterparts of the hooks above: the core pass over the target (rows
    // bottom-up, viewport-sized), then anything drawn over it.
    virtual void DrawCoreQuadCpu(const cpu::CoreShaderInputs& inputs, const cpu::Image& frame, const cpu::Quad& quad,
                                 const DrawParams& params, cpu::Image& target) {
        (void)params;
        cpu::DrawCoreQuad(inputs, frame, quad, target);
    }
    virtual void DrawEffectsSecondPassCpu(const DrawParams& params, cpu::Image& target) {
        (void)params;
        (void)target;
    }
    void DrawTextureAtX1Y1X2Y2IsFlipped(float x1, float y1, float x2, float y2, bool flipped);
    void DrawTextureAtX1Y1X2Y2U1V1U2V2IsFlipped(float x1, float y1, float x2, float y2, float u1, float v1, float u2,
                                                float v2, bool flipped);
    virtual void setVertUVAtt_Ix1Ix2(int ix1, int ix2) {
        (void)ix1;
        (void)ix2;
    }
    static void LoadUVArrayX1Y1X2Y2(float* array, int x1, int y1, int x2, int y2);
    bool NeedsBlur() const { return blurAmount_ > 0.0f && !showOriginal_; }
    void BlurFboWidthHeight(int width, int height);
    void BlurTexture(GLuint texture);
    void SetBlurWeight(double percent);
    static float GaussForXYBlurPercent(float x, float y, float percent);
    const std::array<float, 5>& blurWeight() const { return blurWeight_; }
    const std::array<float, 5>& blurOffset() const { return blurOffset_; }
    void SetViewportToImageSize();
    void BlurUploadedFrameAndDraw(DrawParams* params);
    void SetViewportToWindowSize(const FloatRect& rect);
    bool FBOSetup(const GlContextPtr& context);
    void HistogramFBOSetup();
    void GenerateHistogramData();
    static uint8_t GetDitherValue(uint8_t v);
    ThumbnailRep thumbnailRep() const { return {histogramShaderOut_.data()}; }
    // Waits for every histogram thread that has been started.
    void WaitForHistograms();

    // ---- Public properties ----
    void setBucketList(uint32_t** buckets) { bucketList_ = buckets; }
    uint32_t** bucketList() const { return bucketList_; }
    void setHistogramPreLevels(bool v) { histogramPreLevels_ = v; }
    bool histogramPreLevels() const { return histogramPreLevels_; }
    void setPauseGrainShift(bool v) { pauseGrainShift_ = v; }
    bool pauseGrainShift() const { return pauseGrainShift_; }
    // The grain offset of the next draw instead of a random jump: how a render places the
    // grain of each frame where the clip's own walk puts it. Call on the drawing thread.
    void SetGrainOffsetForNextDraw(std::array<float, 2> offset) { nextGrainOffset_ = offset; }
    void setR3dRenderBuffer(const uint8_t* buffer) { r3dRenderBuffer_ = buffer; }
    const uint8_t* r3dRenderBuffer() const { return r3dRenderBuffer_; }
    // The viewer sets zoom on the main thread while its render thread draws.
    void setZoomEnabled(bool v) {
        std::lock_guard<std::mutex> lock(zoomLock_);
        zoomEnabled_ = v;
    }
    bool zoomEnabled() const {
        std::lock_guard<std::mutex> lock(zoomLock_);
        return zoomEnabled_;
    }
    void setZoomOffset(FloatPoint v) {
        std::lock_guard<std::mutex> lock(zoomLock_);
        zoomOffset_ = v;
    }
    FloatPoint zoomOffset() const {
        std::lock_guard<std::mutex> lock(zoomLock_);
        return zoomOffset_;
    }
    void setNeedsARGBSwizzleIn(bool v) { needsARGBSwizzleIn_ = v; }
    bool needsARGBSwizzleIn() const { return needsARGBSwizzleIn_; }
    void setNeedsARGBSwizzleOut(bool v) { needsARGBSwizzleOut_ = v; }
    bool needsARGBSwizzleOut() const { return needsARGBSwizzleOut_; }
    void setOutput32Bit(bool v) { output32Bit_ = v; }
    bool output32Bit() const { return output32Bit_; }
    void setCsGamma(float v) { csGamma_ = v; }
    float csGamma() const { return csGamma_; }
    void setCsContrast(float v) { csContrast_ = v; }
    float csContrast() const { return csContrast_; }
    // Where the preview's on-screen pass draws: 0 is the context's own framebuffer.
    void setWindowFramebuffer(GLuint fbo) { windowFramebuffer_ = fbo; }
    // The RGBA8 read-backs of the histogram passes.
    const std::vector<uint8_t>& histogramShaderOut() const { return histogramShaderOut_; }
    const std::vector<uint8_t>& histogramShaderOutForClip() const { return histogramShaderOutForClip_; }
    std::vector<uint8_t>& histogramShaderOutMutable() { return histogramShaderOut_; }
    std::vector<uint8_t>& histogramShaderOutForClipMutable() { return histogramShaderOutForClip_; }
    // Counts per channel of the last histogram, entries 0 to 255.
    std::array<std::array<uint64_t, 512>, 3> histogramCounts() const;

protected:
    void SetupExposureLut();
    // Binds units 1 to 6 and 8 and uploads what is flagged (or everything with `all`).
    void BindAndUploadTables(bool all);
    void UploadTable(int slot, bool all);
    void SendLookUniforms();
    // The uniform that goes with the uploaded grain image (its neutral level); after
    // BindAndUploadTables.
    void SendTableUniforms();
    // Locations and the fixed sampler units of a linked core program.
    void InitCoreProgram(GLSLAttributes* a, OBShaderLocations& l);
    // The core program for the tables as uploaded: tables that give back every level are
    // compiled out (a uniform branch around a texture read still costs a software rasteriser
    // most of the read). Sets locCurrent_; falls back to the general program.
    GLSLAttributes* CoreProgramForUploadedTables();
    // Which tables of the last upload give back every level (bits in the order exposure, balls,
    // lift, levels), and a fragment source built with those tables left out.
    int UploadedIdentityMask() const;
    static std::string WithIdentityDefines(const std::string& source, int mask);
    // The level grain is added around: the map's own mean, 0.5 without a map.
    static std::array<float, 3> GrainNeutral(const GrainMap* map);
    void SendHistogramAmount(float amount);
    void ValidateProgramObject(const GLSLAttributes* attributes);
    void RenderPassCpu(DrawParams* params);
    // The fast kernel's draw; false (nothing done) where it does not apply.
    bool RenderPassFast(DrawParams* params);
    void ShiftGrain();
    void RenderPass(DrawParams* params);
    void PreviewPasses(DrawParams* params);
    void StartHistogramThread();
    void ReapHistogramThreads(bool all);
    void ReleaseGlObjects();

    Backend backend_;
    CpuKernel cpuKernel_ = CpuKernel::Reference;
    std::unique_ptr<fast::LookKernel> fastKernel_;  // drawing thread only
    GrainMapPtr fastKernelGrain_;                   // the map the kernel's grain was baked from

    // Fields of the look, in the order of their meaning.
    std::array<GlObject, 20> textures_;
    GlObject frameTexture_;
    std::array<float, 2> grainOffset_{0.0f, 0.0f};
    std::array<int32_t, 2> grainSize_{0, 0};  // under textureLock
    float grainColorfulness_ = 0.0f;
    std::atomic<float> lutAmount_{0.0f};
    std::atomic<float> sBlendAmount_{0.0f};
    float histogramAmount_ = 0.0f;
    std::atomic<float> grainAmount_{0.0f};
    std::vector<float> stockLut_;  // allocated on first need
    std::array<float, kTableLength> splineTexture_{};
    std::array<float, kTableLength * 3> ballTexture_{};
    std::array<float, kTableLength * 3> exposureTexture_{};
    std::array<float, kTableLength * 3> liftTexture_{};
    std::array<float, 16> satMat_{};  // under textureLock
    std::array<float, 16> idMat_{};
    std::array<float, 16> zeroSatMat_{};
    std::array<float, 16> fullSatMat_{};
    mutable std::recursive_mutex textureLock_;
    std::atomic<bool> reloadExposure_{false};
    std::atomic<bool> reloadLift_{false};
    std::atomic<bool> reloadBalls_{false};
    std::atomic<bool> reloadGrain_{false};
    std::atomic<bool> reloadGrainCurve_{false};
    std::atomic<bool> reloadLUT_{false};
    std::array<GLSLAttributes, 3> attributesOBShader_;
    std::array<OBShaderLocations, 3> locationsOBShader_;
    OBShaderLocations* locCurrent_ = nullptr;
    std::array<double, 3> histogram_{0.0, 0.5, 1.0};       // under textureLock
    std::array<double, 3> histogramLocal_{0.0, 0.5, 1.0};  // under textureLock
    std::vector<FloatPoint> spline_;                       // work array of CreateCurve
    std::atomic<bool> pushSplineTexture_{false};
    GrainMapPtr grain_;                                     // under textureLock
    std::shared_ptr<const GrainLookup> grainCurveInForce_;  // under textureLock
    std::atomic<uint32_t> imageWidth_{1920};
    std::atomic<uint32_t> imageHeight_{1080};
    std::atomic<uint32_t> outputWidth_{0};
    std::atomic<uint32_t> outputHeight_{0};
    std::atomic<bool> showOriginal_{false};
    std::unique_ptr<colorTempExposureModel> exposureModel_;  // under textureLock; made on first need
    std::atomic<bool> lastExposureWasFlat_{false};
    float liftLocal_ = 1.0f, gammaLocal_ = 1.0f, gainLocal_ = 1.0f;  // under textureLock
    std::atomic<bool> isBlackAndWhite_{false};
    float originalSBlendAmount_ = 0.0f, originalLutAmount_ = 0.0f, originalGrainAmount_ = 0.0f;
    double lastGrainScale_ = 1.0;                // under textureLock
    ColorBallInfo ballInfoLocal_;                // under textureLock
    std::unique_ptr<colorBall2DLUT> ballMaths_;  // under textureLock
    std::atomic<bool> useRenderContext_{false};
    GlContextPtr renderContext_;
    std::string renderContextError_;
    GLenum float3_ = 3;
    GLenum float1_ = 1;
    bool needsARGBSwizzleIn_ = false;
    bool needsARGBSwizzleOut_ = false;
    float csGamma_ = 1.0f;
    float csContrast_ = 1.0f;

    // Fields of the draw.
    std::atomic<bool> pauseGrainShift_{false};
    std::optional<std::array<float, 2>> nextGrainOffset_;  // drawing thread only
    // What the uploaded tables are, for the program and uniforms that go with them; drawing
    // thread only.
    std::array<bool, 9> uploadedIsIdentity_{};  // by texture unit
    struct CoreProgram {
        GLSLAttributes attributes;
        OBShaderLocations locations;
    };
    // By the mask of the tables compiled out; made on first need, drawing thread only.
    std::map<int, std::unique_ptr<CoreProgram>> fixedTablePrograms_;
    std::array<float, 3> uploadedGrainNeutral_{0.5f, 0.5f, 0.5f};
    const uint8_t* r3dRenderBuffer_ = nullptr;
    int32_t locBlurTextureH_ = -1, locBlurTextureV_ = -1;
    int32_t locBlurWeightH_ = -1, locBlurOffsetH_ = -1;
    int32_t locBlurWeightV_ = -1, locBlurOffsetV_ = -1;
    GLSLAttributes attributesBlurH_;
    GLSLAttributes attributesBlurV_;
    GlObject histogramFBO_;
    GlObject fboRenderBuffer_;
    GlObject histogramTexture_;
    std::atomic<float> blurAmount_{0.0f};
    GlObject blurFBO_;
    std::array<GlObject, 2> blurTexture_;
    std::array<float, 5> blurWeight_{};
    std::array<float, 5> blurOffset_{};
    mutable std::recursive_mutex histogramLock_;
    std::vector<uint8_t> histogramShaderOut_;
    std::vector<uint8_t> histogramShaderOutForClip_;
    std::array<std::array<uint64_t, 512>, 3> histogramCounts_{};  // under histogramLock
    uint32_t** bucketList_ = nullptr;
    std::atomic<bool> histogramPreLevels_{false};
    mutable std::mutex zoomLock_;  // a leaf: nothing else is taken under it
    bool zoomEnabled_ = false;     // under zoomLock_
    FloatPoint zoomOffset_;        // under zoomLock_
    bool output32Bit_ = false;
    GLuint windowFramebuffer_ = 0;
    bool blurFboReady_ = false;
    bool pipelineReady_ = false;

    // The object's own lock: one draw at a time.
    std::recursive_mutex drawLock_;

    // Histogram threads still running, each with its own copy of the pass it counts.
    struct HistogramJob {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };
    std::mutex histogramJobsLock_;
    std::list<HistogramJob> histogramJobs_;
    void GenerateHistogramDataFrom(const std::vector<uint8_t>& pass, const std::vector<uint8_t>& passForClip,
                                   bool preLevels);
};

}  // namespace ombrel
