#include "look/LutManager.h"

#include <array>
#include <cstring>
#include <string_view>

#include "core/Paths.h"
#include "datafile/DataFile.h"
#include "look/AppState.h"

namespace ombrel {

namespace {

struct StockEntry {
    int tag;
    std::string_view name;
};

constexpr std::array<StockEntry, 23> kStocks{{
    {0, "5207"},           {1, "5213"},           {2, "8543"},
    {3, "8553"},           {4, "8563"},           {5, "FujiAstia100"},
    {6, "FujiProvia100"},  {7, "FujiVelvia100"},  {8, "FujiNeopan"},
    {9, "IlfordDelta400"}, {10, "IlfordDelta3200"}, {11, "IlfordFP4"},
    {12, "KodakT-max"},    {13, "KodakTriX"},     {14, "FujiProH"},
    {15, "FujiPro160S"},   {16, "FujiSuperia400"}, {17, "KodakPortra"},
    {18, "Polaroid"},      {50, "Alexa - LogC"},  {51, "Alexa - LogC Film"},
    {52, "Alexa - DCIP3"}, {53, "Alexa - R709"},
}};

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

int LutManager::PopupTagForStockName(const std::string& stockName) {
    for (const auto& s : kStocks) {
        if (s.name == stockName) return s.tag;
    }
    return 0;
}

bool LutManager::IsTagBW(int tag) { return tag >= 8 && tag <= 13; }

bool LutManager::IsStockNameBW(const std::string& stockName) { return IsTagBW(PopupTagForStockName(stockName)); }

std::string LutManager::PictureStyleBasePath() { return ProfilesFolder(); }

std::string LutManager::AltPathForPictureStyleStockNameStatusM(const std::string& profile,
                                                              const std::string& stockName, bool statusM) {
    return PictureStyleBasePath() + "/" + profile + "/" + profile + "_" + stockName + (statusM ? "_SM" : "") + ".tin";
}

bool LutManager::TextureWithStockSourceTypeToBufferOfLength(const std::string& stockName, const std::string& profile,
                                                           float* buffer, int64_t lengthBytes) {
    if (stockName.empty() || profile.empty()) return false;
    std::string path = AltPathForPictureStyleStockNameStatusM(profile, stockName, false);
    if (!FileExists(path)) {
        const std::string fallback = AppState::Instance().State() != 0 ? "5D" : "EpicM";
        path = AltPathForPictureStyleStockNameStatusM(fallback, "5207", false);
    }
    auto data = GetUnscrambledData(path);
    if (data && data->size() >= kStockLutBytes && lengthBytes >= static_cast<int64_t>(kStockLutBytes) && buffer) {
        std::memcpy(buffer, data->data(), kStockLutBytes);
    }
    return true;
}

}  // namespace ombrel
