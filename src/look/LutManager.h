#pragma once

// The catalogue of film stocks and the loader of their 64 x 64 x 64 colour tables.
//
// A stock is known by its popup tag, its stock name (the word of files and settings) and
// its display name. Its table depends on the camera profile too: one scrambled `.tin` file
// per profile and stock under the profile store, read whole at every change, never cached.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "core/Singleton.h"

namespace ombrel {

inline constexpr int kStockLutSize = 64;
inline constexpr size_t kStockLutFloats = 64 * 64 * 64 * 3;
inline constexpr size_t kStockLutBytes = kStockLutFloats * sizeof(float);  // 3,145,728

// The popup's separators carry this tag; it reads as stock "5207".
inline constexpr int kSeparatorTag = 99;
inline constexpr int kLastStockTag = 18;
// The colour format whose tables are the Status M variants.
inline constexpr int kColorFormatStatusM = 2;

// Entry (i, j, k), at float index 3 * (i + 64 j + 4096 k), is (i, j, k) / 63: red runs
// fastest, as in the stock files.
void FillIdentityStockTable(float* table);

// One item of the stock popup: a stock, or a disabled separator with an empty title.
struct StockPopupItem {
    int tag = 0;
    std::string title;
    bool enabled = true;
};

class LutManager : public Singleton<LutManager> {
public:
    static constexpr const char* kClassName = "LutManager";

    // An unknown tag is a programming error and aborts; tag 99 reads as "5207".
    static std::string StockNameForTag(int tag);
    // The inverse; an unknown name gives 0, so such a stock reads as stock 0.
    static int PopupTagForStockName(const std::string& stockName);
    // "-" for every name without a display name, the looks of tags 50 to 53 included.
    static std::string DisplayNameForStockName(const std::string& stockName);
    // "StockBG_<stock>"; tag 99 counts as tag 0.
    static std::string BgPathForTag(int tag);
    // The walk over tags 0 to 18 with wrap-around; it never enters the looks or separators.
    static int PreviousStockTagForTag(int tag);
    static int NextStockTagForTag(int tag);
    static bool IsTagBW(int tag);
    static bool IsStockNameBW(const std::string& stockName);
    static bool IsTagPolaroid(int tag);
    static bool IsStockNamePolaroid(const std::string& stockName);
    // The popup in its order; the first item is the one selected after filling.
    static std::vector<StockPopupItem> StockPopupItems();

    // Stores the colour format in the singleton; table loads read it.
    static void SetColorFormat(int format);
    int currentColorFormat() const { return currentColorFormat_.load(std::memory_order_relaxed); }

    // The profile store: the data root's Profiles folder, into which data packs install.
    static std::string PictureStyleBasePath();
    // "<base>/<profile>/<profile>_<stock>[_SM].tin".
    static std::string AltPathForPictureStyleStockNameStatusM(const std::string& profile, const std::string& stockName,
                                                              bool statusM);
    static bool StatusMAvailableForStockAndSource(const std::string& stockName, const std::string& profile);
    // Whether the profile is installed: its "5207" table stands for all its stocks.
    static bool LutAvailable(const std::string& profile);

    // Copies the stock's table for the profile into `buffer`, falling back to the "5207"
    // table of "5D" (movies) or "EpicM" (R3D) where the file is missing. A missing fallback
    // or a short file leaves the buffer as it was, is logged, and still answers true: the
    // look keeps the table it had. False only for an empty stock or profile.
    static bool TextureWithStockSourceTypeToBufferOfLength(const std::string& stockName, const std::string& profile,
                                                           float* buffer, int64_t lengthBytes);

    // What the profile store holds: each profile folder with the stocks of its tables
    // ("_SM" variants listed by their file's stock part), sorted.
    static std::map<std::string, std::vector<std::string>> InstalledTables();

private:
    friend class Singleton<LutManager>;
    LutManager() = default;
    std::atomic<int32_t> currentColorFormat_{0};
};

}  // namespace ombrel
