// Signals: a cancel at any moment of a run, the opening of its clips included, ends with 130
// and a message; a reader that went away (`| head`) does not end a render.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "CliSupport.h"
#include "support/ClipFiles.h"
#include "support/Shell.h"

namespace ombrel {
namespace {

using namespace clitest;

// Runs `command` (stderr joined to stdout) without reading its output until the pipe is all
// full, so the child is held writing inside its loop, then sends `signal` and drains.
// The shell says its pid first and then becomes the child.
test::ShellResult SignalWhenOutputBacksUp(const std::string& command, int signal) {
    test::ShellResult ended;
    FILE* pipe = ::popen(("echo $$ && exec " + command + " 2>&1").c_str(), "r");
    if (!pipe) return ended;
    char line[64] = {};
    if (!std::fgets(line, sizeof line, pipe)) {
        ::pclose(pipe);
        return ended;
    }
    const pid_t pid = std::stoi(line);
    // Full is when nothing more arrives: writes that do not fit a part-filled page of the pipe
    // take a page of their own, so the byte count may stay well under the pipe's size.
    for (int queued = 0, before = -1, still = 0; still < 40; before = queued) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (::ioctl(::fileno(pipe), FIONREAD, &queued) != 0) break;
        still = queued > 0 && queued == before ? still + 1 : 0;
    }
    ::kill(pid, signal);
    for (size_t n; (n = std::fread(line, 1, sizeof line, pipe)) > 0;) ended.output.append(line, n);
    const int status = ::pclose(pipe);
    ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ended;
}

class CancelWhileOpening : public ::testing::TestWithParam<int> {};

TEST_P(CancelWhileOpening, ASignalWhileClipsAreOpenedEndsCancelledWithAMessage) {
    test::TempDir dir;
    // Each absent clip gets a line on stderr.
    const test::ShellResult e = SignalWhenOutputBacksUp("sh -c " + Quoted("cd " + Quoted(dir.path()) + " && exec " + OMBREL_CLI +
                                                              " render --out out $(seq -f 'absent/clip_%g_001.R3D' 0 5999)"),
                                            GetParam());
    EXPECT_EQ(e.status, 130) << e.output.substr(e.output.size() > 400 ? e.output.size() - 400 : 0);
    EXPECT_TRUE(Has(e, "ombrel render: cancelled while the clips were opened; nothing was rendered"));
}

INSTANTIATE_TEST_SUITE_P(Signals, CancelWhileOpening, ::testing::Values(SIGINT, SIGTERM),
                         [](const auto& info) { return info.param == SIGINT ? "Interrupt" : "Terminate"; });

TEST(CancelConform, AnInterruptDuringTheFootageScanEndsWith130) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "cut.edl",
                         "001  A001_C001_0101AB V     C        01:00:00:10 01:00:00:20 00:00:00:00 00:00:00:10\n");
    // Each candidate logs a line as it is found; the log backs up long before the scan ends.
    for (int i = 0; i < 4000; ++i) test::Touch(dir / ("footage/A" + std::to_string(1000 + i) + "_C001_0101AB_001.R3D"));
    const test::ShellResult e = SignalWhenOutputBacksUp(
        std::string(OMBREL_CLI) + " conform " + Quoted(dir / "cut.edl") + " --footage " + Quoted(dir / "footage"), SIGINT);
    EXPECT_EQ(e.status, 130) << e.output.substr(e.output.size() > 400 ? e.output.size() - 400 : 0);
    EXPECT_TRUE(Has(e, "ombrel conform: cancelling"));
    EXPECT_FALSE(Has(e, "4. Shot List Loaded.")) << "a cancelled conform does not load the shot list";
}

TEST(ClosedOutput, AReaderThatWentAwayDoesNotEndTheRender) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 4));
    // stdout and stderr are a pipe nobody reads any more, as after `| head -2` has ended.
    test::RunShell("{ " + std::string(OMBREL_CLI) + " render --cpu --out " + dir / "out " + clip + "; echo $? > " +
                   dir / "status; } 2>&1 | true");
    EXPECT_EQ(test::ReadWholeFile(dir / "status"), "0\n");
    EXPECT_EQ(DpxFrames(dir / "out/A001_C001_0101AB").size(), 4u);
}

}  // namespace
}  // namespace ombrel
