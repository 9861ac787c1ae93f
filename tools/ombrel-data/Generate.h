#pragma once

// The data set under data/ (catalogue, viewing, cameras, stocks, grain) and the writers of
// the generated resources.
//
// Layout under a data root:
//   Profiles/<profile>/<profile>_<stock>.tin       scrambled 64^3 RGB float32 table
//   Profiles/<profile>/<profile>_<stock>_SM.tin    its Status M variant (motion-picture negatives)
//   Resources/<grain>.bin                          grain scan "CP35", "CP16", "CP8": 8-bit RGB TIFF
//   Resources/<stock>.emoGrain                     scrambled 256 x RGB float32 grain curve
//   Resources/5D_CV2logLUT.bin, 5D_log2CVLUT.bin   plain little-endian 65,536 x RGB float32

#include <string>
#include <vector>

#include "ombrel-data/Camera.h"
#include "ombrel-data/Catalogue.h"
#include "ombrel-data/FilmModel.h"
#include "ombrel-data/GrainModel.h"

namespace ombrel::filmdata {

inline const char* const kGrainNames[] = {"CP35", "CP16", "CP8"};
inline constexpr const char* kExposureProfile = "5D";

class DataSet {
public:
    bool Load(const std::string& dataDir, std::string* error);

    const Catalogue& catalogue() const { return catalogue_; }
    const Viewing& viewing() const { return viewing_; }
    const GrainCurveParams& curveParams() const { return curves_; }

    bool LoadCamera(const std::string& profile, CameraEncoding* camera, std::string* error) const;
    bool LoadStock(const std::string& stock, StockModel* model, std::string* error) const;
    bool LoadGrain(const std::string& name, GrainParams* params, std::string* error) const;

private:
    Catalogue catalogue_;
    Viewing viewing_;
    GrainCurveParams curves_;
};

std::string TablePath(const std::string& root, const std::string& profile, const std::string& stock, bool statusM);

// Writes a table through the scrambled container: its payload is the 3,145,728 bytes of
// floats in the host's order.
bool WriteStockTable(const std::string& path, const std::vector<float>& table, std::string* error);

// Every stock of the catalogue for one profile under root/Profiles/<profile>/, with the
// Status M variants of the stocks that have one. Adds the paths written to `written`.
bool WriteProfileTables(const DataSet& data, const std::string& profile, const std::string& root,
                        std::vector<std::string>* written, std::string* error);

bool WriteGrainScan(const DataSet& data, const std::string& name, const std::string& dir, std::string* error);
bool WriteGrainCurves(const DataSet& data, const std::string& dir, std::vector<std::string>* written,
                      std::string* error);
bool WriteExposureLuts(const DataSet& data, const std::string& dir, std::string* error);

}  // namespace ombrel::filmdata
