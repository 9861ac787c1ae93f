// The film data generators: stock tables, grain scans, grain curves and exposure tables,
// from the project's data/ and from small variants of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "core/Paths.h"
#include "datafile/DataFile.h"
#include "datafile/Resource.h"
#include "ombrel-data/ExposureLuts.h"
#include "ombrel-data/Generate.h"
#include "ombrel-data/ImageFile.h"
#include "ombrel-data/ParamFile.h"
#include "support/FileFaults.h"
#include "support/RefFile.h"
#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel::filmdata {
namespace {

using test::ReadWholeFile;
using test::TempDir;
using test::WriteWholeFile;

using Result = test::ShellResult;
const auto Shell = test::RunShell;

std::string Q(const std::string& text) { return "'" + text + "'"; }
std::string Tool(const std::string& args) { return Q(OMBREL_DATA_TOOL) + " " + args; }

const DataSet& Data() {
    static DataSet data = [] {
        DataSet d;
        std::string error;
        EXPECT_TRUE(d.Load(OMBREL_DATA_SOURCE_DIR, &error)) << error;
        return d;
    }();
    return data;
}

StockModel Stock(const std::string& name) {
    StockModel model;
    std::string error;
    EXPECT_TRUE(Data().LoadStock(name, &model, &error)) << error;
    return model;
}

CameraEncoding Camera(const std::string& profile) {
    CameraEncoding camera;
    std::string error;
    EXPECT_TRUE(Data().LoadCamera(profile, &camera, &error)) << error;
    return camera;
}

// One profile for each distinct input encoding: profiles that share a camera file share
// their tables.
std::vector<std::string> ProfilePerEncoding() {
    std::map<std::string, std::string> byFile;
    for (const auto& p : Data().catalogue().profiles()) byFile.emplace(p.cameraFile, p.name);
    std::vector<std::string> names;
    for (const auto& [file, name] : byFile) names.push_back(name);
    return names;
}

bool IsColourFilm(const StockEntry& e) { return e.kind == "colour" && e.tag < 50; }

std::array<float, 3> Neutral(const std::vector<float>& table, int i) {
    const size_t at = 3 * static_cast<size_t>(i + 64 * i + 4096 * i);
    return {table[at], table[at + 1], table[at + 2]};
}

// Display code per stop of scene light at 18% grey, on the green channel.
double MidSlope(const std::vector<float>& table, const CameraEncoding& camera) {
    const float up = static_cast<float>(camera.Encode(0.18 * std::sqrt(2.0)));
    const float down = static_cast<float>(camera.Encode(0.18 / std::sqrt(2.0)));
    return LookupTable(table.data(), up, up, up)[1] - LookupTable(table.data(), down, down, down)[1];
}

// Chroma of a chart colour through a table: the spread of its channels.
double Chroma(const std::vector<float>& table, const CameraEncoding& camera, Rgb light) {
    const auto out =
        LookupTable(table.data(), static_cast<float>(camera.Encode(light[0])),
                    static_cast<float>(camera.Encode(light[1])), static_cast<float>(camera.Encode(light[2])));
    return *std::max_element(out.begin(), out.end()) - *std::min_element(out.begin(), out.end());
}

// The catalogue as the tools read it, one stock a line with what its model says of itself,
// the popup order and the profiles, against tests/ref/tools/catalogue.txt.
TEST(FilmDataCatalogue, HoldsTheStocksTagsAndProfilesEveryToolReads) {
    const Catalogue& c = Data().catalogue();
    std::string text;
    for (const auto& e : c.stocks()) {
        StockModel model;
        std::string error;
        EXPECT_TRUE(model.Load(c, e, Data().viewing(), &error)) << error;
        text += std::to_string(e.tag) + "\t" + e.name + "\t" + e.displayName + "\t" + e.kind +
                (model.isBlackAndWhite() ? "\tgrey" : "") + (model.hasStatusM() ? "\tStatus M" : "") + "\n";
        EXPECT_EQ(c.FindStock(e.name), &e);
    }
    text += "popup:";
    for (int tag : c.popup()) text += " " + std::to_string(tag);
    text += "\nseparator: tag " + std::to_string(c.separatorTag()) + ", stock " + c.separatorStock() + "\n";
    for (const auto& p : c.profiles()) {
        CameraEncoding camera;
        std::string error;
        EXPECT_TRUE(camera.Load(c.CameraPath(p), &error)) << error;
        text += "profile " + p.name + "\t" + p.cameraFile + "\n";
    }
    EXPECT_TRUE(test::MatchesRef("tools/catalogue.txt", text));
    EXPECT_EQ(c.FindStock("unknown"), nullptr);
}

TEST(FilmDataCatalogue, BrokenParameterFilesAreRefusedWithFileAndKey) {
    TempDir dir;
    std::filesystem::copy(OMBREL_DATA_SOURCE_DIR, dir.path() + "/data", std::filesystem::copy_options::recursive);
    const std::string stocks = dir.path() + "/data/stocks/";
    const Viewing& viewing = Data().viewing();
    std::string error;

    StockModel model;
    const std::string good = ReadWholeFile(stocks + "5207.txt");
    WriteWholeFile(stocks + "x.txt", good + "interimage lots\n");
    EXPECT_TRUE(model.LoadFile(stocks + "x.txt", viewing, &error)) << "a key keeps its first line: " << error;
    // A replacement in a good model file, what the error says, and the file at fault: the one
    // read, or a print it names. No replacement: a file of three lines.
    const std::vector<std::tuple<const char*, const char*, const char*, const char*>> rows = {
        {nullptr, nullptr, "\"dmin\"", "x.txt"},
        {"\ninterimage ", "\ninterimage lots #", "\"lots\" is not a number", "x.txt"},
        {"sensitivity 0.90", "sensitivity 0.99", "sensitivity row 0", "x.txt"},
        {"print print-cinema", "print print-none", "cannot read", "print-none.txt"}};
    for (const auto& [from, to, says, file] : rows) {
        std::string text = "kind negative\nprint print-cinema\ndmin 0.2 0.6\n";
        if (from) text = std::string(good).replace(good.find(from), std::strlen(from), to);
        WriteWholeFile(stocks + "x.txt", text);
        EXPECT_FALSE(model.LoadFile(stocks + "x.txt", viewing, &error)) << says;
        EXPECT_NE(error.find(says), std::string::npos) << error;
        EXPECT_NE(error.find(file), std::string::npos) << error;
    }

    // A catalogue line without its model file names the line.
    std::string catalogue = ReadWholeFile(stocks + "catalogue.txt");
    catalogue.replace(catalogue.find("\tcolour\t5213.txt"), 16, "\tcolour");
    WriteWholeFile(stocks + "catalogue.txt", catalogue);
    DataSet broken;
    EXPECT_FALSE(broken.Load(dir.path() + "/data", &error));
    EXPECT_NE(error.find("catalogue.txt:"), std::string::npos) << error;

    Result cli = Shell(Tool("--data " + Q(dir.path() + "/data") + " curves --out " + Q(dir / "out")));
    EXPECT_EQ(cli.status, 1);
    EXPECT_NE(cli.output.find("ombrel-data: " + stocks + "catalogue.txt:"), std::string::npos) << cli.output;
    EXPECT_FALSE(std::filesystem::exists(dir / "out"));
}

TEST(FilmDataStockTables, EveryTableIsMonotoneOnTheNeutralAxisInRangeAndTimedToMidGrey) {
    const double mid = Data().viewing().midGreyOut;
    for (const std::string& profile : ProfilePerEncoding()) {
        const CameraEncoding camera = Camera(profile);
        const float grey = static_cast<float>(camera.Encode(0.18));
        for (const StockEntry& entry : Data().catalogue().stocks()) {
            const StockModel model = Stock(entry.name);
            for (bool statusM : {false, true}) {
                if (statusM && !model.hasStatusM()) continue;
                SCOPED_TRACE(profile + " / " + entry.name + (statusM ? " Status M" : ""));
                const auto table = BuildStockTable(camera, model, statusM);
                ASSERT_EQ(table.size(), kTableFloats);
                const auto [lo, hi] = std::minmax_element(table.begin(), table.end());
                EXPECT_GE(*lo, 0.0f);
                EXPECT_LE(*hi, 1.0f);
                EXPECT_TRUE(std::all_of(table.begin(), table.end(), [](float v) { return std::isfinite(v); }));
                for (int i = 1; i < kTableEdge; ++i) {
                    const auto a = Neutral(table, i - 1), b = Neutral(table, i);
                    for (int c = 0; c < 3; ++c)
                        ASSERT_LE(a[static_cast<size_t>(c)], b[static_cast<size_t>(c)]) << "level " << i;
                }
                // The scale spans most of the display range (the log looks a part of it).
                EXPECT_GT(Neutral(table, 63)[1] - Neutral(table, 0)[1], statusM || entry.tag >= 50 ? 0.3 : 0.6);
                if (statusM || !IsColourFilm(entry)) continue;
                const auto out = LookupTable(table.data(), grey, grey, grey);
                for (float v : out) EXPECT_NEAR(v, mid, 0.01);
            }
        }
    }
}

TEST(FilmDataStockTables, StocksDifferTheWayTheFilmsDo) {
    const CameraEncoding camera = Camera("5D");
    std::map<std::string, std::vector<float>> tables;
    for (const StockEntry& e : Data().catalogue().stocks())
        tables[e.name] = BuildStockTable(camera, Stock(e.name), false);

    // Colour negatives keep greys grey over the scale (a little crossover is the stock's).
    for (const StockEntry& e : Data().catalogue().stocks()) {
        if (Stock(e.name).kind() != StockKind::Negative) continue;
        for (int i = 3; i < 61; ++i) {
            const auto v = Neutral(tables[e.name], i);
            EXPECT_LT(*std::max_element(v.begin(), v.end()) - *std::min_element(v.begin(), v.end()), 0.035)
                << e.name << " at level " << i;
        }
    }
    // Black-and-white stocks are grey everywhere, and no two share a tone scale.
    std::vector<std::string> bw;
    for (const StockEntry& e : Data().catalogue().stocks()) {
        if (e.kind != "black and white") continue;
        bw.push_back(e.name);
        const auto& t = tables[e.name];
        for (size_t i = 0; i < t.size(); i += 3) {
            ASSERT_EQ(t[i], t[i + 1]) << e.name;
            ASSERT_EQ(t[i], t[i + 2]) << e.name;
        }
    }
    ASSERT_EQ(bw.size(), 6u);
    for (size_t a = 0; a < bw.size(); ++a) {
        for (size_t b = a + 1; b < bw.size(); ++b) {
            double most = 0.0;
            for (int i = 0; i < kTableEdge; ++i)
                most = std::max(most, std::abs(double(Neutral(tables[bw[a]], i)[0]) - Neutral(tables[bw[b]], i)[0]));
            EXPECT_GT(most, 0.02) << bw[a] << " and " << bw[b] << " print alike";
        }
    }
    // A red and a green patch: their spectral weighting sets the grey each stock gives them.
    const Rgb red{0.40, 0.05, 0.04}, foliage{0.09, 0.15, 0.06};
    auto bwLevel = [&](const std::string& name, Rgb light) {
        return LookupTable(tables[name].data(), float(camera.Encode(light[0])), float(camera.Encode(light[1])),
                           float(camera.Encode(light[2])))[0];
    };
    EXPECT_GT(bwLevel("KodakT-max", red), bwLevel("KodakTriX", red) + 0.02)
        << "extended red response prints reds lighter";

    // Slides are punchier than the negatives of the same maker, and the landscape slide the most.
    const std::vector<float>& neg = tables["5207"];
    EXPECT_GT(MidSlope(tables["FujiProvia100"], camera), MidSlope(neg, camera));
    EXPECT_GT(MidSlope(tables["FujiVelvia100"], camera), MidSlope(tables["FujiProvia100"], camera));
    EXPECT_GT(MidSlope(tables["FujiProvia100"], camera), MidSlope(tables["FujiAstia100"], camera));
    EXPECT_GT(Chroma(tables["FujiVelvia100"], camera, red), Chroma(tables["FujiProvia100"], camera, red) + 0.05);
    EXPECT_GT(Chroma(tables["FujiProvia100"], camera, red), Chroma(neg, camera, red));
    EXPECT_GT(Chroma(tables["8543"], camera, foliage), Chroma(tables["8553"], camera, foliage) + 0.03)
        << "the vivid negative against the low-contrast one";
    EXPECT_GT(MidSlope(tables["8543"], camera), MidSlope(tables["8553"], camera));

    // The instant print: soft, with lifted blacks, short of full white, and warm.
    const auto& instant = tables["Polaroid"];
    EXPECT_LT(MidSlope(instant, camera), MidSlope(tables["FujiAstia100"], camera));
    EXPECT_GT(Neutral(instant, 0)[1], 0.1);
    EXPECT_LT(Neutral(neg, 0)[1], 0.05);
    const auto greyOut =
        LookupTable(instant.data(), float(camera.Encode(0.18)), float(camera.Encode(0.18)), float(camera.Encode(0.18)));
    EXPECT_GT(greyOut[0], greyOut[2] + 0.02);
}

TEST(FilmDataStockTables, StatusMHoldsNegativeDensitiesAndTheLogLooksTheirEncodings) {
    const StockModel neg = Stock("5207");
    ASSERT_TRUE(neg.hasStatusM());
    // Density above base grows with exposure by the layer's contrast: 0.002 per code.
    const Rgb a = neg.RenderStatusM({0.18, 0.18, 0.18}), b = neg.RenderStatusM({0.36, 0.36, 0.36});
    for (size_t c = 0; c < 3; ++c) {
        const double densityPerStop = (b[c] - a[c]) * 1023.0 * Data().viewing().statusMDensityPerCode;
        EXPECT_GT(densityPerStop, 0.5 * std::log10(2.0));
        EXPECT_LT(densityPerStop, 0.7 * std::log10(2.0));
    }
    for (const char* name : {"FujiVelvia100", "KodakTriX", "Polaroid", "FujiPro160S", "Alexa - R709"})
        EXPECT_FALSE(Stock(name).hasStatusM()) << name;

    // The log-film look is the Status M of its negative, timed so that grey reads alike in
    // every channel.
    const StockModel look = Stock("Alexa - LogC Film");
    const Rgb greyLook = look.Render({0.18, 0.18, 0.18}), greyNeg = neg.RenderStatusM({0.18, 0.18, 0.18});
    EXPECT_GT(greyNeg[2] - greyNeg[0], 0.01) << "untimed, the layers' densities differ";
    for (const Rgb& light : {Rgb{0.3, 0.2, 0.1}, Rgb{0.01, 0.02, 0.5}, Rgb{2.0, 2.0, 2.0}}) {
        const Rgb lookOut = look.Render(light), negOut = neg.RenderStatusM(light);
        for (size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(greyLook[c], greyLook[0], 1e-9);
            EXPECT_NEAR(lookOut[c] - greyLook[c], negOut[c] - greyNeg[c], 1e-9);
        }
    }
    // The camera-log look puts grey where its published curve does: c log10(a 0.18 + b) + d.
    const Rgb logc = Stock("Alexa - LogC").Render({0.18, 0.18, 0.18});
    EXPECT_NEAR(logc[1], 0.247190 * std::log10(5.555556 * 0.18 + 0.052272) + 0.385537, 1e-9);
}

TEST(FilmDataStockTables, WrittenTablesGoThroughTheContainerAsTheReaderExpects) {
    TempDir dir;
    const auto table = BuildStockTable(Camera("EpicM"), Stock("5207"), false);

    // The command line makes the same table; the container holds it in the host's order.
    const Result one = Shell(Tool("stock --profile EpicM --stock 5207 " + Q(dir / "one.tin")));
    ASSERT_EQ(one.status, 0) << one.output;
    EXPECT_EQ(std::filesystem::file_size(dir / "one.tin"), kTableFloats * 4 + kContainerTailSize);
    auto data = GetUnscrambledData(dir / "one.tin");
    ASSERT_TRUE(data);
    ASSERT_GE(data->size(), kTableFloats * 4);
    EXPECT_EQ(std::memcmp(data->data(), table.data(), kTableFloats * 4), 0);
    const std::string raw = ReadWholeFile(dir / "one.tin");
    EXPECT_NE(std::memcmp(raw.data(), table.data(), 4096), 0) << "the payload is scrambled";

    const Result sm = Shell(Tool("stock --status-m --profile 5D --stock 8553 " + Q(dir / "sm.tin")));
    ASSERT_EQ(sm.status, 0) << sm.output;
    data = GetUnscrambledData(dir / "sm.tin");
    ASSERT_TRUE(data);
    const auto expected = BuildStockTable(Camera("5D"), Stock("8553"), true);
    EXPECT_EQ(std::memcmp(data->data(), expected.data(), kTableFloats * 4), 0);

    // A whole profile: every stock, and the Status M variants of the motion-picture negatives.
    const Result all = Shell(Tool("stocks --out " + Q(dir / "root") + " --profile RedMX_RC3RLF"));
    ASSERT_EQ(all.status, 0) << all.output;
    std::set<std::string> names;
    for (const auto& f : std::filesystem::directory_iterator(dir / "root/Profiles/RedMX_RC3RLF"))
        names.insert(f.path().filename().string());
    std::set<std::string> expectedNames;
    for (const StockEntry& e : Data().catalogue().stocks()) {
        expectedNames.insert("RedMX_RC3RLF_" + e.name + ".tin");
        if (e.tag <= 4) expectedNames.insert("RedMX_RC3RLF_" + e.name + "_SM.tin");
    }
    EXPECT_EQ(names, expectedNames);
    EXPECT_EQ(TablePath(dir / "root", "RedMX_RC3RLF", "Alexa - LogC", false),
              dir / "root/Profiles/RedMX_RC3RLF/RedMX_RC3RLF_Alexa - LogC.tin");

    // Refusals: a stock or profile not in the catalogue, a folder that cannot be made.
    WriteWholeFile(dir / "file", "x");
    for (const auto& [args, status, says] : std::vector<std::tuple<std::string, int, std::string>>{
             {"stock --profile EpicM --stock 5299 " + Q(dir / "bad.tin"), 1, "unknown stock \"5299\""},
             {"stock --profile Nikon --stock 5207 " + Q(dir / "bad.tin"), 1, "unknown profile \"Nikon\""},
             {"stock --profile EpicM --stock 5207 " + Q(dir / "file/sub/t.tin"), 1, "cannot create folder"},
             {"stock --profile EpicM", 2, ""},
             {"", 2, ""}}) {
        const Result bad = Shell(Tool(args));
        EXPECT_EQ(bad.status, status) << args;
        EXPECT_NE(bad.output.find(says), std::string::npos) << args << ": " << bad.output;
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "bad.tin"));
}

