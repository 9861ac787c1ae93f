#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/Status.h"

namespace ombrel {

// An ICC profile held by Little CMS, each in a context of its own so that the library's
// complaints about it are collected with it (`Messages`).
class IccProfile {
public:
    ~IccProfile();
    IccProfile(const IccProfile&) = delete;
    IccProfile& operator=(const IccProfile&) = delete;

    // Null, with the reason in *status, when the bytes are not a profile. A file must be a
    // regular one of at most 64 MB; its failures begin with the path.
    static std::unique_ptr<IccProfile> FromFile(const std::string& path, Status* status);
    static std::unique_ptr<IccProfile> FromBytes(const void* data, size_t size, Status* status);
    // The library's own sRGB, described as "sRGB built-in".
    static std::unique_ptr<IccProfile> SRGB();

    // The profile as written back to memory; empty when it cannot be.
    std::vector<uint8_t> Bytes() const;
    // Saved and reopened.
    std::unique_ptr<IccProfile> Copy(Status* status) const;
    // It parses, saves back, and has a device class and colour space the library knows; the
    // failure names the reasons, the library's among them.
    Status Check() const;

    std::string Description() const;
    // The tag's bytes as they stand in the file; false when the profile lacks it.
    bool RawTag(const char signature[4], std::vector<uint8_t>* bytes) const;
    // The display gamma the library estimates; 0, with an error line, when it cannot.
    double Gamma() const;

    // What the library said about this profile so far.
    std::vector<std::string> Messages() const;
    // The library's handle, for callers that link it themselves.
    void* Handle() const;

private:
    struct Impl;
    explicit IccProfile(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace ombrel
