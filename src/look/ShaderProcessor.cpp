#include "look/ShaderProcessor.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "core/Log.h"
#include "datafile/DataFile.h"
#include "datafile/Resource.h"
#include "look/LutManager.h"
#include "look/balls/ColorBall2DLUT.h"
#include "look/exposure/ColorTempExposureModel.h"
#include "look/fast/LookKernel.h"

namespace ombrel {

namespace {

constexpr float kWr = 0.2126f;
constexpr float kWg = 0.7152f;
constexpr float kWb = 0.0722f;

std::mutex& CameraReaderLock() {
    static std::mutex lock;
    return lock;
}
std::function<std::optional<std::string>()>& CameraReader() {
    static std::function<std::optional<std::string>()> reader;
    return reader;
}

[[noreturn]] void BrokenInstallation(const std::string& what) { LogFatal(kErrorPrefix + what); }

void ShaderKitWarn(const std::string& text) { Log()->warn("{}{}", kShaderKitPrefix, text); }

std::string ShaderInfoLog(GLuint shader) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    if (length <= 1) return {};
    std::string log(static_cast<size_t>(length), '\0');
    glGetShaderInfoLog(shader, length, nullptr, log.data());
    log.resize(std::strlen(log.c_str()));
    return log;
}

std::string ProgramInfoLog(GLuint program) {
    GLint length = 0;
    glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    if (length <= 1) return {};
    std::string log(static_cast<size_t>(length), '\0');
    glGetProgramInfoLog(program, length, nullptr, log.data());
    log.resize(std::strlen(log.c_str()));
    return log;
}

// One stage; 0 when the source is empty or does not compile.
GLuint CompileShader(GLenum type, const std::string& source) {
    if (source.empty()) return 0;
    GLuint shader = glCreateShader(type);
    if (shader == 0) return 0;
    const char* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    const std::string log = ShaderInfoLog(shader);
    if (!log.empty()) Log()->info("{}Shader compile log:\n{}\n", kShaderKitPrefix, log);
    GLint ok = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if (ok != GL_TRUE) {
        ShaderKitWarn(fmt::format("WARNING: Failed to compile shader!\n{}\n", source));
        Log()->warn(".\n");
        glDeleteShader(shader);
        return 0;
    }
    return shader;
}

void SetTextureFilters(GLenum target, GLint filter) {
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    if (target != GL_TEXTURE_1D) glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    if (target == GL_TEXTURE_3D) glTexParameteri(target, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
}

}  // namespace

ShaderProcessor::ShaderProcessor(Backend backend) : backend_(backend) {
    idMat_.fill(0.0f);
    idMat_[0] = idMat_[5] = idMat_[10] = 1.0f;
    satMat_ = idMat_;
    SetMatrixForSat(zeroSatMat_.data(), 0.0f);
    SetMatrixForSat(fullSatMat_.data(), 1.0f);
    SetLiftGammaGain(1.0f, 1.0f, 1.0f);
    ballMaths_ = std::make_unique<colorBall2DLUT>();
    ColorBallInfo zero;
    ColorBallData::ResetColorBallInfo(&zero);
    SetBallInfo(zero);
    spline_.assign(kTableLength, FloatPoint{});
    CreateCurve();
    pushSplineTexture_ = false;
    histogramShaderOut_.assign(kHistogramBytes, 0);
    histogramShaderOutForClip_.assign(kHistogramBytes, 0);
    if (backend_ == Backend::OpenGL) {
        // The private context for float rendering, shared with nothing.
        if (const Status made = GlContext::Create(&renderContext_); !made.ok()) renderContextError_ = made.message();
    }
}

ShaderProcessor::~ShaderProcessor() {
    WaitForHistograms();
    if (backend_ != Backend::OpenGL) return;
    GlContext* current = GlContext::Current();
    const bool own = useRenderContext_ && renderContext_;
    if (own) {
        ScopedGlCurrent scope(renderContext_.get());
        ReleaseGlObjects();
        return;
    }
    if (current) {
        ReleaseGlObjects();
        return;
    }
    // Nothing to delete with: the objects die with their context instead.
    for (auto& t : textures_) t.release();
    frameTexture_.release();
    histogramFBO_.release();
    fboRenderBuffer_.release();
    histogramTexture_.release();
    blurFBO_.release();
    for (auto& t : blurTexture_) t.release();
    for (auto& a : attributesOBShader_) a.programObject.release();
    for (auto& [mask, program] : fixedTablePrograms_) program->attributes.programObject.release();
    fixedTablePrograms_.clear();
    attributesBlurH_.programObject.release();
    attributesBlurV_.programObject.release();
}

void ShaderProcessor::ReleaseGlObjects() {
    if (!GlContext::Current()) return;
    for (auto& a : attributesOBShader_) a.programObject.reset();
    fixedTablePrograms_.clear();
    attributesBlurH_.programObject.reset();
    attributesBlurV_.programObject.reset();
    histogramFBO_.reset();
    blurFBO_.reset();
    if (fboRenderBuffer_) {
        // Its name also serves as the render target's framebuffer name.
        GLuint name = fboRenderBuffer_.get();
        glfbo::DeleteFramebuffers(1, &name);
        fboRenderBuffer_.reset();
    }
    for (auto& t : textures_) t.reset();
    frameTexture_.reset();
    histogramTexture_.reset();
    for (auto& t : blurTexture_) t.reset();
    ClearGlErrors();
}

// ---------------------------------------------------------------- context and setup

bool ShaderProcessor::SetCorrectContext(const GlContextPtr& context) {
    bool ok = false;
    if (useRenderContext_ && renderContext_) {
        ok = renderContext_->MakeCurrent();
    } else if (context) {
        ok = context->MakeCurrent();
    } else {
        ok = GlContext::Current() != nullptr;
    }
    if (ok) ClearGlErrors();
    return ok;
}

void ShaderProcessor::SetDefaultCameraReader(std::function<std::optional<std::string>()> reader) {
    std::lock_guard lock(CameraReaderLock());
    CameraReader() = std::move(reader);
}

bool ShaderProcessor::InitPipelineForViewportContext(const FloatRect& rect, const GlContextPtr& context) {
    {
        std::lock_guard lock(textureLock_);
        if (stockLut_.empty()) {
            stockLut_.assign(kStockLutFloats, 0.0f);
            FillIdentityStockTable(stockLut_.data());
        }
        // A valid stock table from the first frame on.
        LutManager::TextureWithStockSourceTypeToBufferOfLength("5207", "5D", stockLut_.data(),
                                                               static_cast<int64_t>(kStockLutBytes));
    }
    if (backend_ == Backend::Cpu) {
        SetupExposureLut();
        std::lock_guard lock(textureLock_);
        if (!grain_) ChangeGrainMapToStockScaleCurveOnly("5207", 1.0, false);
        pipelineReady_ = true;
        return true;
    }
    if (!SetCorrectContext(context)) {
        LogError("The look pipeline has no OpenGL context to build in{}{}", renderContextError_.empty() ? "" : ": ",
                 renderContextError_);
        return false;
    }
    // Surfaceless contexts present nothing, so there is no swap interval to set.
    if (needsARGBSwizzleOut_) {
        glClearColor(1.0f, 0.0f, 0.0f, 0.0f);
    } else {
        glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    }
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glLoadIdentity();
    SetupExposureLut();
    PrepareTexturesForContext(context);
    glViewport(static_cast<GLint>(rect.origin.x), static_cast<GLint>(rect.origin.y),
               static_cast<GLsizei>(rect.size.width), static_cast<GLsizei>(rect.size.height));
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    ClearGlErrors();

    getShadersFromResourceAttributes("ombrel_BH", &attributesBlurH_);
    locBlurTextureH_ = GetUniformLocationAttributes("videoFrame", &attributesBlurH_);
    locBlurOffsetH_ = GetUniformLocationAttributes("hBlurOffset", &attributesBlurH_);
    locBlurWeightH_ = GetUniformLocationAttributes("hBlurWeight", &attributesBlurH_);
    getShadersFromResourceAttributes("ombrel_BV", &attributesBlurV_);
    locBlurTextureV_ = GetUniformLocationAttributes("videoFrame", &attributesBlurV_);
    locBlurOffsetV_ = GetUniformLocationAttributes("vBlurOffset", &attributesBlurV_);
    locBlurWeightV_ = GetUniformLocationAttributes("vBlurWeight", &attributesBlurV_);

    LoadOBShader();
    DisableShaders();
    ClearGlErrors();
    pipelineReady_ = true;
    return true;
}

void ShaderProcessor::PrepareTexturesForContext(const GlContextPtr& context) {
    if (backend_ != Backend::OpenGL || !SetCorrectContext(context)) return;
    glEnable(GL_TEXTURE_RECTANGLE);
    for (int i = 0; i < 17; ++i) textures_[static_cast<size_t>(i)] = GlObject::Texture();
    frameTexture_ = GlObject::Texture();
    ClearGlErrors();

    if (!GlContext::Current()->HasExtension("GL_ARB_texture_float")) {
        float3_ = 3;
        float1_ = 1;
    } else if (GlContext::Current()->HasExtension("GL_ARB_half_float_pixel")) {
        float3_ = GL_RGB16F_ARB;
        float1_ = GL_LUMINANCE16F_ARB;
    } else {
        float3_ = GL_RGB32F_ARB;
        float1_ = GL_LUMINANCE32F_ARB;
    }

    // Slot 0: a plain mid-grey picture stands in until the first frame arrives.
    {
        const int w = 1920, h = 1080;
        std::vector<uint8_t> grey(static_cast<size_t>(w * h * 3), 128);
        glBindTexture(GL_TEXTURE_RECTANGLE, textures_[0].get());
        SetTextureFilters(GL_TEXTURE_RECTANGLE, GL_LINEAR);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGB8, w, h, 0, GL_RGB, GL_UNSIGNED_BYTE, grey.data());
    }
    {
        std::lock_guard lock(textureLock_);
        if (!grain_) ChangeGrainMapToStockScaleCurveOnly("5207", 1.0, false);
        if (stockLut_.empty()) {
            stockLut_.assign(kStockLutFloats, 0.0f);
            FillIdentityStockTable(stockLut_.data());
        }
    }
    BindAndUploadTables(true);
    ClearGlErrors();
}

