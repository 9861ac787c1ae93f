#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "datafile/DataFile.h"
#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::ReadWholeFile;
using test::TempDir;
using test::WriteWholeFile;

using Result = test::ShellResult;
const auto Shell = test::RunShell;

std::string Pack(const std::string& args) { return std::string("'") + OMBREL_PACK + "' " + args; }
std::string Q(const std::string& path) { return "'" + path + "'"; }

std::string Payload(const std::string& path) {
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 0;
    char message[kMessageBufferSize] = {};
    EXPECT_EQ(UnscrambleDataFromFile(path, bytes, length, message), 0) << message;
    if (length < kContainerTailSize) return {};
    return std::string(reinterpret_cast<const char*>(bytes.get()), length - kContainerTailSize);
}

TEST(OmbrelPack, ScramblesAndUnscramblesBothWays) {
    TempDir dir;
    std::string data("exposure table\0\x01\x02\xff", 19);
    for (int i = 0; i < 100; ++i) data += "0.25 0.5 0.75\n";
    WriteWholeFile(dir / "in.dat", data);
    for (const char* step : {"scramble in.dat plain.res", "unscramble plain.res plain.out",
                             "scramble --gzip in.dat zip.res", "unscramble --gunzip zip.res zip.out"}) {
        const Result r = Shell("cd " + Q(dir.path()) + " && " + Pack(step));
        ASSERT_EQ(r.status, 0) << step << ": " << r.output;
    }
    EXPECT_EQ(ReadWholeFile(dir / "plain.res").size(), data.size() + 429);
    EXPECT_EQ(Payload(dir / "plain.res"), data);
    EXPECT_EQ(ReadWholeFile(dir / "plain.out"), data);
    EXPECT_EQ(ReadWholeFile(dir / "zip.out"), data);
    // The payload is a gzip stream that the system tool reads.
    WriteWholeFile(dir / "payload.gz", Payload(dir / "zip.res"));
    const Result gunzip = Shell("gzip -dc " + Q(dir / "payload.gz"));
    ASSERT_EQ(gunzip.status, 0) << gunzip.output;
    EXPECT_EQ(gunzip.output, data);
}

TEST(OmbrelPack, FailuresSayWhyAndExitNonZero) {
    TempDir dir;
    WriteWholeFile(dir / "short", std::string(100, 'x'));
    WriteWholeFile(dir / "in", "not gzip inside");
    ASSERT_EQ(Shell(Pack("scramble " + Q(dir / "in") + " " + Q(dir / "c.res"))).status, 0);
    WriteWholeFile(dir / "out", "earlier output");
    for (const auto& [args, status, says] : std::vector<std::tuple<std::string, int, std::vector<std::string>>>{
             {"scramble " + Q(dir / "absent") + " " + Q(dir / "new"),
              1,
              {"cannot read input", dir / "absent", "No such file or directory"}},
             {"unscramble " + Q(dir / "short") + " " + Q(dir / "new"), 1, {"not a scrambled container"}},
             {"unscramble --gunzip " + Q(dir / "c.res") + " " + Q(dir / "out"), 1, {"Failed to load zipped data"}},
             {"scramble " + Q(dir / "in") + " " + Q(dir / "none/c.res"), 1, {"cannot write output"}},
             {"", 2, {}},
             {"scramble onlyone", 2, {}},
             {"squash a b", 2, {}},
             {"unscramble --gzip a b", 2, {}},
             {"--help", 0, {}}}) {
        const Result got = Shell(Pack(args));
        EXPECT_EQ(got.status, status) << args;
        for (const std::string& text : says)
            EXPECT_NE(got.output.find(text), std::string::npos) << args << ": " << got.output;
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "new"));
    EXPECT_EQ(ReadWholeFile(dir / "out"), "earlier output");
}

TEST(DataPipeline, BuildMadeResourcesReadBackAndInstallUnderShareTessaly) {
    const std::string shaderSource = ReadWholeFile(std::string(PROBE_SOURCE_DIR) + "/probe.fs");
    const std::string tableSource = ReadWholeFile(std::string(PROBE_SOURCE_DIR) + "/probe.tin");
    ASSERT_FALSE(shaderSource.empty());
    const std::string root = PROBE_DATA_ROOT;

    std::unique_ptr<uint8_t[]> container;
    size_t containerLength = 0;
    char message[kMessageBufferSize] = {};
    ASSERT_EQ(UnscrambleDataFromFile(root + "/Resources/Probe/probe.fs", container, containerLength, message), 0)
        << message;
    std::unique_ptr<uint8_t[]> text;
    size_t textLength = 0;
    ASSERT_EQ(UnzipByteArray(container.get(), containerLength, text, textLength, message), 0) << message;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(text.get()), textLength), shaderSource);

    auto table = GetUnscrambledData(root + "/Profiles/Probe/probe.tin");
    ASSERT_TRUE(table.has_value());
    ASSERT_EQ(table->size(), tableSource.size() + 429);
    EXPECT_EQ(std::string(table->begin(), table->begin() + static_cast<long>(tableSource.size())), tableSource);
    EXPECT_EQ(ReadWholeFile(root + "/Resources/Probe/plain.tin"), tableSource);

    TempDir prefix;
    Result install = Shell(Q(CMAKE_COMMAND_PATH) + " --install " + Q(BUILD_TREE) +
                           " --component ombrel_probe --prefix " + Q(prefix.path()));
    ASSERT_EQ(install.status, 0) << install.output;
    const std::string installed = prefix / "share/tessaly";
    EXPECT_EQ(ReadWholeFile(installed + "/Resources/Probe/probe.fs"),
              ReadWholeFile(root + "/Resources/Probe/probe.fs"));
    EXPECT_EQ(ReadWholeFile(installed + "/Profiles/Probe/probe.tin"),
              ReadWholeFile(root + "/Profiles/Probe/probe.tin"));
    EXPECT_TRUE(std::filesystem::exists(installed + "/Resources/Probe/plain.tin"));
    // Nothing else rides along with the probe component.
    EXPECT_FALSE(std::filesystem::exists(prefix / "bin"));
}

}  // namespace
}  // namespace ombrel
