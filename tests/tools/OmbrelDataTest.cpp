// The film data generators: stock tables, grain scans, grain curves and exposure tables, from the
// project's data/, and the files the build made with them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
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

std::string Q(const std::string& text) { return "'" + text + "'"; }
test::ShellResult Tool(const std::string& args) { return test::RunShell(Q(OMBREL_DATA_TOOL) + " " + args); }

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

// The payload of a file the build made, less the container's tail.
std::vector<uint8_t> Built(const std::string& path) {
    auto data = GetUnscrambledData(path);
    EXPECT_TRUE(data) << path;
    return data ? std::vector<uint8_t>(data->begin(), data->end() - long(kContainerTailSize)) : std::vector<uint8_t>{};
}

bool SameBytes(const std::vector<uint8_t>& bytes, const auto& values) {
    return bytes.size() == values.size() * sizeof(values[0]) &&
           std::memcmp(bytes.data(), values.data(), bytes.size()) == 0;
}

std::array<float, 3> Neutral(const std::vector<float>& table, int i) {
    const size_t at = 3 * static_cast<size_t>(i + 64 * i + 4096 * i);
    return {table[at], table[at + 1], table[at + 2]};
}

std::array<float, 3> Look(const std::vector<float>& table, const CameraEncoding& camera, Rgb light) {
    return LookupTable(table.data(), float(camera.Encode(light[0])), float(camera.Encode(light[1])),
                       float(camera.Encode(light[2])));
}

TEST(FilmDataCatalogue, HoldsTheStocksTagsAndProfilesEveryToolReads) {
    const Catalogue& c = Data().catalogue();
    std::string text, error;
    for (const auto& e : c.stocks()) {
        StockModel model;
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
        EXPECT_TRUE(camera.Load(c.CameraPath(p), &error)) << error;
        text += "profile " + p.name + "\t" + p.cameraFile + "\n";
    }
    EXPECT_TRUE(test::MatchesRef("tools/catalogue.txt", text));
    EXPECT_EQ(c.FindStock("unknown"), nullptr);
}

TEST(FilmDataCatalogue, BrokenParameterFilesAreRefusedWithFileAndKey) {
    TempDir dir;
    std::filesystem::copy(OMBREL_DATA_SOURCE_DIR, dir / "data", std::filesystem::copy_options::recursive);
    const std::string stocks = dir / "data/stocks/";
    const std::string good = ReadWholeFile(stocks + "5207.txt");
    std::string error;
    StockModel model;
    WriteWholeFile(stocks + "x.txt", good + "interimage lots\n");
    EXPECT_TRUE(model.LoadFile(stocks + "x.txt", Data().viewing(), &error)) << "a key keeps its first line: " << error;
    // A replacement in a good model file, what the error says, and the file at fault: the one
    // read, or a print it names. No replacement: a file of three lines.
    for (const auto& [from, to, says, file] :
         std::vector<std::tuple<const char*, const char*, const char*, const char*>>{
             {nullptr, nullptr, "\"dmin\"", "x.txt"},
             {"\ninterimage ", "\ninterimage lots #", "\"lots\" is not a number", "x.txt"},
             {"sensitivity 0.90", "sensitivity 0.99", "sensitivity row 0", "x.txt"},
             {"print print-cinema", "print print-none", "cannot read", "print-none.txt"}}) {
        std::string text = "kind negative\nprint print-cinema\ndmin 0.2 0.6\n";
        if (from) text = std::string(good).replace(good.find(from), std::strlen(from), to);
        WriteWholeFile(stocks + "x.txt", text);
        EXPECT_FALSE(model.LoadFile(stocks + "x.txt", Data().viewing(), &error)) << says;
        EXPECT_NE(error.find(says), std::string::npos) << error;
        EXPECT_NE(error.find(file), std::string::npos) << error;
    }
    // A catalogue line without its model file names the line, and the tool makes nothing.
    std::string catalogue = ReadWholeFile(stocks + "catalogue.txt");
    WriteWholeFile(stocks + "catalogue.txt", catalogue.replace(catalogue.find("\tcolour\t5213.txt"), 16, "\tcolour"));
    const auto cli = Tool("--data " + Q(dir / "data") + " curves --out " + Q(dir / "out"));
    EXPECT_EQ(cli.status, 1);
    EXPECT_NE(cli.output.find("ombrel-data: " + stocks + "catalogue.txt:"), std::string::npos) << cli.output;
    EXPECT_FALSE(std::filesystem::exists(dir / "out"));
}

