#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "datafile/DataFile.h"
#include "look/LutManager.h"

namespace ombrel::test {

// Writes a stock table whose every entry is `value`, where the loader looks for it under `root`.
inline void WriteStock(const std::string& root, const std::string& profile, const std::string& stock, float value) {
    std::filesystem::create_directories(root + "/Profiles/" + profile);
    std::vector<float> table(kStockLutFloats, value);
    ASSERT_EQ(ScrambleDataToFile(root + "/Profiles/" + profile + "/" + profile + "_" + stock + ".tin", table.data(),
                                 kStockLutBytes, nullptr),
              0);
}

}  // namespace ombrel::test
