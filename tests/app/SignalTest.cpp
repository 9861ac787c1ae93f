// Signals: a cancel at any moment of a run, the opening of its clips included, ends with 130
// and a message; a reader that went away (`| head`) does not end a render.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

struct SignalCase {
    const char* name;
    int signal;
};

const SignalCase kSignalCases[] = {{"Interrupt", SIGINT}, {"Terminate", SIGTERM}};

class CancelWhileOpening : public ::testing::TestWithParam<SignalCase> {};

TEST_P(CancelWhileOpening, ASignalWhileClipsAreOpenedEndsCancelledWithAMessage) {
    test::TempDir dir;
    // Each absent clip gets a line on stderr; the lines fill the pipe, which this test does
    // not read until the signal is sent, so the child is held inside its clip loop.
    std::vector<std::string> args = {"render", "--out", dir / "out"};
    for (int i = 0; i < 6000; ++i) args.push_back(dir / ("absent/clip_" + std::to_string(i) + "_001.R3D"));
    Child child = SpawnOmbrel(args, false);
    ASSERT_GT(child.pid, 0);
    const int capacity = ::fcntl(child.stderrFd, F_GETPIPE_SZ);
    int queued = 0;
    while (::ioctl(child.stderrFd, FIONREAD, &queued) == 0 && queued < capacity - 512)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(::kill(child.pid, GetParam().signal), 0);
    std::string output;
    EXPECT_EQ(Finish(child, &output), 130) << output.substr(output.size() > 400 ? output.size() - 400 : 0);
    EXPECT_NE(output.find("ombrel render: cancelled while the clips were opened; nothing was rendered"),
              std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Cases, CancelWhileOpening, ::testing::ValuesIn(kSignalCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ClosedOutput, AReaderThatWentAwayDoesNotEndTheRender) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 4));
    // stdout and stderr are a pipe nobody reads any more, as after `| head -2` has ended.
    Child child = SpawnOmbrel({"render", "--cpu", "--out", dir / "out", clip}, true);
    ASSERT_GT(child.pid, 0);
    ::close(child.stderrFd);
    child.stderrFd = -1;
    EXPECT_EQ(Finish(child, nullptr), 0);
    EXPECT_EQ(DpxFrames(dir / "out/A001_C001_0101AB").size(), 4u);
}

}  // namespace
}  // namespace ombrel
