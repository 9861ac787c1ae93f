// ombrel-data: makes the film data of the data root from the plain parameters under data/.
//
//   ombrel-data stock --profile NAME --stock NAME [--status-m] OUT   one stock table (.tin)
//   ombrel-data stocks --out DATAROOT [--profile NAME]...            every stock, into Profiles/
//   ombrel-data grain --out DIR [--name CP35|CP16|CP8]...            grain scans DIR/<name>.bin
//   ombrel-data curves --out DIR                                     DIR/<stock>.emoGrain
//   ombrel-data exposure-luts --out DIR                              DIR/5D_CV2logLUT.bin, 5D_log2CVLUT.bin
//   ombrel-data contact-sheet [--profile NAME] OUT.png               every stock of a profile on a chart
//
// --data DIR names the source folder (default: the project's data/). "stocks" without
// --profile makes every profile of cameras/profiles.txt.
// Exit status: 0 done, 1 failed (message on stderr), 2 bad usage.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "ombrel-data/ContactSheet.h"
#include "ombrel-data/Generate.h"

#ifndef OMBREL_DATA_SOURCE_DIR
#define OMBREL_DATA_SOURCE_DIR "data"
#endif

namespace {

using namespace ombrel::filmdata;

int Fail(const std::string& message) {
    std::fprintf(stderr, "ombrel-data: %s\n", message.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Makes the stock tables, grain scans, grain curves and exposure tables of the data root."};
    app.require_subcommand(1);
    std::string dataDir = OMBREL_DATA_SOURCE_DIR;
    app.add_option("--data", dataDir, "source folder with stocks/, cameras/ and grain/")->check(CLI::ExistingDirectory);

    std::string profile, stock, out;
    bool statusM = false;
    auto* one = app.add_subcommand("stock", "one stock table of one profile");
    one->add_option("--profile", profile, "camera profile, e.g. EpicM")->required();
    one->add_option("--stock", stock, "stock name, e.g. 5207")->required();
    one->add_flag("--status-m", statusM, "the Status M variant (negative densities)");
    one->add_option("out", out, "the .tin file to write")->required();

    std::vector<std::string> profiles;
    std::string outDir;
    auto* all = app.add_subcommand("stocks", "every stock of the catalogue for the profiles");
    all->add_option("--out", outDir, "the data root; tables go to Profiles/<profile>/")->required();
    all->add_option("--profile", profiles, "only these profiles (default: all of cameras/profiles.txt)");

    std::vector<std::string> grainNames;
    auto* grain = app.add_subcommand("grain", "the grain scans");
    grain->add_option("--out", outDir, "folder of the scans (the data root's Resources/)")->required();
    grain->add_option("--name", grainNames, "only these scans (CP35, CP16, CP8)");

    auto* curves = app.add_subcommand("curves", "the grain response curve of every stock");
    curves->add_option("--out", outDir, "folder of the curves (the data root's Resources/)")->required();

    auto* exposure = app.add_subcommand("exposure-luts", "the exposure model's conversion tables");
    exposure->add_option("--out", outDir, "folder of the tables (the data root's Resources/)")->required();

    std::string sheetProfile = "5D";
    auto* sheet = app.add_subcommand("contact-sheet", "a test chart through every stock of a profile");
    sheet->add_option("--profile", sheetProfile, "camera profile (default 5D)");
    sheet->add_option("out", out, "the PNG file to write")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) { return app.exit(e) == 0 ? 0 : 2; }

    DataSet data;
    std::string error;
    if (!data.Load(dataDir, &error)) return Fail(error);

    if (*one) {
        CameraEncoding camera;
        StockModel model;
        if (!data.LoadCamera(profile, &camera, &error) || !data.LoadStock(stock, &model, &error)) return Fail(error);
        if (!WriteStockTable(out, BuildStockTable(camera, model, statusM), &error)) return Fail(error);
        return 0;
    }
    if (*all) {
        if (profiles.empty()) {
            for (const auto& p : data.catalogue().profiles()) profiles.push_back(p.name);
        }
        for (const auto& p : profiles) {
            if (!WriteProfileTables(data, p, outDir, nullptr, &error)) return Fail(error);
        }
        return 0;
    }
    if (*grain) {
        if (grainNames.empty()) grainNames.assign(std::begin(kGrainNames), std::end(kGrainNames));
        for (const auto& name : grainNames) {
            if (!WriteGrainScan(data, name, outDir, &error)) return Fail(error);
        }
        return 0;
    }
    if (*curves) return WriteGrainCurves(data, outDir, nullptr, &error) ? 0 : Fail(error);
    if (*exposure) return WriteExposureLuts(data, outDir, &error) ? 0 : Fail(error);
    if (*sheet) {
        Image8 image;
        if (!BuildContactSheet(data, sheetProfile, &image, &error)) return Fail(error);
        return WritePngRgb8(out, image.width, image.height, image.rgb.data(), &error) ? 0 : Fail(error);
    }
    return 2;
}