void ShaderProcessor::EnableShaders(GLSLAttributes* attributes) {
    glUseProgram(attributes ? attributes->programObject.get() : 0);
}

void ShaderProcessor::DisableShaders() { glUseProgram(0); }

// ---------------------------------------------------------------- programs

std::string ShaderProcessor::getShaderSourceFromResourceExtensionAppend(const std::string& name,
                                                                        const std::string& extension,
                                                                        const std::string* append) {
    const std::string path = RequireResource("Resources/" + name + "." + extension);
    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> scrambled;
    size_t scrambledLength = 0;
    if (UnscrambleDataFromFile(path, scrambled, scrambledLength, message) < 0) {
        BrokenInstallation(fmt::format("Cannot read shader resource {}: {}", path, message));
    }
    // The container's tail still follows the gzip stream; only the stream counts.
    std::unique_ptr<uint8_t[]> text;
    size_t textLength = 0;
    if (UnzipByteArray(scrambled.get(), scrambledLength, text, textLength, message) < 0) {
        BrokenInstallation(fmt::format("Cannot unpack shader resource {}: {}", path, message));
    }
    std::string source(reinterpret_cast<const char*>(text.get()), textLength);
    if (append) source += *append;
    return source;
}

void ShaderProcessor::getFragmentShaderSourceFromResourceAttributesAppend(const std::string& name,
                                                                          GLSLAttributes* attributes,
                                                                          const std::string* append) {
    attributes->fragmentShaderSource = getShaderSourceFromResourceExtensionAppend(name + "1", "bin", append);
}

