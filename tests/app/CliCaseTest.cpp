// The command line, one row per case: arguments in, exit code, a part of the message and the
// frames written out. Exit 2 only for arguments the command line cannot take; a file that
// cannot be read, a clip that is not there or a folder that cannot be made is bad input (1).
// Files are only ever regular files of a bounded size: a device or FIFO is never read.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "CliSupport.h"
#include "core/FolderLock.h"
#include "core/PlistValue.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using namespace clitest;

const char* const kBrokenProject =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n\t<key>Paths</key>\n"
    "\t<array>\n\t\t<string>/a.mov</string>\n\t</dict>\n</plist>\n";

// What the rows name, made for each row: {clip} is a clip of six frames in one file, {span}
// one of six frames in three files of two.
struct Scratch {
    test::TempDir dir;
    std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 6));
    std::string span = dir / "card/A001_C001_0101AB_001.R3D";
    std::string out = dir / "out/A001_C001_0101AB";
    FolderLock other;  // this process standing for another render
    Scratch() {
        sdktest::SdkClip spanned = sdktest::BasicClip(16, 8, 6);
        spanned.spec.framesPerFile = 2;
        WriteClip(span, spanned);
        test::WriteWholeFile(dir / "broken.xml", kBrokenProject);
        test::WriteWholeFile(dir / "array.plist", PlistValue::MakeArray().ToXml());
        test::WriteWholeFile(dir / "look.plist", PlistValue::MakeDict().ToXml());
        test::WriteWholeFile(dir / "file.txt", "a file where a folder should be");
        test::WriteWholeFile(dir / "notes_001.R3D", "these are notes, not pictures");
        PlistValue empty = PlistValue::MakeDict();
        empty.set("Paths", PlistValue::MakeArray());
        EXPECT_TRUE(empty.WriteToFile(dir / "empty.xml").ok());
        std::filesystem::create_directories(dir / "folder_001.R3D");
        MakeFifo(dir / "pipe.xml");
        MakeFifo(dir / "pipe_001.R3D");
        test::WriteWholeFile(dir / "huge.xml", "");  // sparse: over the bound without taking the space
        std::filesystem::resize_file(dir / "huge.xml", (65u << 20));
    }
    std::string Expand(std::string text) const {
        for (const auto& [key, value] :
             {std::pair<std::string, std::string>{"{clip}", clip}, {"{span}", span}, {"{dir}", dir.path()}})
            for (size_t at; (at = text.find(key)) != std::string::npos;) text.replace(at, key.size(), value);
        return text;
    }
};

struct CliCase {
    const char* name;
    const char* args;  // {dir}, {clip} and {span} as in Scratch
    int status;
    const char* says;
    int frames = -1;  // DPX frames in out/A001_C001_0101AB afterwards; -1 when not counted
    const char* never = "";
    size_t lines = 0;  // lines of output; 0 when not counted
    std::function<void(Scratch&)> before = {};
};

void Hold(Scratch& s, int first, int last) {
    std::filesystem::create_directories(s.out);
    const Status held = s.other.TryLock(s.out, first, last);
    EXPECT_TRUE(held.ok()) << held.message();
}

void DropMiddleFile(Scratch& s) { std::filesystem::remove(s.dir / "card/A001_C001_0101AB_002.R3D"); }

// {dir}/project.xml: {clip} rendered as DPX into out/, with `format` as its output format and
// `snippets` as the clip's snippet list.
std::function<void(Scratch&)> Project(PlistValue format, std::vector<double> snippets = {}) {
    return [format, snippets](Scratch& s) {
        PlistValue project = PlistValue::MakeDict(), paths = PlistValue::MakeArray(), output = PlistValue::MakeDict();
        paths.append(s.clip);
        output.set("format", format);
        output.set("outputDirectory", s.dir / "out");
        project.set("Paths", paths);
        project.set("outputSettings", output);
        if (!snippets.empty()) {
            PlistValue list = PlistValue::MakeArray(), file = PlistValue::MakeDict(), all = PlistValue::MakeDict();
            for (double v : snippets) list.append(v);
            file.set("sourcePath", s.clip);
            file.set("KVCSnippetList", list);
            all.set("A001_C001_0101AB_001.R3D", file);
            project.set("SnippetList", all);
        }
        EXPECT_TRUE(project.WriteToFile(s.dir / "project.xml").ok());
    };
}

const char* const kLocked =
    "another render is writing frames of 0-5 into {dir}/out/A001_C001_0101AB; {clip} was not "
    "rendered";

