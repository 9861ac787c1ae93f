// The damage draw on OpenGL: the programs of variants 1 and 2, their textures, the per-frame
// uniforms and attributes, and the blended pass of sprites and the gate.
#include <fmt/format.h>

#include <algorithm>

#include "core/Log.h"
#include "damage/ShaderProcessorAnim.h"
#include "datafile/Resource.h"

namespace ombrel {

namespace {

void LinearClampRectangle() {
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

GLenum FormatForChannels(int channels) {
    switch (channels) {
        case 1: return GL_LUMINANCE;
        case 2: return GL_LUMINANCE_ALPHA;
        case 3: return GL_RGB;
        default: return GL_RGBA;
    }
}

// Rows of the texture data go up in texture row order: row 0 is the picture's top row, where
// the damage layers put v = 0.
void UploadRectangle(GLuint texture, GLint internalFormat, const cpu::Texture8& data) {
    glBindTexture(GL_TEXTURE_RECTANGLE, texture);
    LinearClampRectangle();
    if (data.empty()) return;
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, internalFormat, data.width, data.height, 0,
                 FormatForChannels(data.channels), GL_UNSIGNED_BYTE, data.data.data());
}

int32_t QuietUniform(const GLSLAttributes* a, const char* name) {
    return a->programObject ? glGetUniformLocation(a->programObject.get(), name) : -1;
}

}  // namespace

std::string ShaderProcessorAnim::GeneratedDamageMain(const AnimationSequence& animations, bool leadIn, bool animate,
                                                     bool argbIn, bool argbOut) {
    std::string text;
    if (animate) {
        text += "vec4 LeakWrapper(vec4 pixelValue) \n";
        text += "{ \n";
        for (const auto& [x, y] : animations.leakPositions())
            text += fmt::format(
                "\tpixelValue = RGBSpotLeak(pixelValue, normalized_coordinate, vec2({:1.2f}, {:1.2f}), leakSize, "
                "leakAmount);\n",
                x, y);
        text += "\treturn pixelValue;\n";
        text += "\n}\n\n";
    }
    text += "void main() \n";
    text += "{ \n";
    text += fmt::format("vec4 pixelValue = Start{}(); \n", argbIn ? "ARGB" : "");
    if (leadIn) text += "pixelValue = FlashWrapper(pixelValue);\n";
    if (animate) text += "pixelValue = LeakWrapper(pixelValue);\n";
    if (leadIn) text += "pixelValue = SmearWrapper(pixelValue);\n";
    text += "pixelValue = CoreShader(pixelValue);\n";
    if (leadIn) text += "pixelValue = OverlayWrapper(pixelValue);\n";
    if (animate) {
        text += "pixelValue = GunkWrapper(pixelValue);\n";
        text += "pixelValue = BorderWrapper(pixelValue);\n";
    }
    text += fmt::format("Finish{}(pixelValue); \n }} \n", argbOut ? "ARGB" : "");
    return text;
}

ShaderProcessorAnim::~ShaderProcessorAnim() {
    if (backend() != Backend::OpenGL) return;
    auto drop = [this] {
        attributesDirtMap_.programObject.reset();
        fixedDamagePrograms_.clear();
    };
    if (useRenderContext() && renderContext()) {
        ScopedGlCurrent scope(renderContext().get());
        drop();
    } else if (GlContext::Current()) {
        drop();
    } else {
        // Nothing to delete with: the objects die with their context.
        attributesDirtMap_.programObject.release();
        for (auto& [key, p] : fixedDamagePrograms_) p->attributes.programObject.release();
    }
}

bool ShaderProcessorAnim::InitPipelineForViewportContext(const FloatRect& rect, const GlContextPtr& context) {
    if (!ShaderProcessor::InitPipelineForViewportContext(rect, context)) return false;
    if (backend() != Backend::OpenGL) return true;
    getShadersFromResourceAttributes("ombrel_DM", &attributesDirtMap_);
    locDirtMap_ = GetUniformLocationAttributes("dirtMap", &attributesDirtMap_);
    EnableShaders(&attributesDirtMap_);
    glUniform1i(locDirtMap_, 0);
    LoadOBShaderLeadInAnimate(true, true);
    LoadOBShaderLeadInAnimate(false, true);
    programsStale_ = false;
    DisableShaders();
    ClearGlErrors();
    return true;
}

void ShaderProcessorAnim::PrepareTexturesForContext(const GlContextPtr& context) {
    ShaderProcessor::PrepareTexturesForContext(context);
    if (backend() != Backend::OpenGL || !SetCorrectContext(context)) return;
    UploadDamageTextures();
}

void ShaderProcessorAnim::UploadDamageTextures() {
    if (!texture(kSlotDirtMap)) return;
    // Unit 0 may hold the frame of the draw under way.
    glActiveTexture(GL_TEXTURE0 + kUnitOverlayA);
    UploadRectangle(texture(kSlotOverlayA), GL_RGB8, overlayMakerA_.overlay());
    UploadRectangle(texture(kSlotOverlayB), GL_RGB8, overlayMakerB_.overlay());
    UploadRectangle(texture(kSlotDirtMap), GL_RGBA8, dirtMap_.overlay());
    gunkUploaded_.fill(false);
    borderUploaded_ = false;
    borderLoaded_.clear();
    glActiveTexture(GL_TEXTURE0);
    texturesReady_ = true;
    ClearGlErrors();
}

void ShaderProcessorAnim::LoadOBShaderLeadInAnimate(bool leadIn, bool animate) {
    const int variant = leadIn ? 2 : 1;
    GLSLAttributes* a = &attributesOBShader_[static_cast<size_t>(variant)];
    const std::string main = GeneratedDamageMain(animations_, leadIn, animate, needsARGBSwizzleIn(),
                                                 needsARGBSwizzleOut());
    getShadersFromResourceAttributesAppendFragAppendVert("ombrel_CLB", a, &main, nullptr);
    // Programs with tables left out were built from the old text.
    for (auto it = fixedDamagePrograms_.begin(); it != fixedDamagePrograms_.end();)
        it = (it->first & 0xff) == variant ? fixedDamagePrograms_.erase(it) : std::next(it);
    InitDamageProgram(a, locationsOBShaderAnim_[static_cast<size_t>(leadIn)], leadIn);
    InitCoreProgram(a, locationsOBShader_[static_cast<size_t>(variant)]);
}

void ShaderProcessorAnim::InitDamageProgram(GLSLAttributes* a, OBShaderLocationsAnim& l, bool leadIn) {
    l = {};
    if (!a->programObject) return;
    const GLuint program = a->programObject.get();
    // Fixed attribute slots (0 is the vertex position's); they take effect with the new link.
    static const char* const kAttributes[] = {"normalizedUV", "borderUV", "overlayUV", "weaveOffset", "gunkUV"};
    for (GLuint i = 0; i < std::size(kAttributes); ++i) glBindAttribLocation(program, i + 1, kAttributes[i]);
    glLinkProgram(program);
    // Leaks read the normalized coordinate and only the lead-in reads the overlays': a program
    // without them has no such attribute.
    l.attLocNormalizedUV = glGetAttribLocation(program, "normalizedUV");
    l.attLocBorderUV = GetAttributeLocationAttributes("borderUV", a);
    l.attLocOverlayUV = leadIn ? GetAttributeLocationAttributes("overlayUV", a) : -1;
    l.attLocWeaveOffset = GetAttributeLocationAttributes("weaveOffset", a);
    l.attLocGunkUV = GetAttributeLocationAttributes("gunkUV", a);
    // The leak's uniforms live only where the treatment has leak centres.
    l.locLeakAmount = QuietUniform(a, "leakAmount");
    l.locLeakSize = QuietUniform(a, "leakSize");
    l.locBorderTexture = GetUniformLocationAttributes("borderTexture", a);
    l.locBorderAmount = GetUniformLocationAttributes("borderAmount", a);
    l.locGunkTexture = GetUniformLocationAttributes("gunkTexture", a);
    l.locGunkAmount = GetUniformLocationAttributes("gunkAmount", a);
    l.locGunkChannel = GetUniformLocationAttributes("gunkChannel", a);
    if (leadIn) {
        l.locFlashAmount = GetUniformLocationAttributes("flashAmount", a);
        l.locSmearAmount = GetUniformLocationAttributes("smearAmount", a);
        l.locOverlayTexture = GetUniformLocationAttributes("overlayTexture", a);
        l.locOverlayAmount = GetUniformLocationAttributes("overlayAmount", a);
        l.locOverlayBTexture = GetUniformLocationAttributes("overlayBTexture", a);
        l.locOverlayBAmount = GetUniformLocationAttributes("overlayBAmount", a);
    }
    EnableShaders(a);
    glUniform1i(l.locBorderTexture, kUnitBorder);
    glUniform1i(l.locGunkTexture, kUnitGunk);
    if (leadIn) {
        glUniform1i(l.locOverlayTexture, kUnitOverlayA);
        glUniform1i(l.locOverlayBTexture, kUnitOverlayB);
    }
    ClearGlErrors();
}

GLSLAttributes* ShaderProcessorAnim::DamageProgramForUploadedTables(int variant) {
    const size_t v = static_cast<size_t>(variant);
    locCurrent_ = &locationsOBShader_[v];
    locCurrentAnim_ = &locationsOBShaderAnim_[static_cast<size_t>(variant == 2)];
    GLSLAttributes* general = &attributesOBShader_[v];
    const int mask = UploadedIdentityMask();
    if (mask == 0 || !general->programObject) return general;
    auto& slot = fixedDamagePrograms_[(mask << 8) | variant];
    if (!slot) {
        slot = std::make_unique<DamageProgram>();
        slot->attributes.vertexShaderSource = general->vertexShaderSource;
        slot->attributes.fragmentShaderSource = WithIdentityDefines(general->fragmentShaderSource, mask);
        if (getProgramObjectAttributes("ombrel_CLB", &slot->attributes) != 0) {
            InitDamageProgram(&slot->attributes, slot->anim, variant == 2);
            InitCoreProgram(&slot->attributes, slot->locations);
        }
    }
    if (!slot->attributes.programObject) return general;
    locCurrent_ = &slot->locations;
    locCurrentAnim_ = &slot->anim;
    return &slot->attributes;
}

// ---------------------------------------------------------------- the draw's hooks

void ShaderProcessorAnim::DrawSetup_Begin(DrawParams* params) {
    if (programsStale_) {
        LoadOBShaderLeadInAnimate(true, true);
        LoadOBShaderLeadInAnimate(false, true);
        UploadDamageTextures();
        programsStale_ = false;
    }
    if (!texturesReady_) UploadDamageTextures();
    variant_ = VariantForFrame(&animations_, params->animationFrame);
    // The base blurs and picks the plain program, which is variant 0's.
    ShaderProcessor::DrawSetup_Begin(params);
    locCurrentAnim_ = nullptr;
    if (variant_.number() == 0) return;
    GLSLAttributes* program = DamageProgramForUploadedTables(variant_.number());
    if (!program->programObject) {
        // A program that would not build leaves the frame to the plain look.
        ShaderProcessor::DrawSetup_Begin(params);
        locCurrentAnim_ = nullptr;
        return;
    }
    EnableShaders(program);
    if (glGetError() != GL_NO_ERROR) ValidateProgramObject(program);
}

void ShaderProcessorAnim::DrawSetup_Uniforms(DrawParams* params) {
    const int64_t f = params->animationFrame;
    if (!planner_) SetClipSeed(clipSeed_);
    plan_ = planner_->PlanFrame(f, static_cast<int>(imageWidth()), static_cast<int>(imageHeight()));
    // The plain size, not the lead-in's ramp: the draw has always sent this one.
    leakSize_ = static_cast<float>(animations_.leakSize());
    for (size_t i = 0; i < 8; i += 2) {
        weaveOffset_[i] = plan_.weaveX;
        weaveOffset_[i + 1] = plan_.weaveY;
    }
    leakAmount_ = static_cast<float>(plan_.leakAmount);
    flashAmount_ = static_cast<float>(animations_.ExposureForFrame(f));
    smearAmount_ = static_cast<float>(animations_.SmearForFrame(f));
    gunkAmount_ = static_cast<float>(animations_.userDirtAmount());
    gunkChannel_ = 0;
    LoadUVArrayX1Y1X2Y2(normalizedUV_.data(), 0, 0, 1, 1);
    if (!locCurrentAnim_) return;
    const OBShaderLocationsAnim& l = *locCurrentAnim_;
    glUniform1f(l.locLeakSize, leakSize_);
    glUniform1f(l.locGunkAmount, gunkAmount_);
    gunkChannel_ = GunkChannelForFrame(f);
    glUniform1i(l.locGunkChannel, gunkChannel_);
    const auto cell = GunkCellForFrame(f, animations_.userUseBorder());
    LoadUVArrayX1Y1X2Y2(gunkUV_.data(), cell[0], cell[1], cell[2], cell[3]);
    glUniform1f(l.locLeakAmount, leakAmount_);
    if (variant_.leadIn) {
        glUniform1f(l.locFlashAmount, flashAmount_);
        glUniform1f(l.locSmearAmount, smearAmount_);
    }
}

void ShaderProcessorAnim::DrawSetup_Samplers(DrawParams* params) {
    const int64_t f = params->animationFrame;
    if (animations_.borderPath() != borderLoaded_) {
        std::lock_guard lock(textureLock_);
        glFinish();
        CreateBorderTexture();
        glFinish();
    }
    if (!locCurrentAnim_) return;
    const OBShaderLocationsAnim& l = *locCurrentAnim_;
    // A border asked for but not there would black out the frame: the gate is left open instead.
    borderAmount_ = animations_.userUseBorder() && borderUploaded_ ? 1.0f : 0.0f;
    glUniform1f(l.locBorderAmount, borderAmount_);
    glActiveTexture(GL_TEXTURE0 + kUnitBorder);
    glBindTexture(GL_TEXTURE_RECTANGLE, texture(kSlotBorder));
    if (variant_.leadIn) {
        glActiveTexture(GL_TEXTURE0 + kUnitOverlayA);
        glBindTexture(GL_TEXTURE_RECTANGLE, texture(kSlotOverlayA));
        overlayAmount_ = static_cast<float>(animations_.ScreenAmountForScreen(0, f));
        glUniform1f(l.locOverlayAmount, overlayAmount_);
        glActiveTexture(GL_TEXTURE0 + kUnitOverlayB);
        glBindTexture(GL_TEXTURE_RECTANGLE, texture(kSlotOverlayB));
        overlayBAmount_ = static_cast<float>(animations_.ScreenAmountForScreen(1, f));
        glUniform1f(l.locOverlayBAmount, overlayBAmount_);
        // Nothing sets the overlays' own coordinates: they span their images.
        const cpu::Texture8& o = overlayMakerA_.overlay();
        LoadUVArrayX1Y1X2Y2(overlayUV_.data(), 0, 0, o.width, o.height);
    }
    if (variant_.animate) BindGunkTile(GunkTileForFrame(f));
    glActiveTexture(GL_TEXTURE0);
    ClearGlErrors();
}

void ShaderProcessorAnim::BindGunkTile(int tile) {
    const GLuint name = texture(kSlotGunk + tile);
    glActiveTexture(GL_TEXTURE0 + kUnitGunk);
    glBindTexture(GL_TEXTURE_RECTANGLE, name);
    if (gunkAmount_ <= 0.0f || gunkUploaded_[static_cast<size_t>(tile)]) return;
    // Each tile goes up once, when a frame first needs it.
    gunkUploaded_[static_cast<size_t>(tile)] = true;
    if (const cpu::Texture8* data = GunkTile(tile)) UploadRectangle(name, GL_RGBA8, *data);
}

void ShaderProcessorAnim::setVertUVAtt_Ix1Ix2(int ix1, int ix2) {
    if (locCurrentAnim_) {
        // The whole-viewport quad lists its rows the other way round from the fitted one: the
        // layers keep the picture's top at v = 0 in both.
        const int iy = ix2 == ix1 + 1 ? (ix2 ^ 2) : ix2;
        const OBShaderLocationsAnim& l = *locCurrentAnim_;
        const std::pair<int32_t, const std::array<float, 8>*> layers[] = {{l.attLocNormalizedUV, &normalizedUV_},
                                                                          {l.attLocBorderUV, &borderUV_},
                                                                          {l.attLocOverlayUV, &overlayUV_},
                                                                          {l.attLocWeaveOffset, &weaveOffset_},
                                                                          {l.attLocGunkUV, &gunkUV_}};
        for (const auto& [loc, uv] : layers)
            if (loc >= 0) glVertexAttrib2f(static_cast<GLuint>(loc), (*uv)[size_t(ix1)], (*uv)[size_t(iy)]);
    }
    ShaderProcessor::setVertUVAtt_Ix1Ix2(ix1, ix2);
}

void ShaderProcessorAnim::DrawEffectsSecondPass() { DrawDirtFromMap(); }

// ---------------------------------------------------------------- the dirt pass

void ShaderProcessorAnim::DrawDirtFromMap() {
    const bool border = animations_.userUseBorder() && borderUploaded_;
    // Nothing to draw leaves the frame as the core pass made it.
    if ((plan_.sprites.empty() && !border) || !attributesDirtMap_.programObject) return;
    EnableShaders(&attributesDirtMap_);
    glEnable(GL_BLEND);
    // A multiply by what the sprite covers: (GL_DST_COLOR, GL_DST_COLOR) would give
    // dst * (src + dst), and every clear texel of a quad would show as a box.
    glBlendFunc(GL_ZERO, GL_ONE_MINUS_SRC_ALPHA);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_RECTANGLE, texture(kSlotDirtMap));
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    for (int type = 0; type < kDirtTypeCount; ++type) DrawDirtOfType(type);
    if (border) DrawBorder();
    glDisable(GL_BLEND);
    ClearGlErrors();
}

