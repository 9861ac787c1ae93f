// Representative rows of the hostile-input corpus, each a reproduction of input that once
// crashed the command line, rendered nonsense, or exited 0 on a value known to be bad. Every
// row runs `ombrel` on a six-frame clip of 64 x 32 made here.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// The exit a row expects. kRefused is 1 or 2: a file that cannot be read at all is still
// answered with 2 by some commands, and either is an orderly refusal.
constexpr int kRefused = -2;

struct Inputs {
    test::TempDir dir;
    std::string clip = dir / "A001_C002_0101AB_001.R3D";
    std::string out = dir / "out";

    Inputs() {
        const test::ShellResult made =
            test::RunShell(std::string(R3D_MAKE) + " '" + clip + "' --size 64x32 --frames 6 --audio-channels 0");
        EXPECT_EQ(made.status, 0) << made.output;
    }

    // A look of ordinary values with `changes` made, as a project of the clip or a settings file.
    std::string Look(const std::vector<std::pair<const char*, PlistValue>>& changes, bool project) const {
        PlistValue look = PlistValue::MakeDict();
        for (const char* key : {"grainMultiplier", "colorChangePercent", "scurveChangePercent", "saturation", "lift",
                                "gamma", "gain", "white", "grainScale"})
            look.set(key, 1.0);
        look.set("kelvin", 5600.0);
        look.set("mid", 0.5);
        look.set("grainName", "CP35");
        look.set("stockName", "5207");
        for (const auto& [key, value] : changes) look.set(key, value);
        PlistValue written = look;
        if (project) {
            PlistValue clips = PlistValue::MakeDict(), paths = PlistValue::MakeArray();
            clips.set(clip, look);
            paths.append(clip);
            PlistValue output = PlistValue::MakeDict();
            output.set("format", 20);  // DPX
            written = PlistValue::MakeDict();
            written.set("Paths", paths);
            written.set("clips", clips);
            written.set("outputSettings", output);
        }
        const std::string path = dir / (project ? "project.xml" : "look.plist");
        EXPECT_TRUE(written.WriteToFile(path).ok());
        return path;
    }

    std::string Deep(const std::string& name, int depth, const char* open, const char* close) const {
        std::string text = "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict><key>Paths</key><array><string>" +
                           clip + "</string></array><key>deep</key>";
        for (int i = 0; i < depth; ++i) text += open;
        text += "<true/>";
        for (int i = 0; i < depth; ++i) text += close;
        text += "</dict>\n</plist>\n";
        const std::string path = dir / name;
        test::WriteWholeFile(path, text);
        return path;
    }
};

std::string Q(const std::string& s) { return "'" + s + "'"; }

struct HostileRow {
    const char* name;
    std::function<std::string(const Inputs&)> args;  // after `ombrel`
    int exit;
    const char* says;  // text the output holds; empty for none
};

// `render` of the clip's first two frames with these options.
std::function<std::string(const Inputs&)> Render(std::string options) {
    return [options](const Inputs& in) {
        return "render " + Q(in.clip) + " --out " + Q(in.out) + " --cpu --frames 0-1 " + options;
    };
}

std::function<std::string(const Inputs&)> Look(const char* key, PlistValue value, bool project) {
    return [key, value, project](const Inputs& in) {
        const std::string file = Q(in.Look({{key, value}}, project));
        return project ? "render --project " + file + " --out " + Q(in.out) + " --cpu"
                       : "render --settings " + file + " " + Q(in.clip) + " --out " + Q(in.out) + " --cpu --frames 0-1";
    };
}

std::function<std::string(const Inputs&)> Points(int64_t first, int64_t last) {
    return [first, last](const Inputs& in) {
        return "render --project " + Q(in.Look({{"userFrameIn", first}, {"userFrameOut", last}}, true)) + " --out " +
               Q(in.out) + " --cpu";
    };
}

class HostileInput : public ::testing::TestWithParam<HostileRow> {};

