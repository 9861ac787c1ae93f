#include "core/MainQueue.h"
#include "core/Singleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace ombrel {
namespace {

class MainQueueTest : public ::testing::Test {
protected:
    void SetUp() override {
        q.AdoptCurrentThread();
        q.Reopen();
        q.ServePending();
    }
    void TearDown() override { q.Reopen(); }
    MainQueue& q = MainQueue::Instance();
};

// A hop from a worker runs on the main thread and waits for it; on the main thread it runs at once.
TEST_F(MainQueueTest, RunSyncRunsOnTheMainThreadAndWaits) {
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
    EXPECT_TRUE(q.RunSync([&] { ++value; }));
    EXPECT_EQ(value, 8);
}

TEST_F(MainQueueTest, AsyncJobsRunInOrderWhenServed) {
    std::vector<int> order;
    std::thread([&] {
        for (int i = 0; i < 5; ++i) q.RunAsync([&order, i] { order.push_back(i); });
    }).join();
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(q.ServePending(), 5u);
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

// Whether the worker is already waiting or comes later, a closed queue releases it unrun.
TEST_F(MainQueueTest, CloseReleasesAWaitingWorkerWithoutRunningItsJob) {
    std::atomic<bool> waiting{false}, ran{false};
    std::atomic<int> result{-1};
    std::thread worker([&] {
        waiting = true;
        result = q.RunSync([&] { ran = true; }) ? 1 : 0;
    });
    while (!waiting) std::this_thread::yield();
    q.Close();
    worker.join();
    std::thread([&] { EXPECT_FALSE(q.RunSync([&] { ran = true; })); }).join();
    EXPECT_EQ(std::pair(result.load(), ran.load()), std::pair(0, false));
}

class Counter : public Singleton<Counter> {
public:
    static constexpr const char* kClassName = "Counter";
    Counter() = default;
    int value = 0;
};

TEST(Singleton, InstanceIsOneObjectAcrossThreads) {
    std::vector<Counter*> seen(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) threads.emplace_back([&, i] { seen[i] = &Counter::Instance(); });
    for (auto& t : threads) t.join();
    for (auto* p : seen) EXPECT_EQ(p, seen.front());
    EXPECT_EQ(&Counter::UnsafeInstance(), seen.front());
}

TEST(SingletonDeathTest, SecondConstructionAbortsNamingTheClass) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Whichever of the two is made second dies.
    EXPECT_DEATH((void)(Counter::Instance().value + Counter().value), "Attempted to create two Counter instances");
}

}  // namespace
}  // namespace ombrel
