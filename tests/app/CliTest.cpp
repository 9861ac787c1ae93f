// The command line as a user meets it: exit codes, messages, and what it prints.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "r3d/sdk/SdkClips.h"
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

TEST(Cli, KeepExistingRefusesAClipWhoseOutputIsThere) {
    test::TempDir dir;
    ASSERT_EQ(sdktest::WriteSdkClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 2)), "");
    test::WriteWholeFile(dir / "out/A001_C001_0101AB/A001_C001_0101AB.0000001.dpx", "x");
    CliRun r =
        Ombrel("render --keep-existing --out " + dir.path() + "/out " + dir.path() + "/A001_C001_0101AB_001.R3D");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.output.find("File already exists. Not Rendering"), std::string::npos) << r.output;
    EXPECT_EQ(test::ReadWholeFile(dir / "out/A001_C001_0101AB/A001_C001_0101AB.0000001.dpx"), "x");
}

}  // namespace
}  // namespace ombrel
