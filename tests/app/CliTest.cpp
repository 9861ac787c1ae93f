// The command line as a user meets it: exit codes, messages, and what it prints.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using CliRun = test::ShellResult;

CliRun Ombrel(const std::string& args) { return test::RunShell(std::string(OMBREL_CLI) + " " + args); }

TEST(Cli, VersionNamesTheDataRoot) {
    CliRun r = Ombrel("--version");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.output.find("ombrel "), std::string::npos);
    EXPECT_NE(r.output.find("data root: "), std::string::npos);
    CliRun custom;
    {
        test::ScopedDataRoot elsewhere("/opt/elsewhere");
        custom = Ombrel("--version");
    }
    EXPECT_NE(custom.output.find("data root: /opt/elsewhere"), std::string::npos);
}

TEST(Cli, RenderHelpListsTheHeadlessOptions) {
    CliRun r = Ombrel("render --help");
    EXPECT_EQ(r.status, 0);
    for (const char* option : {"--format",       "--out",           "--size",     "--size-tag",       "--fit",
                               "--frames",       "--keep-existing", "--folders",  "--no-clip-prefix", "--index-names",
                               "--stock",        "--gauge",         "--grain",    "--exposure",       "--kelvin",
                               "--saturation",   "--lift",          "--gamma",    "--gain",           "--levels",
                               "--color-amount", "--scurve-amount", "--settings", "--progress",       "--cpu"})
        EXPECT_NE(r.output.find(option), std::string::npos) << option;
}

TEST(Cli, BadUsageExitsWithTwoAndSaysWhy) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "clip.R3D", "not really");
    const std::string clip = dir / "clip.R3D";
    EXPECT_EQ(Ombrel("render").status, 2);
    EXPECT_EQ(Ombrel("bogus").status, 2);
    EXPECT_EQ(Ombrel("render --format avi " + clip).status, 2);
    CliRun size = Ombrel("render --size 1920 " + clip);
    EXPECT_EQ(size.status, 2);
    EXPECT_NE(size.output.find("--size wants WxH"), std::string::npos);
    CliRun frames = Ombrel("render --frames 10-2 " + clip);
    EXPECT_EQ(frames.status, 2);
    EXPECT_NE(frames.output.find("--frames wants an inclusive range"), std::string::npos);
    CliRun one = Ombrel("render --frames 4-4 " + clip);
    EXPECT_EQ(one.status, 2);
    EXPECT_NE(one.output.find("--frames wants at least two frames"), std::string::npos) << one.output;
    CliRun gauge = Ombrel("render --gauge XX16 " + clip);
    EXPECT_EQ(gauge.status, 2);
    EXPECT_NE(gauge.output.find("--gauge wants a film gauge"), std::string::npos) << gauge.output;
    EXPECT_EQ(Ombrel("render --fit 7 " + clip).status, 2);
    EXPECT_EQ(Ombrel("render --settings " + dir.path() + "/absent.plist " + clip).status, 2);
}

TEST(Cli, AMissingClipFailsWithAMessageAndOthersStillQueue) {
    test::TempDir dir;
    CliRun r = Ombrel("render --out " + dir.path() + " " + dir.path() + "/absent.R3D");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.output.find("absent.R3D: no such clip"), std::string::npos) << r.output;
}

TEST(Cli, KeepExistingRefusesAClipWhoseOutputIsThere) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "src/A001_C001_0101AB_001.R3D", "x");
    test::WriteWholeFile(dir / "out/A001_C001_0101AB/A001_C001_0101AB.0000001.dpx", "x");
    CliRun r =
        Ombrel("render --keep-existing --out " + dir.path() + "/out " + dir.path() + "/src/A001_C001_0101AB_001.R3D");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.output.find("File already exists. Not Rendering"), std::string::npos) << r.output;
    EXPECT_EQ(test::ReadWholeFile(dir / "out/A001_C001_0101AB/A001_C001_0101AB.0000001.dpx"), "x");
}

}  // namespace
}  // namespace ombrel
