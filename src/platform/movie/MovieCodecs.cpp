#include "platform/movie/MovieCodecs.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <array>

namespace ombrel {
namespace {

struct Known {
    int tag;
    const char* fourCC;
    const char* encoders[3];  // tried in order
    const char* title;
};

// The intermediate codec of tag 0 has no encoder outside its maker's framework.
constexpr std::array<Known, 9> kKnown = {{
    {1, "apcn", {"prores_ks", "prores", nullptr}, "ProRes 422"},
    {2, "apch", {"prores_ks", "prores", nullptr}, "ProRes 422 HQ"},
    {3, "apcs", {"prores_ks", "prores", nullptr}, "ProRes 422 LT"},
    {5, "avc1", {"libx264", "h264", nullptr}, "H.264"},
    {6, "mp4v", {"mpeg4", nullptr, nullptr}, "MPEG-4 Video"},
    {7, "2vuy", {"rawvideo", nullptr, nullptr}, "Uncompressed 8-bit 4:2:2"},
    {8, "v210", {"v210", nullptr, nullptr}, "Uncompressed 10-bit 4:2:2"},
    {9, "ap4h", {"prores_ks", "prores", nullptr}, "ProRes 4444"},
    {0, "icod", {nullptr, nullptr, nullptr}, "Intermediate Codec"},
}};

}  // namespace

std::vector<MovieCodecChoice> AvailableMovieCodecs() {
    std::vector<MovieCodecChoice> out;
    for (const auto& k : kKnown) {
        for (const char* name : k.encoders) {
            if (!name) break;
            if (avcodec_find_encoder_by_name(name)) {
                out.push_back({k.tag, k.fourCC, name, k.title});
                break;
            }
        }
    }
    return out;
}

}  // namespace ombrel
