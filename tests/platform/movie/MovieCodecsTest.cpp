#include "platform/movie/MovieCodecs.h"

#include <gtest/gtest.h>

#include <set>

namespace ombrel {
namespace {

TEST(MovieCodecs, MenuOffersWhatFFmpegEncodesUnderTheFixedTags) {
    const auto codecs = AvailableMovieCodecs();
    std::set<int> tags;
    for (const auto& c : codecs) {
        EXPECT_TRUE(tags.insert(c.tag).second) << "tag " << c.tag << " twice";
        EXPECT_EQ(c.fourCC.size(), 4u);
        EXPECT_FALSE(c.encoder.empty());
    }
    // FFmpeg's own encoders are always there; tag 4 repeats tag 9's codec and is left out.
    for (int tag : {1, 2, 3, 6, 7, 8, 9}) EXPECT_TRUE(tags.count(tag)) << tag;
    EXPECT_FALSE(tags.count(4));
    EXPECT_FALSE(tags.count(0));  // no encoder for the intermediate codec
    for (const auto& c : codecs) {
        if (c.tag == 9) { EXPECT_EQ(c.fourCC, "ap4h"); }
        if (c.tag == 8) { EXPECT_EQ(c.encoder, "v210"); }
    }
}

}  // namespace
}  // namespace ombrel