TEST(FilmDataStockTables, EveryTableIsMonotoneOnTheNeutralAxisInRangeAndTimedToMidGrey) {
    std::map<std::string, std::string> profilePerEncoding;  // profiles sharing a camera file share tables
    for (const auto& p : Data().catalogue().profiles()) profilePerEncoding.emplace(p.cameraFile, p.name);
    for (const auto& [file, profile] : profilePerEncoding) {
        const CameraEncoding camera = Camera(profile);
        for (const StockEntry& entry : Data().catalogue().stocks()) {
            const StockModel model = Stock(entry.name);
            for (bool statusM : {false, true}) {
                if (statusM && !model.hasStatusM()) continue;
                SCOPED_TRACE(profile + " / " + entry.name + (statusM ? " Status M" : ""));
                const auto table = BuildStockTable(camera, model, statusM);
                ASSERT_EQ(table.size(), kTableFloats);
                EXPECT_TRUE(std::all_of(table.begin(), table.end(), [](float v) { return v >= 0.0f && v <= 1.0f; }));
                for (int i = 1; i < kTableEdge; ++i)
                    for (size_t c = 0; c < 3; ++c) ASSERT_LE(Neutral(table, i - 1)[c], Neutral(table, i)[c]) << i;
                // The scale spans most of the display range (the log looks a part of it).
                EXPECT_GT(Neutral(table, 63)[1] - Neutral(table, 0)[1], statusM || entry.tag >= 50 ? 0.3 : 0.6);
                if (statusM || entry.kind != "colour" || entry.tag >= 50) continue;
                for (float v : Look(table, camera, {0.18, 0.18, 0.18}))
                    EXPECT_NEAR(v, Data().viewing().midGreyOut, 0.01);
            }
        }
    }
}

TEST(FilmDataStockTables, StocksDifferTheWayTheFilmsDo) {
    const CameraEncoding camera = Camera("5D");
    std::map<std::string, std::vector<float>> tables;
    std::vector<std::string> bw;
    for (const StockEntry& e : Data().catalogue().stocks()) {
        const auto& t = tables[e.name] = BuildStockTable(camera, Stock(e.name), false);
        if (Stock(e.name).kind() == StockKind::Negative)  // greys stay grey, but for the stock's crossover
            for (int i = 3; i < 61; ++i) {
                const auto v = Neutral(t, i);
                EXPECT_LT(*std::max_element(v.begin(), v.end()) - *std::min_element(v.begin(), v.end()), 0.035)
                    << e.name << " at level " << i;
            }
        if (e.kind != "black and white") continue;
        for (size_t i = 0; i < t.size(); i += 3) ASSERT_TRUE(t[i] == t[i + 1] && t[i] == t[i + 2]) << e.name;
        for (const std::string& other : bw) {
            double most = 0.0;
            for (int i = 0; i < kTableEdge; ++i)
                most = std::max(most, std::abs(double(Neutral(t, i)[0]) - Neutral(tables[other], i)[0]));
            EXPECT_GT(most, 0.02) << e.name << " and " << other << " print alike";
        }
        bw.push_back(e.name);
    }
    EXPECT_EQ(bw.size(), 6u);
    // Display code per stop at 18% grey, and the spread of a patch's channels.
    const double up = 0.18 * std::sqrt(2.0), down = 0.18 / std::sqrt(2.0);
    auto slope = [&](const char* s) {
        return Look(tables[s], camera, {up, up, up})[1] - Look(tables[s], camera, {down, down, down})[1];
    };
    auto chroma = [&](const char* s, Rgb light) {
        const auto out = Look(tables[s], camera, light);
        return *std::max_element(out.begin(), out.end()) - *std::min_element(out.begin(), out.end());
    };
    const Rgb red{0.40, 0.05, 0.04}, foliage{0.09, 0.15, 0.06};
    const std::vector<std::tuple<const char*, float, float, float>> more = {
        {"extended red response prints reds lighter", Look(tables["KodakT-max"], camera, red)[0],
         Look(tables["KodakTriX"], camera, red)[0], 0.02f},
        {"slides are punchier than negatives", slope("FujiProvia100"), slope("5207"), 0.0f},
        {"the landscape slide the most", slope("FujiVelvia100"), slope("FujiProvia100"), 0.0f},
        {"the soft slide the least", slope("FujiProvia100"), slope("FujiAstia100"), 0.0f},
        {"landscape slide colour", chroma("FujiVelvia100", red), chroma("FujiProvia100", red), 0.05f},
        {"slide colour over negative", chroma("FujiProvia100", red), chroma("5207", red), 0.0f},
        {"the vivid negative against the low-contrast one", chroma("8543", foliage), chroma("8553", foliage), 0.03f},
        {"vivid negative contrast", slope("8543"), slope("8553"), 0.0f},
        {"the instant print is soft", slope("FujiAstia100"), slope("Polaroid"), 0.0f},
        {"with lifted blacks", Neutral(tables["Polaroid"], 0)[1], 0.1f, 0.0f},
        {"where a negative's are deep", 0.05f, Neutral(tables["5207"], 0)[1], 0.0f},
        {"and warm", Look(tables["Polaroid"], camera, {.18, .18, .18})[0],
         Look(tables["Polaroid"], camera, {.18, .18, .18})[2], 0.02f}};
    for (const auto& [why, big, small, by] : more) EXPECT_GT(big, small + by) << why;
}

