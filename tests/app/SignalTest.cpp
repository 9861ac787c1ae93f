// Signals: a cancel at any moment of a run, the opening of its clips included, ends with 130
// and a message; a reader that went away (`| head`) does not end a render.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

class CancelWhileOpening : public ::testing::TestWithParam<int> {};

TEST_P(CancelWhileOpening, ASignalWhileClipsAreOpenedEndsCancelledWithAMessage) {
    test::TempDir dir;
    // Each absent clip gets a line on stderr; the lines fill the pipe, which this test does not
    // read until the signal is sent, so the child is held inside its clip loop. The shell says
    // its pid first and then becomes the child.
    FILE* pipe = ::popen(("cd " + Quoted(dir.path()) + " && echo $$ && exec " + OMBREL_CLI +
                          " render --out out $(seq -f 'absent/clip_%g_001.R3D' 0 5999) 2>&1")
                             .c_str(),
                         "r");
    ASSERT_NE(pipe, nullptr);
    char line[64] = {};
    ASSERT_NE(std::fgets(line, sizeof line, pipe), nullptr);
    const pid_t pid = std::stoi(line);
    const int capacity = ::fcntl(::fileno(pipe), F_GETPIPE_SZ);
    int queued = 0;
    while (::ioctl(::fileno(pipe), FIONREAD, &queued) == 0 && queued < capacity - 512)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(::kill(pid, GetParam()), 0);
    std::string output;
    for (size_t n; (n = std::fread(line, 1, sizeof line, pipe)) > 0;) output.append(line, n);
    const int status = ::pclose(pipe);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130)
        << output.substr(output.size() > 400 ? output.size() - 400 : 0);
    EXPECT_TRUE(output.find("ombrel render: cancelled while the clips were opened; nothing was rendered") !=
                std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Signals, CancelWhileOpening, ::testing::Values(SIGINT, SIGTERM),
                         [](const auto& info) { return info.param == SIGINT ? "Interrupt" : "Terminate"; });

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
