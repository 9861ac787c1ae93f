#include "platform/movie/MovieCodecs.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>

namespace ombrel {
namespace {

// FFmpeg's own encoders are always there; tag 4 repeats tag 9's codec and is left out, and the
// intermediate codec (tag 0) has no encoder.
TEST(MovieCodecs, MenuOffersWhatFFmpegEncodesUnderTheFixedTags) {
    std::map<int, std::string> offered;  // tag: four-character code and encoder
    for (const auto& c : AvailableMovieCodecs()) {
        EXPECT_TRUE(offered.emplace(c.tag, c.fourCC + " " + c.encoder).second) << "tag " << c.tag << " twice";
        EXPECT_TRUE(c.fourCC.size() == 4 && !c.encoder.empty()) << c.tag;
    }
    for (int tag : {1, 2, 3, 6, 7, 8, 9}) EXPECT_TRUE(offered.count(tag)) << tag;
    EXPECT_FALSE(offered.count(4) || offered.count(0));
    EXPECT_EQ(std::tuple(offered[9].substr(0, 4), offered[8].substr(5)), std::tuple("ap4h", "v210"));
}

}  // namespace
}  // namespace ombrel