TEST(FilmDataStockTables, StatusMHoldsNegativeDensitiesAndTheLogLooksTheirEncodings) {
    const StockModel neg = Stock("5207");
    // Density above base grows with exposure by the layer's contrast: 0.5-0.7 per stop.
    const Rgb a = neg.RenderStatusM({0.18, 0.18, 0.18}), b = neg.RenderStatusM({0.36, 0.36, 0.36});
    for (size_t c = 0; c < 3; ++c)
        EXPECT_NEAR((b[c] - a[c]) * 1023.0 * Data().viewing().statusMDensityPerCode / std::log10(2.0), 0.6, 0.1);
    // The log-film look is the Status M of its negative, timed so that grey reads alike in
    // every channel.
    const StockModel look = Stock("Alexa - LogC Film");
    const Rgb greyLook = look.Render({0.18, 0.18, 0.18}), greyNeg = neg.RenderStatusM({0.18, 0.18, 0.18});
    EXPECT_GT(greyNeg[2] - greyNeg[0], 0.01) << "untimed, the layers' densities differ";
    for (const Rgb& light : {Rgb{0.3, 0.2, 0.1}, Rgb{0.01, 0.02, 0.5}, Rgb{2.0, 2.0, 2.0}})
        for (size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(greyLook[c], greyLook[0], 1e-9);
            EXPECT_NEAR(look.Render(light)[c] - greyLook[c], neg.RenderStatusM(light)[c] - greyNeg[c], 1e-9);
        }
    // The camera-log look puts grey where its published curve does: c log10(a 0.18 + b) + d.
    EXPECT_NEAR(Stock("Alexa - LogC").Render({0.18, 0.18, 0.18})[1],
                0.247190 * std::log10(5.555556 * 0.18 + 0.052272) + 0.385537, 1e-9);
}

// Every profile has every stock's table, and the motion-picture negatives their Status M ones;
// the build's tables are the model's.
TEST(FilmDataStockTables, TheBuildMadeEveryTableOfEveryProfile) {
    size_t count = 0;
    for (const auto& p : Data().catalogue().profiles())
        for (const StockEntry& e : Data().catalogue().stocks())
            for (bool statusM : {false, true}) {
                if (statusM && e.tag > 4) continue;
                const std::string path = TablePath(DataRoot(), p.name, e.name, statusM);
                ASSERT_EQ(path.rfind(ProfilesFolder() + "/" + p.name + "/" + p.name + "_" + e.name, 0), 0u) << path;
                EXPECT_EQ(std::filesystem::file_size(path), kTableFloats * 4 + kContainerTailSize) << path;
                count += !statusM;
            }
    EXPECT_EQ(count, 230u);
    EXPECT_TRUE(SameBytes(Built(TablePath(DataRoot(), "EpicM", "5207", false)),
                          BuildStockTable(Camera("EpicM"), Stock("5207"), false)));
    EXPECT_TRUE(SameBytes(Built(TablePath(DataRoot(), "5D", "8553", true)),
                          BuildStockTable(Camera("5D"), Stock("8553"), true)));
    EXPECT_NE(ReadWholeFile(TablePath(DataRoot(), "5D", "5207", false)).substr(0, 64),
              std::string(reinterpret_cast<const char*>(Built(TablePath(DataRoot(), "5D", "5207", false)).data()), 64))
        << "the payload is scrambled";
}