void ShaderProcessor::getVertexShaderSourceFromResourceAttributesAppend(const std::string& name,
                                                                        GLSLAttributes* attributes,
                                                                        const std::string* append) {
    attributes->vertexShaderSource = getShaderSourceFromResourceExtensionAppend(name + "2", "bin", append);
}

bool ShaderProcessor::getShadersFromResourceAttributesAppendFragAppendVert(const std::string& name,
                                                                           GLSLAttributes* attributes,
                                                                           const std::string* appendFrag,
                                                                           const std::string* appendVert) {
    getVertexShaderSourceFromResourceAttributesAppend(name, attributes, appendVert);
    getFragmentShaderSourceFromResourceAttributesAppend(name, attributes, appendFrag);
    return getProgramObjectAttributes(name, attributes) != 0;
}

bool ShaderProcessor::getShadersFromResourceAttributes(const std::string& name, GLSLAttributes* attributes) {
    return getShadersFromResourceAttributesAppendFragAppendVert(name, attributes, nullptr, nullptr);
}

GLuint ShaderProcessor::getProgramObjectAttributes(const std::string& name, GLSLAttributes* attributes) {
    auto failed = [&]() -> GLuint {
        attributes->programObject.reset();
        ShaderKitWarn(
            fmt::format("WARNING: Failed to compile+link GLSL \"{}\" fragment and/or vertex shader(s)!", name));
        return 0;
    };
    const GLuint vertex = CompileShader(GL_VERTEX_SHADER, attributes->vertexShaderSource);
    const GLuint fragment = CompileShader(GL_FRAGMENT_SHADER, attributes->fragmentShaderSource);
    if (vertex == 0 && fragment == 0) return failed();
    GLuint program = glCreateProgram();
    if (program == 0) {
        if (vertex) glDeleteShader(vertex);
        if (fragment) glDeleteShader(fragment);
        return failed();
    }
    // The program keeps its stages alive; our references go at once.
    for (GLuint shader : {vertex, fragment}) {
        if (shader == 0) continue;
        glAttachShader(program, shader);
        glDeleteShader(shader);
    }
    glLinkProgram(program);
    const std::string log = ProgramInfoLog(program);
    if (!log.empty()) Log()->info("{}Program link log:\n{}\n", kShaderKitPrefix, log);
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked != GL_TRUE) {
        ShaderKitWarn("WARNING: Failed to link program");
        glDeleteProgram(program);
        return failed();
    }
    attributes->programObject = GlObject(GlKind::Program, program);
    return program;
}

