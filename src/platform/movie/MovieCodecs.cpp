#include "platform/movie/MovieCodecs.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "platform/movie/CodecPreset.h"

namespace ombrel {

std::vector<MovieCodecChoice> AvailableMovieCodecs() {
    std::vector<MovieCodecChoice> out;
    for (int tag = 0; tag < kFactoryCodecTags; ++tag) {
        CodecPreset p;
        if (tag == 4 || !LoadCodecPreset(tag, &p).ok() || p.encoder.empty()) continue;
        if (avcodec_find_encoder_by_name(p.encoder.c_str())) out.push_back({tag, p.fourCC, p.encoder, p.title});
    }
    return out;
}

}  // namespace ombrel
