#include "model/OutputSettings.h"

#include <gtest/gtest.h>

#include "core/Paths.h"
#include "model/SettingsManager.h"
#include "support/Plists.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// The reference holds every stored field away from its default and from the others, so that a
// field stored under another's key or loaded into another shows up against it.
TEST(OutputSettings, RoundTripThroughXmlAndStoredTypes) {
    OutputSettings o;
    o.LoadFromDictionary(test::ReadPlist(test::RefPath("model/output-settings.plist")));
    EXPECT_EQ(o.frameRate(), static_cast<double>(23.976f));  // stored as a float
    EXPECT_EQ(o.outputDirectory(), "/renders/day 1");
    EXPECT_TRUE(test::MatchesRef("model/output-settings.plist", o.propertyList().ToXml()))
        << "stored keys, types and values";
    // Not stored: left as they were.
    OutputSettings back;
    back.setCodec(7);
    back.setOptionsPreset(9);
    back.LoadFromDictionary(test::ParsePlist(o.propertyList().ToXml()));
    EXPECT_EQ(back.propertyList(), o.propertyList());
    EXPECT_EQ(std::pair(back.codec(), back.optionsPreset()), std::pair(7u, 9));
}

TEST(OutputSettings, FrameFormatStoresCodecZeroAndLoadsWithFive) {
    OutputSettings o;
    EXPECT_EQ(o.qtCodec(), 5);
    o.SelectFormatMenuTag(kFormatTiff);
    EXPECT_EQ(std::pair(o.format(), o.qtCodec()), (std::pair<int, int>(kFormatTiff, 0)));
    EXPECT_EQ(o.propertyList()["qtCodec"].asInt(), 0);
    OutputSettings back;
    back.LoadFromDictionary(o.propertyList());
    EXPECT_EQ(back.qtCodec(), 5);
    back.SelectFormatMenuTag(2);
    EXPECT_EQ(std::pair(back.format(), back.qtCodec()), (std::pair<int, int>(kFormatMovie, 2)));
}

TEST(OutputSettings, MissingKeysReadAsZeroAndAMissingDirectoryClearsIt) {
    OutputSettings o;
    o.setOutputDirectory("/somewhere");
    o.setFormat(kFormatTiff);
    o.LoadFromDictionary(PlistValue::DictT{{"timecode", 1.9}});  // truncated
    EXPECT_FALSE(o.outputDirectory().has_value());
    EXPECT_EQ(std::pair(o.format(), o.timecode()), (std::pair<int, int>(kFormatMovie, 1)));
    EXPECT_EQ(o.qtCodec(), 5);
    EXPECT_EQ(o.size(), OutputSize{});
    EXPECT_FALSE(o.propertyList().contains("outputDirectory"));
}

TEST(OutputSettings, ReadableListAndPresetPaths) {
    OutputSettings o;
    o.setSize({2048.0f, 1152.0f});
    o.setOverwrite(1);  // keeps existing output, yet prints YES
    o.setQtCodec(50);
    const std::pair<int, const char*> formats[] = {{kFormatDpx, "DPX"}, {kFormatTiff, "Tiff"}, {kFormatMovie, "QT"}};
    for (const auto& [format, name] : formats) {
        o.setFormat(format);
        const PlistValue r = o.ReadableList();
        EXPECT_EQ(r["size"].asString() + " " + r["overwrite"].asString() + " " + r["resize"].asString(),
                  "2048 x 1152 YES NO");
        EXPECT_EQ(r["file format"].asString(), name);
        EXPECT_FALSE(r.contains("qtCodec"));
    }
    const std::pair<int, const char*> names[] = {{5, "1cva"}, {8, "012v"}, {9, "ap4h"}, {104, "cust_4"}, {50, ""}};
    for (const auto& [tag, name] : names) EXPECT_EQ(OutputSettings::PresetResourceNameForTag(tag).value_or(""), name);
    EXPECT_FALSE(OutputSettings::PathForPresetID(50).has_value());

    // A preset present on disk is named by its file in the report.
    test::TempDir data;
    test::ScopedDataRoot root(data.path());
    test::WriteWholeFile(data / "Resources/Codecs/1cva.dat", "x");
    EXPECT_EQ(OutputSettings::PathForPresetID(5), data / "Resources/Codecs/1cva.dat");
    o.setQtCodec(5);
    EXPECT_EQ(o.ReadableList()["qtCodec"].asString(), "1cva.dat");
    EXPECT_FALSE(OutputSettings::PathForPresetID(4).has_value());  // resource missing
}

TEST(SettingsManager, SizeTagsBothWaysWithTheCustomSize) {
    auto& sm = SettingsManager::Instance();
    sm.setCustomOutputSize({});
    const std::pair<int, OutputSize> tags[] = {{4, {1920, 1080}}, {7, {4096, 2034}}, {0, {}}, {101, {}}, {99, {}}};
    for (const auto& [tag, size] : tags) EXPECT_EQ(SettingsManager::SizeForTag(tag), size) << tag;
    EXPECT_EQ(SettingsManager::TagForSize({1280, 720}), 3);
    EXPECT_EQ(SettingsManager::TagForSize({0, 0}), 0);
    EXPECT_EQ(SettingsManager::TagForSize({1000, 500}), 101);
    sm.setCustomOutputSize({1280, 720});
    EXPECT_EQ(SettingsManager::TagForSize({1280, 720}), 101);
    EXPECT_EQ(SettingsManager::SizeForTag(101), (OutputSize{1280, 720}));
    sm.setCustomOutputSize({});
}

}  // namespace
}  // namespace ombrel
