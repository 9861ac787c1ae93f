// The advisory lock on an output folder's frames: overlapping ranges have one holder at a
// time, disjoint ranges go side by side, the refusal names the folder and the frames, and
// the lock goes with its owner.
#include "core/FolderLock.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "support/TempDir.h"

namespace ombrel {
namespace {

struct OverlapCase {
    const char* name;
    int first, last;  // the second render's range; the first holds 10-19
    bool refused;
};

const OverlapCase kOverlapCases[] = {
    {"SameRange", 10, 19, true},      {"InsideIt", 12, 13, true},    {"OverlapsItsStart", 0, 10, true},
    {"OverlapsItsEnd", 19, 30, true}, {"JustBeforeIt", 0, 9, false}, {"JustAfterIt", 20, 29, false},
};

class FolderLockOverlap : public ::testing::TestWithParam<OverlapCase> {};

TEST_P(FolderLockOverlap, OnlyOverlappingRangesAreRefused) {
    const OverlapCase& c = GetParam();
    test::TempDir dir;
    auto first = std::make_unique<FolderLock>();
    ASSERT_TRUE(first->TryLock(dir.path(), 10, 19).ok());
    ASSERT_TRUE(first->locked());

    FolderLock second;
    const Status held = second.TryLock(dir.path(), c.first, c.last);
    const std::string& why = held.message();
    EXPECT_EQ(held.code(), c.refused ? Status::Code::kExists : Status::Code::kOk) << why;
    EXPECT_EQ(second.locked(), !c.refused);
    if (c.refused) {
        EXPECT_NE(why.find("another render is writing frames of " + std::to_string(c.first) + "-" +
                           std::to_string(c.last) + " into " + dir.path()),
                  std::string::npos)
            << why;
        first.reset();  // let go when its owner ends
        EXPECT_TRUE(second.TryLock(dir.path(), c.first, c.last).ok());
        EXPECT_TRUE(second.locked());
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, FolderLockOverlap, ::testing::ValuesIn(kOverlapCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(FolderLock, AFolderThatIsNotThereIsLeftToTheFoldersOwnChecks) {
    test::TempDir dir;
    FolderLock lock;
    const Status held = lock.TryLock(dir / "absent", 0, 9);
    EXPECT_TRUE(held.ok()) << held.message();
    EXPECT_FALSE(lock.locked());
}

TEST(FolderLock, TheOutputFolderHoldsNothingButOutput) {
    test::TempDir dir;
    FolderLock lock;
    ASSERT_TRUE(lock.TryLock(dir.path(), 0, 9).ok());
    EXPECT_TRUE(lock.locked());
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

}  // namespace
}  // namespace ombrel