TEST(FilmDataStockTables, TheBuildMadeEveryTableOfEveryProfile) {
    const std::string profiles = ProfilesFolder();
    size_t count = 0;
    for (const auto& p : Data().catalogue().profiles()) {
        for (const StockEntry& e : Data().catalogue().stocks()) {
            const std::string path = TablePath(DataRoot(), p.name, e.name, false);
            ASSERT_EQ(path.rfind(profiles, 0), 0u) << path;
            ASSERT_TRUE(std::filesystem::exists(path)) << path;
            EXPECT_EQ(std::filesystem::file_size(path), kTableFloats * 4 + kContainerTailSize) << path;
            ++count;
        }
    }
    EXPECT_EQ(count, 230u);
    // The last fallback of both sides, as built, is the model's table.
    for (const char* profile : {"5D", "EpicM"}) {
        auto data = GetUnscrambledData(TablePath(DataRoot(), profile, "5207", false));
        ASSERT_TRUE(data);
        const auto table = BuildStockTable(Camera(profile), Stock("5207"), false);
        EXPECT_EQ(std::memcmp(data->data(), table.data(), kTableFloats * 4), 0) << profile;
    }
}

TEST(FilmDataExposure, TheTwoTablesAreInverseCurvesOfTheMovieEncoding) {
    const CameraEncoding camera = Camera(kExposureProfile);
    const auto cvToLog = BuildCvToLog(camera);
    const auto logToCv = BuildLogToCv(camera);
    ASSERT_EQ(cvToLog.size(), 65536u * 3);
    ASSERT_EQ(logToCv.size(), 65536u * 3);
    for (size_t i = 0; i < cvToLog.size(); i += 3) {
        ASSERT_EQ(cvToLog[i], cvToLog[i + 1]);
        ASSERT_EQ(cvToLog[i], cvToLog[i + 2]);
        ASSERT_EQ(logToCv[i], logToCv[i + 2]);
    }
    EXPECT_FLOAT_EQ(cvToLog[0], -3.0f);
    EXPECT_FLOAT_EQ(logToCv[0], 0.0f);
    EXPECT_FLOAT_EQ(logToCv[3 * 65535], 1.0f);
    EXPECT_NEAR(cvToLog[3 * 65535], 0.0f, 1e-6);  // code 1 is the encoding's white

    // Entry n of each table (first channel), and the entry of a log value.
    auto toLog = [&](size_t n) { return cvToLog[3 * n]; };
    auto toCode = [&](size_t n) { return logToCv[3 * n]; };
    auto logIndex = [](double log) { return size_t(std::clamp(int((log + 3.0) * 65536.0 / 6.0), 0, 65535)); };
    double worstCode = 0.0, worstLog = 0.0;
    for (size_t n = 0; n < 65536; ++n) {
        worstCode = std::max(worstCode, std::abs(toCode(logIndex(toLog(n))) - n / 65535.0));
        const double log = -3.0 + n * 6.0 / 65536.0;
        if (log >= 0.0) {
            EXPECT_FLOAT_EQ(toCode(n), 1.0f) << "light above white clips";
            continue;
        }
        worstLog = std::max(worstLog, std::abs(toLog(size_t(toCode(n) * 65535.0)) - log));
        if (n > 0) { ASSERT_GE(toCode(n), toCode(n - 1)); }
    }
    EXPECT_LT(worstCode, 2e-4);
    EXPECT_LT(worstLog, 3e-3);

    // The exposure model's round trip at exposure 0 is the identity within one step of its
    // 4096-entry table, with both look-ups taking the entry below.
    for (int i = 0; i < 4096; ++i)
        EXPECT_NEAR(toCode(logIndex(toLog(size_t(65535 * (i / 4095.0))))), i / 4095.0, 1.0 / 4095.0) << i;

    // The files: plain, little-endian, 786,432 bytes each.
    TempDir dir;
    const Result made = Shell(Tool("exposure-luts --out " + Q(dir.path())));
    ASSERT_EQ(made.status, 0) << made.output;
    for (const auto& [name, table] :
         {std::pair{"5D_CV2logLUT.bin", &cvToLog}, std::pair{"5D_log2CVLUT.bin", &logToCv}}) {
        const std::string bytes = ReadWholeFile(dir / name);
        ASSERT_EQ(bytes.size(), 786432u) << name;
        EXPECT_EQ(FloatsFromLittleEndian(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), *table) << name;
    }
    // 18% grey (log10 0.18 = -0.745) written out by hand: the entry's first byte is the low one.
    const std::string bytes = ReadWholeFile(dir / "5D_log2CVLUT.bin");
    EXPECT_NEAR(std::bit_cast<float>(test::Le(bytes, 12 * logIndex(std::log10(0.18)), 4)), camera.Encode(0.18), 1e-3);
}

