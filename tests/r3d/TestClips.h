#pragma once

#include "r3d/ClipLoader.h"
#include "r3d/R3DWriter.h"
#include "r3d/Stores.h"
#include "r3d/sdk/SdkClips.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::r3d::test {

using ClipPlan = sdktest::SdkClip;
using sdktest::Picture;
using sdktest::Samples;

// Writes the clip; gives the paths of its files (empty on failure, with a test failure).
std::vector<std::string> WriteClip(const std::string& firstPath, const ClipPlan& plan);

// A plan with a little of everything for the given major version.
ClipPlan RichPlan(uint8_t major);
// The picture of a frame, empty when the frame holds none of ours or it does not decode.
std::vector<uint16_t> DecodeFrame(ClipLoader& clip, uint64_t frame, int track = 0);

// Every item, one a line: key, type (int, float, string) and value.
std::string DumpStore(const MetadataStore& store);

std::vector<uint8_t> ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes);

}  // namespace ombrel::r3d::test
