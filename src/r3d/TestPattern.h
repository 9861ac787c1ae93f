#pragma once

#include <cstdint>
#include <vector>

namespace ombrel::r3d {

// A deterministic moving test picture for synthetic clips: colour bars, a hue sweep, a grey
// ramp, a row of chart patches with skin tones and a highlight, and a soft ball that drifts
// across the frame. Interleaved 16-bit RGB, display-referred.
void RenderTestPattern(uint32_t width, uint32_t height, uint64_t frame, std::vector<uint16_t>* rgb);

// A tone for synthetic clips: 1 kHz on the first channel, 440 Hz on the second, both at
// -18 dBFS, the others silent. Interleaved 24-bit samples in the top of 32-bit words.
void RenderToneBlock(uint64_t firstSampleFrame, uint32_t sampleFrames, int channels, uint32_t sampleRate,
                     std::vector<int32_t>* samples);

}  // namespace ombrel::r3d
