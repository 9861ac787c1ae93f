// One message for each thing that is wrong, naming the file and what it is; internal traces
// stay at debug level.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "CliSupport.h"
#include "core/PlistValue.h"

namespace ombrel {
namespace {

using namespace clitest;

struct MessageCase {
    const char* name;
    // Makes what the row needs in `dir` and answers the arguments.
    std::function<std::string(const test::TempDir& dir)> setup;
    int status;
    const char* says;
    const char* never;  // text that must not appear; empty for none
    size_t lines;       // lines of output; 0 when not counted
};

std::string Garbage(const test::TempDir& dir) {
    test::WriteWholeFile(dir / "notes_001.R3D", "these are notes, not pictures");
    return dir / "notes_001.R3D";
}
std::string FolderNamedR3D(const test::TempDir& dir) {
    std::filesystem::create_directories(dir / "folder_001.R3D");
    return dir / "folder_001.R3D";
}

const MessageCase kMessageCases[] = {
    {"GarbageR3DRendered", [](const test::TempDir& d) { return "render --out " + d / "out " + Garbage(d); }, 1,
     "notes_001.R3D: not a clip: the file is not an R3D clip that can be read", "picture size", 1},
    {"GarbageR3DInfo", [](const test::TempDir& d) { return "info " + Garbage(d); }, 1,
     "notes_001.R3D: not a clip: the file is not an R3D clip that can be read", "", 1},
    {"FolderNamedR3DRendered", [](const test::TempDir& d) { return "render --out " + d / "out " + FolderNamedR3D(d); },
     1, "folder_001.R3D: a directory, not a clip", "no such", 1},
    {"FolderNamedR3DInfo", [](const test::TempDir& d) { return "info " + FolderNamedR3D(d); }, 1,
     "folder_001.R3D: a directory, not a clip", "no such", 1},
    {"FifoNamedR3DRendered",
     [](const test::TempDir& d) { return "render --out " + d / "out " + MakeFifo(d / "pipe_001.R3D"); }, 1,
     "pipe_001.R3D: a FIFO (named pipe), not a clip", "no such", 1},
    {"DeviceInfo", [](const test::TempDir&) { return std::string("info /dev/null"); }, 1,
     "/dev/null: a character device, not a clip", "no such", 1},
    {"InternalTracesAreDebugLevel",
     [](const test::TempDir& d) {
         return "render --cpu --out " + d / "out " +
                WriteClip(d / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 2));
     },
     0, " -> ", "FrameSequenceStarting", 0},
};

class Messages : public ::testing::TestWithParam<MessageCase> {};

TEST_P(Messages, OneMessageSaysWhatTheFileIs) {
    const MessageCase& c = GetParam();
    test::TempDir dir;
    const auto r = Ombrel(c.setup(dir));
    EXPECT_EQ(r.status, c.status) << r.output;
    EXPECT_TRUE(Has(r, c.says)) << "wanted: " << c.says << "\n" << r.output;
    if (*c.never) { EXPECT_FALSE(Has(r, c.never)) << r.output; }
    if (c.lines) { EXPECT_EQ(Lines(r.output), c.lines) << r.output; }
}

INSTANTIATE_TEST_SUITE_P(Cases, Messages, ::testing::ValuesIn(kMessageCases),
                         [](const auto& info) { return std::string(info.param.name); });

// A project as the window saves it, with one clip of three frames.
struct SmallProject {
    test::TempDir dir;
    std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 3));
    std::string path = dir / "project.xml";
    PlistValue dict = PlistValue::MakeDict();
    SmallProject() {
        PlistValue paths = PlistValue::MakeArray();
        paths.append(clip);
        dict.set("Paths", paths);
        PlistValue output = PlistValue::MakeDict();
        output.set("format", 20);
        output.set("outputDirectory", dir / "out");
        dict.set("outputSettings", output);
    }
    void Snippets(std::initializer_list<double> ranges) {
        PlistValue list = PlistValue::MakeArray();
        for (double v : ranges) list.append(v);
        PlistValue file = PlistValue::MakeDict();
        file.set("sourcePath", clip);
        file.set("KVCSnippetList", list);
        PlistValue snippets = PlistValue::MakeDict();
        snippets.set("A001_C001_0101AB_001.R3D", file);
        dict.set("SnippetList", snippets);
    }
    test::ShellResult Render(const std::string& more = "") {
        EXPECT_TRUE(dict.WriteToFile(path));
        return Ombrel("render --cpu --project " + path + more);
    }
};

struct FormatCase {
    const char* name;
    PlistValue format;
    const char* says;
};

TEST(Messages, AnOutputFormatOfTheWrongKindNamesTheKeyAndTheValue) {
    const FormatCase cases[] = {
        {"Text", PlistValue("dpx"), "output setting \"format\" = \"dpx\", which is not a format number"},
        {"UnknownNumber", PlistValue(7), "output setting \"format\" = 7, which is no format of this build"},
        {"Array", PlistValue::MakeArray(), "output setting \"format\" = an array, which is not a format number"},
    };
    for (const auto& c : cases) {
        SmallProject p;
        PlistValue output = p.dict["outputSettings"];
        output.set("format", c.format);
        p.dict.set("outputSettings", output);
        const auto r = p.Render();
        EXPECT_EQ(r.status, 1) << c.name << "\n" << r.output;
        EXPECT_TRUE(Has(r, c.says)) << c.name << "\n" << r.output;
        EXPECT_TRUE(Has(r, "the formats are 20 (DPX), 21 (TIFF) and 0 (movie)")) << c.name << "\n" << r.output;
        EXPECT_FALSE(Has(r, "No renderer")) << c.name << "\n" << r.output;
        // The command line's own choice wins over the project's.
        EXPECT_EQ(p.Render(" --format dpx").status, 0) << c.name;
    }
}

TEST(Messages, SnippetsBeyondTheClipAreSaidAndOnlyThoseInsideRender) {
    struct Row {
        const char* name;
        std::initializer_list<double> ranges;
        int status;
        const char* says;
        size_t frames;
    };
    const Row rows[] = {
        {"AllBeyond",
         {10, 20, 30, 31},
         1,
         "all its snippets (10-20, 30-31) lie beyond the clip; the clip's last frame is 2",
         0},
        {"SomeBeyond", {0, 1, 10, 20}, 0, "snippets 10-20 lie beyond the clip and are left out", 3},
    };
    for (const auto& row : rows) {
        SmallProject p;
        p.Snippets(row.ranges);
        const auto r = p.Render();
        EXPECT_EQ(r.status, row.status) << row.name << "\n" << r.output;
        EXPECT_TRUE(Has(r, row.says)) << row.name << "\n" << r.output;
        EXPECT_EQ(DpxFrames(p.dir / "out/A001_C001_0101AB").size(), row.frames) << row.name << "\n" << r.output;
    }
}

}  // namespace
}  // namespace ombrel
