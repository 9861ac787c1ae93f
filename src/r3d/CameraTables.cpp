#include "r3d/CameraTables.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace ombrel::r3d {

bool IsMonochromeSensorKind(int kind) { return kind >= 8 && kind <= 10; }

CameraModel CameraModelForCode(uint32_t code, uint32_t width, int sensorKind) {
    const bool mono = IsMonochromeSensorKind(sensorKind);
    if (code == kIdentifierR1 || code == 1) return {"RED ONE", 1};
    if (code == 2 || (code == 0 && width == 3072)) return {"SCARLET 2/3\" 8x FIXED ZOOM", 2};
    if (code == 3) return {"SCARLET-X", 3};
    if (code == 6 || (code == 5 && mono)) return {"EPIC-X MONOCHROME", 6};
    if (code == 7 || (code == 4 && mono)) return {"EPIC-M MONOCHROME", 7};
    if (code == 4 || (code == 0 && width == 5120)) return {"EPIC-M", 4};
    if (code == 5) return {"EPIC-X", 5};
    return {};
}

int SensorKindFor(int previousKind, uint16_t versionWord, uint32_t cameraCode, uint32_t width, int family,
                  uint32_t variant) {
    if (versionWord == kVersionWordGeneration5) return 5;
    if (family < 0) return previousKind;
    if (versionWord > kVersionWordGeneration5 && family == 2) return width <= 3072 ? 6 : 5;
    if ((cameraCode == 4 || cameraCode == 5) && family <= 3) return 5;
    switch (family) {
        case 0: return 0;
        case 1:
            if (variant == 0) return 1;
            if (variant == 1) return 4;
            return previousKind;
        case 2:
            if (variant == 0) return 3;
            if (variant == 1) return 2;
            return previousKind;
        case 3: return 6;
        case 4: return variant == 2 ? 7 : 5;
        case 5: return variant == 5 ? 10 : variant == 4 ? 9 : 8;
        case 6:
            switch (variant) {
                case 7: return 12;
                case 9: return 13;
                case 10: return 14;
                case 11: return 15;
                default: return 11;
            }
        default: return previousKind;
    }
}

SensorInfo SensorForKind(int kind) {
    if (kind == 0) return {"MYSTERIUM S35", 0};
    if (kind == 6) return {"MYSTERIUM-X 2/3\"", 2};
    if (kind >= 8 && kind <= 10) return {"MYSTERIUM-X S35 MONOCHROME", 3};
    if (kind >= 11 && kind <= 15) return {"DRAGON S35", 4};
    return {"MYSTERIUM-X S35", 1};
}

namespace {
constexpr uint32_t kEvenAudio[] = {40980, 40885, 40709, 40329, 39699, 39465, 38417, 38366};
constexpr uint32_t kMoreAudio[] = {42254, 42192, 42114, 42066, 42030, 41878, 41997, 41989, 41248, 41245, 41183,
                                   41180, 41121, 41115, 40980, 40885, 40709, 40329, 39699, 39465, 38417, 38366};
struct RevisionRow {
    uint32_t revision;
    const char* version;
};
// Only the rows known to us; a revision without a row leaves the version out.
constexpr RevisionRow kRevisions[] = {{44555, "3.0.0"}, {43711, "2.0.9"}, {41878, "2.0.0"}, {38366, "1.7.0"}};
}  // namespace

bool IsEvenAudioRevision(uint32_t revision) {
    return std::find(std::begin(kEvenAudio), std::end(kEvenAudio), revision) != std::end(kEvenAudio);
}

bool IsMoreAudioRevision(uint32_t revision) {
    return std::find(std::begin(kMoreAudio), std::end(kMoreAudio), revision) != std::end(kMoreAudio);
}

std::string FirmwareVersionForRevision(uint32_t revision) {
    for (const auto& row : kRevisions)
        if (row.revision == revision) return row.version;
    return {};
}

int NearestIsoForExposure(double exposureCompensation) {
    static constexpr int kIso[] = {50, 80, 100, 125, 160, 200, 250, 320, 400, 500, 640, 800, 1000, 1280, 1600, 2000};
    const double target = 320.0 * std::pow(2.0, exposureCompensation);
    int best = kIso[0];
    double bestDistance = std::fabs(target - best);
    for (int iso : kIso) {
        const double d = std::fabs(target - iso);
        if (d < bestDistance) {  // strict: the first of two equally near ones stays
            best = iso;
            bestDistance = d;
        }
    }
    return best;
}

}  // namespace ombrel::r3d
