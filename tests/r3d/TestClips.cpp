#include "TestClips.h"

#include "r3d/MetadataMapper.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace ombrel::r3d::test {

std::vector<uint16_t> FramePicture(uint32_t width, uint32_t height, uint64_t frame, int track) {
    std::vector<uint16_t> rgb(size_t(width) * height * 3);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (uint32_t c = 0; c < 3; ++c)
                rgb[(size_t(y) * width + x) * 3 + c] =
                    uint16_t(frame * 4099 + uint64_t(track) * 30011 + x * 257 + y * 1031 + c * 11);
    return rgb;
}

std::vector<int32_t> BlockSamples(uint64_t block, uint32_t sampleFrames, int channels) {
    std::vector<int32_t> s(size_t(sampleFrames) * size_t(channels));
    for (size_t i = 0; i < s.size(); ++i) s[i] = int32_t(uint32_t(block * 7919 + i * 104729) << 8);
    return s;
}

std::vector<std::string> WriteClip(const std::string& firstPath, const ClipPlan& plan) {
    R3DWriter w;
    if (!w.Create(firstPath, plan.spec, plan.overwrite)) {
        ADD_FAILURE() << "cannot create " << firstPath << ": " << w.Error();
        return {};
    }
    const int second =
        plan.spec.videoTracks > 1 ? (plan.secondTrackFrames < 0 ? plan.frames : plan.secondTrackFrames) : 0;
    for (int f = 0; f < std::max(plan.frames, second); ++f) {
        if (f < plan.frames) {
            const auto pic = FramePicture(plan.spec.width, plan.spec.height, uint64_t(f), 0);
            if (!w.AddVideoFrameRGB(pic.data(), plan.payload, 0)) break;
        }
        if (f < second) {
            const auto pic = FramePicture(plan.spec.width, plan.spec.height, uint64_t(f), 1);
            if (!w.AddVideoFrameRGB(pic.data(), plan.payload, 1)) break;
        }
        if (size_t(f) < plan.audioBlocks.size()) {
            const auto s = BlockSamples(uint64_t(f), plan.audioBlocks[size_t(f)], plan.spec.audioChannels);
            if (!w.AddAudioBlock(s.data(), plan.audioBlocks[size_t(f)])) break;
        }
    }
    for (size_t b = size_t(plan.frames); b < plan.audioBlocks.size(); ++b) {
        const auto s = BlockSamples(b, plan.audioBlocks[b], plan.spec.audioChannels);
        if (!w.AddAudioBlock(s.data(), plan.audioBlocks[b])) break;
    }
    if (!w.Finish()) {
        ADD_FAILURE() << "cannot write " << firstPath << ": " << w.Error();
        return {};
    }
    return w.Paths();
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

std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

}  // namespace ombrel::r3d::test
