#include "ombrel-data/Generate.h"

#include <filesystem>
#include <system_error>

#include "datafile/DataFile.h"
#include "ombrel-data/ExposureLuts.h"
#include "ombrel-data/ImageFile.h"

namespace ombrel::filmdata {
namespace {

bool MakeFolder(const std::string& dir, std::string* error) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
        if (error) *error = "cannot create folder " + dir + ": " + ec.message();
        return false;
    }
    return true;
}

std::string Describe(const char* message) {
    std::string text = message;
    for (char& c : text) {
        if (c == '\n') c = ' ';
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

}  // namespace

bool DataSet::Load(const std::string& dataDir, std::string* error) {
    return catalogue_.Load(dataDir, error) && viewing_.Load(dataDir + "/stocks/viewing.txt", error) &&
           curves_.Load(dataDir + "/grain/curves.txt", error);
}

bool DataSet::LoadCamera(const std::string& profile, CameraEncoding* camera, std::string* error) const {
    const ProfileEntry* entry = catalogue_.FindProfile(profile);
    if (!entry) {
        if (error) *error = "unknown profile \"" + profile + "\" (not in cameras/profiles.txt)";
        return false;
    }
    return camera->Load(catalogue_.CameraPath(*entry), error);
}

bool DataSet::LoadStock(const std::string& stock, StockModel* model, std::string* error) const {
    const StockEntry* entry = catalogue_.FindStock(stock);
    if (!entry) {
        if (error) *error = "unknown stock \"" + stock + "\" (not in stocks/catalogue.txt)";
        return false;
    }
    return model->Load(catalogue_, *entry, viewing_, error);
}

bool DataSet::LoadGrain(const std::string& name, GrainParams* params, std::string* error) const {
    return params->Load(catalogue_.dataDir() + "/grain/" + name + ".txt", error);
}

std::string TablePath(const std::string& root, const std::string& profile, const std::string& stock, bool statusM) {
    return root + "/Profiles/" + profile + "/" + profile + "_" + stock + (statusM ? "_SM" : "") + ".tin";
}

bool WriteStockTable(const std::string& path, const std::vector<float>& table, std::string* error) {
    if (table.size() != kTableFloats) {
        if (error) *error = "a stock table needs " + std::to_string(kTableFloats) + " floats";
        return false;
    }
    const auto parent = std::filesystem::path(path).parent_path().string();
    if (!parent.empty() && !MakeFolder(parent, error)) return false;
    char message[kMessageBufferSize] = {};
    if (ScrambleDataToFile(path, table.data(), table.size() * sizeof(float), message) != 0) {
        if (error) *error = Describe(message);
        return false;
    }
    return true;
}

bool WriteProfileTables(const DataSet& data, const std::string& profile, const std::string& root,
                        std::vector<std::string>* written, std::string* error) {
    CameraEncoding camera;
    if (!data.LoadCamera(profile, &camera, error)) return false;
    for (const StockEntry& entry : data.catalogue().stocks()) {
        StockModel model;
        if (!model.Load(data.catalogue(), entry, data.viewing(), error)) return false;
        for (bool statusM : {false, true}) {
            if (statusM && !model.hasStatusM()) continue;
            const std::string path = TablePath(root, profile, entry.name, statusM);
            if (!WriteStockTable(path, BuildStockTable(camera, model, statusM), error)) return false;
            if (written) written->push_back(path);
        }
    }
    return true;
}

bool WriteGrainScan(const DataSet& data, const std::string& name, const std::string& dir, std::string* error) {
    GrainParams params;
    if (!data.LoadGrain(name, &params, error) || !MakeFolder(dir, error)) return false;
    const GrainScan scan = GenerateGrainScan(params);
    return WriteTiffRgb8(dir + "/" + name + ".bin", scan.width, scan.height, scan.rgb.data(), error);
}

bool WriteGrainCurves(const DataSet& data, const std::string& dir, std::vector<std::string>* written,
                      std::string* error) {
    if (!MakeFolder(dir, error)) return false;
    for (const StockEntry& entry : data.catalogue().stocks()) {
        StockModel model;
        if (!model.Load(data.catalogue(), entry, data.viewing(), error)) return false;
        const auto curve = BuildGrainCurve(model, data.curveParams());
        const std::string path = dir + "/" + entry.name + ".emoGrain";
        char message[kMessageBufferSize] = {};
        if (ScrambleDataToFile(path, curve.data(), curve.size() * sizeof(float), message) != 0) {
            if (error) *error = Describe(message);
            return false;
        }
        if (written) written->push_back(path);
    }
    return true;
}

bool WriteExposureLuts(const DataSet& data, const std::string& dir, std::string* error) {
    CameraEncoding camera;
    if (!data.LoadCamera(kExposureProfile, &camera, error) || !MakeFolder(dir, error)) return false;
    const std::pair<const char*, std::vector<float>> files[] = {
        {"5D_CV2logLUT.bin", BuildCvToLog(camera)},
        {"5D_log2CVLUT.bin", BuildLogToCv(camera)},
    };
    for (const auto& [name, table] : files) {
        const auto bytes = LittleEndianBytes(table);
        char message[kMessageBufferSize] = {};
        if (WriteDataToFile(dir + "/" + name, bytes.data(), bytes.size(), message) != 0) {
            if (error) *error = Describe(message);
            return false;
        }
    }
    return true;
}

}  // namespace ombrel::filmdata
