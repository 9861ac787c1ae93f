#pragma once

// Writes small R3D clips for the tests of the decode layer, the R3D source and the command
// line: pictures and samples are known functions of their position, so what comes back can be
// checked exactly.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "r3d/MetadataMapper.h"
#include "r3d/R3DWriter.h"

namespace ombrel::sdktest {

// A picture that differs by frame, track, row, column and channel and is not flat over any block.
inline std::vector<uint16_t> Picture(uint32_t width, uint32_t height, uint64_t frame, int track = 0) {
    std::vector<uint16_t> rgb(size_t(width) * height * 3);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (uint32_t c = 0; c < 3; ++c)
                rgb[(size_t(y) * width + x) * 3 + c] = uint16_t(
                    (frame * 7001 + uint64_t(track) * 30011 + x * 613 + y * 1999 + c * 9973 + (x * y) % 97 * 131) &
                    0xFFFF);
    return rgb;
}

// Interleaved 32-bit samples of one block.
inline std::vector<int32_t> Samples(uint64_t block, uint32_t sampleFrames, int channels) {
    std::vector<int32_t> s(size_t(sampleFrames) * size_t(channels));
    for (size_t i = 0; i < s.size(); ++i) s[i] = int32_t(uint32_t(block * 7919 + i * 104729 + 17) * 2654435761u);
    return s;
}

// Image data that is not ours: what a camera's compressed frame looks like to us.
inline std::vector<uint8_t> MakersImageData(size_t size = 4096) {
    std::vector<uint8_t> d(size);
    uint32_t v = 0x12345678;
    for (auto& b : d) {
        v = v * 1103515245u + 12345u;
        b = uint8_t(v >> 24);
    }
    d[0] = 0xFF;  // no magic of ours at the start
    return d;
}

struct SdkClip {
    r3d::R3DClipSpec spec;
    int frames = 3;
    int secondTrackFrames = -1;         // -1: as many as the first track (of two)
    std::vector<int> makerFrames;       // frames holding the camera maker's image data
    std::vector<int> droppedFrames;     // frames the camera dropped
    std::vector<uint32_t> audioBlocks;  // sample frames of each block, one after each frame
    r3d::ImagePayloadOptions payload;
    bool overwrite = true;
    std::function<std::vector<uint16_t>(uint32_t width, uint32_t height, int frame)> picture;  // empty: Picture()
};

// A second-generation clip of camera code 5 with timecode, reel and clip, white balance and
// two channels of 48 kHz audio.
inline SdkClip BasicClip(uint32_t width = 32, uint32_t height = 16, int frames = 3) {
    SdkClip c;
    c.spec.major = 5;
    c.spec.minor = 2;
    c.spec.width = width;
    c.spec.height = height;
    c.spec.rateNumerator = 24000;
    c.spec.rateDenominator = 1001;
    c.spec.cameraCode = 5;
    c.spec.audioChannels = 2;
    c.spec.audioSampleRate = 48000;
    c.spec.edgeTimecode = "10:00:00:00";
    c.spec.absoluteTimecode = "11:22:33:12";
    c.spec.frameMetadata = {
        r3d::MetadataToken::Float(r3d::kIdWhiteBalanceKelvin, 3200.0f),
        r3d::MetadataToken::U16(r3d::kIdIso, 800),
        r3d::MetadataToken::String(r3d::kIdReelId, "A007"),
        r3d::MetadataToken::String(r3d::kIdClipId, "C003"),
        r3d::MetadataToken::U8(r3d::kIdUserTimecodePreference, 1),
        r3d::MetadataToken::U8(r3d::kIdSensorFamily, 4),
        r3d::MetadataToken::U32(r3d::kIdSensorVariant, 0),
    };
    c.frames = frames;
    c.audioBlocks.assign(size_t(frames), 2002);
    return c;
}

// Writes the clip; gives the paths of its files, or none and the writer's complaint.
inline std::vector<std::string> WriteClipFiles(const std::string& path, const SdkClip& c, std::string* error) {
    r3d::R3DWriter w;
    const auto has = [](const std::vector<int>& list, int f) {
        return std::find(list.begin(), list.end(), f) != list.end();
    };
    const int second = c.spec.videoTracks > 1 ? (c.secondTrackFrames < 0 ? c.frames : c.secondTrackFrames) : 0;
    const size_t frames = size_t(std::max(c.frames, second));
    const auto addBlock = [&](size_t b) {
        const auto s = Samples(b, c.audioBlocks[b], c.spec.audioChannels);
        return w.AddAudioBlock(s.data(), c.audioBlocks[b]);
    };
    bool ok = w.Create(path, c.spec, c.overwrite);
    for (int f = 0; ok && size_t(f) < frames; ++f) {
        if (f < c.frames && has(c.droppedFrames, f)) {
            ok = w.AddDroppedFrame();
        } else if (f < c.frames && has(c.makerFrames, f)) {
            const auto data = MakersImageData();
            ok = w.AddVideoFrame(data.data(), data.size());
        } else if (f < c.frames) {
            const auto rgb = c.picture ? c.picture(c.spec.width, c.spec.height, f)
                                       : Picture(c.spec.width, c.spec.height, uint64_t(f));
            ok = w.AddVideoFrameRGB(rgb.data(), c.payload, 0);
        }
        if (ok && f < second)
            ok = w.AddVideoFrameRGB(Picture(c.spec.width, c.spec.height, uint64_t(f), 1).data(), c.payload, 1);
        if (ok && size_t(f) < c.audioBlocks.size() && c.spec.audioChannels > 0) ok = addBlock(size_t(f));
    }
    for (size_t b = frames; ok && b < c.audioBlocks.size() && c.spec.audioChannels > 0; ++b) ok = addBlock(b);
    if (!ok || !w.Finish()) {
        *error = w.Error();
        return {};
    }
    return w.Paths();
}

// Writes the clip; empty text on success, else the writer's complaint.
inline std::string WriteSdkClip(const std::string& path, const SdkClip& c) {
    std::string error;
    WriteClipFiles(path, c, &error);
    return error;
}

// The box mean that a decode at a divisor gives: each pixel the rounded mean of its block,
// rows and columns beyond a whole block left out.
inline std::vector<uint16_t> Reduced(const std::vector<uint16_t>& rgb, uint32_t width, uint32_t height, int divisor) {
    const uint32_t d = uint32_t(divisor), w = width / d, h = height / d;
    std::vector<uint16_t> out(size_t(w) * h * 3);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            for (uint32_t c = 0; c < 3; ++c) {
                uint64_t sum = 0;
                for (uint32_t j = 0; j < d; ++j)
                    for (uint32_t i = 0; i < d; ++i) sum += rgb[((size_t(y) * d + j) * width + x * d + i) * 3 + c];
                const uint64_t n = uint64_t(d) * d;
                out[(size_t(y) * w + x) * 3 + c] = uint16_t((sum + n / 2) / n);
            }
    return out;
}

}  // namespace ombrel::sdktest
