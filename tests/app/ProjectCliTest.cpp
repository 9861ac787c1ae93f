// Saved projects on the command line: `project show`, and `render --project` queueing the
// project's clips with their own settings and the project's output settings.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "core/PlistValue.h"
#include "r3d/sdk/SdkClips.h"
#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using CliRun = test::ShellResult;

CliRun Ombrel(const std::string& args) { return test::RunShell(std::string(OMBREL_CLI) + " " + args); }

std::string Quoted(const std::string& s) { return "'" + s + "'"; }

// A project as the window saves it, written here with the property-list layer only.
struct Project {
    test::TempDir dir;
    std::string r3d = dir / "src/A001_C001_0101AB_001.R3D";
    std::string movie = dir / "src/interview.mov";
    std::string gone = dir / "src/gone.mov";
    std::string out = dir / "renders";
    std::string path = dir / "Day One.xml";
    PlistValue dict = PlistValue::MakeDict();

    Project() {
        std::filesystem::create_directories(dir / "src");
        EXPECT_EQ(sdktest::WriteSdkClip(r3d, sdktest::BasicClip(16, 8, 2)), "");
        test::WriteWholeFile(movie, "not really a movie");
        PlistValue paths = PlistValue::MakeArray();
        for (const auto& p : {r3d, movie, gone}) paths.append(p);
        dict.set("Paths", paths);
        PlistValue clips = PlistValue::MakeDict();
        PlistValue a = PlistValue::MakeDict();
        a.set("stockName", "5219");
        a.set("grainName", "CP16");
        a.set("grainScale", 2.43f);
        a.set("grainMultiplier", 0.5f);
        a.set("exposure", 1.5f);
        a.set("kelvin", 4300.0f);
        a.set("userFrameIn", 10);
        a.set("userFrameOut", 20);
        a.set("presetName", "Warm");
        a.set("presetID", "9F2C3B1E-0000-4000-8000-000000000001");
        a.set("presetNumber", 3);
        clips.set(r3d, a);
        PlistValue b = PlistValue::MakeDict();
        b.set("stockName", "5213");
        b.set("grainScale", 1.0f);
        clips.set(movie, b);
        dict.set("clips", clips);
        PlistValue output = PlistValue::MakeDict();
        output.set("format", 20);
        output.set("folders", 1);
        output.set("overwrite", 1);
        output.set("outputDirectory", out);
        dict.set("outputSettings", output);
        PlistValue file = PlistValue::MakeDict();
        file.set("sourcePath", movie);
        PlistValue ranges = PlistValue::MakeArray();
        for (double v : {5.0, 9.0, 30.0, 31.0}) ranges.append(v);
        file.set("KVCSnippetList", ranges);
        PlistValue snippets = PlistValue::MakeDict();
        snippets.set("interview.mov", file);
        dict.set("SnippetList", snippets);
        dict.set("CurrentOpenFile", movie);
        Save();
    }
    void Save() const { EXPECT_TRUE(dict.WriteToFile(path)); }
};

bool Has(const CliRun& r, const std::string& text) { return r.output.find(text) != std::string::npos; }

TEST(ProjectCli, ShowListsTheClipsAndTheirKeySettings) {
    Project p;
    CliRun r = Ombrel("project show " + Quoted(p.path));
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_TRUE(Has(r, "output: DPX, source size, fit 0, folders 1")) << r.output;
    EXPECT_TRUE(Has(r, "keeps existing output")) << r.output;
    EXPECT_TRUE(Has(r, "output folder: " + p.out)) << r.output;
    EXPECT_TRUE(Has(r, "open clip: " + p.movie)) << r.output;
    EXPECT_TRUE(Has(r, "clips: 3")) << r.output;
    EXPECT_TRUE(Has(r, "clip: " + p.r3d + "\n  look: stock 5219, gauge 16mm, grain 0.5, exposure 1.5, kelvin 4300"))
        << r.output;
    EXPECT_TRUE(Has(r, "frames: 10-20")) << r.output;
    EXPECT_TRUE(Has(r, "preset: Warm (#3")) << r.output;
    EXPECT_TRUE(Has(r, "snippets: 5-9, 30-31")) << r.output;
    EXPECT_TRUE(Has(r, "clip: " + p.gone + " [missing]\n  look: none saved")) << r.output;
    // The clips come in the order of the shot list.
    EXPECT_LT(r.output.find("\nclip: " + p.r3d), r.output.find("\nclip: " + p.movie));
}

