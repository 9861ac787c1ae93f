#include "core/AtomicFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using namespace test;
using Mode = AtomicFileWriter::Mode;
using Step = AtomicFileWriter::Step;
using Code = Status::Code;

std::vector<std::string> Entries(const std::string& folder) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(folder)) out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

TEST(AtomicFile, CommitPutsTheNewFileInPlaceOrKeepsTheOld) {
    const std::tuple<const char*, Mode, bool, Code> rows[] = {
        {"ReplaceNew", Mode::kReplace, false, Code::kOk},
        {"ReplaceExisting", Mode::kReplace, true, Code::kOk},
        {"KeepNew", Mode::kKeepExisting, false, Code::kOk},
        {"KeepExisting", Mode::kKeepExisting, true, Code::kExists},
    };
    for (const auto& [name, mode, existing, expected] : rows) {
        SCOPED_TRACE(name);
        TempDir dir;
        const std::string path = dir / "out.bin";
        if (existing) WriteWholeFile(path, "old file");
        AtomicFileWriter out;
        // The empty write from no buffer is what an empty vector hands over.
        ASSERT_TRUE(out.Open(path, {.mode = mode}).ok() && out.Write("new ").ok() && out.Write(nullptr, 0).ok() &&
                    out.Write("file").ok());
        EXPECT_EQ(ReadWholeFile(path), existing ? "old file" : "") << "nothing shows before the commit";
        const Status s = out.Commit();
        EXPECT_EQ(std::tuple(s.code(), out.isOpen()), std::tuple(expected, false)) << s.message();
        EXPECT_EQ(ReadWholeFile(path), s.ok() ? "new file" : "old file");
        EXPECT_EQ(s.message(), s.ok() ? "" : "cannot put in place " + path + ": File exists");
        EXPECT_EQ(Entries(dir.path()), std::vector<std::string>{"out.bin"}) << "no temporary is left";
    }
}

// The hard-link stand-in must refuse an existing target as the exclusive rename
// does.
TEST(AtomicFile, RenameNoReplaceWithAndWithoutTheExclusiveRename) {
    for (bool exclusive : {true, false}) {
        SCOPED_TRACE(exclusive ? "renameat2" : "link");
        TempDir dir;
        WriteWholeFile(dir / "a", "a");
        WriteWholeFile(dir / "b", "b");
        EXPECT_EQ(std::pair(detail::RenameNoReplace(dir / "a", dir / "b", exclusive), errno), std::pair(-1, EEXIST));
        EXPECT_EQ(detail::RenameNoReplace(dir / "a", dir / "c", exclusive), 0);
        EXPECT_EQ(std::tuple(ReadWholeFile(dir / "b"), ReadWholeFile(dir / "c")), std::tuple("b", "a"));
        EXPECT_EQ(Entries(dir.path()), (std::vector<std::string>{"b", "c"}));
    }
}

// Around the gathering buffer's size: small pieces, one that overflows it, one larger than it.
TEST(AtomicFile, PiecesOfAnySizeArriveInOrder) {
    TempDir dir;
    std::string expected;
    AtomicFileWriter out;
    ASSERT_TRUE(out.Open(dir / "pieces").ok());
    for (size_t size : {1, 0, 3, 65530, 7, 65536, 2, 200000, 5}) {
        expected += std::string(size, static_cast<char>('a' + expected.size() % 26));
        ASSERT_TRUE(out.Write(expected.substr(expected.size() - size)).ok());
    }
    EXPECT_EQ(out.bytesWritten(), expected.size());
    ASSERT_TRUE(out.Commit().ok());
    EXPECT_TRUE(ReadWholeFile(dir / "pieces") == expected);
}

TEST(AtomicFile, AWriterDroppedUncommittedLeavesNothing) {
    TempDir dir;
    WriteWholeFile(dir / "kept", "old");
    {
        AtomicFileWriter over;
        ASSERT_TRUE(over.Open(dir / "kept").ok() && over.Write(std::string(100000, 'x')).ok());
        EXPECT_EQ(Entries(dir.path()).size(), 2u) << "the temporary exists while the writer lives";
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

// A file-size limit fails the write as a full disk does (EFBIG instead of ENOSPC): gathered bytes
// fail at the commit's flush, a large write at once. A missing folder fails at create.
TEST(AtomicFile, AFailedWriteKeepsTheOldFileWholeAndSaysWhereItFailed) {
    // The file, the bytes written in one call against a 4096-byte cap, where and how it fails.
    const std::tuple<const char*, const char*, size_t, Step, Code, const char*> rows[] = {
        {"GatheredFailsAtCommit", "out.bin", 10000, Step::kFlush, Code::kIo, "cannot write @: File too large"},
        {"LargeFailsAtWrite", "out.bin", 1 << 20, Step::kWrite, Code::kIo, "cannot write @: File too large"},
        {"MissingFolderFailsAtCreate", "gone/out.bin", 1, Step::kCreate, Code::kNotFound,
         "cannot create @: No such file or directory"},
    };
    for (const auto& [name, file, size, step, code, message] : rows) {
        SCOPED_TRACE(name);
        TempDir dir;
        const std::string path = dir / file;
        WriteWholeFile(dir / "out.bin", "old file");
        AtomicFileWriter out;
        Status s = out.Open(path);
        {
            FileSizeLimit limit(4096);
            if (s.ok()) s = out.Write(std::string(size, 'x'));
            if (s.ok()) s = out.Commit();
        }
        std::string why = message;
        why.replace(why.find('@'), 1, path);
        EXPECT_EQ(std::tuple(s.code(), out.failedStep(), s.message()), std::tuple(code, step, why));
        EXPECT_EQ(ReadWholeFile(dir / "out.bin"), "old file");
        EXPECT_EQ(Entries(dir.path()), std::vector<std::string>{"out.bin"});
    }
}

}  // namespace
}  // namespace ombrel