int32_t ShaderProcessor::GetUniformLocationAttributes(const char* name, const GLSLAttributes* attributes) {
    if (!name) return -1;
    GLint loc = -1;
    if (attributes && attributes->programObject) loc = glGetUniformLocation(attributes->programObject.get(), name);
    if (loc == -1) ShaderKitWarn(fmt::format("WARNING: No such uniform named \"{}\"!", name));
    return loc;
}

int32_t ShaderProcessor::GetAttributeLocationAttributes(const char* name, const GLSLAttributes* attributes) {
    if (!name) return -1;
    GLint loc = -1;
    if (attributes && attributes->programObject) loc = glGetAttribLocation(attributes->programObject.get(), name);
    if (loc == -1) ShaderKitWarn(fmt::format("WARNING: No such attribute named \"{}\"!", name));
    return loc;
}

std::string ShaderProcessor::GeneratedMain() const {
    std::string text;
    text.reserve(100);
    text += "void main() \n";
    text += "{ \n";
    text += fmt::format("vec4 pixelValue = Start{}(); \n", needsARGBSwizzleIn_ ? "ARGB" : "");
    text += "pixelValue = CoreShader(pixelValue);\n";
    text += fmt::format("Finish{}(pixelValue); \n }} \n", needsARGBSwizzleOut_ ? "ARGB" : "");
    return text;
}

void ShaderProcessor::LoadOBShader() {
    locCurrent_ = &locationsOBShader_[0];
    GLSLAttributes* a = &attributesOBShader_[0];
    const std::string main = GeneratedMain();
    getShadersFromResourceAttributesAppendFragAppendVert("ombrel_CL", a, &main, nullptr);
    InitCoreProgram(a, locationsOBShader_[0]);
}

void ShaderProcessor::InitCoreProgram(GLSLAttributes* a, OBShaderLocations& l) {
    // A program built with tables left out lacks their uniforms: only the general program's
    // missing uniforms are worth a warning.
    const bool general = a == &attributesOBShader_[0];
    auto table = [&](const char* name) {
        if (general) return GetUniformLocationAttributes(name, a);
        return a->programObject ? static_cast<int32_t>(glGetUniformLocation(a->programObject.get(), name)) : -1;
    };
    l.locVideoFrame = GetUniformLocationAttributes("videoFrame", a);
    l.locGrainMap = GetUniformLocationAttributes("grainMap", a);
    l.locStockLUT = GetUniformLocationAttributes("stockLUT", a);
    l.locGrainCurve = GetUniformLocationAttributes("grainCurve", a);
    l.locStockLUTAmount = GetUniformLocationAttributes("stockLUTAmount", a);
    l.locSBlendAmount = GetUniformLocationAttributes("sBlendAmount", a);
    l.locHistogramAmount = table("histogramAmount");
    l.locGrainOffset = GetUniformLocationAttributes("grainOffset", a);
    l.locGrainSize = GetUniformLocationAttributes("grainSize", a);
    l.locGrainAmount = GetUniformLocationAttributes("grainAmount", a);
    l.locGrainColorfulness = GetUniformLocationAttributes("grainColorfulness", a);
    l.locHistogram = table("histogram");
    l.locExposure = table("exposure");
    l.locSaturation = GetUniformLocationAttributes("saturation", a);
    l.locBlackAndWhite = GetUniformLocationAttributes("blackandwhite", a);
    l.locLiftLookup = table("liftLookup");
    l.locBallLookup = table("ballsLookup");
    l.locGrainNeutral = GetUniformLocationAttributes("grainNeutral", a);
    EnableShaders(a);
    glUniform3f(l.locGrainNeutral, 0.5f, 0.5f, 0.5f);
    glUniform1i(l.locVideoFrame, kUnitVideoFrame);
    glUniform1i(l.locGrainMap, kUnitGrainMap);
    glUniform1i(l.locGrainCurve, kUnitGrainCurve);
    glUniform1i(l.locStockLUT, kUnitStockLUT);
    glUniform1i(l.locHistogram, kUnitHistogram);
    glUniform1i(l.locExposure, kUnitExposure);
    glUniform1i(l.locLiftLookup, kUnitLift);
    glUniform1i(l.locBallLookup, kUnitBalls);
    ValidateProgramObject(a);
    ClearGlErrors();
}

