#include "core/AtomicFile.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::ReadWholeFile;
using test::TempDir;
using test::WriteWholeFile;
using Mode = AtomicFileWriter::Mode;
using Step = AtomicFileWriter::Step;
using Code = Status::Code;

std::vector<std::string> Entries(const std::string& folder) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(folder)) out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

using test::FileSizeLimit;

struct CommitRow {
    const char* name;
    Mode mode;
    bool existing;
    Code expected;
};

class AtomicFileCommit : public ::testing::TestWithParam<CommitRow> {};

TEST_P(AtomicFileCommit, PutsTheNewFileInPlaceOrKeepsTheOld) {
    const CommitRow& row = GetParam();
    TempDir dir;
    const std::string path = dir / "out.bin";
    if (row.existing) WriteWholeFile(path, "old file");
    AtomicFileWriter out;
    // The empty write from no buffer is what an empty vector hands over.
    ASSERT_TRUE(out.Open(path, {.mode = row.mode}).ok() && out.Write("new ").ok() && out.Write(nullptr, 0).ok() &&
                out.Write("file").ok());
    EXPECT_EQ(ReadWholeFile(path), row.existing ? "old file" : "") << "nothing shows before the commit";
    const Status s = out.Commit();
    EXPECT_EQ(s.code(), row.expected) << s.message();
    EXPECT_FALSE(out.isOpen());
    EXPECT_EQ(ReadWholeFile(path), s.ok() ? "new file" : "old file");
    EXPECT_EQ(s.message(), s.ok() ? "" : "cannot put in place " + path + ": File exists");
    EXPECT_EQ(Entries(dir.path()), std::vector<std::string>{"out.bin"}) << "no temporary is left";
}

INSTANTIATE_TEST_SUITE_P(Modes, AtomicFileCommit,
                         ::testing::Values(CommitRow{"ReplaceNew", Mode::kReplace, false, Code::kOk},
                                           CommitRow{"ReplaceExisting", Mode::kReplace, true, Code::kOk},
                                           CommitRow{"KeepNew", Mode::kKeepExisting, false, Code::kOk},
                                           CommitRow{"KeepExisting", Mode::kKeepExisting, true, Code::kExists}),
                         [](const auto& info) { return std::string(info.param.name); });

// The hard-link stand-in must refuse an existing target as the exclusive rename
// does.
TEST(AtomicFile, RenameNoReplaceWithAndWithoutTheExclusiveRename) {
    for (bool exclusive : {true, false}) {
        SCOPED_TRACE(exclusive ? "renameat2" : "link");
        TempDir dir;
        WriteWholeFile(dir / "a", "a");
        WriteWholeFile(dir / "b", "b");
        EXPECT_EQ(std::pair(detail::RenameNoReplace(dir / "a", dir / "b", exclusive), errno), std::pair(-1, EEXIST));
        EXPECT_EQ(ReadWholeFile(dir / "b"), "b");
        EXPECT_EQ(detail::RenameNoReplace(dir / "a", dir / "c", exclusive), 0);
        EXPECT_EQ(ReadWholeFile(dir / "c"), "a");
        EXPECT_EQ(Entries(dir.path()), (std::vector<std::string>{"b", "c"}));
    }
}

TEST(AtomicFile, PiecesOfAnySizeArriveInOrder) {
    TempDir dir;
    // Around the gathering buffer's size: small pieces, one that overflows it,
    // one larger than it.
    const std::vector<size_t> sizes = {1, 0, 3, 65530, 7, 65536, 2, 200000, 5};
    std::string expected;
    AtomicFileWriter out;
    ASSERT_TRUE(out.Open(dir / "pieces").ok());
    for (size_t i = 0; i < sizes.size(); ++i) {
        const std::string piece(sizes[i], static_cast<char>('a' + i));
        ASSERT_TRUE(out.Write(piece).ok());
        expected += piece;
    }
    EXPECT_EQ(out.bytesWritten(), expected.size());
    ASSERT_TRUE(out.Commit().ok());
    EXPECT_TRUE(ReadWholeFile(dir / "pieces") == expected);
}

