// Small files read whole (only regular files, never more than a bound, a message that names the
// file and what it is), the advisory lock on an output folder's frames, and path helpers.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>
#include <tuple>

#include "core/FolderLock.h"
#include "core/Paths.h"
#include "core/RegularFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using Code = Status::Code;

TEST(RegularFile, ReadsOnlyWhatIsASmallRegularFile) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "settings.plist", "<plist/>");
    ASSERT_EQ(::mkfifo((dir / "pipe.xml").c_str(), 0600), 0);
    // The path, the bound, the outcome, and what the message says after the path.
    const std::tuple<const char*, std::string, size_t, Code, const char*> rows[] = {
        {"ExactlyAtTheBound", dir / "settings.plist", 8, Code::kOk, ""},
        {"OverTheBound", dir / "settings.plist", 7, Code::kInvalid, "are not read"},
        {"Missing", dir / "absent.plist", kMaxSmallFileBytes, Code::kNotFound, ": no such file"},
        {"Directory", dir.path(), kMaxSmallFileBytes, Code::kUnsupported, " is a directory, not a file"},
        {"FifoIsNotWaitedOn", dir / "pipe.xml", kMaxSmallFileBytes, Code::kUnsupported,
         " is a FIFO (named pipe), not a file"},
        {"EndlessDeviceIsNotRead", "/dev/zero", kMaxSmallFileBytes, Code::kUnsupported,
         " is a character device, not a file"},
    };
    for (const auto& [name, path, maxBytes, code, part] : rows) {
        SCOPED_TRACE(name);
        std::string text = "untouched";
        const Status status = ReadRegularFile(path, &text, maxBytes);
        EXPECT_EQ(std::tuple(status.code(), status.ok()), std::tuple(code, code == Code::kOk)) << status.message();
        EXPECT_EQ(text, code == Code::kOk ? "<plist/>" : "untouched");
        if (code != Code::kOk) {
            EXPECT_EQ(status.message().rfind(path, 0), 0u) << "the message begins with the path: " << status.message();
        }
        EXPECT_NE(status.message().find(part), std::string::npos) << status.message();
    }
}

// Overlapping ranges have one holder at a time, disjoint ranges go side by side, the refusal
// names the folder and the frames, and the lock goes with its owner.
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
    // A folder that is not there is left to the folder's own checks.
    test::TempDir dir;
    FolderLock lock;
    EXPECT_TRUE(lock.TryLock(dir / "absent", 0, 9).ok() && !lock.locked());
}

TEST(Paths, ComponentsAndExtensions) {
    EXPECT_EQ(LastPathComponent("/a/b/A001_C001_0101AB_001.R3D"), "A001_C001_0101AB_001.R3D");
    EXPECT_EQ(LastPathComponent("/a/b/"), "b");
    EXPECT_EQ(LastPathComponent("clip.mov"), "clip.mov");
    EXPECT_EQ(PathExtension("/x/clip.tar.gz"), "gz");
    EXPECT_EQ(PathExtension("/x.d/clip"), "");
    EXPECT_EQ(PathExtension("/x/.hidden"), "");
    EXPECT_EQ(DeletingPathExtension("/x.d/clip.mov"), "/x.d/clip");
    EXPECT_EQ(DeletingPathExtension("/x.d/clip"), "/x.d/clip");
    EXPECT_EQ(AppendingPathComponent("/out/", "/A001_C001/"), "/out/A001_C001");
    EXPECT_EQ(AppendingPathComponent("/out", "A001/C001"), "/out/A001/C001");
    EXPECT_EQ(AppendingPathComponent("/", "x"), "/x");
}

TEST(Paths, FoldersFollowHomeAndDataRootFollowsTheEnvironment) {
    {
        test::ScopedEnv home("HOME", "/tmp/somebody");
        EXPECT_EQ(DocumentsFolder(), "/tmp/somebody/Documents/Ombrel");
        EXPECT_EQ(AutosaveFolder(), "/tmp/somebody/Documents/Ombrel/Autosave");
        EXPECT_EQ(ExpandTilde("~/Documents/x"), "/tmp/somebody/Documents/x");
        EXPECT_EQ(ExpandTilde("/abs/~"), "/abs/~");
    }
    {
        test::ScopedDataRoot data("/opt/data");
        EXPECT_EQ(DataRoot(), "/opt/data");
        EXPECT_EQ(ProfilesFolder(), "/opt/data/Profiles");
        EXPECT_EQ(ResourcesFolder(), "/opt/data/Resources");
    }
    test::ScopedEnv none("OMBREL_DATA_DIR", nullptr);
    EXPECT_FALSE(DataRoot().empty());
}

}  // namespace
}  // namespace ombrel
