#include "core/MainQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ombrel {
namespace {

class MainQueueTest : public ::testing::Test {
protected:
    void SetUp() override {
        MainQueue::Instance().AdoptCurrentThread();
        MainQueue::Instance().Reopen();
        MainQueue::Instance().ServePending();
    }
    void TearDown() override { MainQueue::Instance().Reopen(); }
};

TEST_F(MainQueueTest, RunSyncRunsOnTheMainThreadAndWaits) {
    auto& q = MainQueue::Instance();
    std::thread::id ranOn;
    std::atomic<bool> returned{false};
    int value = 0;
    std::thread worker([&] {
        EXPECT_TRUE(q.RunSync([&] {
            ranOn = std::this_thread::get_id();
            value = 7;
        }));
        EXPECT_EQ(value, 7);  // the wait makes the write visible here
        returned = true;
    });
    q.ServeUntil([&] { return returned.load(); });
    worker.join();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(MainQueueTest, RunSyncOnTheMainThreadRunsAtOnce) {
    int n = 0;
    EXPECT_TRUE(MainQueue::Instance().RunSync([&] { ++n; }));
    EXPECT_EQ(n, 1);
}

TEST_F(MainQueueTest, AsyncJobsRunInOrderWhenServed) {
    auto& q = MainQueue::Instance();
    std::vector<int> order;
    std::thread t([&] {
        for (int i = 0; i < 5; ++i) q.RunAsync([&order, i] { order.push_back(i); });
    });
    t.join();
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(q.ServePending(), 5u);
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST_F(MainQueueTest, CloseReleasesAWaitingWorkerWithoutRunningItsJob) {
    auto& q = MainQueue::Instance();
    std::atomic<bool> waiting{false};
    std::atomic<int> result{-1};
    bool ran = false;
    std::thread worker([&] {
        waiting = true;
        result = q.RunSync([&] { ran = true; }) ? 1 : 0;
    });
    while (!waiting) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    q.Close();
    worker.join();
    EXPECT_EQ(result.load(), 0);
    EXPECT_FALSE(ran);
    // Later hops do not wait either.
    std::thread late([&] { EXPECT_FALSE(q.RunSync([] {})); });
    late.join();
}

}  // namespace
}  // namespace ombrel
