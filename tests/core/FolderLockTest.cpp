// The advisory lock on an output folder's frames: overlapping ranges have one holder at a
// time, disjoint ranges go side by side, the refusal names the folder and the frames, and
// the lock goes with its owner.
#include "core/FolderLock.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <tuple>

#include "support/TempDir.h"

namespace ombrel {
namespace {

TEST(FolderLock, OnlyOverlappingRangesAreRefusedUntilTheHolderEnds) {
    // The second render's range; the first holds 10-19.
    const std::tuple<const char*, int, int, bool> rows[] = {
        {"SameRange", 10, 19, true},      {"InsideIt", 12, 13, true},    {"OverlapsItsStart", 0, 10, true},
        {"OverlapsItsEnd", 19, 30, true}, {"JustBeforeIt", 0, 9, false}, {"JustAfterIt", 20, 29, false},
    };
    for (const auto& [name, first, last, refused] : rows) {
        SCOPED_TRACE(name);
        test::TempDir dir;
        auto holder = std::make_unique<FolderLock>();
        ASSERT_TRUE(holder->TryLock(dir.path(), 10, 19).ok() && holder->locked());
        EXPECT_TRUE(std::filesystem::is_empty(dir.path())) << "the output folder holds nothing but output";
        FolderLock second;
        const Status held = second.TryLock(dir.path(), first, last);
        EXPECT_EQ(std::tuple(held.code(), second.locked()),
                  std::tuple(refused ? Status::Code::kExists : Status::Code::kOk, !refused));
        const std::string range = std::to_string(first) + "-" + std::to_string(last);
        EXPECT_EQ(held.message().find("another render is writing frames of " + range + " into " + dir.path()) !=
                      std::string::npos,
                  refused)
            << held.message();
        holder.reset();  // let go when its owner ends
        EXPECT_TRUE(second.TryLock(dir.path(), first, last).ok() && second.locked());
    }
}

TEST(FolderLock, AFolderThatIsNotThereIsLeftToTheFoldersOwnChecks) {
    test::TempDir dir;
    FolderLock lock;
    EXPECT_TRUE(lock.TryLock(dir / "absent", 0, 9).ok());
    EXPECT_FALSE(lock.locked());
}

}  // namespace
}  // namespace ombrel