namespace {
constexpr struct {
    int unit;
    const char* define;
} kFixedTables[] = {{kUnitExposure, "EXPOSURE_IS_IDENTITY"},
                    {kUnitBalls, "BALLS_IS_IDENTITY"},
                    {kUnitLift, "LIFT_IS_IDENTITY"},
                    {kUnitHistogram, "HISTOGRAM_IS_IDENTITY"}};
}  // namespace

int ShaderProcessor::UploadedIdentityMask() const {
    int mask = 0;
    for (size_t i = 0; i < std::size(kFixedTables); ++i)
        if (uploadedIsIdentity_[static_cast<size_t>(kFixedTables[i].unit)]) mask |= 1 << i;
    return mask;
}

std::string ShaderProcessor::WithIdentityDefines(const std::string& source, int mask) {
    const size_t afterVersion = source.find('\n');
    if (mask == 0 || afterVersion == std::string::npos) return source;
    std::string defines;
    for (size_t i = 0; i < std::size(kFixedTables); ++i)
        if (mask & (1 << i)) defines += fmt::format("#define {}\n", kFixedTables[i].define);
    // The defines go right after #version, which must stay the first line.
    return source.substr(0, afterVersion + 1) + defines + source.substr(afterVersion + 1);
}

GLSLAttributes* ShaderProcessor::CoreProgramForUploadedTables() {
    const int mask = UploadedIdentityMask();
    locCurrent_ = &locationsOBShader_[0];
    GLSLAttributes* general = &attributesOBShader_[0];
    const std::string& source = general->fragmentShaderSource;
    if (mask == 0 || !general->programObject || source.find('\n') == std::string::npos) return general;
    auto& slot = fixedTablePrograms_[mask];
    if (!slot) {
        slot = std::make_unique<CoreProgram>();
        slot->attributes.vertexShaderSource = general->vertexShaderSource;
        slot->attributes.fragmentShaderSource = WithIdentityDefines(source, mask);
        if (getProgramObjectAttributes("ombrel_CL", &slot->attributes) != 0)
            InitCoreProgram(&slot->attributes, slot->locations);
    }
    // A variant that would not build leaves the general program in charge.
    if (!slot->attributes.programObject) return general;
    locCurrent_ = &slot->locations;
    return &slot->attributes;
}

void ShaderProcessor::ValidateProgramObject(const GLSLAttributes* attributes) {
    if (!attributes || !attributes->programObject) return;
    const GLuint program = attributes->programObject.get();
    glValidateProgram(program);
    GLint ok = GL_FALSE;
    glGetProgramiv(program, GL_VALIDATE_STATUS, &ok);
    if (ok != GL_TRUE)
        Log()->error("{}ERROR: In validating program object!\n{}\n", kShaderKitPrefix, ProgramInfoLog(program));
}

// ---------------------------------------------------------------- look setters

void ShaderProcessor::SetupExposureLut() {
    std::lock_guard lock(textureLock_);
    if (exposureModel_) return;
    lastExposureWasFlat_ = false;
    // Both tables are part of the installation: without them no movie clip can be exposed.
    const std::string cvToLogPath = RequireResource("Resources/5D_CV2logLUT.bin");
    const std::string logToCVPath = RequireResource("Resources/5D_log2CVLUT.bin");
    auto model = std::make_unique<colorTempExposureModel>();
    if (Status s = LoadExposureTables(*model, cvToLogPath, logToCVPath); !s.ok()) {
        BrokenInstallation("Unusable exposure table: " + s.message() +
                           ". The installation is broken: reinstall, or point OMBREL_DATA_DIR at a data root "
                           "that holds good tables.");
    }
    exposureModel_ = std::move(model);
    exposureModel_->getGLTexture_RGB(0.0f, 0.0f, kTableLength, exposureTexture_.data());
}

void ShaderProcessor::SetExposureKelvin(float exposure, float kelvin) {
    std::lock_guard lock(textureLock_);
    const bool flat = exposure == 0.0f && kelvin == 5600.0f;
    if (flat && lastExposureWasFlat_) return;
    lastExposureWasFlat_ = flat;
    // The first call makes the model, which clears the flag again: the table it starts from
    // is rebuilt once more before a flat setting is taken as in force.
    SetupExposureLut();
    // One stop is a third of a decade in the model's log domain.
    exposureModel_->getGLTexture_RGB(static_cast<float>(exposure / 3.0), kelvin - 5600.0f, kTableLength,
                                     exposureTexture_.data());
    reloadExposure_ = true;
}

