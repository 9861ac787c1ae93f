// Exit codes: 2 only for arguments the command line cannot take; a file that cannot be read,
// a clip that is not there or a folder that cannot be made is bad input and ends with 1.
// Files are only ever regular files of a bounded size: a device or FIFO is never read or
// waited on.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "CliSupport.h"
#include "core/PlistValue.h"

namespace ombrel {
namespace {

using namespace clitest;

const char* const kBrokenProject =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n\t<key>Paths</key>\n"
    "\t<array>\n\t\t<string>/a.mov</string>\n\t</dict>\n</plist>\n";

// The files the rows name, made once per row.
struct Inputs {
    test::TempDir dir;
    std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 2));
    std::string broken = dir / "broken.xml";
    std::string fifo = MakeFifo(dir / "pipe.xml");
    std::string arraySettings = dir / "array.plist";
    std::string huge = dir / "huge.xml";
    std::string file = dir / "file.txt";
    Inputs() {
        test::WriteWholeFile(broken, kBrokenProject);
        test::WriteWholeFile(arraySettings, PlistValue::MakeArray().ToXml());
        test::WriteWholeFile(file, "a file where a folder should be");
        // Sparse: over the bound without taking the space.
        test::WriteWholeFile(huge, "");
        std::filesystem::resize_file(huge, (65u << 20));
    }
};

struct ExitCase {
    const char* name;
    std::function<std::string(const Inputs&)> args;
    int status;
    std::function<std::string(const Inputs&)> says;  // a part of the output
};

std::function<std::string(const Inputs&)> Text(std::string s) {
    return [s](const Inputs&) { return s; };
}

const ExitCase kExitCases[] = {
    // Bad input: 1.
    {"BrokenProjectIsBadInput", [](const Inputs& in) { return "render --project " + in.broken; }, 1,
     [](const Inputs& in) { return "cannot read the project " + in.broken + ", line 7:"; }},
    {"ProjectNotThere", [](const Inputs& in) { return "render --project " + in.dir / "absent.xml"; }, 1,
     [](const Inputs& in) { return in.dir / "absent.xml: no such file"; }},
    {"ProjectIsAFifo", [](const Inputs& in) { return "render --project " + in.fifo; }, 1,
     [](const Inputs& in) { return in.fifo + " is a FIFO (named pipe), not a file"; }},
    {"ProjectIsADirectory", [](const Inputs& in) { return "render --project " + in.dir.path(); }, 1,
     [](const Inputs& in) { return in.dir.path() + " is a directory, not a file"; }},
    {"ProjectTooLarge", [](const Inputs& in) { return "render --project " + in.huge; }, 1,
     Text("files over 64 MB are not read")},
    {"ShowOfNoFile", [](const Inputs& in) { return "project show " + in.dir / "absent.xml"; }, 1,
     Text("absent.xml: no such file")},
    {"ShowOfAnEndlessDevice", Text("project show /dev/zero"), 1, Text("/dev/zero is a character device, not a file")},
    {"ShowOfAFifo", [](const Inputs& in) { return "project show " + in.fifo; }, 1, Text("is a FIFO (named pipe)")},
    {"ShowOfABrokenProject", [](const Inputs& in) { return "project show " + in.broken; }, 1, Text(", line 7:")},
    {"SettingsNotThere", [](const Inputs& in) { return "render --settings " + in.dir / "absent.plist " + in.clip; }, 1,
     Text("absent.plist: no such file")},
    {"SettingsOfAnEndlessDevice", [](const Inputs& in) { return "render --settings /dev/zero " + in.clip; }, 1,
     Text("/dev/zero is a character device, not a file")},
    {"SettingsIsAFifo", [](const Inputs& in) { return "render --settings " + in.fifo + " " + in.clip; }, 1,
     Text("is a FIFO (named pipe), not a file")},
    {"SettingsWhoseTopIsAnArray",
     [](const Inputs& in) { return "render --settings " + in.arraySettings + " " + in.clip; }, 1,
     Text("array.plist: its top level is an array, not a dictionary of clip settings")},
    {"MissingClip", [](const Inputs& in) { return "render --out " + in.dir / "out " + in.dir / "absent_001.R3D"; }, 1,
     Text("absent_001.R3D: no such clip")},
    {"OutputFolderCannotBeMade", [](const Inputs& in) { return "render --out " + in.file + "/sub " + in.clip; }, 1,
     Text("could not be made")},
    {"InfoOfNoFile", [](const Inputs& in) { return "info " + in.dir / "absent_001.R3D"; }, 1, Text("no such file")},
    // Arguments the command line cannot take: 2.
    {"NoClips", Text("render"), 2, Text("name the clips to render")},
    {"UnknownCommand", Text("bogus"), 2, Text("")},
    {"UnknownFormat", [](const Inputs& in) { return "render --format avi " + in.clip; }, 2, Text("")},
    {"SizeWithoutHeight", [](const Inputs& in) { return "render --size 1920 " + in.clip; }, 2,
     Text("--size wants WxH")},
    {"BackwardRange", [](const Inputs& in) { return "render --frames 10-2 " + in.clip; }, 2,
     Text("--frames wants an inclusive range")},
    {"OneFrameRange", [](const Inputs& in) { return "render --frames 4-4 " + in.clip; }, 2,
     Text("--frames wants at least two frames")},
    {"UnknownGauge", [](const Inputs& in) { return "render --gauge XX16 " + in.clip; }, 2,
     Text("--gauge wants a film gauge")},
    {"FitOutOfRange", [](const Inputs& in) { return "render --fit 7 " + in.clip; }, 2, Text("")},
    {"UnknownStockListsTheStocks", [](const Inputs& in) { return "render --stock Kodachrome99 " + in.clip; }, 2,
     Text("--stock Kodachrome99 is not a stock of this build; the stocks are: ")},
    {"InfoWithoutClip", Text("info"), 2, Text("")},
    {"ProjectWithoutCommand", Text("project"), 2, Text("")},
    {"ShowWithoutFile", Text("project show"), 2, Text("")},
    {"ClipWithoutProject", [](const Inputs& in) { return "render --clip " + in.clip; }, 2, Text("")},
};

class ExitCodes : public ::testing::TestWithParam<ExitCase> {};

TEST_P(ExitCodes, BadInputIsOneAndUnparsableArgumentsAreTwo) {
    const ExitCase& c = GetParam();
    Inputs in;
    const auto r = Ombrel(c.args(in));
    EXPECT_EQ(r.status, c.status) << r.output;
    EXPECT_TRUE(Has(r, c.says(in))) << "wanted: " << c.says(in) << "\n" << r.output;
    EXPECT_EQ(test::ReadWholeFile(in.broken), kBrokenProject) << "a project is only ever read";
}

INSTANTIATE_TEST_SUITE_P(Cases, ExitCodes, ::testing::ValuesIn(kExitCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ExitCodes, UnknownStockNamesTheStocksOfThisBuild) {
    Inputs in;
    const auto r = Ombrel("render --stock Kodachrome99 " + in.clip);
    EXPECT_EQ(r.status, 2);
    for (const char* stock : {"5207", "8543", "KodakTriX"}) EXPECT_TRUE(Has(r, stock)) << stock << "\n" << r.output;
    EXPECT_EQ(Lines(r.output), 1u) << r.output;
}

}  // namespace
}  // namespace ombrel