const CliCase kCases[] = {
    // Bad input: 1, one message naming the file and what it is.
    {"BrokenProjectIsBadInput", "render --project {dir}/broken.xml", 1,
     "cannot read the project {dir}/broken.xml, line 7:"},
    {"ProjectNotThere", "render --project {dir}/absent.xml", 1, "{dir}/absent.xml: no such file"},
    {"ProjectIsAFifo", "render --project {dir}/pipe.xml", 1, "{dir}/pipe.xml is a FIFO (named pipe), not a file"},
    {"ProjectIsADirectory", "render --project {dir}", 1, "{dir} is a directory, not a file"},
    {"ProjectTooLarge", "render --project {dir}/huge.xml", 1, "files over 64 MB are not read"},
    {"ProjectWithoutClips", "render --project {dir}/empty.xml", 1, "has no clips"},
    {"ShowOfNoFile", "project show {dir}/absent.xml", 1, "absent.xml: no such file"},
    {"ShowOfAnEndlessDevice", "project show /dev/zero", 1, "/dev/zero is a character device, not a file"},
    {"ShowOfAFifo", "project show {dir}/pipe.xml", 1, "is a FIFO (named pipe)"},
    {"ShowOfABrokenProject", "project show {dir}/broken.xml", 1, ", line 7:"},
    {"SettingsNotThere", "render --settings {dir}/absent.plist {clip}", 1, "absent.plist: no such file"},
    {"SettingsOfAnEndlessDevice", "render --settings /dev/zero {clip}", 1,
     "/dev/zero is a character device, not a file"},
    {"SettingsIsAFifo", "render --settings {dir}/pipe.xml {clip}", 1, "is a FIFO (named pipe), not a file"},
    {"SettingsWhoseTopIsAnArray", "render --settings {dir}/array.plist {clip}", 1,
     "array.plist: its top level is an array, not a dictionary of clip settings"},
    {"MissingClip", "render --out {dir}/out {dir}/absent_001.R3D", 1, "absent_001.R3D: no such clip"},
    {"OutputFolderCannotBeMade", "render --out {dir}/file.txt/sub {clip}", 1, "could not be made"},
    {"InfoOfNoFile", "info {dir}/absent_001.R3D", 1, "no such file"},
    {"GarbageR3DRendered", "render --out {dir}/out {dir}/notes_001.R3D", 1,
     "notes_001.R3D: not a clip: the file is not an R3D clip that can be read", -1, "picture size", 1},
    {"GarbageR3DInfo", "info {dir}/notes_001.R3D", 1,
     "notes_001.R3D: not a clip: the file is not an R3D clip that can be read", -1, "", 1},
    {"FolderNamedR3DRendered", "render --out {dir}/out {dir}/folder_001.R3D", 1,
     "folder_001.R3D: a directory, not a clip", -1, "no such", 1},
    {"FolderNamedR3DInfo", "info {dir}/folder_001.R3D", 1, "folder_001.R3D: a directory, not a clip", -1, "no such", 1},
    {"FifoNamedR3DRendered", "render --out {dir}/out {dir}/pipe_001.R3D", 1,
     "pipe_001.R3D: a FIFO (named pipe), not a clip", -1, "no such", 1},
    {"DeviceInfo", "info /dev/null", 1, "/dev/null: a character device, not a clip", -1, "no such", 1},
    // Arguments the command line cannot take: 2.
    {"NoClips", "render", 2, "name the clips to render"},
    {"UnknownCommand", "bogus", 2, ""},
    {"UnknownFormat", "render --format avi {clip}", 2, ""},
    {"SizeWithoutHeight", "render --size 1920 {clip}", 2, "--size wants WxH"},
    {"BackwardRange", "render --frames 10-2 {clip}", 2, "--frames wants an inclusive range"},
    {"SizeTagOutsideTheMenu", "render --size-tag 8 {clip}", 2, "--size-tag"},
    {"UnknownGauge", "render --gauge XX16 {clip}", 2, "--gauge wants a film gauge"},
    {"FitOutOfRange", "render --fit 7 {clip}", 2, ""},
    {"UnknownStockListsTheStocks", "render --stock Kodachrome99 {clip}", 2,
     "--stock Kodachrome99 is not a stock of this build; the stocks are: ", -1, "", 1},
    {"InfoWithoutClip", "info", 2, ""},
    {"ProjectWithoutCommand", "project", 2, ""},
    {"ShowWithoutFile", "project show", 2, ""},
    {"ClipWithoutProject", "render --clip {clip}", 2, ""},
    {"ProjectAndClipsNotBoth", "render --project {dir}/empty.xml {clip}", 2, "not both"},
    {"ProjectAndSettings", "render --project {dir}/empty.xml --settings {dir}/look.plist", 2, ""},
    // What renders.
    {"ShowOfAProjectWithoutClips", "project show {dir}/empty.xml", 0, ""},
    {"InternalTracesAreDebugLevel", "render --cpu --out {dir}/out {clip}", 0, " -> ", 6, "FrameSequenceStarting"},
    {"OneClipNamedTwiceIsRenderedOnce", "render --cpu --out {dir}/out {clip} {clip}", 0,
     "{clip}: named twice; rendered once", 6},
    {"KeepExistingRefusesAClipWhoseOutputIsThere", "render --keep-existing --out {dir}/out {clip}", 1,
     "File already exists. Not Rendering", 1, "", 0,
     [](Scratch& s) { test::WriteWholeFile(s.out + "/A001_C001_0101AB.0000001.dpx", "x"); }},
    // A project's output format of the wrong kind names the key and the value; --format wins.
    {"ProjectFormatAsText", "render --cpu --project {dir}/project.xml", 1,
     "output setting \"format\" = \"dpx\", which is not a format number; the formats are 20 (DPX), 21 (TIFF) and 0 "
     "(movie)",
     -1, "No renderer", 0, Project("dpx")},
    {"ProjectFormatUnknownNumber", "render --cpu --project {dir}/project.xml", 1,
     "output setting \"format\" = 7, which is no format of this build; the formats are 20 (DPX)", -1, "No renderer", 0,
     Project(7)},
    {"ProjectFormatArray", "render --cpu --project {dir}/project.xml", 1,
     "output setting \"format\" = an array, which is not a format number; the formats are 20 (DPX)", -1, "No renderer",
     0, Project(PlistValue::MakeArray())},
    {"ProjectFormatTextOverridden", "render --cpu --project {dir}/project.xml --format dpx", 0, " -> ", 6, "", 0,
     Project("dpx")},
    {"ProjectSnippetsAllBeyond", "render --cpu --project {dir}/project.xml", 1,
     "all its snippets (10-20, 30-31) lie beyond the clip; the clip's last frame is 5", 0, "", 0,
     Project(20, {10, 20, 30, 31})},
    {"ProjectSnippetsSomeBeyond", "render --cpu --project {dir}/project.xml", 0,
     "snippets 10-20 lie beyond the clip and are left out", 6, "", 0, Project(20, {0, 1, 10, 20})},
    // --frames against the clip's length: the frames that exist render and the rest are named.
    {"RangeInside", "render --cpu --out {dir}/out --frames 1-2 {clip}", 0, " -> ", 2},
    {"RangeEndsAtTheLastFrame", "render --cpu --out {dir}/out --frames 3-5 {clip}", 0, " -> ", 3},
    {"RangeEndsBeyond", "render --cpu --out {dir}/out --frames 3-9 {clip}", 0,
     "frames 6-9 of --frames 3-9 lie beyond the clip's last frame; rendering 3-5", 3},
    {"RangeOnlyTheLastFrameIsIn", "render --cpu --out {dir}/out --frames 5-6 {clip}", 0,
     "frame 6 of --frames 5-6 lies beyond the clip's last frame; rendering 5-5", 1},
    {"RangeOfOneFrame", "render --cpu --out {dir}/out --frames 4-4 {clip}", 0, " -> ", 1},
    {"RangeOfTheLastFrameAlone", "render --cpu --out {dir}/out --frames 5-5 {clip}", 0, " -> ", 1},
    {"RangeStartsJustBeyond", "render --cpu --out {dir}/out --frames 6-7 {clip}", 1,
     "--frames 6-7 lies beyond the clip, whose last frame is 5; nothing rendered", 0},
    {"RangeFarBeyond", "render --cpu --out {dir}/out --frames 100-200 {clip}", 1,
     "--frames 100-200 lies beyond the clip, whose last frame is 5; nothing rendered", 0},
    // Spanned clips: a missing middle file is refused unless asked for; a later file stands for
    // its clip.
    {"SpanWhole", "render --cpu --out {dir}/out {span}", 0, " -> ", 6, "cannot render movie files"},
    {"SpanMiddleFileMissing", "render --cpu --out {dir}/out {span}", 1,
     "the clip is incomplete: its file {dir}/card/A001_C001_0101AB_002.R3D is missing (--allow-incomplete renders the "
     "2 frames of the files before it)",
     0, "cannot render movie files", 0, DropMiddleFile},
    {"SpanMiddleFileMissingAllowed", "render --cpu --allow-incomplete --out {dir}/out {span}", 0,
     "the clip is incomplete: its file {dir}/card/A001_C001_0101AB_002.R3D is missing; rendering the 2 frames of the "
     "files before it",
     2, "cannot render movie files", 0, DropMiddleFile},
    {"SpanSecondFileNamed", "render --cpu --out {dir}/out {dir}/card/A001_C001_0101AB_002.R3D", 0,
     "part 2 of the R3D clip {span}; the clip is rendered from there", 6, "cannot render movie files"},
    {"SpanInfoOfALaterFile", "info --json {dir}/card/A001_C001_0101AB_002.R3D", 0, "\"frameCount\": 6"},
    // One output folder, one writer: frames another render is writing are refused.
    {"LockSameFramesAreRefused", "render --cpu --out {dir}/out {clip}", 1, kLocked, 0, "", 0,
     [](Scratch& s) { Hold(s, 0, 5); }},
    {"LockOverlappingFramesAreRefused", "render --cpu --out {dir}/out {clip}", 1, kLocked, 0, "", 0,
     [](Scratch& s) { Hold(s, 5, 100); }},
    {"LockOtherFramesGoAhead", "render --cpu --out {dir}/out {clip}", 0, " -> ", 6, "", 0,
     [](Scratch& s) { Hold(s, 6, 100); }},  // a render farm's chunks of one clip
};