GrainScan SmallScan(const std::string& name, int width = 512, int height = 384) {
    GrainParams params;
    std::string error;
    EXPECT_TRUE(Data().LoadGrain(name, &params, &error)) << error;
    params.width = width;
    params.height = height;
    return GenerateGrainScan(params);
}

// Correlation of channel a at each pixel with channel b `lag` pixels to the right.
double Correlation(const GrainScan& s, int lag, size_t a, size_t b) {
    double sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0;
    const double n = double(s.width) * s.height;
    for (size_t y = 0; y < size_t(s.height); ++y) {
        for (size_t x = 0; x < size_t(s.width); ++x) {
            const double va = s.rgb[3 * (y * s.width + x) + a], vb = s.rgb[3 * (y * s.width + (x + lag) % s.width) + b];
            sa += va, sb += vb, saa += va * va, sbb += vb * vb, sab += va * vb;
        }
    }
    return (sab / n - sa * sb / n / n) / std::sqrt((saa / n - sa * sa / n / n) * (sbb / n - sb * sb / n / n));
}

// How much stronger the seams are than the inner edges, across columns and rows: about 1 where
// the scan tiles.
std::array<double, 2> SeamRatios(const GrainScan& scan) {
    const SeamStats s = MeasureSeams(scan);
    return {s.seamColumns / s.innerColumns, s.seamRows / s.innerRows};
}

