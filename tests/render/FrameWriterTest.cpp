#include "render/FrameWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace ombrel {
namespace {

using namespace std::chrono_literals;

TEST(FrameWriter, FramesAreWrittenOneAtATimeInTheOrderHandedOver) {
    std::vector<int> order;
    std::atomic<int> inHand{0};
    std::atomic<int> mostAtOnce{0};
    {
        FrameWriter writer;
        for (int f = 0; f < 20; ++f) {
            ASSERT_TRUE(writer.Wait());
            writer.Submit([&, f] {
                mostAtOnce = std::max(mostAtOnce.load(), ++inHand);
                std::this_thread::sleep_for(1ms);
                order.push_back(f);  // only the writer's thread touches it while a job runs
                --inHand;
                return true;
            });
        }
        EXPECT_TRUE(writer.Wait());
    }
    ASSERT_EQ(order.size(), 20u);
    for (int f = 0; f < 20; ++f) EXPECT_EQ(order[static_cast<size_t>(f)], f);
    EXPECT_EQ(mostAtOnce.load(), 1);
}

}  // namespace
}  // namespace ombrel
