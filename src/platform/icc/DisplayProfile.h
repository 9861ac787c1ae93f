#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/icc/IccProfile.h"

namespace ombrel {

// Display ids are an X screen plus one; 0 names no display. The main display is screen 0.
inline constexpr uint32_t kMainDisplayId = 1;

// Where a display's profile came from.
enum class DisplayProfileSource { kRootWindow, kBuiltInSRGB, kNone };

// The profile of a display: the "_ICC_PROFILE" property ("_ICC_PROFILE_n" for screen n) of the
// screen's root window on $DISPLAY. Without an X display, on Wayland or without the property,
// the built-in sRGB. Null for id 0, for a screen the display lacks and for a property that is
// not a profile. libX11 is loaded when first needed, so nothing here needs an X server.
std::unique_ptr<IccProfile> DisplayProfile(uint32_t displayId, DisplayProfileSource* source = nullptr);

// The name of a screen's profile property.
std::string DisplayProfileAtom(int screen);

// A connection to an X display through libX11 loaded at run time, for the root window's
// properties. Not valid when the library or the display is not there.
class X11Connection {
public:
    explicit X11Connection(const char* displayName = nullptr);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    bool valid() const { return display_ != nullptr; }
    int ScreenCount() const;
    // False when the property is not set.
    bool ReadRootProperty(int screen, const std::string& name, std::vector<uint8_t>* bytes) const;
    // 8-bit CARDINAL data, as a colour manager writes a profile.
    bool WriteRootProperty(int screen, const std::string& name, const std::vector<uint8_t>& bytes) const;
    bool DeleteRootProperty(int screen, const std::string& name) const;

private:
    void* display_ = nullptr;
};

}  // namespace ombrel
