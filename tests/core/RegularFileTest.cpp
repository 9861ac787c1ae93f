// Small files read whole: only regular files, never more than a bound, and a message that
// names the file and what it is.
#include "core/RegularFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "support/TempDir.h"

namespace ombrel {
namespace {

using Code = Status::Code;

struct ReadCase {
    const char* name;
    std::string (*make)(const test::TempDir&);  // the path to read
    size_t maxBytes;
    Code code;
    const char* messagePart;  // in the message; empty when the read succeeds
};

std::string Regular(const test::TempDir& dir) {
    test::WriteWholeFile(dir / "settings.plist", "<plist/>");
    return dir / "settings.plist";
}
std::string Missing(const test::TempDir& dir) { return dir / "absent.plist"; }
std::string Folder(const test::TempDir& dir) { return dir.path(); }
std::string Fifo(const test::TempDir& dir) {
    const std::string path = dir / "pipe.xml";
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    return path;
}
std::string Zero(const test::TempDir&) { return "/dev/zero"; }

const ReadCase kReadCases[] = {
    {"RegularFile", Regular, kMaxSmallFileBytes, Code::kOk, ""},
    {"ExactlyAtTheBound", Regular, 8, Code::kOk, ""},
    {"OverTheBound", Regular, 7, Code::kInvalid, "are not read"},
    {"Missing", Missing, kMaxSmallFileBytes, Code::kNotFound, "absent.plist: no such file"},
    {"Directory", Folder, kMaxSmallFileBytes, Code::kUnsupported, " is a directory, not a file"},
    {"FifoIsNotWaitedOn", Fifo, kMaxSmallFileBytes, Code::kUnsupported, "pipe.xml is a FIFO (named pipe), not a file"},
    {"EndlessDeviceIsNotRead", Zero, kMaxSmallFileBytes, Code::kUnsupported,
     "/dev/zero is a character device, not a file"},
};

class RegularFileRead : public ::testing::TestWithParam<ReadCase> {};

TEST_P(RegularFileRead, ReadsOnlyWhatIsASmallRegularFile) {
    const ReadCase& c = GetParam();
    test::TempDir dir;
    const std::string path = c.make(dir);
    std::string text = "untouched";
    const Status status = ReadRegularFile(path, &text, c.maxBytes);
    EXPECT_EQ(status.code(), c.code) << status.message();
    EXPECT_EQ(status.ok(), c.code == Code::kOk);
    if (c.code == Code::kOk) {
        EXPECT_EQ(text, "<plist/>");
        EXPECT_EQ(status.message(), "");
    } else {
        EXPECT_EQ(text, "untouched");
        EXPECT_NE(status.message().find(c.messagePart), std::string::npos) << status.message();
        EXPECT_EQ(status.message().rfind(path, 0), 0u) << "the message begins with the path: " << status.message();
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, RegularFileRead, ::testing::ValuesIn(kReadCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
