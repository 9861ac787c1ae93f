#include "TestClips.h"

#include "r3d/ImagePayload.h"
#include "r3d/MetadataMapper.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace ombrel::r3d::test {

std::vector<std::string> WriteClip(const std::string& firstPath, const ClipPlan& plan) {
    std::string error;
    auto paths = sdktest::WriteClipFiles(firstPath, plan, &error);
    if (paths.empty()) ADD_FAILURE() << "cannot write " << firstPath << ": " << error;
    return paths;
}

ClipPlan RichPlan(uint8_t major) {
    ClipPlan p;
    p.spec.major = major;
    p.spec.minor = major == 5 ? 2 : 1;
    p.spec.width = 24;
    p.spec.height = 10;
    p.spec.rateNumerator = 24000;
    p.spec.rateDenominator = 1001;
    p.spec.cameraCode = 4;
    p.spec.firstWord = 0xA1B2C3D4;
    p.spec.secondWord = 0x1234;
    for (int i = 0; i < 16; ++i) p.spec.identity[size_t(i)] = uint8_t(0xC0 + i);
    p.spec.audioChannels = 2;
    p.spec.audioSampleRate = 48000;
    p.spec.edgeTimecode = "10:00:00:00";
    p.spec.absoluteTimecode = "11:22:33:12";
    p.spec.frameMetadata = {
        MetadataToken::Float(kIdWhiteBalanceKelvin, 3200.0f),
        MetadataToken::Float(kIdWhiteBalanceTint, -1.5f),
        MetadataToken::U16(kIdIso, 800),
        MetadataToken::String(kIdReelId, "A001"),
        MetadataToken::String(kIdClipId, "A001_C002"),
        MetadataToken::String(kIdCameraId, "A"),
        MetadataToken::U8(kIdUserTimecodePreference, 0),
    };
    p.frames = 5;
    p.audioBlocks = {2002, 2002, 2002, 2003, 1500};
    return p;
}

std::vector<uint16_t> DecodeFrame(ClipLoader& clip, uint64_t frame, int track) {
    std::vector<uint8_t> record;
    RedFileVideoFrame f;
    ImagePayloadInfo info;
    if (!clip.ReadVideoFrame(frame, &record, &f, track).ok() ||
        InspectImagePayload(record.data() + f.imageOffset, f.imageSize, &info) != ImagePayloadStatus::kOk ||
        info.width != f.width || info.height != f.height || uint64_t(info.width) * info.height > 1u << 20)
        return {};
    std::vector<uint16_t> rgb(size_t(info.width) * info.height * 3);
    if (DecodeImagePayload(record.data() + f.imageOffset, f.imageSize, 1, rgb.data(), rgb.size() * 2) !=
        ImagePayloadStatus::kOk)
        return {};
    return rgb;
}

std::string DumpStore(const MetadataStore& store) {
    std::string out;
    for (const auto& [key, value] : store.Items())
        out += key + " " + "ifs"[value.index()] + " " + store.ItemAsString(key) + "\n";
    return out;
}

std::vector<uint8_t> ReadBytes(const std::string& path) {
    const std::string bytes = ombrel::test::ReadWholeFile(path);
    return {bytes.begin(), bytes.end()};
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    ombrel::test::WriteWholeFile(path, std::string(bytes.begin(), bytes.end()));
}

}  // namespace ombrel::r3d::test
