// Small files read whole: only regular files, never more than a bound, and a message that
// names the file and what it is.
#include "core/RegularFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <tuple>

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
        {"RegularFile", dir / "settings.plist", kMaxSmallFileBytes, Code::kOk, ""},
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

}  // namespace
}  // namespace ombrel
