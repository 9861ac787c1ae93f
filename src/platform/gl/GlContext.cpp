#include "platform/gl/GlContext.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstring>
#include <mutex>
#include <vector>

#include "core/Log.h"

namespace ombrel {

namespace {

struct DisplayState {
    EGLDisplay display = EGL_NO_DISPLAY;
    bool configless = false;   // EGL_KHR_no_config_context
    bool surfaceless = false;  // EGL_KHR_surfaceless_context
    EGLConfig pbufferConfig = nullptr;
    std::string error;
};

bool HasToken(const char* list, const char* token) {
    if (!list) return false;
    const size_t n = std::strlen(token);
    for (const char* p = list; (p = std::strstr(p, token)) != nullptr; p += n) {
        const bool startOk = p == list || p[-1] == ' ';
        const bool endOk = p[n] == ' ' || p[n] == '\0';
        if (startOk && endOk) return true;
    }
    return false;
}

std::string EglErrorText(EGLint code) {
    switch (code) {
        case EGL_SUCCESS: return "EGL_SUCCESS";
        case EGL_NOT_INITIALIZED: return "EGL_NOT_INITIALIZED";
        case EGL_BAD_ACCESS: return "EGL_BAD_ACCESS (current on another thread)";
        case EGL_BAD_ALLOC: return "EGL_BAD_ALLOC";
        case EGL_BAD_ATTRIBUTE: return "EGL_BAD_ATTRIBUTE";
        case EGL_BAD_CONFIG: return "EGL_BAD_CONFIG";
        case EGL_BAD_CONTEXT: return "EGL_BAD_CONTEXT";
        case EGL_BAD_DISPLAY: return "EGL_BAD_DISPLAY";
        case EGL_BAD_MATCH: return "EGL_BAD_MATCH";
        case EGL_BAD_SURFACE: return "EGL_BAD_SURFACE";
        case EGL_BAD_PARAMETER: return "EGL_BAD_PARAMETER";
        default: return fmt::format("EGL error 0x{:04x}", code);
    }
}

// Tries one display; true when it initialised.
bool InitDisplay(EGLDisplay display, DisplayState& state) {
    if (display == EGL_NO_DISPLAY) return false;
    EGLint major = 0, minor = 0;
    if (!eglInitialize(display, &major, &minor)) return false;
    if (!eglBindAPI(EGL_OPENGL_API)) {
        eglTerminate(display);
        return false;
    }
    const char* ext = eglQueryString(display, EGL_EXTENSIONS);
    state.display = display;
    state.configless = HasToken(ext, "EGL_KHR_no_config_context") || HasToken(ext, "EGL_MESA_configless_context");
    state.surfaceless = HasToken(ext, "EGL_KHR_surfaceless_context");
    if (!state.configless || !state.surfaceless) {
        const EGLint attribs[] = {EGL_SURFACE_TYPE,
                                  EGL_PBUFFER_BIT,
                                  EGL_RENDERABLE_TYPE,
                                  EGL_OPENGL_BIT,
                                  EGL_RED_SIZE,
                                  8,
                                  EGL_GREEN_SIZE,
                                  8,
                                  EGL_BLUE_SIZE,
                                  8,
                                  EGL_ALPHA_SIZE,
                                  8,
                                  EGL_NONE};
        EGLint count = 0;
        if (!eglChooseConfig(display, attribs, &state.pbufferConfig, 1, &count) || count < 1) {
            state.pbufferConfig = nullptr;
        }
    }
    return true;
}

// One display for the whole process: terminating it would pull every context from under
// its owner, so it stays until the process ends.
DisplayState& Display() {
    static DisplayState state;
    static std::once_flag once;
    std::call_once(once, [] {
        const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
        const bool platformBase = HasToken(client, "EGL_EXT_platform_base");
        if (platformBase && HasToken(client, "EGL_MESA_platform_surfaceless") &&
            InitDisplay(eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr), state)) {
            return;
        }
        if (platformBase && HasToken(client, "EGL_EXT_platform_device") &&
            HasToken(client, "EGL_EXT_device_enumeration")) {
            EGLint count = 0;
            eglQueryDevicesEXT(0, nullptr, &count);
            std::vector<EGLDeviceEXT> devices(static_cast<size_t>(count > 0 ? count : 0));
            if (count > 0 && eglQueryDevicesEXT(count, devices.data(), &count)) {
                for (EGLint i = 0; i < count; ++i) {
                    if (InitDisplay(
                            eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, devices[static_cast<size_t>(i)], nullptr),
                            state)) {
                        return;
                    }
                }
            }
        }
        if (InitDisplay(eglGetDisplay(EGL_DEFAULT_DISPLAY), state)) return;
        state.error = "no EGL display could be opened (" + EglErrorText(eglGetError()) +
                      "); OpenGL needs a GPU driver or Mesa's software renderer (llvmpipe)";
    });
    return state;
}

std::mutex& InfoLock() {
    static std::mutex lock;
    return lock;
}
GlDriverInfo& InfoStore() {
    static GlDriverInfo info;
    return info;
}

const char* GlText(GLenum name) {
    const GLubyte* s = glGetString(name);
    return s ? reinterpret_cast<const char*>(s) : "";
}

void NoteDriverOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        GlDriverInfo info{GlText(GL_VENDOR), GlText(GL_RENDERER), GlText(GL_VERSION),
                          GlText(GL_SHADING_LANGUAGE_VERSION)};
        LogInfo("OpenGL vendor \"{}\", renderer \"{}\", version \"{}\", GLSL \"{}\"", info.vendor, info.renderer,
                info.version, info.shadingLanguageVersion);
        std::lock_guard lock(InfoLock());
        InfoStore() = std::move(info);
    });
}

