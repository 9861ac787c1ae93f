#include "r3d/MetadataMapper.h"

#include "r3d/CameraTables.h"
#include "r3d/Timecode.h"

#include <cmath>
#include <cstring>
#include <numeric>

namespace ombrel::r3d {

namespace {

bool Float(const MetadataItem& item, size_t index, double* out) {
    if (item.payload.size() < 4 * (index + 1)) return false;
    const uint32_t bits = LoadBE32(item.payload.data() + 4 * index);
    float f;
    std::memcpy(&f, &bits, sizeof f);
    if (!std::isfinite(f)) return false;
    *out = f;
    return true;
}

bool U8(const MetadataItem& item, int64_t* out) {
    if (item.payload.empty()) return false;
    *out = item.payload[0];
    return true;
}

bool U16(const MetadataItem& item, int64_t* out) {
    if (item.payload.size() < 2) return false;
    *out = LoadBE16(item.payload.data());
    return true;
}

bool U32(const MetadataItem& item, int64_t* out) {
    if (item.payload.size() < 4) return false;
    *out = LoadBE32(item.payload.data());
    return true;
}

std::string Text(const MetadataItem& item) {
    const auto* p = reinterpret_cast<const char*>(item.payload.data());
    const size_t n = item.payload.size();
    if (n == 0) return {};  // an empty payload has no buffer to search
    const void* zero = std::memchr(p, 0, n);
    return std::string(p, zero ? size_t(static_cast<const char*>(zero) - p) : n);
}

const char* StringKey(uint16_t id) {
    switch (id) {
        case kIdCameraId: return "camera_id";
        case kIdReelId: return "reel_id";
        case kIdClipId: return "clip_id";
        case kIdLocalDate: return "local_date";
        case kIdLocalTime: return "local_time";
        case kIdFirmwareVersion: return "camera_firmware_version";
        case kIdGmtDate: return "gmt_date";
        case kIdGmtTime: return "gmt_time";
        case kIdMediaSerialNumber: return "media_serial_number";
        case kIdFrameGuideName: return "frame_guide_name";
        case kIdCameraNetworkName: return "camera_network_name";
        case kIdUserProductionName: return "user_production_name";
        case kIdUserDirector: return "user_director";
        case kIdUserDirectorOfPhotography: return "user_director_of_photography";
        case kIdUserCopyright: return "user_copyright";
        case kIdUserUnit: return "user_unit";
        case kIdUserLocation: return "user_location";
        case kIdUserCameraOperator: return "user_camera_operator";
        case kIdUserScene: return "user_scene";
        case kIdUserTake: return "user_take";
        default: return nullptr;
    }
}

const char* FloatKey(uint16_t id) {
    switch (id) {
        case kIdExposureTime: return "exposure_time";
        case kIdWhiteBalanceKelvin: return "white_balance_kelvin";
        case kIdWhiteBalanceTint: return "white_balance_tint";
        case kIdSaturation: return "saturation";
        case kIdExposureCompensation:
        case kIdExposureCompensation2: return "exposure_compensation";
        case kIdBrightness: return "brightness";
        case kIdContrast: return "contrast";
        case kIdShutterPhaseOffset: return "shutter_phase_offset";
        case kIdFlutControl: return "flut_control";
        case kIdShadow: return "shadow";
        case kIdRecordFramerate: return "record_framerate";
        default: return nullptr;
    }
}

const char* ByteKey(uint16_t id) {
    switch (id) {
        case kIdUserTimecodePreference: return "user_timecode_preference";
        case kIdGenlockSetting: return "genlock_setting";
        case kIdJamsyncSetting: return "jamsync_setting";
        case kIdLinkedCameraSetup: return "linked_camera_setup";
        case kIdMotionMountShutterType: return "motion_mount_shutter_type";
        default: return nullptr;
    }
}

}  // namespace

void MetadataMapper::MapMetadata(const RedFileFrameMetadata& metadata, const MapperContext& ctx, MetadataStore* store) {
    double masterGain = 1.0;
    bool haveGains = false;
    double gains[3] = {1.0, 1.0, 1.0};
    bool haveIso = false;
    int family = -1;
    uint32_t variant = 0;
    for (const MetadataItem& item : metadata.items) {
        const uint16_t id = item.Item();
        if (id > 133) continue;  // items of later cameras: skipped, not guessed at
        int64_t i = 0;
        double f = 0.0;
        if (const char* key = StringKey(id)) {
            store->SetString(key, Text(item));
        } else if (const char* key = FloatKey(id)) {
            if (Float(item, 0, &f)) store->SetFloat(key, f);
        } else if (const char* key = ByteKey(id)) {
            if (U8(item, &i)) store->SetInt(key, i);
        } else {
            switch (id) {
                case kIdStartEdgeTimecode:
                case kIdStartAbsoluteTimecode: {
                    const std::string text = Text(item);
                    Timecode tc;
                    const std::string value =
                        tc.SetTimecode(text, ctx.timecodeBase, ctx.firstGeneration) ? tc.Text() : text;
                    store->SetString(id == kIdStartEdgeTimecode ? "start_edge_timecode" : "start_absolute_timecode",
                                     value);
                    break;
                }
                case kIdMasterGain:
                    if (Float(item, 0, &f)) masterGain = f;
                    break;
                case kIdDigitalGains: {
                    double g[3];
                    if (Float(item, 0, &g[0]) && Float(item, 1, &g[1]) && Float(item, 2, &g[2])) {
                        std::copy(g, g + 3, gains);
                        haveGains = true;
                    }
                    break;
                }
                case kIdUserCurve: {
                    static const char* kCurve[10] = {"user_curve_black_x", "user_curve_black_y", "user_curve_low_x",
                                                     "user_curve_low_y",   "user_curve_mid_x",   "user_curve_mid_y",
                                                     "user_curve_high_x",  "user_curve_high_y",  "user_curve_white_x",
                                                     "user_curve_white_y"};
                    double v[10];
                    bool all = true;
                    for (size_t k = 0; k < 10 && all; ++k) all = Float(item, k, &v[k]);
                    if (all)
                        for (size_t k = 0; k < 10; ++k) store->SetFloat(kCurve[k], v[k]);
                    break;
                }
                case kIdIso:
                    if (U16(item, &i)) {
                        // The camera's ISO ladder has 1280 where the common one has 1250.
                        store->SetInt("iso", i == 1250 ? 1280 : i);
                        haveIso = true;
                    }
                    break;
                case kIdSensorFamily:
                    if (U8(item, &i)) family = int(i);
                    break;
                case kIdSensorVariant:
                    if (U32(item, &i)) variant = uint32_t(i);
                    break;
                case kIdRedcode:
                    if (U16(item, &i)) store->SetString("redcode", std::to_string(i));
                    break;
                case kIdFlip:
                    if (U8(item, &i)) {
                        store->SetInt("flip_horizontal", (i & 1) ? 1 : 0);
                        store->SetInt("flip_vertical", (i & 2) ? 1 : 0);
                    }
                    break;
                case kIdMotionMountNdStops:
                    if (U16(item, &i)) store->SetFloat("motion_mount_nd_stops", double(i));
                    break;
                default: break;
            }
        }
    }
    // The stored gains are relative to the master gain; the keys hold what was applied.
    if (haveGains) {
        store->SetFloat("digital_gain_red", gains[0] * masterGain);
        store->SetFloat("digital_gain_green", gains[1] * masterGain);
        store->SetFloat("digital_gain_blue", gains[2] * masterGain);
    }
    // Without an ISO item the rating hides in the exposure compensation, counted from ISO 320.
    if (!haveIso) {
        double ec = store->ItemAsFloat("exposure_compensation");
        const int iso = NearestIsoForExposure(ec);
        ec -= std::log2(double(iso) / 320.0);
        store->SetInt("iso", iso);
        store->SetFloat("exposure_compensation", ec);
    }
    const int kind = SensorKindFor(-1, ctx.versionWord, ctx.cameraCode, ctx.width, family, variant);
    const SensorInfo sensor = SensorForKind(kind);
    store->SetString("sensor_name", sensor.name);
    store->SetInt("sensor_id", sensor.id);
    const CameraModel model = CameraModelForCode(ctx.cameraCode, ctx.width, kind);
    if (!model.name.empty()) {
        store->SetString("camera_model", model.name);
        store->SetInt("camera_model_id", model.id);
    }
    if (!store->Has("camera_firmware_version") && ctx.firmwareRevision != 0 && ctx.firmwareRevision != kNoRevision) {
        const std::string version = FirmwareVersionForRevision(ctx.firmwareRevision);
        if (!version.empty()) store->SetString("camera_firmware_version", version);
    }
    if (ctx.width && ctx.height) {
        const uint32_t g = std::gcd(ctx.width, ctx.height);
        store->SetFloat("pixel_aspect_ratio", 1.0);
        store->SetFloat("clip_aspect_ratio", double(ctx.width) / double(ctx.height));
        store->SetInt("clip_aspect_ratio_numerator", ctx.width / g);
        store->SetInt("clip_aspect_ratio_denominator", ctx.height / g);
    }
}

}  // namespace ombrel::r3d