void ShaderProcessor::SetBallInfo(ColorBallInfo info) {
    std::lock_guard lock(textureLock_);
    ballInfoLocal_ = info;
    ColorBallInfo use = info;
    // The bypass builds the table of balls at the centre and keeps the caller's positions.
    if (showOriginal_) ColorBallData::ResetColorBallInfo(&use);
    // The response is quadratic in the distance from the centre.
    ballMaths_->getLUT(use.s[1], use.s[0] * use.s[0], use.m[1], use.m[0] * use.m[0], use.h[1], use.h[0] * use.h[0],
                       kTableLength, 1.0f, ballTexture_.data());
    reloadBalls_ = true;
}

void ShaderProcessor::SetLiftGammaGain(float lift, float gamma, float gain) {
    std::lock_guard lock(textureLock_);
    liftLocal_ = lift;
    gammaLocal_ = gamma;
    gainLocal_ = gain;
    double L = lift, G = gamma, N = gain;
    if (showOriginal_) L = G = N = 1.0;
    if (L <= 0.0) L = 0.00001;
    if (L >= 2.0) L = 1.99999;
    const double k = 1.0 / L;
    double x = 0.0;
    for (int i = 0; i < kTableLength; ++i) {
        const double b = (k * x + (1.0 - k)) * N;
        const double y = b > 0.0 ? std::pow(b, 2.0 - G) : 0.0;
        liftTexture_[static_cast<size_t>(i)] = static_cast<float>(std::clamp(y, 0.0, 1.0));
        x = std::min(x + 1.0 / 4096.0, 1.0);
    }
    reloadLift_ = true;
}

void ShaderProcessor::SetMatrixForSat(float* m, float s) {
    const float r = kWr * (1.0f - s);
    const float g = kWg * (1.0f - s);
    const float b = kWb * (1.0f - s);
    const float values[16] = {r + s, r, r, 0, g, g + s, g, 0, b, b, b + s, 0, 0, 0, 0, 1};
    std::copy(std::begin(values), std::end(values), m);
}

void ShaderProcessor::SetSaturation(float saturation) {
    std::lock_guard lock(textureLock_);
    SetMatrixForSat(satMat_.data(), saturation);
}

void ShaderProcessor::SetHistogramBMW(double black, double mid, double white) {
    std::lock_guard lock(textureLock_);
    histogramLocal_ = {black, mid, white};
    std::array<double, 3> inForce = showOriginal_ ? std::array<double, 3>{0.0, 0.5, 1.0} : histogramLocal_;
    if (inForce == histogram_) return;
    histogram_ = inForce;
    CreateCurve();
}

FloatPoint ShaderProcessor::PointOnCurveP0P1P2P3(float t, FloatPoint p0, FloatPoint p1, FloatPoint p2, FloatPoint p3) {
    const float t2 = t * t;
    const float t3 = t2 * t;
    auto axis = [&](float a0, float a1, float a2, float a3) {
        return 0.5f * (2.0f * a1 + (a2 - a0) * t + (2.0f * a0 - 5.0f * a1 + 4.0f * a2 - a3) * t2 +
                       (3.0f * a1 - a0 - 3.0f * a2 + a3) * t3);
    };
    return {axis(p0.x, p1.x, p2.x, p3.x), axis(p0.y, p1.y, p2.y, p3.y)};
}

