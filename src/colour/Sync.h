#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/icc/IccProfile.h"

namespace ombrel::Color {

// A display's or a file's ICC profile with its description: the base of the colour classes.
// Copies are deep.
class Sync {
public:
    static constexpr uint32_t kEncodingUTF8 = 0x08000100;

    // The main display.
    Sync();
    explicit Sync(unsigned int displayId);
    // A checked copy of the profile; empty, with the reasons logged, when the check fails.
    explicit Sync(const IccProfile* profile);
    Sync(const Sync& other);
    Sync& operator=(const Sync& other);
    virtual ~Sync();

    uint32_t GetDirectDisplayID() const;
    const IccProfile* GetProfileRef() const;
    uint32_t GetProfileDescriptionEncoding() const;
    // Null when empty.
    const char* GetProfileDescription() const;

private:
    struct SyncStruct;
    std::unique_ptr<SyncStruct> sync_;
};

}  // namespace ombrel::Color
