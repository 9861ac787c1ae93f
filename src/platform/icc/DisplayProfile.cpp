#include "platform/icc/DisplayProfile.h"

#include <dlfcn.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "core/Log.h"

namespace ombrel {
namespace {

// The few libX11 entry points used, declared here so that neither its headers nor the library
// are needed to build or to run without X.
using XID = unsigned long;
struct X11 {
    void* (*OpenDisplay)(const char*);
    int (*CloseDisplay)(void*);
    int (*ScreenCount)(void*);
    XID (*RootWindow)(void*, int);
    XID (*InternAtom)(void*, const char*, int);
    int (*GetWindowProperty)(void*, XID, XID, long, long, int, XID, XID*, int*, unsigned long*, unsigned long*,
                             unsigned char**);
    int (*ChangeProperty)(void*, XID, XID, XID, int, int, const unsigned char*, int);
    int (*DeleteProperty)(void*, XID, XID);
    int (*Free)(void*);
    int (*Sync)(void*, int);
};
constexpr XID kNone = 0, kAnyPropertyType = 0, kCardinal = 6;
constexpr int kSuccess = 0, kPropModeReplace = 0;

template <typename F>
bool Bind(void* lib, const char* name, F& f) {
    f = reinterpret_cast<F>(dlsym(lib, name));
    return f != nullptr;
}

// Loaded once and kept to the end of the process: libX11 registers handlers that outlive an unload.
const X11* LoadX11() {
    static X11 x11;
    static const X11* loaded = nullptr;
    static std::once_flag once;
    std::call_once(once, [] {
        void* lib = dlopen("libX11.so.6", RTLD_NOW | RTLD_LOCAL);
        if (!lib) return;
        if (Bind(lib, "XOpenDisplay", x11.OpenDisplay) && Bind(lib, "XCloseDisplay", x11.CloseDisplay) &&
            Bind(lib, "XScreenCount", x11.ScreenCount) && Bind(lib, "XRootWindow", x11.RootWindow) &&
            Bind(lib, "XInternAtom", x11.InternAtom) && Bind(lib, "XGetWindowProperty", x11.GetWindowProperty) &&
            Bind(lib, "XChangeProperty", x11.ChangeProperty) && Bind(lib, "XDeleteProperty", x11.DeleteProperty) &&
            Bind(lib, "XFree", x11.Free) && Bind(lib, "XSync", x11.Sync))
            loaded = &x11;
    });
    return loaded;
}

bool Set(const char* name) {
    const char* v = std::getenv(name);
    return v && *v;
}

std::unique_ptr<IccProfile> BuiltIn(DisplayProfileSource* source) {
    if (source) *source = DisplayProfileSource::kBuiltInSRGB;
    return IccProfile::SRGB();
}

}  // namespace

std::string DisplayProfileAtom(int screen) {
    return screen == 0 ? "_ICC_PROFILE" : "_ICC_PROFILE_" + std::to_string(screen);
}

X11Connection::X11Connection(const char* displayName) {
    if (const X11* x = LoadX11()) display_ = x->OpenDisplay(displayName);
}

X11Connection::~X11Connection() {
    if (display_) LoadX11()->CloseDisplay(display_);
}

int X11Connection::ScreenCount() const { return display_ ? LoadX11()->ScreenCount(display_) : 0; }

bool X11Connection::ReadRootProperty(int screen, const std::string& name, std::vector<uint8_t>* bytes) const {
    if (screen < 0 || screen >= ScreenCount()) return false;
    const X11* x = LoadX11();
    const XID atom = x->InternAtom(display_, name.c_str(), 1);
    if (atom == kNone) return false;
    XID type = kNone;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    const int rc = x->GetWindowProperty(display_, x->RootWindow(display_, screen), atom, 0, LONG_MAX / 4, 0,
                                        kAnyPropertyType, &type, &format, &count, &after, &data);
    const bool ok = rc == kSuccess && type != kNone && format == 8 && data;
    if (ok) bytes->assign(data, data + count);
    if (data) x->Free(data);
    return ok;
}

bool X11Connection::WriteRootProperty(int screen, const std::string& name, const std::vector<uint8_t>& bytes) const {
    if (screen < 0 || screen >= ScreenCount() || bytes.size() > size_t(INT_MAX)) return false;
    const X11* x = LoadX11();
    x->ChangeProperty(display_, x->RootWindow(display_, screen), x->InternAtom(display_, name.c_str(), 0), kCardinal,
                      8, kPropModeReplace, bytes.data(), int(bytes.size()));
    x->Sync(display_, 0);
    return true;
}

bool X11Connection::DeleteRootProperty(int screen, const std::string& name) const {
    if (screen < 0 || screen >= ScreenCount()) return false;
    const X11* x = LoadX11();
    const XID atom = x->InternAtom(display_, name.c_str(), 1);
    if (atom != kNone) x->DeleteProperty(display_, x->RootWindow(display_, screen), atom);
    x->Sync(display_, 0);
    return true;
}

std::unique_ptr<IccProfile> DisplayProfile(uint32_t displayId, DisplayProfileSource* source) {
    if (source) *source = DisplayProfileSource::kNone;
    if (displayId == 0) return nullptr;
    // A Wayland session's X server is a compatibility layer whose root window speaks for no monitor.
    const char* session = std::getenv("XDG_SESSION_TYPE");
    if (!Set("DISPLAY") || Set("WAYLAND_DISPLAY") || (session && std::strcmp(session, "wayland") == 0))
        return BuiltIn(source);
    X11Connection x;
    if (!x.valid()) return BuiltIn(source);
    const int screen = int(displayId - 1);
    if (displayId > uint32_t(INT_MAX) || screen >= x.ScreenCount()) {
        LogError("Color Sync: display {} names no screen of {}", displayId, std::getenv("DISPLAY"));
        return nullptr;
    }
    std::vector<uint8_t> bytes;
    if (!x.ReadRootProperty(screen, DisplayProfileAtom(screen), &bytes)) return BuiltIn(source);
    Status status;
    auto profile = IccProfile::FromBytes(bytes.data(), bytes.size(), &status);
    if (!profile) {
        LogError("Color Sync: {} of screen {}: {}", DisplayProfileAtom(screen), screen, status.message());
        return nullptr;
    }
    if (source) *source = DisplayProfileSource::kRootWindow;
    return profile;
}

}  // namespace ombrel
