#pragma once

// The stock catalogue as far as the look pipeline needs it: which stocks are black and
// white, and the loading of a stock's 64 x 64 x 64 table from the profile store.

#include <cstddef>
#include <cstdint>
#include <string>

namespace ombrel {

inline constexpr int kStockLutSize = 64;
inline constexpr size_t kStockLutFloats = 64 * 64 * 64 * 3;
inline constexpr size_t kStockLutBytes = kStockLutFloats * sizeof(float);  // 3,145,728

// Entry (i, j, k), at float index 3 * (i + 64 j + 4096 k), is (i, j, k) / 63: red runs
// fastest, as in the stock files.
void FillIdentityStockTable(float* table);

class LutManager {
public:
    // The tag of a stock in the stock popup; an unknown name is 0.
    static int PopupTagForStockName(const std::string& stockName);
    static bool IsTagBW(int tag);
    static bool IsStockNameBW(const std::string& stockName);

    // Where the stock tables live: the data root's Profiles folder.
    static std::string PictureStyleBasePath();
    // "<base>/<profile>/<profile>_<stock>[_SM].tin".
    static std::string AltPathForPictureStyleStockNameStatusM(const std::string& profile, const std::string& stockName,
                                                             bool statusM);
    // Copies the stock's table for the profile into `buffer` (at least kStockLutBytes long),
    // with the "5207" table of the fallback profile where the file is missing. A missing or
    // short file leaves the buffer as it was. False only for an empty stock or profile.
    static bool TextureWithStockSourceTypeToBufferOfLength(const std::string& stockName, const std::string& profile,
                                                          float* buffer, int64_t lengthBytes);
};

}  // namespace ombrel
