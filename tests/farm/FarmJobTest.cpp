// Chunks, job folders, the Slurm texts and the frame check, without a cluster.
#include <gtest/gtest.h>

#include <filesystem>

#include "farm/FarmJob.h"
#include "farm/Process.h"
#include "farm/SequenceCheck.h"
#include "farm/Slurm.h"
#include "support/TempDir.h"

namespace ombrel::farm {
namespace {

TEST(FarmChunks, RangesCoverEveryFrameOnceAndNoneHoldsOneFrame) {
    struct Case {
        int first, last, chunk;
        std::vector<FrameRange> want;
    } cases[] = {
        {0, 47, 12, {{0, 11}, {12, 23}, {24, 35}, {36, 47}}},
        {10, 22, 4, {{10, 13}, {14, 17}, {18, 22}}},  // a lone last frame joins the range before
        {0, 0, 1, {{0, 0}}},
        {3, 2, 4, {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ChunkRange(c.first, c.last, c.chunk), c.want) << c.first << "-" << c.last << " by " << c.chunk;
    EXPECT_EQ(ArraySpec({7, 0, 1, 2, 5, 6, 9}), "0-2,5-7,9");
}

TEST(FarmSlurm, ParsesWhatTheCommandsPrint) {
    std::string id;
    ASSERT_TRUE(ParseSbatchJobId("sbatch: warning: x\n1234;loop\n", &id).ok());
    EXPECT_EQ(id, "1234");
    EXPECT_FALSE(ParseSbatchJobId("sbatch: error: Batch job submission failed\n", &id).ok());
    const std::map<int, std::string> states{{0, "RUNNING"}, {2, "PENDING"}};
    EXPECT_EQ(ParseSqueueTasks("0|RUNNING\n[3-5%2]|PENDING\n2|PENDING\n"), states);
    const auto jobs = ParseScontrolJobs(
        "JobId=5 ArrayJobId=4 ArrayTaskId=1 JobName=x y\n   JobState=CANCELLED Reason=None\n"
        "   WorkDir=/out/a b\n\nJobId=6 ArrayTaskId=2 JobState=COMPLETED\n");
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0].at("JobName"), "x y");
    EXPECT_EQ(jobs[0].at("WorkDir"), "/out/a b");
    EXPECT_EQ(jobs[1].at("JobState"), "COMPLETED");
    EXPECT_EQ(LastProgress("openjd_progress: 40\nopenjd_progress: 85\nwarning\n"), 85);
}

FarmJob TwoClipJob(const std::string& folder) {
    FarmJob job;
    job.name = "job";
    job.folder = folder + "/.ombrel-farm/job";
    job.program = folder + "/bin dir/omb'rel";
    job.renderArgs = {"--out", folder, "--keep-existing"};
    job.chunk = 4;
    job.clips.push_back({"Clíp ä", folder + "/cards/Clíp ä.R3D", {folder + "/cards/Clíp ä.R3D"}, 0, 9,
                         {folder + "/out a", "Clíp ä.", "dpx", 86400}});
    job.clips.push_back({"B", "/b.mov", {"--project", "/p q.plist", "--clip", "/b.mov"}, 2, 5, {folder, "", "tiff", 0}});
    job.AddTasks(0, 0, 9);
    job.AddTasks(1, 2, 5);
    return job;
}

TEST(FarmJobFolder, RecordRoundTripsAndTheScriptRunsTheArgumentsAsWritten) {
    test::TempDir dir;
    FarmJob job = TwoClipJob(dir.path());
    job.tasks[1].slurmJob = "77";
    ASSERT_TRUE(WriteJobFolder(job).ok());
    FarmJob read;
    ASSERT_TRUE(LoadJob(job.folder, &read).ok());
    ASSERT_EQ(read.tasks.size(), 4u);
    EXPECT_EQ(read.tasks[1].slurmJob, "77");
    for (const FarmTask& t : job.tasks) EXPECT_EQ(read.TaskArguments(t), job.TaskArguments(t));
    EXPECT_EQ(FindJobFolder(dir.path()), job.folder);

    // The task script with an echoing program in place of ombrel: every argument arrives whole.
    std::filesystem::create_directories(dir / "bin dir");
    test::WriteWholeFile(job.program, "#!/bin/sh\nfor a; do echo \"[$a]\" >&2; done\nexit 3\n");
    std::filesystem::permissions(job.program, std::filesystem::perms::owner_all);
    ProcessResult r;
    ASSERT_TRUE(RunProcess({"bash", "-c", "cd \"$0\" && SLURM_ARRAY_TASK_ID=2 bash task.sh", job.folder}, {}, &r).ok());
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_EQ(r.err, "[render]\n[--out]\n[" + dir.path() +
                         "]\n[--keep-existing]\n[--audio-at]\n[0]\n[--frames]\n[8-9]\n[--progress]\n[openjd]\n[" +
                         dir.path() + "/cards/Clíp ä.R3D]\n");
    EXPECT_EQ(test::ReadWholeFile(job.TaskExitPath(2)), "3\n");
    EXPECT_EQ(QuotedCommand({"a b", "it's", "ä", "-x"}), "'a b' 'it'\\''s' 'ä' -x");
}

TEST(FarmCheck, NamesMissingAndShortFramesByTaskAndNumber) {
    test::TempDir dir;
    FarmJob job = TwoClipJob(dir.path());
    std::filesystem::create_directories(job.clips[0].naming.folder);
    auto dpx = [](uint32_t size, size_t have) {
        std::string bytes(have, '\0');
        bytes.replace(0, 4, "XPDS");
        for (int i = 0; i < 4; ++i) bytes[16 + i] = char(size >> (8 * i));
        return bytes;
    };
    for (int f = 0; f <= 9; ++f)
        if (f != 4 && f != 5 && f != 9) test::WriteWholeFile(job.clips[0].naming.FramePath(f), dpx(64, f == 7 ? 40 : 64));
    for (int f = 2; f <= 5; ++f) test::WriteWholeFile(job.clips[1].naming.FramePath(f), "x");
    const JobCheck check = CheckJob(job);
    std::vector<std::string> lines;
    for (const FrameGap& g : check.gaps) lines.push_back(GapLine(job, g));
    EXPECT_EQ(lines, (std::vector<std::string>{"Clíp ä: frames 86404-86405 missing (task 1)",
                                               "Clíp ä: frame 86407 shorter than its header says (task 1)",
                                               "Clíp ä: frame 86409 missing (task 2)"}));
    EXPECT_EQ(check.clips[0].present, 6);
    // A resubmitted range takes over the frames it holds.
    job.AddTasks(0, 4, 5, true);
    EXPECT_EQ(job.TaskForFrame(0, 5), 4);
    EXPECT_EQ(TasksOfGaps(CheckJob(job)), (std::vector<int>{1, 2, 4}));
    const std::vector<std::string> resumed = job.TaskArguments(job.tasks[4]);
    EXPECT_EQ(std::count(resumed.begin(), resumed.end(), "--keep-existing"), 0);
}

TEST(FarmTemplate, OneStepPerClipAndNoPlaceholderFromAPath) {
    test::TempDir dir;
    FarmJob job = TwoClipJob(dir.path());
    job.dataRoot = "/data";
    std::string why;
    const std::string yaml = OpenJobTemplate(job, &why);
    EXPECT_NE(yaml.find("range: [\"0-3\", \"4-7\", \"8-9\"]"), std::string::npos) << yaml;
    EXPECT_NE(yaml.find("- \"{{Task.Param.Frames}}\""), std::string::npos);
    EXPECT_NE(yaml.find("OMBREL_DATA_DIR: \"/data\""), std::string::npos);
    job.clips[1].clipArgs = {"/a{{b}}.mov"};
    EXPECT_EQ(OpenJobTemplate(job, &why), "");
    EXPECT_NE(why.find("/a{{b}}.mov"), std::string::npos);
}

}  // namespace
}  // namespace ombrel::farm
