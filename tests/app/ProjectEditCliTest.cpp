// `project add` and `project remove`: the shot list of a project edited from the command line.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "CliSupport.h"
#include "core/Paths.h"
#include "core/PlistValue.h"

namespace ombrel {
namespace {

using namespace clitest;

PlistValue Read(const std::string& path) {
    PlistValue v;
    EXPECT_TRUE(PlistValue::ReadFromFile(path, &v).ok()) << path;
    return v;
}

std::vector<std::string> Paths(const PlistValue& project) {
    std::vector<std::string> out;
    for (const auto& p : project["Paths"].asArray()) out.push_back(p.asString());
    return out;
}

TEST(ProjectEditCli, AddMakesTheProjectAndTakesFoldersAsADrop) {
    test::TempDir dir;
    const std::string project = dir / "new/Day Two.xml";
    std::filesystem::create_directories(dir / "new");
    const std::string deep = dir / "card/a/b/c/d/A001_C001_0101AB_001.R3D";
    const std::string movie = dir / "card/b-roll.mov";
    test::WriteWholeFile(dir / "card/notes.txt", "x");
    std::filesystem::create_directories(dir / "card/a/b/c/d");
    test::WriteWholeFile(deep, "");
    test::WriteWholeFile(movie, std::string(1000001, 'm'));

    auto r = Ombrel("project add " + Quoted(project) + " " + Quoted(dir / "card"));
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_EQ(Paths(Read(project)), (std::vector<std::string>{deep, movie}));
    EXPECT_TRUE(Read(project)["outputSettings"].isDict());

    // The same clip again, a file that is no clip, a path that is not there.
    r = Ombrel("project add " + Quoted(project) + " " + Quoted(movie) + " " + Quoted(dir / "card/notes.txt") + " " +
               Quoted(dir / "gone.mov"));
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_TRUE(Has(r, "in the shot list already")) << r.output;
    EXPECT_TRUE(Has(r, "notes.txt is no clip")) << r.output;
    EXPECT_TRUE(Has(r, "gone.mov: no such file or folder")) << r.output;
    EXPECT_EQ(Paths(Read(project)).size(), 2u);
}

TEST(ProjectEditCli, RemoveTakesTheClipsSettingsAndRangesAndKeepsTheRest) {
    test::TempDir dir;
    const std::string project = dir / "p.xml", a = dir / "a.mov", b = dir / "b.mov", c = dir / "c.mov";
    PlistValue dict = PlistValue::MakeDict();
    PlistValue paths = PlistValue::MakeArray(), clips = PlistValue::MakeDict(), snippets = PlistValue::MakeDict();
    for (const auto& p : {a, b, c}) {
        paths.append(p);
        PlistValue look = PlistValue::MakeDict();
        look.set("stockName", "5219");
        clips.set(p, look);
        PlistValue file = PlistValue::MakeDict();
        file.set("sourcePath", p);
        file.set("KVCSnippetList", PlistValue(PlistValue::ArrayT{1.0, 5.0}));
        snippets.set(LastPathComponent(p), file);
    }
    dict.set("Paths", paths);
    dict.set("clips", clips);
    dict.set("SnippetList", snippets);
    dict.set("CurrentOpenFile", b);
    PlistValue presets = PlistValue::MakeDict();
    presets.set("old", "kept");
    dict.set("Presets", presets);
    ASSERT_TRUE(dict.WriteToFile(project).ok());

    auto r = Ombrel("project remove " + Quoted(project) + " " + Quoted(b));
    EXPECT_EQ(r.status, 0) << r.output;
    const PlistValue after = Read(project);
    EXPECT_EQ(Paths(after), (std::vector<std::string>{a, c}));
    EXPECT_FALSE(after["clips"].contains(b));
    EXPECT_TRUE(after["clips"].contains(c));
    EXPECT_FALSE(after["SnippetList"].contains("b.mov"));
    EXPECT_EQ(after["SnippetList"]["c.mov"]["KVCSnippetList"].size(), 2u);
    EXPECT_EQ(after["CurrentOpenFile"].asString(), c);  // the clip that took its place
    EXPECT_EQ(after["Presets"]["old"].asString(), "kept");

    // A clip not in the list, and a project that cannot be read, change nothing.
    r = Ombrel("project remove " + Quoted(project) + " " + Quoted(b));
    EXPECT_EQ(r.status, 1) << r.output;
    test::WriteWholeFile(project, "<plist><dict><key>Paths</key></dict></plist>");
    r = Ombrel("project add " + Quoted(project) + " " + Quoted(dir.path()));
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_EQ(test::ReadWholeFile(project), "<plist><dict><key>Paths</key></dict></plist>");
}

}  // namespace
}  // namespace ombrel
