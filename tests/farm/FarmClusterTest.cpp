// The farm commands end to end: chunks of one clip side by side, and a real Slurm cluster.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "LoopbackCluster.h"
#include "farm/Process.h"
#include "support/TempDir.h"

namespace ombrel::farm {
namespace {

namespace fs = std::filesystem;

ProcessResult Ombrel(std::vector<std::string> args, const std::map<std::string, std::string>& env = {}) {
    args.insert(args.begin(), OMBREL_CLI);
    ProcessResult r;
    if (Status s = RunProcess(args, env, &r); !s.ok()) ADD_FAILURE() << s.message();
    return r;
}

// A DPX file from the offset its header names (the header names the render's first frame).
std::string DpxImageData(const std::string& path) {
    const std::string bytes = test::ReadWholeFile(path);
    uint32_t offset = 0;  // little-endian, as "XPDS" says
    if (bytes.size() >= 8 && bytes.starts_with("XPDS")) std::memcpy(&offset, bytes.data() + 4, 4);
    return offset > 0 && offset < bytes.size() ? bytes.substr(offset) : std::string();
}

const std::string kFrames = "A001_C001_0101AB_demo/A001_C001_0101AB_demo.0864";

TEST(FarmChunks, RangesOfOneClipKeepEachOthersFramesAndOneWritesTheSound) {
    test::TempDir dir;
    const std::string out = dir / "out";
    auto render = [&](const std::string& frames, bool keep) {
        std::vector<std::string> args{"render", "--cpu", "--size", "256x135", "--out", out, "--audio-at", "0",
                                      "--frames", frames, OMBREL_DEMO_CLIP};
        if (keep) args.push_back("--keep-existing");
        return Ombrel(args);
    };
    EXPECT_EQ(render("2-3", true).exitCode, 0);
    EXPECT_FALSE(fs::exists(out + "/A001_C001_0101AB_demo/A001_C001_0101AB_demo.au")) << "not the range of frame 0";
    EXPECT_EQ(render("0-1", true).exitCode, 0) << "frames 2-3 are no reason to refuse 0-1";
    EXPECT_TRUE(fs::exists(out + "/A001_C001_0101AB_demo/A001_C001_0101AB_demo.au"));
    const ProcessResult overlap = render("1-2", true);
    EXPECT_EQ(overlap.exitCode, 1);
    EXPECT_NE(overlap.err.find("Part of sequence exists"), std::string::npos) << overlap.err;
    EXPECT_EQ(render("1-2", false).exitCode, 0);
    for (const char* n : {"00", "01", "02", "03"}) EXPECT_TRUE(fs::exists(out + "/" + kFrames + n + ".dpx")) << n;
}

TEST(FarmSubmit, RefusesWhatItCannotSplitAndSaysWhenSlurmIsMissing) {
    test::TempDir dir;
    const ProcessResult mov = Ombrel({"farm", "submit", "--chunk", "4", "--format", "mov", "--dry-run", OMBREL_DEMO_CLIP});
    EXPECT_EQ(mov.exitCode, 2);
    EXPECT_NE(mov.err.find("movie output is not split"), std::string::npos) << mov.err;
    const ProcessResult none = Ombrel({"farm", "submit", "--chunk", "4", OMBREL_DEMO_CLIP}, {{"PATH", dir.path()}});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_NE(none.err.find("sbatch is not on PATH"), std::string::npos) << none.err;
}

// Waits until Slurm has finished with a job (the finishing check is the last).
bool WaitForJob(const std::string& id) {
    for (int i = 0; i < 1200; ++i) {
        ProcessResult r;
        if (!RunProcess({"squeue", "-h", "-j", id}, {}, &r).ok()) return false;
        if (r.out.empty()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

std::string JobId(const std::string& printed, const std::string& what) {
    const size_t at = printed.find(what);
    return at == std::string::npos ? "" : printed.substr(at + what.size(), printed.find(':', at) - at - what.size());
}

TEST(FarmCluster, FourChunksGiveTheOneMachineBytesAndResumeFillsACancelledTask) {
    test::TempDir dir;
    farmtest::LoopbackCluster cluster;
    if (const std::string why = cluster.Start(dir / "slurm"); !why.empty())
        GTEST_SKIP() << "no loopback Slurm cluster: " << why;
    const std::string out = dir / "farm out ü", one = dir / "one";
    const std::vector<std::string> look{"--cpu", "--size", "512x270", "--frames", "0-15", OMBREL_DEMO_CLIP};
    std::vector<std::string> submit{"farm", "submit", "--chunk", "4", "--out", out};
    submit.insert(submit.end(), look.begin(), look.end());
    const ProcessResult submitted = Ombrel(submit);
    ASSERT_EQ(submitted.exitCode, 0) << submitted.err;
    const std::string array = JobId(submitted.out, "array job "), finish = JobId(submitted.out, "finishing job ");
    ProcessResult r;
    ASSERT_TRUE(RunProcess({"scancel", array + "_3"}, {}, &r).ok());
    ASSERT_TRUE(WaitForJob(finish));

    ProcessResult check = Ombrel({"farm", "check", out});
    EXPECT_EQ(check.exitCode, 1);
    EXPECT_NE(check.out.find("A001_C001_0101AB_demo: frames 86412-86415 missing (task 3)"), std::string::npos)
        << check.out;
    const ProcessResult status = Ombrel({"farm", "status", array});
    const size_t line = status.out.find("task 3  A001_C001_0101AB_demo 12-15  ");
    ASSERT_NE(line, std::string::npos) << status.out << status.err;
    const std::string task3 = status.out.substr(line, status.out.find('\n', line) - line);
    EXPECT_EQ(task3.find("COMPLETED"), std::string::npos) << task3;
    EXPECT_NE(task3.find("0 of 4 frames"), std::string::npos) << task3;

    const ProcessResult resumed = Ombrel({"farm", "submit", "--resume", out});
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err;
    ASSERT_TRUE(WaitForJob(JobId(resumed.out, "finishing job ")));
    check = Ombrel({"farm", "check", out});
    EXPECT_EQ(check.exitCode, 0) << check.out;
    EXPECT_NE(check.out.find("16 of 16 frames, whole"), std::string::npos);

    std::vector<std::string> alone{"render", "--out", one};
    alone.insert(alone.end(), look.begin(), look.end());
    ASSERT_EQ(Ombrel(alone).exitCode, 0);
    for (int f = 0; f < 16; ++f) {
        const std::string name = kFrames + (f < 10 ? "0" : "") + std::to_string(f) + ".dpx";
        const std::string farmed = DpxImageData(out + "/" + name);
        EXPECT_TRUE(!farmed.empty() && farmed == DpxImageData(one + "/" + name)) << name << " differs from one machine's";
    }
}

}  // namespace
}  // namespace ombrel::farm
