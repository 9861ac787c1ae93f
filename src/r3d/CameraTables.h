#pragma once

#include <cstdint>
#include <string>

namespace ombrel::r3d {

// The identifiers in the common start of a header: "R1" and "R2".
inline constexpr uint16_t kIdentifierR1 = 21041;
inline constexpr uint16_t kIdentifierR2 = 21042;
// The clip version word (major * 256 + minor) from which the second generation begins.
inline constexpr uint16_t kVersionWordGeneration5 = 1280;
inline constexpr uint32_t kNoRevision = 0xFFFFFFFFu;

struct CameraModel {
    std::string name;  // empty when the code names no known model
    int id = 0;
};

// The sensor kind; -1 when no token told it.
struct SensorInfo {
    std::string name;
    int id = 0;
};

// Model from the header's camera code (or "R1" identifier), the image width and the sensor kind.
CameraModel CameraModelForCode(uint32_t cameraCode, uint32_t width, int sensorKind);
bool IsMonochromeSensorKind(int kind);

// The sensor kind from the family (id 67, -1 if absent) and variant (id 72) tokens; the first
// row that fits counts, and a case without a row gives the kind passed in.
int SensorKindFor(int previousKind, uint16_t versionWord, uint32_t cameraCode, uint32_t width, int family,
                  uint32_t variant);
SensorInfo SensorForKind(int kind);

// Firmware revisions whose audio needs the even-channel and the more-audio corrections.
bool IsEvenAudioRevision(uint32_t revision);
bool IsMoreAudioRevision(uint32_t revision);
// Firmware version text for a revision; empty when the table has no row for it.
std::string FirmwareVersionForRevision(uint32_t revision);

// The ISO that a clip without an ISO token takes from its exposure compensation.
int NearestIsoForExposure(double exposureCompensation);

}  // namespace ombrel::r3d