TEST_P(HostileInput, EndsInOrderWithAMessage) {
    const HostileRow& row = GetParam();
    Inputs in;
    const test::ShellResult r = test::RunShell(std::string(OMBREL_CLI) + " " + row.args(in));
    ASSERT_NE(r.status, -1) << "ended by a signal\n" << r.output;
    if (row.exit == kRefused)
        EXPECT_TRUE(r.status == 1 || r.status == 2) << r.status << "\n" << r.output;
    else
        EXPECT_EQ(r.status, row.exit) << r.output;
    EXPECT_NE(r.output.find(row.says), std::string::npos) << r.output;
}

const double kNan = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Corpus, HostileInput,
    ::testing::Values(
        // A scan name spelled loosely stands for the installed scan, as gauge names do.
        HostileRow{"GaugeScanWithASpace", Render("--gauge 'CP 16'"), 0, ""},
        HostileRow{"GaugeScanWithATrailingSpace", Render("--gauge 'CP16 '"), 0, ""},
        HostileRow{"GaugeScanDashed", Render("--gauge cp-16"), 0, ""},
        HostileRow{"GaugeScanDotted", Render("--gauge CP1.6"), 0, ""},
        HostileRow{"GaugeNoScan", Render("--gauge CP99"), 2, "--gauge wants a film gauge"},
        HostileRow{"ProjectGrainNameNamesNoScan", Look("grainName", "CP99", true), 1,
                   "grainName \"CP99\" names no grain scan"},
        HostileRow{"SettingsGrainNameSpaced", Look("grainName", "CP 16", false), 1, "grainName \"CP 16\""},
        HostileRow{"GrainNaN", Render("--grain nan"), 2, "--grain nan"},
        HostileRow{"LevelsNaN", Render("--levels nan,nan,nan"), 2, "--levels black nan"},
        HostileRow{"LiftNaN", Render("--lift nan"), 2, "--lift nan"},
        HostileRow{"ExposureNaN", Render("--exposure nan"), 2, "--exposure nan"},
        HostileRow{"KelvinZero", Render("--kelvin 0"), 2, "--kelvin 0 is outside 1000 to 20000"},
        HostileRow{"GammaFar", Render("--gamma 50"), 2, "--gamma 50 is outside 0 to 2"},
        HostileRow{"LevelsOutOfOrder", Render("--levels 1,0.5,0"), 2, "black below mid below white"},
        HostileRow{"LevelsWithAFourthValue", Render("--levels 0,0.5,1,2"), 2, "--levels wants black,mid,white"},
        HostileRow{"ProjectLiftNaN", Look("lift", kNan, true), 1, "lift nan is not a number"},
        HostileRow{"ProjectExposureFar", Look("exposure", 1e30, true), 1, "exposure 1e+30 is outside -10 to 10"},
        HostileRow{"SettingsGammaInfinite", Look("gamma", std::numeric_limits<double>::infinity(), false), 1,
                   "gamma inf"},
        HostileRow{"ProjectOutBeforeInIsRefusedNotSwapped", Points(4, 1), 1,
                   "out point 1 is before in point 4 (refused, not swapped)"},
        HostileRow{"ProjectInPointSmallestInt", Points(-2147483648LL, 3), 1, "userFrameIn: in point -2147483648"},
        HostileRow{"ProjectInPointBeyond32Bits", Points(int64_t{1} << 32, 3), 1, "userFrameIn: in point"},
        HostileRow{
            "ProjectShowNested50000",
            [](const Inputs& in) { return "project show " + Q(in.Deep("deep.xml", 50000, "<array>", "</array>")); }, 1,
            "nested deeper than 256 levels"},
        HostileRow{"ProjectRenderNested50000",
                   [](const Inputs& in) {
                       return "render --project " + Q(in.Deep("deep.xml", 50000, "<dict><key>k</key>", "</dict>")) +
                              " --cpu --out " + Q(in.out);
                   },
                   kRefused, "nested deeper than 256 levels"},
        HostileRow{"SettingsNested100000",
                   [](const Inputs& in) {
                       return "render --settings " + Q(in.Deep("deep.plist", 100000, "<array>", "</array>")) + " " +
                              Q(in.clip) + " --cpu --out " + Q(in.out);
                   },
                   kRefused, "nested deeper than 256 levels"},
        // Controls: the same commands with good values render.
        HostileRow{"GoodRender", Render("--grain 0.5 --levels 0,0.5,1"), 0, ""},
        HostileRow{"GoodProject", Points(1, 4), 0, ""}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