class CliCases : public ::testing::TestWithParam<CliCase> {};

TEST_P(CliCases, ExitCodeMessageAndFrames) {
    const CliCase& c = GetParam();
    Scratch s;
    if (c.before) c.before(s);
    const auto r = Ombrel(s.Expand(c.args));
    EXPECT_EQ(r.status, c.status) << r.output;
    EXPECT_TRUE(Has(r, s.Expand(c.says))) << "wanted: " << s.Expand(c.says) << "\n" << r.output;
    if (*c.never) { EXPECT_FALSE(Has(r, c.never)) << r.output; }
    if (c.lines) { EXPECT_EQ(Lines(r.output), c.lines) << r.output; }
    if (c.frames >= 0) { EXPECT_EQ(DpxFrames(s.out).size(), size_t(c.frames)) << r.output; }
    EXPECT_EQ(test::ReadWholeFile(s.dir / "broken.xml"), kBrokenProject) << "a project is only ever read";
}

INSTANTIATE_TEST_SUITE_P(Rows, CliCases, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CliCases, UnknownStockNamesTheStocksOfThisBuild) {
    const auto r = Ombrel("render --stock Kodachrome99 x_001.R3D");
    EXPECT_EQ(r.status, 2);
    for (const char* stock : {"5207", "8543", "KodakTriX"}) EXPECT_TRUE(Has(r, stock)) << stock << "\n" << r.output;
}

