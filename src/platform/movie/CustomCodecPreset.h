#pragma once

#include <string>
#include <vector>

#include "core/Status.h"
#include "platform/movie/CodecPreset.h"

namespace ombrel {

// What a user asks of a codec of their own: an FFmpeg video encoder, its options as
// "KEY=VALUE", and the pixel format it is fed (empty: the first of the encoder's own that opens).
struct CustomCodecRequest {
    std::string encoder;
    std::vector<std::string> options;
    std::string pixelFormat;
};

// Proves that the request encodes, by writing a test movie at the smallest size its encoder
// takes, and makes a preset of it with the four characters the mov muxer gave that movie's
// track. The title is left to the caller. Nothing is written but the test movie, which goes.
Status MakeCustomCodecPreset(const CustomCodecRequest& request, CodecPreset* preset);

// A preset's file text, as ReadCodecPreset reads it back.
std::string CodecPresetText(const CodecPreset& preset);

}  // namespace ombrel
