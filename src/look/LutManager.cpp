#include "look/LutManager.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "core/Log.h"
#include "core/Paths.h"
#include "datafile/DataFile.h"
#include "look/AppState.h"

namespace ombrel {

namespace {

enum class StockKind { Colour, BlackAndWhite, Polaroid };

struct StockEntry {
    int tag;
    std::string_view name;
    std::string_view displayName;
    StockKind kind;
};

constexpr std::array<StockEntry, 23> kStocks{{
    {0, "5207", "KD 5207 Vis3", StockKind::Colour},
    {1, "5213", "KD 5213 Vis3", StockKind::Colour},
    {2, "8543", "FJ 8543 VD", StockKind::Colour},
    {3, "8553", "FJ 8553 ET", StockKind::Colour},
    {4, "8563", "FJ 8563 RL", StockKind::Colour},
    {5, "FujiAstia100", "FJ Ast 100", StockKind::Colour},
    {6, "FujiProvia100", "FJ Prov 100", StockKind::Colour},
    {7, "FujiVelvia100", "FJ Velv 100", StockKind::Colour},
    {8, "FujiNeopan", "FJ Neo", StockKind::BlackAndWhite},
    {9, "IlfordDelta400", "IL D400", StockKind::BlackAndWhite},
    {10, "IlfordDelta3200", "IL D3200", StockKind::BlackAndWhite},
    {11, "IlfordFP4", "IL Fn P4", StockKind::BlackAndWhite},
    {12, "KodakT-max", "KD TMx 100", StockKind::BlackAndWhite},
    {13, "KodakTriX", "KD TrX 400", StockKind::BlackAndWhite},
    {14, "FujiProH", "FJ H400 Pro", StockKind::Colour},
    {15, "FujiPro160S", "FJ H160s Pro", StockKind::Colour},
    {16, "FujiSuperia400", "FJ SuperX 400", StockKind::Colour},
    {17, "KodakPortra", "KD P400 Ptra", StockKind::Colour},
    {18, "Polaroid", "Plrd 600", StockKind::Polaroid},
    {50, "Alexa - LogC", "-", StockKind::Colour},
    {51, "Alexa - LogC Film", "-", StockKind::Colour},
    {52, "Alexa - DCIP3", "-", StockKind::Colour},
    {53, "Alexa - R709", "-", StockKind::Colour},
}};

// The popup groups: motion-picture negatives, slides, black and white, still negatives,
// instant. Separators stand between the groups.
constexpr std::array<int, 23> kPopupOrder{0,
                                          1,
                                          2,
                                          3,
                                          4,
                                          kSeparatorTag,
                                          5,
                                          6,
                                          7,
                                          kSeparatorTag,
                                          8,
                                          9,
                                          10,
                                          11,
                                          12,
                                          13,
                                          kSeparatorTag,
                                          14,
                                          15,
                                          16,
                                          17,
                                          kSeparatorTag,
                                          18};

const StockEntry* FindTag(int tag) {
    for (const auto& s : kStocks) {
        if (s.tag == tag) return &s;
    }
    return nullptr;
}

const StockEntry* FindName(std::string_view name) {
    for (const auto& s : kStocks) {
        if (s.name == name) return &s;
    }
    return nullptr;
}

}  // namespace

void FillIdentityStockTable(float* table) {
    for (int b = 0; b < kStockLutSize; ++b) {
        for (int g = 0; g < kStockLutSize; ++g) {
            for (int r = 0; r < kStockLutSize; ++r) {
                float* e = table + 3 * (r + 64 * g + 4096 * b);
                e[0] = static_cast<float>(r) / 63.0f;
                e[1] = static_cast<float>(g) / 63.0f;
                e[2] = static_cast<float>(b) / 63.0f;
            }
        }
    }
}

std::string LutManager::StockNameForTag(int tag) {
    if (tag == kSeparatorTag) tag = 0;
    const StockEntry* s = FindTag(tag);
    if (!s) LogFatal("No stock has the popup tag " + std::to_string(tag));
    return std::string(s->name);
}

int LutManager::PopupTagForStockName(const std::string& stockName) {
    const StockEntry* s = FindName(stockName);
    return s ? s->tag : 0;
}

std::string LutManager::DisplayNameForStockName(const std::string& stockName) {
    const StockEntry* s = FindName(stockName);
    return s ? std::string(s->displayName) : std::string("-");
}

std::string LutManager::BgPathForTag(int tag) { return "StockBG_" + StockNameForTag(tag); }

int LutManager::PreviousStockTagForTag(int tag) {
    const int t = tag - 1;
    return t < 0 || t > kLastStockTag ? kLastStockTag : t;
}

int LutManager::NextStockTagForTag(int tag) {
    const int t = tag + 1;
    return t < 0 || t > kLastStockTag ? 0 : t;
}

bool LutManager::IsTagBW(int tag) { return tag >= 8 && tag <= 13; }

bool LutManager::IsStockNameBW(const std::string& stockName) { return IsTagBW(PopupTagForStockName(stockName)); }

bool LutManager::IsTagPolaroid(int tag) { return tag == kLastStockTag; }

bool LutManager::IsStockNamePolaroid(const std::string& stockName) { return stockName == "Polaroid"; }

std::vector<StockPopupItem> LutManager::StockPopupItems() {
    std::vector<StockPopupItem> items;
    items.reserve(kPopupOrder.size());
    for (int tag : kPopupOrder) {
        if (tag == kSeparatorTag) {
            items.push_back({kSeparatorTag, "", false});
        } else {
            items.push_back({tag, std::string(FindTag(tag)->displayName), true});
        }
    }
    return items;
}

void LutManager::SetColorFormat(int format) { Instance().currentColorFormat_.store(format, std::memory_order_relaxed); }

std::string LutManager::PictureStyleBasePath() { return ProfilesFolder(); }

std::string LutManager::AltPathForPictureStyleStockNameStatusM(const std::string& profile, const std::string& stockName,
                                                               bool statusM) {
    const std::string name = "/" + profile + "/" + profile + "_" + stockName + (statusM ? "_SM" : "") + ".tin";
    const std::string shared = PictureStyleBasePath() + name;
    // Packs a user fetched without write access to the shared store sit in the user's own.
    if (!FileExists(shared) && FileExists(UserProfilesFolder() + name)) return UserProfilesFolder() + name;
    return shared;
}

bool LutManager::StatusMAvailableForStockAndSource(const std::string& stockName, const std::string& profile) {
    return FileExists(AltPathForPictureStyleStockNameStatusM(profile, stockName, true));
}

bool LutManager::LutAvailable(const std::string& profile) {
    return FileExists(AltPathForPictureStyleStockNameStatusM(profile, "5207", false));
}

bool LutManager::TextureWithStockSourceTypeToBufferOfLength(const std::string& stockName, const std::string& profile,
                                                            float* buffer, int64_t lengthBytes) {
    if (stockName.empty() || profile.empty()) return false;
    // A stock's own Status M table is never read while its plain table exists: the format
    // only reaches the path of the fallback.
    const bool statusM =
        Instance().currentColorFormat() == kColorFormatStatusM && StatusMAvailableForStockAndSource(stockName, profile);
    std::string path = AltPathForPictureStyleStockNameStatusM(profile, stockName, false);
    if (!FileExists(path)) {
        const std::string fallback = AppState::Instance().State() != 0 ? "5D" : "EpicM";
        path = AltPathForPictureStyleStockNameStatusM(fallback, "5207", statusM);
    }
    const auto data = GetUnscrambledData(path);
    if (!data) {
        LogWarn("No stock table loaded for {} on profile {}: {} cannot be read; the look keeps its previous table",
                stockName, profile, path);
        return true;
    }
    // The buffer ends with the container's tail, which is not table.
    const size_t tableBytes = data->size() > kContainerTailSize ? data->size() - kContainerTailSize : 0;
    if (tableBytes < kStockLutBytes) {
        LogWarn(
            "No stock table loaded for {} on profile {}: {} holds {} bytes of table, {} needed; the look keeps "
            "its previous table",
            stockName, profile, path, tableBytes, kStockLutBytes);
        return true;
    }
    if (buffer && lengthBytes >= static_cast<int64_t>(kStockLutBytes)) {
        std::memcpy(buffer, data->data(), kStockLutBytes);
    }
    return true;
}

std::map<std::string, std::vector<std::string>> LutManager::InstalledTables() {
    namespace fs = std::filesystem;
    std::map<std::string, std::vector<std::string>> tables;
    std::error_code ec;
    // The shared store first: its profile wins over a user's copy of the same name.
    for (const std::string& base : {PictureStyleBasePath(), UserProfilesFolder()}) {
        for (const auto& folder : fs::directory_iterator(base, ec)) {
            if (!folder.is_directory(ec)) continue;
            const std::string profile = folder.path().filename().string();
            const std::string prefix = profile + "_";
            std::vector<std::string> stocks;
            for (const auto& file : fs::directory_iterator(folder.path(), ec)) {
                const std::string name = file.path().filename().string();
                if (file.path().extension() != ".tin" || name.rfind(prefix, 0) != 0) continue;
                stocks.push_back(name.substr(prefix.size(), name.size() - prefix.size() - 4));
            }
            std::sort(stocks.begin(), stocks.end());
            tables.emplace(profile, std::move(stocks));
        }
    }
    return tables;
}

}  // namespace ombrel
