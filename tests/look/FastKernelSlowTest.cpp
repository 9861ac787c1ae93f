// The fast CPU kernel against the reference at 1080p: the reference takes seconds a frame.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "FastKernelSupport.h"

namespace ombrel::test {
namespace {

// The sweep's heaviest cases over a 1080p frame of random codes.
TEST(FastKernelSlow, TheHeaviestCasesMatchTheReferenceAt1080p) {
    Frame16 frame{1920, 1080, std::vector<uint16_t>(1920 * 1080 * 3)};
    std::mt19937 random(29);
    for (auto& v : frame.rgb) v = static_cast<uint16_t>(random());
    std::vector<LookCase> heavy;
    for (const auto& c : Sweep())
        if (c.name == "everything at once" || c.name == "black-and-white stock" || c.name == "grain full")
            heavy.push_back(c);
    ASSERT_EQ(heavy.size(), 3u);
    ExpectSweepMatches({frame}, heavy);
}

}  // namespace
}  // namespace ombrel::test
