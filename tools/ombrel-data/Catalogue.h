#pragma once

// The stock catalogue and the camera profiles, read from data/stocks/catalogue.txt and
// data/cameras/profiles.txt (TAB-separated lines; see those files).

#include <string>
#include <vector>

namespace ombrel::filmdata {

struct StockEntry {
    int tag = 0;
    std::string name;         // the word used in files and settings, e.g. "5207"
    std::string displayName;  // "-" for the looks outside the popup
    std::string kind;         // "colour", "black and white" or "Polaroid"
    std::string modelFile;    // the stock's parameter file, relative to data/stocks/
};

struct ProfileEntry {
    std::string name;        // the folder of the profile store, e.g. "EpicM"
    std::string cameraFile;  // its input encoding, relative to data/cameras/
    std::string source;      // which clips report it
};

class Catalogue {
public:
    // dataDir is the source data folder holding stocks/ and cameras/.
    bool Load(const std::string& dataDir, std::string* error);

    const std::string& dataDir() const { return dataDir_; }
    const std::vector<StockEntry>& stocks() const { return stocks_; }
    const std::vector<ProfileEntry>& profiles() const { return profiles_; }
    // Popup order; separators stand as separatorTag().
    const std::vector<int>& popup() const { return popup_; }
    int separatorTag() const { return separatorTag_; }
    const std::string& separatorStock() const { return separatorStock_; }

    const StockEntry* FindStock(const std::string& name) const;
    const ProfileEntry* FindProfile(const std::string& name) const;

    std::string StockModelPath(const StockEntry& stock) const;
    std::string CameraPath(const ProfileEntry& profile) const;

private:
    std::string dataDir_;
    std::vector<StockEntry> stocks_;
    std::vector<ProfileEntry> profiles_;
    std::vector<int> popup_;
    int separatorTag_ = 99;
    std::string separatorStock_ = "5207";
};

}  // namespace ombrel::filmdata