TEST(FilmDataGrain, ScansCentreOnHalfAfterTheRangeMappingAndCoarsenWithTheGauge) {
    std::vector<double> spreads, correlations;
    for (const char* name : kGrainNames) {
        SCOPED_TRACE(name);
        const GrainScan scan = SmallScan(name);
        ASSERT_EQ(scan.rgb.size(), 512u * 384u * 3u);
        const ScanStats stats = MappedStats(scan);
        for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(stats.mean[c], 0.5, 0.02) << "channel " << c;
        spreads.push_back((stats.stdDev[0] + stats.stdDev[1] + stats.stdDev[2]) / 3.0);
        correlations.push_back(Correlation(scan, 2, 1, 1));
        // The layers differ, so the grain has colour; the scanner's crosstalk ties them.
        EXPECT_GT(Correlation(scan, 0, 0, 1), 0.1);
        EXPECT_LT(Correlation(scan, 0, 0, 1), 0.9);
    }
    EXPECT_LT(spreads[0], spreads[1]);
    EXPECT_LT(spreads[1], spreads[2]);
    EXPECT_LT(correlations[0], correlations[1]) << "16mm grains are larger than 35mm grains";
    EXPECT_LT(correlations[1], correlations[2]) << "8mm grains are larger than 16mm grains";
    EXPECT_GT(correlations[2], 0.3);

    // The same parameters make the same scan.
    EXPECT_EQ(SmallScan("CP16", 300, 200).rgb, SmallScan("CP16", 300, 200).rgb);
}

