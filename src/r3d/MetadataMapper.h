#pragma once

#include "r3d/RedFileItems.h"
#include "r3d/Stores.h"

#include <cstdint>

namespace ombrel::r3d {

// Metadata item ids of a frame (the low 12 bits of a token's id).
enum MetadataId : uint16_t {
    kIdStartEdgeTimecode = 0,
    kIdStartAbsoluteTimecode = 1,
    kIdExposureTime = 8,
    kIdWhiteBalanceKelvin = 13,
    kIdWhiteBalanceTint = 14,
    kIdSaturation = 15,
    kIdExposureCompensation = 16,
    kIdBrightness = 17,
    kIdContrast = 19,
    kIdMasterGain = 20,
    kIdDigitalGains = 21,
    kIdExposureCompensation2 = 24,
    kIdCameraId = 25,
    kIdReelId = 26,
    kIdClipId = 27,
    kIdLocalDate = 35,
    kIdLocalTime = 36,
    kIdFirmwareVersion = 37,
    kIdUserTimecodePreference = 38,
    kIdShutterPhaseOffset = 40,
    kIdGenlockSetting = 45,
    kIdJamsyncSetting = 46,
    kIdGmtDate = 48,
    kIdGmtTime = 49,
    kIdMediaSerialNumber = 50,
    kIdUserCurve = 53,
    kIdFrameGuideName = 54,
    kIdIso = 59,
    kIdSensorFamily = 67,
    kIdRedcode = 68,
    kIdFlutControl = 71,
    kIdSensorVariant = 72,
    kIdFlip = 73,
    kIdShadow = 74,
    kIdLinkedCameraSetup = 77,
    kIdRecordFramerate = 102,
    kIdMotionMountNdStops = 105,
    kIdCameraNetworkName = 113,
    kIdUserProductionName = 118,
    kIdUserDirector = 119,
    kIdUserDirectorOfPhotography = 120,
    kIdUserCopyright = 121,
    kIdUserUnit = 122,
    kIdUserLocation = 123,
    kIdUserCameraOperator = 124,
    kIdUserScene = 125,
    kIdUserTake = 126,
    kIdMotionMountShutterType = 133,
};

// What the mapping needs to know of the clip.
struct MapperContext {
    uint16_t versionWord = 0;
    uint32_t cameraCode = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    bool firstGeneration = false;  // an "R1" clip
    int timecodeBase = 0;          // the frame rate rounded to an integer
    uint32_t firmwareRevision = 0xFFFFFFFFu;
};

class MetadataMapper {
public:
    // Fills the store from a frame's metadata tokens.
    static void MapMetadata(const RedFileFrameMetadata& metadata, const MapperContext& context, MetadataStore* store);
};

}  // namespace ombrel::r3d