TEST(FilmDataStockTables, TheToolRefusesWhatTheCatalogueDoesNotHold) {
    TempDir dir;
    WriteWholeFile(dir / "file", "x");
    for (const auto& [args, status, says] : std::vector<std::tuple<std::string, int, std::string>>{
             {"stock --profile EpicM --stock 5299 " + Q(dir / "bad.tin"), 1, "unknown stock \"5299\""},
             {"stock --profile Nikon --stock 5207 " + Q(dir / "bad.tin"), 1, "unknown profile \"Nikon\""},
             {"stock --profile EpicM --stock 5207 " + Q(dir / "file/sub/t.tin"), 1, "cannot create folder"},
             {"stock --profile EpicM", 2, ""},
             {"", 2, ""}}) {
        const auto bad = Tool(args);
        EXPECT_EQ(bad.status, status) << args;
        EXPECT_NE(bad.output.find(says), std::string::npos) << args << ": " << bad.output;
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "bad.tin"));
}

TEST(FilmDataExposure, TheTwoTablesAreInverseCurvesOfTheMovieEncoding) {
    const CameraEncoding camera = Camera(kExposureProfile);
    const auto cvToLog = BuildCvToLog(camera), logToCv = BuildLogToCv(camera);
    ASSERT_EQ(cvToLog.size(), 65536u * 3);
    ASSERT_EQ(logToCv.size(), 65536u * 3);
    auto toLog = [&](size_t n) { return cvToLog[3 * n]; };
    auto toCode = [&](size_t n) { return logToCv[3 * n]; };
    auto logIndex = [](double log) { return size_t(std::clamp(int((log + 3.0) * 65536.0 / 6.0), 0, 65535)); };
    EXPECT_FLOAT_EQ(toLog(0), -3.0f);
    EXPECT_NEAR(toLog(65535), 0.0f, 1e-6);  // code 1 is the encoding's white
    double worstCode = 0.0, worstLog = 0.0;
    for (size_t n = 0; n < 65536; ++n) {
        ASSERT_TRUE(cvToLog[3 * n] == cvToLog[3 * n + 1] && cvToLog[3 * n] == cvToLog[3 * n + 2]) << n;
        ASSERT_EQ(logToCv[3 * n], logToCv[3 * n + 2]) << n;
        worstCode = std::max(worstCode, std::abs(toCode(logIndex(toLog(n))) - n / 65535.0));
        if (n > 0) { ASSERT_GE(toCode(n), toCode(n - 1)); }
        const double log = -3.0 + n * 6.0 / 65536.0;
        if (log < 0.0)
            worstLog = std::max(worstLog, std::abs(toLog(size_t(toCode(n) * 65535.0)) - log));
        else
            EXPECT_FLOAT_EQ(toCode(n), 1.0f) << "light above white clips";
    }
    EXPECT_LT(worstCode, 2e-4);
    EXPECT_LT(worstLog, 3e-3);
    // The build's files: plain little-endian floats; 18% grey by hand, the entry's low byte first.
    std::string path;
    for (const auto& [name, table] :
         {std::pair{"5D_CV2logLUT.bin", &cvToLog}, std::pair{"5D_log2CVLUT.bin", &logToCv}}) {
        ASSERT_TRUE(FindResource(std::string("Resources/") + name, &path).ok()) << name;
        const std::string bytes = ReadWholeFile(path);
        ASSERT_EQ(bytes.size(), 786432u) << name;
        EXPECT_EQ(FloatsFromLittleEndian(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), *table) << name;
    }
    EXPECT_NEAR(std::bit_cast<float>(test::Le(ReadWholeFile(path), 12 * logIndex(std::log10(0.18)), 4)),
                camera.Encode(0.18), 1e-3);
}

// How much stronger the seams are than the inner edges, across columns and rows: about 1 where
// the scan tiles.
std::array<double, 2> SeamRatios(const GrainScan& scan) {
    const SeamStats s = MeasureSeams(scan);
    return {s.seamColumns / s.innerColumns, s.seamRows / s.innerRows};
}

// Correlation of channel a at each pixel with channel b `lag` pixels to the right.
double Correlation(const GrainScan& s, int lag, size_t a, size_t b) {
    double sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0;
    const double n = double(s.width) * s.height;
    for (size_t y = 0; y < size_t(s.height); ++y)
        for (size_t x = 0; x < size_t(s.width); ++x) {
            const double va = s.rgb[3 * (y * s.width + x) + a], vb = s.rgb[3 * (y * s.width + (x + lag) % s.width) + b];
            sa += va, sb += vb, saa += va * va, sbb += vb * vb, sab += va * vb;
        }
    return (sab / n - sa * sb / n / n) / std::sqrt((saa / n - sa * sa / n / n) * (sbb / n - sb * sb / n / n));
}