thread_local GlContext* tCurrent = nullptr;

}  // namespace

struct GlContext::Impl {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
    EGLSurface surface = EGL_NO_SURFACE;  // the pbuffer, when surfaceless contexts are not offered
};

GlContext::GlContext(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Status GlContext::Create(std::shared_ptr<GlContext>* out, const GlContext* shareWith) {
    out->reset();
    auto fail = [&](const std::string& why) {
        const std::string text = "Cannot create an OpenGL context: " + why;
        LogError("{}", text);
        return UnsupportedError(text);
    };
    DisplayState& d = Display();
    if (d.display == EGL_NO_DISPLAY) return fail(d.error);
    if (!eglBindAPI(EGL_OPENGL_API)) return fail("the EGL display offers no desktop OpenGL");

    const bool useConfigless = d.configless && d.surfaceless;
    if (!useConfigless && !d.pbufferConfig) return fail("the EGL display offers no pbuffer configuration for OpenGL");
    EGLConfig config = useConfigless ? EGL_NO_CONFIG_KHR : d.pbufferConfig;

    auto impl = std::make_unique<Impl>();
    impl->display = d.display;
    EGLContext share = shareWith ? shareWith->impl_->context : EGL_NO_CONTEXT;
    const EGLint compat[] = {EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT, EGL_NONE};
    impl->context = eglCreateContext(d.display, config, share, compat);
    if (impl->context == EGL_NO_CONTEXT) {
        // EGL before 1.5 without EGL_KHR_create_context: the plain context is a
        // compatibility one anyway.
        impl->context = eglCreateContext(d.display, config, share, nullptr);
    }
    if (impl->context == EGL_NO_CONTEXT) return fail("eglCreateContext failed: " + EglErrorText(eglGetError()));
    if (!useConfigless) {
        const EGLint pbuf[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
        impl->surface = eglCreatePbufferSurface(d.display, config, pbuf);
        if (impl->surface == EGL_NO_SURFACE) {
            eglDestroyContext(d.display, impl->context);
            return fail("eglCreatePbufferSurface failed: " + EglErrorText(eglGetError()));
        }
    }
    std::shared_ptr<GlContext> result(new GlContext(std::move(impl)));

    // Check once, on this thread, that the context works and is good enough; leave the
    // thread's current context as it was.
    EGLContext prevContext = eglGetCurrentContext();
    EGLSurface prevDraw = eglGetCurrentSurface(EGL_DRAW);
    EGLSurface prevRead = eglGetCurrentSurface(EGL_READ);
    GlContext* prevOurs = tCurrent;
    if (!result->MakeCurrent()) return fail("the new context cannot be made current");
    const int version = result->GlVersion();
    const bool rect = version >= 31 || result->HasExtension("GL_ARB_texture_rectangle") ||
                      result->HasExtension("GL_EXT_texture_rectangle") ||
                      result->HasExtension("GL_NV_texture_rectangle");
    const bool fbo = version >= 30 || result->HasExtension("GL_ARB_framebuffer_object") ||
                     result->HasExtension("GL_EXT_framebuffer_object");
    result->ReleaseCurrent();
    if (prevContext != EGL_NO_CONTEXT) {
        eglMakeCurrent(d.display, prevDraw, prevRead, prevContext);
        tCurrent = prevOurs;
    }
    if (version < 20)
        return fail(fmt::format("OpenGL 2.0 or later is needed, the driver offers {}.{}", version / 10, version % 10));
    if (!rect) return fail("the driver lacks rectangle textures");
    if (!fbo) return fail("the driver lacks framebuffer objects");
    *out = std::move(result);
    return OkStatus();
}

GlContext::~GlContext() {
    if (IsCurrent()) ReleaseCurrent();
    if (impl_->surface != EGL_NO_SURFACE) eglDestroySurface(impl_->display, impl_->surface);
    // A context still current on another thread is destroyed when that thread lets go.
    eglDestroyContext(impl_->display, impl_->context);
}

bool GlContext::MakeCurrent() {
    if (IsCurrent()) {
        tCurrent = this;
        return true;
    }
    eglBindAPI(EGL_OPENGL_API);
    if (!eglMakeCurrent(impl_->display, impl_->surface, impl_->surface, impl_->context)) {
        LogError("Cannot make the OpenGL context current: {}", EglErrorText(eglGetError()));
        return false;
    }
    tCurrent = this;
    NoteDriverOnce();
    return true;
}

void GlContext::ReleaseCurrent() {
    if (!IsCurrent()) return;
    eglMakeCurrent(impl_->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (tCurrent == this) tCurrent = nullptr;
}

bool GlContext::IsCurrent() const { return eglGetCurrentContext() == impl_->context; }

GlContext* GlContext::Current() {
    if (tCurrent && !tCurrent->IsCurrent()) tCurrent = nullptr;
    return tCurrent;
}

bool GlContext::HasExtension(const char* name) const { return epoxy_has_gl_extension(name); }

int GlContext::GlVersion() const { return epoxy_gl_version(); }

bool GlContext::UsesPbuffer() const { return impl_->surface != EGL_NO_SURFACE; }

GlDriverInfo GlContext::DriverInfo() {
    std::lock_guard lock(InfoLock());
    return InfoStore();
}

ScopedGlCurrent::ScopedGlCurrent(GlContext* context) : context_(context), previous_(GlContext::Current()) {
    if (!context_) return;
    ok_ = context_->MakeCurrent();
}

ScopedGlCurrent::~ScopedGlCurrent() {
    if (!context_ || !ok_ || previous_ == context_) return;
    if (previous_) {
        previous_->MakeCurrent();
    } else {
        context_->ReleaseCurrent();
    }
}

}  // namespace ombrel