TEST(ProjectCli, RenderQueuesTheProjectsClipsWithItsOutputSettings) {
    Project p;
    // Output of the R3D clip is there already, where the project's folder and naming put it.
    const std::string existing = p.out + "/A001_C001/A001_C001_0101AB.0000001.dpx";
    test::WriteWholeFile(existing, "kept");
    CliRun r = Ombrel("render --project " + Quoted(p.path));
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_TRUE(Has(r, p.r3d + ": File already exists. Not Rendering (" + p.out + "/A001_C001)")) << r.output;
    EXPECT_TRUE(Has(r, p.gone + ": no such clip")) << r.output;
    EXPECT_TRUE(Has(r, "ombrel render: " + p.movie + ": ")) << r.output;  // queued, and failed or rendered
    EXPECT_EQ(test::ReadWholeFile(existing), "kept");

    // Options named on the command line win over the project's.
    const std::string elsewhere = p.dir / "elsewhere";
    test::WriteWholeFile(elsewhere + "/A001_C001_0101AB/A001_C001_0101AB.0000001.dpx", "kept");
    CliRun over = Ombrel("render --project " + Quoted(p.path) + " --out " + Quoted(elsewhere) +
                         " --folders 0 --clip A001_C001_0101AB_001.R3D");
    EXPECT_EQ(over.status, 1) << over.output;
    EXPECT_TRUE(Has(over, "Not Rendering (" + elsewhere + "/A001_C001_0101AB)")) << over.output;
    EXPECT_FALSE(Has(over, p.movie)) << over.output;  // --clip picked one
    EXPECT_FALSE(Has(over, p.gone)) << over.output;

    // A whole path picks a clip too; a clip the project lacks is bad usage.
    CliRun one = Ombrel("render --project " + Quoted(p.path) + " --clip " + Quoted(p.movie));
    EXPECT_FALSE(Has(one, p.r3d)) << one.output;
    EXPECT_TRUE(Has(one, p.movie)) << one.output;
    CliRun unknown = Ombrel("render --project " + Quoted(p.path) + " --clip other.mov");
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(Has(unknown, "--clip other.mov is not a clip of the project")) << unknown.output;
}

TEST(ProjectCli, RenderingAnOlderProjectWritesNothingBesideIt) {
    Project p;
    PlistValue preset = PlistValue::MakeDict();
    preset.set("presetID", "9F2C3B1E-0000-4000-8000-000000000002");
    preset.set("presetName", "Old");
    preset.set("presetNumber", 1);
    preset.set("theSettings", PlistValue::MakeDict());
    PlistValue presets = PlistValue::MakeDict();
    presets.set("9F2C3B1E-0000-4000-8000-000000000002", preset);
    p.dict.set("Presets", presets);
    p.Save();
    const std::string before = test::ReadWholeFile(p.path);
    CliRun show = Ombrel("project show " + Quoted(p.path));
    EXPECT_TRUE(Has(show, "older presets: 1")) << show.output;
    Ombrel("render --project " + Quoted(p.path) + " --clip " + Quoted(p.gone));
    EXPECT_EQ(test::ReadWholeFile(p.path), before);
    EXPECT_FALSE(std::filesystem::exists(p.path + ".backup"));
}

TEST(ProjectCli, ProjectUsageErrors) {
    Project p;
    CliRun help = Ombrel("render --help");
    EXPECT_TRUE(Has(help, "--project")) << help.output;
    EXPECT_TRUE(Has(help, "--clip")) << help.output;
    CliRun both = Ombrel("render --project " + Quoted(p.path) + " " + Quoted(p.movie));
    EXPECT_EQ(both.status, 2);
    EXPECT_TRUE(Has(both, "not both")) << both.output;
    EXPECT_EQ(Ombrel("render --clip " + Quoted(p.movie)).status, 2);
    test::WriteWholeFile(p.dir / "look.plist", PlistValue::MakeDict().ToXml());
    EXPECT_EQ(Ombrel("render --project " + Quoted(p.path) + " --settings " + Quoted(p.dir / "look.plist")).status, 2);
    EXPECT_EQ(Ombrel("project").status, 2);
    EXPECT_EQ(Ombrel("project show").status, 2);

    PlistValue empty = PlistValue::MakeDict();
    empty.set("Paths", PlistValue::MakeArray());
    const std::string emptyPath = p.dir / "empty.xml";
    ASSERT_TRUE(empty.WriteToFile(emptyPath));
    CliRun none = Ombrel("render --project " + Quoted(emptyPath));
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(Has(none, "has no clips")) << none.output;
    EXPECT_EQ(Ombrel("project show " + Quoted(emptyPath)).status, 0);
}

}  // namespace
}  // namespace ombrel