// The build's scans, read as plain TIFFs: centred on half after the range mapping, at the
// gauge's spread, tiling, coarser and no less coloured as the gauge narrows.
TEST(FilmDataGrain, TheBuildsScansAreTilingTiffsThatCoarsenWithTheGauge) {
    std::vector<double> spreads, correlations;
    for (const char* name : kGrainNames) {
        SCOPED_TRACE(name);
        std::string path, error;
        ASSERT_TRUE(FindResource(std::string("Resources/") + name + ".bin", &path).ok());
        const auto info = test::RunShell("tiffinfo " + Q(path));  // an independent reader agrees
        EXPECT_NE(info.output.find("Bits/Sample: 8"), std::string::npos) << info.output;
        EXPECT_NE(info.output.find("Samples/Pixel: 3"), std::string::npos) << info.output;
        Image8 image;
        GrainParams params;
        ASSERT_TRUE(ReadTiffRgb8(path, &image, &error)) << error;
        ASSERT_TRUE(Data().LoadGrain(name, &params, &error)) << error;
        EXPECT_EQ(std::tie(image.width, image.height), std::tie(params.width, params.height));
        const GrainScan scan{image.width, image.height, image.rgb};
        const ScanStats stats = MappedStats(scan);
        for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(stats.mean[c], 0.5, 0.02);
        spreads.push_back((stats.stdDev[0] + stats.stdDev[1] + stats.stdDev[2]) / 3.0);
        EXPECT_NEAR(spreads.back(), params.targetStd, 0.02);
        for (double ratio : SeamRatios(scan)) EXPECT_LT(ratio, 1.1);
        correlations.push_back(Correlation(scan, 2, 1, 1));
        // The layers differ, so the grain has colour; the scanner's crosstalk ties them.
        EXPECT_GT(Correlation(scan, 0, 0, 1), 0.1);
        EXPECT_LT(Correlation(scan, 0, 0, 1), 0.9);
        if (std::string(name) != "CP8") continue;
        // The measure sees a seam where there is one: the coarse scan cut off short of its torus.
        GrainScan cut{image.width - 100, image.height - 100, {}};
        for (int y = 0; y < cut.height; ++y)
            cut.rgb.insert(cut.rgb.end(), image.rgb.begin() + 3 * y * image.width,
                           image.rgb.begin() + 3 * (y * image.width + cut.width));
        for (double ratio : SeamRatios(cut)) EXPECT_GT(ratio, 1.3);
    }
    EXPECT_TRUE(std::is_sorted(spreads.begin(), spreads.end()));
    EXPECT_TRUE(std::is_sorted(correlations.begin(), correlations.end())) << "narrower gauges, larger grains";
    EXPECT_GT(correlations[2], 0.3);
}

TEST(FilmDataGrain, CurvesPeakInTheMidTonesGrowWithSpeedAndAreGreyForBlackAndWhite) {
    std::map<StockKind, std::vector<std::pair<double, double>>> speedAndPeak;
    for (const StockEntry& e : Data().catalogue().stocks()) {
        SCOPED_TRACE(e.name);
        const StockModel model = Stock(e.name);
        const auto curve = BuildGrainCurve(model, Data().curveParams());
        std::string path;
        ASSERT_TRUE(FindResource("Resources/" + e.name + ".emoGrain", &path).ok());
        EXPECT_TRUE(SameBytes(Built(path), curve)) << "the build's curve is the model's";
        for (size_t c = 0; c < 3; ++c) {
            auto at = [&](size_t i) { return curve[3 * i + c]; };
            size_t peakAt = 0;
            for (size_t i = 0; i < 256; ++i) peakAt = at(i) > at(peakAt) ? i : peakAt;
            EXPECT_GT(at(peakAt), 0.0f);
            EXPECT_TRUE(peakAt >= 64 && peakAt <= 166) << peakAt;
            EXPECT_LT(std::max(at(0), at(255)), 0.7f * at(peakAt)) << "deep shadows and highlights";
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
    EXPECT_GT(BuildGrainCurve(Stock("IlfordDelta3200"), Data().curveParams())[3 * 110],
              2.0f * BuildGrainCurve(Stock("FujiNeopan"), Data().curveParams())[3 * 110]);
}

}  // namespace
}  // namespace ombrel::filmdata
