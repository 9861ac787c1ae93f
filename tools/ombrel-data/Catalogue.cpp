#include "ombrel-data/Catalogue.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "ombrel-data/ParamFile.h"

namespace ombrel::filmdata {
namespace {

bool ParseInt(const std::string& word, int* out) {
    if (word.empty()) return false;
    char* end = nullptr;
    const long value = std::strtol(word.c_str(), &end, 10);
    if (*end != '\0') return false;
    *out = static_cast<int>(value);
    return true;
}

// Lines of a TAB-separated file, comments and blank lines dropped, with their numbers.
bool ReadLines(const std::string& path, std::vector<std::pair<int, std::string>>* lines, std::string* error) {
    std::ifstream in(path);
    if (!in) {
        if (error) *error = "cannot read " + path;
        return false;
    }
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (Trim(line).empty() || Trim(line)[0] == '#') continue;
        lines->emplace_back(number, line);
    }
    return true;
}

}  // namespace

bool Catalogue::Load(const std::string& dataDir, std::string* error) {
    dataDir_ = dataDir;
    stocks_.clear();
    profiles_.clear();
    popup_.clear();

    const std::string stocksPath = dataDir + "/stocks/catalogue.txt";
    std::vector<std::pair<int, std::string>> lines;
    if (!ReadLines(stocksPath, &lines, error)) return false;
    for (const auto& [number, line] : lines) {
        const auto fields = SplitTabs(line);
        const std::string where = stocksPath + ":" + std::to_string(number) + ": ";
        if (fields[0] == "popup" && fields.size() == 2) {
            std::istringstream words(fields[1]);
            for (std::string word; words >> word;) {
                int tag = 0;
                if (word == "-") {
                    popup_.push_back(-1);
                } else if (ParseInt(word, &tag)) {
                    popup_.push_back(tag);
                } else {
                    if (error) *error = where + "bad popup entry \"" + word + "\"";
                    return false;
                }
            }
            continue;
        }
        if (fields[0] == "separator" && fields.size() == 3 && ParseInt(fields[1], &separatorTag_)) {
            separatorStock_ = fields[2];
            continue;
        }
        StockEntry entry;
        if (fields.size() != 5 || !ParseInt(fields[0], &entry.tag) || fields[1].empty() || fields[4].empty()) {
            if (error) *error = where + "expected tag, stock name, display name, kind and model file";
            return false;
        }
        entry.name = fields[1];
        entry.displayName = fields[2];
        entry.kind = fields[3];
        entry.modelFile = fields[4];
        if (FindStock(entry.name)) {
            if (error) *error = where + "stock \"" + entry.name + "\" is listed twice";
            return false;
        }
        stocks_.push_back(std::move(entry));
    }
    for (int& tag : popup_) {
        if (tag == -1) tag = separatorTag_;
    }

    const std::string profilesPath = dataDir + "/cameras/profiles.txt";
    lines.clear();
    if (!ReadLines(profilesPath, &lines, error)) return false;
    for (const auto& [number, line] : lines) {
        const auto fields = SplitTabs(line);
        if (fields.size() < 2 || fields[0].empty() || fields[1].empty()) {
            if (error) *error = profilesPath + ":" + std::to_string(number) + ": expected profile and camera file";
            return false;
        }
        profiles_.push_back({fields[0], fields[1], fields.size() > 2 ? fields[2] : std::string()});
    }
    if (stocks_.empty() || profiles_.empty()) {
        if (error) *error = "the catalogue under " + dataDir + " lists no stocks or no profiles";
        return false;
    }
    return true;
}

const StockEntry* Catalogue::FindStock(const std::string& name) const {
    for (const auto& stock : stocks_) {
        if (stock.name == name) return &stock;
    }
    return nullptr;
}

const ProfileEntry* Catalogue::FindProfile(const std::string& name) const {
    for (const auto& profile : profiles_) {
        if (profile.name == name) return &profile;
    }
    return nullptr;
}

std::string Catalogue::StockModelPath(const StockEntry& stock) const { return dataDir_ + "/stocks/" + stock.modelFile; }

std::string Catalogue::CameraPath(const ProfileEntry& profile) const {
    return dataDir_ + "/cameras/" + profile.cameraFile;
}

}  // namespace ombrel::filmdata
