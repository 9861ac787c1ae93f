// Saved projects on the command line: `project show`, and `render --project` queueing the
// project's clips with their own settings and the project's output settings.
#include <gtest/gtest.h>

#include <string>

#include "CliSupport.h"
#include "core/PlistValue.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

using namespace clitest;

PlistValue Dict(std::initializer_list<std::pair<const char*, PlistValue>> entries) {
    PlistValue d = PlistValue::MakeDict();
    for (const auto& [key, value] : entries) d.set(key, value);
    return d;
}

PlistValue Array(std::initializer_list<PlistValue> items) {
    PlistValue a = PlistValue::MakeArray();
    for (const auto& item : items) a.append(item);
    return a;
}

// A project as the window saves it, written here with the property-list layer only.
struct Project {
    test::TempDir dir;
    std::string r3d = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 2));
    std::string movie = dir / "src/interview.mov";
    std::string gone = dir / "src/gone.mov";
    std::string out = dir / "renders";
    std::string path = dir / "Day One.xml";
    PlistValue dict = Dict({{"Paths", Array({r3d, movie, gone})}, {"CurrentOpenFile", movie}});

    Project() {
        test::WriteWholeFile(movie, "not really a movie");
        PlistValue clips = PlistValue::MakeDict();
        clips.set(r3d, Dict({{"stockName", "5219"},
                             {"grainName", "CP16"},
                             {"grainScale", 2.43f},
                             {"grainMultiplier", 0.5f},
                             {"exposure", 1.5f},
                             {"kelvin", 4300.0f},
                             {"userFrameIn", 10},
                             {"userFrameOut", 20},
                             {"presetName", "Warm"},
                             {"presetID", "9F2C3B1E-0000-4000-8000-000000000001"},
                             {"presetNumber", 3}}));
        clips.set(movie, Dict({{"stockName", "5213"}, {"grainScale", 1.0f}}));
        dict.set("clips", clips);
        dict.set("outputSettings", Dict({{"format", 20}, {"folders", 1}, {"overwrite", 1}, {"outputDirectory", out}}));
        PlistValue snippets = PlistValue::MakeDict();
        snippets.set("interview.mov", Dict({{"sourcePath", movie}, {"KVCSnippetList", Array({5.0, 9.0, 30.0, 31.0})}}));
        dict.set("SnippetList", snippets);
        Save();
    }
    void Save() const { EXPECT_TRUE(dict.WriteToFile(path).ok()); }
};

TEST(ProjectCli, ShowListsTheClipsInShotListOrderWithTheirKeySettings) {
    Project p;
    const auto r = Ombrel("project show " + Quoted(p.path));
    EXPECT_EQ(r.status, 0) << r.output;
    std::string text = r.output;
    for (size_t at; (at = text.find(p.dir.path())) != std::string::npos;)
        text.replace(at, p.dir.path().size(), "{dir}");
    EXPECT_TRUE(test::MatchesRef("app/project-show.txt", text));
}

TEST(ProjectCli, RenderQueuesTheProjectsClipsWithItsOutputSettings) {
    Project p;
    // Output of the R3D clip is there already, where the project's folder and naming put it.
    const std::string existing = p.out + "/A001_C001/A001_C001_0101AB.0000001.dpx";
    test::WriteWholeFile(existing, "kept");
    const auto r = Ombrel("render --project " + Quoted(p.path));
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_TRUE(Has(r, p.r3d + ": File already exists. Not Rendering (" + p.out + "/A001_C001)")) << r.output;
    EXPECT_TRUE(Has(r, p.gone + ": no such clip")) << r.output;
    EXPECT_TRUE(Has(r, "ombrel render: " + p.movie + ": ")) << r.output;  // queued, and failed or rendered
    EXPECT_EQ(test::ReadWholeFile(existing), "kept");

    // Options named on the command line win over the project's.
    const std::string elsewhere = p.dir / "elsewhere";
    test::WriteWholeFile(elsewhere + "/A001_C001_0101AB/A001_C001_0101AB.0000001.dpx", "kept");
    const auto over = Ombrel("render --project " + Quoted(p.path) + " --out " + Quoted(elsewhere) +
                             " --folders 0 --clip A001_C001_0101AB_001.R3D");
    EXPECT_EQ(over.status, 1) << over.output;
    EXPECT_TRUE(Has(over, "Not Rendering (" + elsewhere + "/A001_C001_0101AB)")) << over.output;
    EXPECT_FALSE(Has(over, p.movie)) << over.output;  // --clip picked one
    EXPECT_FALSE(Has(over, p.gone)) << over.output;

    // A whole path picks a clip too; a clip the project lacks is bad usage.
    const auto one = Ombrel("render --project " + Quoted(p.path) + " --clip " + Quoted(p.movie));
    EXPECT_FALSE(Has(one, p.r3d)) << one.output;
    EXPECT_TRUE(Has(one, p.movie)) << one.output;
    const auto unknown = Ombrel("render --project " + Quoted(p.path) + " --clip other.mov");
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(Has(unknown, "--clip other.mov is not a clip of the project")) << unknown.output;
}

TEST(ProjectCli, RenderingAnOlderProjectWritesNothingBesideIt) {
    Project p;
    const char* id = "9F2C3B1E-0000-4000-8000-000000000002";
    PlistValue presets = PlistValue::MakeDict();
    presets.set(
        id,
        Dict({{"presetID", id}, {"presetName", "Old"}, {"presetNumber", 1}, {"theSettings", PlistValue::MakeDict()}}));
    p.dict.set("Presets", presets);
    p.Save();
    const std::string before = test::ReadWholeFile(p.path);
    EXPECT_TRUE(Has(Ombrel("project show " + Quoted(p.path)), "older presets: 1"));
    Ombrel("render --project " + Quoted(p.path) + " --clip " + Quoted(p.gone));
    EXPECT_EQ(test::ReadWholeFile(p.path), before);
    EXPECT_FALSE(std::filesystem::exists(p.path + ".backup"));
}

}  // namespace
}  // namespace ombrel
