// `ombrel presets` on a fresh home: the first run, the listing of a library, export and import.
#include <gtest/gtest.h>

#include "CliSupport.h"
#include "core/PlistValue.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

using namespace clitest;

TEST(PresetsCliTest, ListExportImportOnAFreshHome) {
    test::TempDir home;
    const std::string env = "HOME=" + Quoted(home.path()) + " ";
    const auto run = [&](const std::string& args) { return test::RunShell(env + "timeout 60 " OMBREL_CLI " " + args); };

    auto libraries = run("presets list");
    ASSERT_EQ(libraries.status, 0) << libraries.output;
    EXPECT_EQ(libraries.output, "Examples\nMy Presets\nTrash\n");
    const auto examples = run("presets list Examples");
    ASSERT_EQ(examples.status, 0) << examples.output;
    EXPECT_TRUE(test::MatchesRef("app/presets_list_examples.txt", examples.output));

    const auto exported = run("presets export Examples " + Quoted(home / "looks.plist"));
    ASSERT_EQ(exported.status, 0) << exported.output;
    EXPECT_EQ(exported.output, home / "looks.OBPreset\n");
    PlistValue wrapped;
    ASSERT_TRUE(PlistValue::ReadFromFile(home / "looks.OBPreset", &wrapped).ok());
    EXPECT_EQ(wrapped["Icons"].asDict().size(), 7u);

    EXPECT_EQ(run("presets import " + Quoted(home / "looks.OBPreset")).output, "Examples_1\n");
    EXPECT_EQ(run("presets list").output, "Examples\nExamples_1\nMy Presets\nTrash\n");
    EXPECT_EQ(run("presets list Examples_1").output, examples.output);

    struct Refused {
        std::string args, message;
    };
    test::WriteWholeFile(home / "untitled.OBPreset", PlistValue::MakeDict().ToXml());
    for (const Refused& r : {Refused{"presets list Nowhere", "no library named \"Nowhere\""},
                             Refused{"presets export Nowhere x", "no library named \"Nowhere\""},
                             Refused{"presets import " + Quoted(home / "missing.OBPreset"), "Cannot read"},
                             Refused{"presets import " + Quoted(home / "untitled.OBPreset"), "no \"Title\""}}) {
        const auto refused = run(r.args);
        EXPECT_EQ(refused.status, 1) << r.args;
        EXPECT_TRUE(Has(refused, r.message)) << refused.output;
    }
    EXPECT_EQ(run("presets list").output, "Examples\nExamples_1\nMy Presets\nTrash\n");
}

}  // namespace
}  // namespace ombrel