void ShaderProcessor::CreateCurve() {
    std::lock_guard lock(textureLock_);
    float B = static_cast<float>(histogram_[0]);
    const float W = static_cast<float>(histogram_[2]);
    float M = B + 0.001f;
    float Wp = M + 0.001f;
    if (!(Wp > W)) {
        M = std::max(M, static_cast<float>(histogram_[1]));
        if (M + 0.001f > W) M = W - 0.001f;
        Wp = W;
    } else if (W > 0.5f) {
        M = W - 0.001f;
        B = M - 0.001f;
        Wp = W;
    }
    // Otherwise the white point stays pushed up by the black point.
    std::fill(spline_.begin(), spline_.end(), FloatPoint{});
    int lowest = kTableLength, highest = 0;
    auto indexOf = [](float x) { return std::clamp(static_cast<int>(x * 4096.0f), 0, kTableLength - 1); };
    for (int n = 0; n < 8192; ++n) {
        const float t = static_cast<float>(n) / 8192.0f;
        FloatPoint p = PointOnCurveP0P1P2P3(t, {B, 0.0f}, {B, 0.0f}, {M, 0.5f}, {Wp, 1.0f});
        p.x = std::clamp(p.x, B, M);
        const int ip = indexOf(p.x);
        spline_[static_cast<size_t>(ip)] = p;
        FloatPoint q = PointOnCurveP0P1P2P3(t, {B, 0.0f}, {M, 0.5f}, {Wp, 1.0f}, {Wp, 1.0f});
        q.x = std::clamp(q.x, M, Wp);
        const int iq = indexOf(q.x);
        spline_[static_cast<size_t>(iq)] = q;
        lowest = std::min({lowest, ip, iq});
        highest = std::max({highest, ip, iq});
    }
    if (lowest > 0 && lowest < kTableLength) {
        const float x0 = spline_[static_cast<size_t>(lowest)].x;
        for (int i = 0; i < lowest; ++i) {
            spline_[static_cast<size_t>(i)] = {static_cast<float>(i) / static_cast<float>(lowest) * x0, 0.0f};
        }
    }
    if (highest < kTableLength - 1) {
        float x = spline_[static_cast<size_t>(highest)].x;
        const float step = (1.0f - x) / static_cast<float>(kTableLength - highest);
        for (int i = highest + 1; i < kTableLength; ++i) {
            x = std::min(x + step, 1.0f);
            spline_[static_cast<size_t>(i)] = {x, 1.0f};
        }
    }
    for (int i = 0; i < kTableLength; ++i) splineTexture_[static_cast<size_t>(i)] = spline_[static_cast<size_t>(i)].y;
    pushSplineTexture_ = true;
}

void ShaderProcessor::setShowOriginal(bool on) {
    std::lock_guard lock(textureLock_);
    showOriginal_ = on;
    SetLiftGammaGain(liftLocal_, gammaLocal_, gainLocal_);
    const auto levels = histogramLocal_;
    SetHistogramBMW(levels[0], levels[1], levels[2]);
    SetBallInfo(ballInfoLocal_);
}

void ShaderProcessor::SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stockName, const std::string& sourceType,
                                                           const std::optional<std::string>& chosen, bool r3dMode) {
    std::optional<std::string> userDefault;
    {
        std::lock_guard lock(CameraReaderLock());
        if (CameraReader()) userDefault = CameraReader()();
    }
    std::string profile;
    if (chosen && !chosen->empty()) {
        profile = *chosen;
    } else if (r3dMode) {
        profile = sourceType;
    } else {
        profile = userDefault && !userDefault->empty() ? *userDefault : sourceType;
    }
    if (profile.empty() || stockName.empty()) return;
    isBlackAndWhite_ = LutManager::IsTagBW(LutManager::PopupTagForStockName(stockName));
    std::lock_guard lock(textureLock_);
    if (stockLut_.empty()) {
        stockLut_.assign(kStockLutFloats, 0.0f);
        FillIdentityStockTable(stockLut_.data());
    }
    reloadLUT_ = true;
    LutManager::TextureWithStockSourceTypeToBufferOfLength(stockName, profile, stockLut_.data(),
                                                           static_cast<int64_t>(kStockLutBytes));
    ChangeGrainMapToStockScaleCurveOnly(stockName, lastGrainScale_, true);
}

void ShaderProcessor::ChangeGrainMapToStockScaleCurveOnly(const std::string& stockName, double scale, bool curveOnly) {
    std::lock_guard lock(textureLock_);
    lastGrainScale_ = scale;
    if (imageWidth_ == 0 || imageHeight_ == 0) return;
    float w = static_cast<float>(imageWidth_) * static_cast<float>(scale);
    float h = static_cast<float>(imageHeight_) * static_cast<float>(scale);
    std::string name = "CP35";
    int divisor = 1;
    if (w > 5500.0f) {
        name = "CP8";
        divisor = 4;
    } else if (w > 2800.0f) {
        name = "CP16";
        divisor = 2;
    }
    if (divisor > 1) {
        w = std::trunc(w / static_cast<float>(divisor));
        h = std::trunc(h / static_cast<float>(divisor));
    }
    auto map = GrainManager::Instance().GrainMapWithNameSizeStockName(name, std::trunc(w), std::trunc(h), stockName);
    SetGrainMap(std::move(map), curveOnly);
}

void ShaderProcessor::SetGrainMap(GrainMapPtr map, bool curveOnly) {
    std::lock_guard lock(textureLock_);
    grain_ = std::move(map);
    if (grain_) {
        grain_->SetGrainAmount(1.0);
        int w = 0, h = 0;
        grain_->GetGrainSize(&w, &h);
        grainSize_ = {w, h};
    } else {
        grainSize_ = {0, 0};
    }
    if (!curveOnly) reloadGrain_ = true;
    reloadGrainCurve_ = true;
}