TEST(CliCases, VersionNamesTheDataRoot) {
    EXPECT_TRUE(Has(Ombrel("--version"), "data root: "));
    test::ScopedDataRoot elsewhere("/opt/elsewhere");
    const auto r = Ombrel("--version");
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(Has(r, "ombrel ")) << r.output;
    EXPECT_TRUE(Has(r, "data root: /opt/elsewhere")) << r.output;
}

// The window needs a display; without one it says how to get one, and makes no window.
TEST(CliCases, GuiWithoutADisplayAndThePreferences) {
    test::ScopedEnv x("DISPLAY", nullptr), w("WAYLAND_DISPLAY", nullptr), q("QT_QPA_PLATFORM", nullptr);
    auto r = Ombrel("gui");
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(Has(r, "ombrel: no display to open the window on (set DISPLAY, or run under xvfb-run)")) << r.output;
    const std::string conf = std::string(std::getenv("XDG_CONFIG_HOME")) + "/Ombrel/Ombrel.conf";
    std::filesystem::create_directories(std::filesystem::path(conf).parent_path());
    test::WriteWholeFile(conf, "[General]\ndebayerSetting=2\nuseRocket=false\n");
    r = Ombrel("prefs debayerSetting");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.output, "2\n");
    EXPECT_EQ(Ombrel("prefs absent").status, 1);
    EXPECT_TRUE(Has(Ombrel("prefs"), "useRocket = false"));
    std::filesystem::remove(conf);
}

}  // namespace
}  // namespace ombrel