TEST(FilmDataGrain, ScansTileAcrossBothEdges) {
    for (const char* name : kGrainNames)
        for (double ratio : SeamRatios(SmallScan(name, 400, 300))) EXPECT_NEAR(ratio, 1.0, 0.15) << name;
    // The measure sees a seam where there is one: the coarse grain cut off short of its torus.
    const GrainScan full = SmallScan("CP8", 400, 300);
    GrainScan cut{300, 200, {}};
    for (int y = 0; y < cut.height; ++y)
        cut.rgb.insert(cut.rgb.end(), full.rgb.begin() + 3 * y * full.width,
                       full.rgb.begin() + 3 * (y * full.width + cut.width));
    for (double ratio : SeamRatios(cut)) EXPECT_GT(ratio, 1.3);
}

TEST(FilmDataGrain, TheBuildsScansArePlainTiffsThatTileAndCentreOnHalf) {
    for (const char* name : kGrainNames) {
        std::string path;
        ASSERT_TRUE(FindResource(std::string("Resources/") + name + ".bin", &path).ok()) << name;
        // An independent reader agrees on what the file is.
        const Result info = Shell("tiffinfo " + Q(path));
        EXPECT_EQ(info.status, 0) << info.output;
        EXPECT_NE(info.output.find("Bits/Sample: 8"), std::string::npos) << info.output;
        EXPECT_NE(info.output.find("Samples/Pixel: 3"), std::string::npos) << info.output;
        Image8 image;
        std::string error;
        ASSERT_TRUE(ReadTiffRgb8(path, &image, &error)) << error;
        GrainParams params;
        ASSERT_TRUE(Data().LoadGrain(name, &params, &error)) << error;
        EXPECT_EQ(image.width, params.width);
        EXPECT_EQ(image.height, params.height);
        const GrainScan scan{image.width, image.height, image.rgb};
        const ScanStats stats = MappedStats(scan);
        for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(stats.mean[c], 0.5, 0.02) << name;
        EXPECT_NEAR((stats.stdDev[0] + stats.stdDev[1] + stats.stdDev[2]) / 3.0, params.targetStd, 0.02) << name;
        for (double ratio : SeamRatios(scan)) EXPECT_LT(ratio, 1.1) << name;
    }
}