std::array<double, 3> ShaderProcessor::histogram() const {
    std::lock_guard lock(textureLock_);
    return histogram_;
}

std::array<double, 3> ShaderProcessor::histogramLocal() const {
    std::lock_guard lock(textureLock_);
    return histogramLocal_;
}

double ShaderProcessor::lastGrainScale() const {
    std::lock_guard lock(textureLock_);
    return lastGrainScale_;
}

GrainMapPtr ShaderProcessor::grain() const {
    std::lock_guard lock(textureLock_);
    return grain_;
}

std::array<int32_t, 2> ShaderProcessor::grainSize() const {
    std::lock_guard lock(textureLock_);
    return grainSize_;
}

void ShaderProcessor::EditTables(const std::function<void(Tables&)>& fn) {
    std::lock_guard lock(textureLock_);
    if (stockLut_.empty()) {
        stockLut_.assign(kStockLutFloats, 0.0f);
        FillIdentityStockTable(stockLut_.data());
    }
    Tables t{stockLut_, splineTexture_, ballTexture_, exposureTexture_, liftTexture_};
    fn(t);
    reloadLUT_ = true;
    reloadExposure_ = true;
    reloadLift_ = true;
    reloadBalls_ = true;
    pushSplineTexture_ = true;
}

std::array<float, kTableLength * 3> ShaderProcessor::exposureTable() const {
    std::lock_guard lock(textureLock_);
    return exposureTexture_;
}

std::array<float, kTableLength * 3> ShaderProcessor::ballTable() const {
    std::lock_guard lock(textureLock_);
    return ballTexture_;
}

ColorBallInfo ShaderProcessor::ballInfoLocal() const {
    std::lock_guard lock(textureLock_);
    return ballInfoLocal_;
}

std::array<float, 3> ShaderProcessor::GrainNeutral(const GrainMap* map) {
    // A range sample of a few hundred pixels seldom centres the whole scan on 0.5; grain
    // centred on 0.5 would brighten or darken the picture by the difference.
    if (map) return map->grainMean();
    return {0.5f, 0.5f, 0.5f};
}

cpu::CoreShaderInputs ShaderProcessor::CoreShaderInputsForRender(GrainMapPtr* grainMap) const {
    cpu::CoreShaderInputs in;
    {
        std::lock_guard lock(textureLock_);
        in.stockLut = stockLut_;
        if (in.stockLut.empty()) {
            in.stockLut.assign(kStockLutFloats, 0.0f);
            FillIdentityStockTable(in.stockLut.data());
        }
        in.spline.assign(splineTexture_.begin(), splineTexture_.end());
        in.exposure.assign(exposureTexture_.begin(), exposureTexture_.end());
        in.lift.assign(liftTexture_.begin(), liftTexture_.begin() + kTableLength);
        in.balls.assign(ballTexture_.begin(), ballTexture_.end());
        if (grain_) {
            in.grainWidth = grainSize_[0];
            in.grainHeight = grainSize_[1];
            if (grainMap) {
                *grainMap = grain_;
            } else {
                const float* data = grain_->GetTextureData();
                in.grainImage.assign(
                    data, data + static_cast<size_t>(in.grainWidth) * static_cast<size_t>(in.grainHeight) * 3);
            }
            const float* curve = grain_->grainCurve()->buffer();
            in.grainCurve.assign(curve, curve + GrainLookup::kEntries * 3);
            in.grainNeutral = GrainNeutral(grain_.get());
        } else {
            in.grainCurve.assign(GrainLookup::kEntries * 3, 0.0f);
        }
        const bool original = showOriginal_;
        in.stockLUTAmount = original ? originalLutAmount_ : lutAmount_.load();
        in.sBlendAmount = original ? originalSBlendAmount_ : sBlendAmount_.load();
        in.grainAmount = original ? originalGrainAmount_ : grainAmount_.load();
        in.saturation = original ? idMat_ : satMat_;
        in.blackandwhite = original ? fullSatMat_ : (isBlackAndWhite_ ? zeroSatMat_ : fullSatMat_);
    }
    in.histogramAmount = 1.0f;
    in.grainColorfulness = 0.6f;
    in.grainOffset = grainOffset_;
    cpu::MarkIdentityTables(in);
    if (HalfFloatTextures()) cpu::RoundTablesToHalf(in);
    return in;
}

}  // namespace ombrel
