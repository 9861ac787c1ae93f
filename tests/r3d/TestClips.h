#pragma once

#include "r3d/R3DWriter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::r3d::test {

// A small picture that differs from frame to frame and track to track.
std::vector<uint16_t> FramePicture(uint32_t width, uint32_t height, uint64_t frame, int track = 0);

// Samples of one audio block that differ from block to block.
std::vector<int32_t> BlockSamples(uint64_t block, uint32_t sampleFrames, int channels);

struct ClipPlan {
    R3DClipSpec spec;
    int frames = 5;
    int secondTrackFrames = -1;         // -1: as many as the first track
    std::vector<uint32_t> audioBlocks;  // sample frames of each block, one block after each frame
    ImagePayloadOptions payload;
    bool overwrite = true;
};

// Writes the clip; gives the paths of its files (empty on failure, with a test failure).
std::vector<std::string> WriteClip(const std::string& firstPath, const ClipPlan& plan);

// A plan with a little of everything for the given major version.
ClipPlan RichPlan(uint8_t major);

std::vector<uint8_t> ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes);

}  // namespace ombrel::r3d::test
