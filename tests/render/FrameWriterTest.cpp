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

TEST(FrameWriter, AFailedFrameIsReportedOnceAndTheFrameInHandIsFinishedAtTheEnd) {
    FrameWriter writer;
    writer.Submit([] { return false; });
    EXPECT_FALSE(writer.Wait()) << "the failure reaches the loop";
    EXPECT_TRUE(writer.Wait()) << "and is not reported twice";

    std::atomic<bool> finished{false};
    {
        FrameWriter ending;
        ending.Submit([&] {
            std::this_thread::sleep_for(20ms);
            finished = true;
            return true;
        });
        // The loop gives up here (a cancel); the writer must not drop the frame half written.
    }
    EXPECT_TRUE(finished.load());
}

}  // namespace
}  // namespace ombrel