TEST(FilmDataGrain, CurvesPeakInTheMidTonesGrowWithSpeedAndAreGreyForBlackAndWhite) {
    std::map<StockKind, std::vector<std::pair<double, double>>> speedAndPeak;
    for (const StockEntry& e : Data().catalogue().stocks()) {
        SCOPED_TRACE(e.name);
        const StockModel model = Stock(e.name);
        const auto curve = BuildGrainCurve(model, Data().curveParams());
        for (size_t c = 0; c < 3; ++c) {
            auto at = [&](size_t i) { return curve[3 * i + c]; };
            size_t peakAt = 0;
            for (size_t i = 0; i < 256; ++i) peakAt = at(i) > at(peakAt) ? i : peakAt;
            EXPECT_GT(at(peakAt), 0.0f);
            EXPECT_GE(peakAt, 64u);
            EXPECT_LE(peakAt, 166u);
            EXPECT_LT(at(0), 0.7f * at(peakAt)) << "deep shadows";
            EXPECT_LT(at(255), 0.7f * at(peakAt)) << "highlights";
            EXPECT_LT(at(255), at(0) * 1.5f);
        }
        for (size_t i = 0; e.kind == "black and white" && i < curve.size(); i += 3)
            EXPECT_TRUE(curve[i] == curve[i + 1] && curve[i] == curve[i + 2]) << "level " << i / 3;
        if (e.tag < 50)
            speedAndPeak[model.kind()].push_back({model.speed(), *std::max_element(curve.begin(), curve.end())});
    }
    for (auto& [kind, list] : speedAndPeak)
        for (const auto& [speedA, peakA] : list)
            for (const auto& [speedB, peakB] : list)
                EXPECT_TRUE(speedA <= speedB || peakA >= peakB) << "speed " << speedA << " against " << speedB;
    const auto slowest = BuildGrainCurve(Stock("FujiNeopan"), Data().curveParams());
    const auto fastest = BuildGrainCurve(Stock("IlfordDelta3200"), Data().curveParams());
    EXPECT_GT(fastest[3 * 110], 2.0f * slowest[3 * 110]);

    // Written scrambled, one file per stock, read back as the curve loader reads them.
    TempDir dir;
    const Result made = Shell(Tool("curves --out " + Q(dir.path())));
    ASSERT_EQ(made.status, 0) << made.output;
    size_t files = 0;
    for (const auto& f : std::filesystem::directory_iterator(dir.path())) {
        ++files;
        EXPECT_EQ(f.path().extension(), ".emoGrain");
        EXPECT_EQ(std::filesystem::file_size(f.path()), 3072u + kContainerTailSize);
    }
    EXPECT_EQ(files, Data().catalogue().stocks().size());
    auto data = GetUnscrambledData(dir / "KodakTriX.emoGrain");
    ASSERT_TRUE(data);
    const auto curve = BuildGrainCurve(Stock("KodakTriX"), Data().curveParams());
    EXPECT_EQ(std::memcmp(data->data(), curve.data(), 3072), 0);
}

}  // namespace
}  // namespace ombrel::filmdata
