#pragma once

// Shared pieces of the model suites: a fixture that empties the settings store (one per
// process) before and after each test, records that can equal each other, and thumbnails.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "model/SettingsManager.h"
#include "support/TempDir.h"

namespace ombrel::test {

class SettingsStore : public ::testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { Reset(); }
    // An empty store, no documents, the factory presets and codec list of an empty home.
    static void Reset();

    SettingsManager& sm = SettingsManager::Instance();
    TempDir dir;
};

// Camera texts on a record: IsTheSameAs treats null ones as different, even from themselves.
void GiveCamera(ClipSettings& s, const std::string& camera);

// A 6 x 4 thumbnail whose red is `red` and whose other channels vary by pixel.
ImagePtr Swatch(uint8_t red = 200);

}  // namespace ombrel::test
