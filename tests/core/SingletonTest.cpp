#include "core/Singleton.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace ombrel {
namespace {

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
    EXPECT_DEATH(
        {
            Counter::Instance();
            Counter second;
        },
        "Attempted to create two Counter instances");
}

}  // namespace
}  // namespace ombrel