void ShaderProcessorAnim::DrawDirtOfType(int type) {
    bool begun = false;
    for (const DirtSprite& s : plan_.sprites) {
        if (s.type != type) continue;
        if (!begun) glBegin(GL_QUADS);
        begun = true;
        const DirtQuad& q = s.quad;
        const float corners[4][4] = {{q[0], q[3], q[4], q[7]},
                                     {q[0], q[1], q[4], q[5]},
                                     {q[2], q[1], q[6], q[5]},
                                     {q[2], q[3], q[6], q[7]}};
        for (const auto& c : corners) {
            glMultiTexCoord4f(GL_TEXTURE1, q[4], q[5], q[6], q[7]);
            glMultiTexCoord4f(GL_TEXTURE0, c[2], c[3], s.rotation, s.alpha);
            glVertex2f(c[0], c[1]);
        }
    }
    if (begun) glEnd();
}

void ShaderProcessorAnim::DrawBorder() {
    // The gate multiplies the frame by its grey, read through the same program.
    glBlendFunc(GL_ZERO, GL_SRC_COLOR);
    glBindTexture(GL_TEXTURE_RECTANGLE, texture(kSlotBorder));
    const cpu::Texture8& b = borderMaker_.border();
    const float w = static_cast<float>(b.width), h = static_cast<float>(b.height);
    const float positions[4][2] = {{-1, 1}, {-1, -1}, {1, -1}, {1, 1}};
    glBegin(GL_QUADS);
    for (int i = 0; i < 4; ++i) {
        glMultiTexCoord4f(GL_TEXTURE1, 0.0f, 0.0f, w, h);
        glMultiTexCoord4f(GL_TEXTURE0, borderUV_[size_t(2 * i)], borderUV_[size_t(2 * i + 1)], 0.0f, 1.0f);
        glVertex2f(positions[i][0], positions[i][1]);
    }
    glEnd();
}

}  // namespace ombrel
