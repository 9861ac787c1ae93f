#pragma once

#include <string>
#include <vector>

namespace ombrel {

// A movie codec as the format menu offers it: the menu tag, the codec's four characters,
// and the FFmpeg encoder that writes it.
struct MovieCodecChoice {
    int tag = 0;
    std::string fourCC;
    std::string encoder;
    std::string title;
};

// The codecs of the format menu whose stored preset reads and whose encoder this machine's
// FFmpeg has, in tag order.
// Tags 4 and 9 hold the same codec; the menu offers tag 9 and leaves 4 out.
std::vector<MovieCodecChoice> AvailableMovieCodecs();

}  // namespace ombrel