TEST(AtomicFile, AWriterDroppedUncommittedLeavesNothing) {
    TempDir dir;
    WriteWholeFile(dir / "kept", "old");
    {
        AtomicFileWriter fresh, over;
        ASSERT_TRUE(fresh.Open(dir / "fresh").ok() && fresh.Write(std::string(100000, 'x')).ok());
        ASSERT_TRUE(over.Open(dir / "kept").ok() && over.Write("new").ok());
        EXPECT_EQ(Entries(dir.path()).size(), 3u) << "the temporaries exist while the writers live";
    }
    {
        AtomicFileWriter cancelled;
        ASSERT_TRUE(cancelled.Open(dir / "kept").ok() && cancelled.Write("new").ok());
        cancelled.Cancel();
        EXPECT_FALSE(cancelled.Write("more").ok() || cancelled.Commit().ok());
    }
    {
        // A moved-from writer owns nothing; the one moved into still cleans up.
        AtomicFileWriter first;
        ASSERT_TRUE(first.Open(dir / "moved").ok());
        AtomicFileWriter second = std::move(first);
        EXPECT_EQ(std::pair(first.isOpen(), second.isOpen()), std::pair(false, true));
    }
    EXPECT_EQ(Entries(dir.path()), std::vector<std::string>{"kept"});
    EXPECT_EQ(ReadWholeFile(dir / "kept"), "old");
}

TEST(AtomicFile, AMissingFolderFailsAtCreateNamingThePath) {
    TempDir dir;
    const std::string path = dir / "gone/out.bin";
    AtomicFileWriter out;
    const Status s = out.Open(path);
    EXPECT_EQ(s.code(), Code::kNotFound);
    EXPECT_EQ(s.message(), "cannot create " + path + ": No such file or directory");
    EXPECT_EQ(out.failedStep(), Step::kCreate);
    EXPECT_EQ(WriteFileAtomically(path, "x").message(), s.message());
}

struct FullRow {
    const char* name;
    size_t size;  // bytes written in one call, against a 4096-byte limit
    Step step;
};

class AtomicFileFull : public ::testing::TestWithParam<FullRow> {};

// A file-size limit fails the write as a full disk does (EFBIG instead of
// ENOSPC).
TEST_P(AtomicFileFull, ARefusedWriteKeepsTheOldFileWhole) {
    const FullRow& row = GetParam();
    TempDir dir;
    const std::string path = dir / "out.bin";
    WriteWholeFile(path, "old file");
    AtomicFileWriter out;
    ASSERT_TRUE(out.Open(path).ok());
    Status s;
    {
        FileSizeLimit limit(4096);
        s = out.Write(std::string(row.size, 'x'));
        if (s.ok()) s = out.Commit();
    }
    EXPECT_EQ(std::tuple(s.code(), out.failedStep(), out.failedErrno()), std::tuple(Code::kIo, row.step, EFBIG));
    EXPECT_EQ(s.message(), "cannot write " + path + ": File too large");
    EXPECT_EQ(ReadWholeFile(path), "old file");
    EXPECT_EQ(Entries(dir.path()), std::vector<std::string>{"out.bin"});
}

INSTANTIATE_TEST_SUITE_P(Sizes, AtomicFileFull,
                         ::testing::Values(FullRow{"GatheredFailsAtCommit", 10000, Step::kFlush},
                                           FullRow{"LargeFailsAtWrite", 1 << 20, Step::kWrite}),
                         [](const auto& info) { return std::string(info.param.name); });

// A real full disk where this process may mount a small tmpfs.
TEST(AtomicFile, AFullFileSystemKeepsTheOldFileWhole) {
    TempDir dir;
    const std::string mnt = dir / "small";
    std::filesystem::create_directory(mnt);
    if (::mount("tmpfs", mnt.c_str(), "tmpfs", 0, "size=64k") != 0) GTEST_SKIP() << "cannot mount a tmpfs here";
    struct Unmount {
        std::string at;
        ~Unmount() { ::umount2(at.c_str(), MNT_DETACH); }
    } unmount{mnt};
    const std::string path = mnt + "/out.bin";
    WriteWholeFile(path, "old file");
    const Status s = WriteFileAtomically(path, std::string(1 << 20, 'x'));
    EXPECT_EQ(s.message(), "cannot write " + path + ": No space left on device");
    EXPECT_EQ(ReadWholeFile(path), "old file");
    EXPECT_EQ(Entries(mnt), std::vector<std::string>{"out.bin"});
}

}  // namespace
}  // namespace ombrel
