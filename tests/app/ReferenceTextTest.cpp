// What the command line prints, compared with reference files under tests/ref/app: the help
// of each command and what `info` says of a clip.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "CliSupport.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

using namespace clitest;

struct HelpCase {
    const char* name;
    const char* args;
};

const HelpCase kHelpCases[] = {
    {"main", "--help"},
    {"render", "render --help"},
    {"info", "info --help"},
    {"project", "project --help"},
    {"project-show", "project show --help"},
    {"demo", "demo --help"},
};

class HelpText : public ::testing::TestWithParam<HelpCase> {};

TEST_P(HelpText, MatchesItsReference) {
    const auto r = Ombrel(GetParam().args);
    EXPECT_EQ(r.status, 0) << r.output;
    std::string text = r.output;  // the usage line names the program as it was called
    for (size_t at; (at = text.find(OMBREL_CLI)) != std::string::npos;) text.replace(at, strlen(OMBREL_CLI), "ombrel");
    EXPECT_TRUE(test::MatchesRef(std::string("app/help-") + GetParam().name + ".txt", text));
}

INSTANTIATE_TEST_SUITE_P(Cases, HelpText, ::testing::ValuesIn(kHelpCases), [](const auto& info) {
    std::string name = info.param.name;
    for (char& ch : name)
        if (ch == '-') ch = '_';
    return name;
});

// The clip's folder stands as "{dir}" so that the reference holds for any scratch folder.
std::string WithoutFolder(std::string text, const std::string& folder) {
    for (size_t at; (at = text.find(folder)) != std::string::npos;) text.replace(at, folder.size(), "{dir}");
    return text;
}

struct InfoCase {
    const char* name;
    const char* args;
    const char* ref;
};

const InfoCase kInfoCases[] = {
    {"Json", "info --json", "app/info-basic-clip.json"},
    {"TextOfExtractType2", "info --extract 2", "app/info-basic-clip-extract2.txt"},
};

class InfoText : public ::testing::TestWithParam<InfoCase> {};

TEST_P(InfoText, MatchesItsReference) {
    test::TempDir dir;
    // 23.976 fps, 30 frames from 11:22:33:12, reel A007 clip C003, two channels of sound.
    const std::string clip = WriteClip(dir / "A007_C003_0101AB_001.R3D", sdktest::BasicClip(40, 20, 30));
    const auto r = Ombrel(std::string(GetParam().args) + " " + clip);
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_TRUE(test::MatchesRef(GetParam().ref, WithoutFolder(r.output, dir.path())));
}

INSTANTIATE_TEST_SUITE_P(Cases, InfoText, ::testing::ValuesIn(kInfoCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
