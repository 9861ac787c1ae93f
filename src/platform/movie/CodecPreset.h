#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/Status.h"

namespace ombrel {

// A stored compression preset of the codec menu: a small text file of "key = value" lines
// (title, fourcc, encoder, pixel_format, options) under Resources/Codecs/ of the data root.
struct CodecPreset {
    int tag = -1;
    std::string title;
    std::string fourCC;       // four characters, as the movie's sample description carries them
    std::string encoder;      // an FFmpeg encoder's name; empty for a codec nobody here can write
    std::string pixelFormat;  // what the encoder is fed, by FFmpeg's name
    std::vector<std::pair<std::string, std::string>> options;  // encoder options, in file order
};

// The factory tags the menu offers, and the stored presets' base names of each ("hcpa" for 2).
inline constexpr int kFactoryCodecTags = 10;
std::string CodecPresetBaseName(int tag);
// Resources/Codecs/<base name>.dat under the data root; empty for a tag outside 0 to 9.
std::string CodecPresetPath(int tag);

// Reads a preset file; the four characters may stand in single quotes. A missing key, a
// four-character code of another length, an unknown pixel format or an option without "=" is
// refused with the file's name and line.
Status ReadCodecPreset(const std::string& path, int tag, CodecPreset* preset);
// The factory preset of `tag`, from the data root.
Status LoadCodecPreset(int tag, CodecPreset* preset);

}  // namespace ombrel
