#include "model/OutputSettings.h"

#include <gtest/gtest.h>

#include "core/Paths.h"
#include "model/SettingsManager.h"
#include "support/Plists.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// Every stored field away from its default and from the others, so that a field stored under
// another's key or loaded into another shows up in the reference or in the round trip.
TEST(OutputSettings, RoundTripThroughXmlAndStoredTypes) {
    OutputSettings o;
    o.setFrameRate(23.976);
    o.setFrameInterval(1.0 / 23.976);
    o.setResize(true);
    o.setSize({1920.0f, 1080.0f});
    o.setOutputSizeTag(4);
    o.setFormat(kFormatDpx);
    o.setFitMethod(2);
    o.setFilenames(1);
    o.setFolders(3);
    o.setOverwrite(4);
    o.setTimecode(5);
    o.setQtCodec(6);
    o.setDebayerQuality(7);
    o.setEdlOptions(8);
    o.setColorFormat(9);
    o.setOutputDirectory("/renders/day 1");
    o.setThreadCount(10);
    o.setCodec(0x61766331);
    o.setOptionsPreset(20);

    const std::string xml = o.propertyList().ToXml();
    EXPECT_TRUE(test::MatchesRef("model/output-settings.plist", xml)) << "stored keys, types and values";
    const PlistValue d = test::ParsePlist(xml);
    OutputSettings back;
    back.setCodec(7);
    back.setOptionsPreset(9);
    back.LoadFromDictionary(d);
    EXPECT_EQ(back.propertyList(), d);
    EXPECT_EQ(back.frameRate(), static_cast<double>(23.976f));  // stored as a float
    // Not stored: left as they were.
    EXPECT_EQ(back.codec(), 7u);
    EXPECT_EQ(back.optionsPreset(), 9);
}

TEST(OutputSettings, FrameFormatStoresCodecZeroAndLoadsWithFive) {
    OutputSettings o;
    EXPECT_EQ(o.qtCodec(), 5);
    o.SelectFormatMenuTag(kFormatTiff);
    EXPECT_EQ(o.format(), kFormatTiff);
    EXPECT_EQ(o.qtCodec(), 0);
    EXPECT_EQ(o.propertyList()["qtCodec"].asInt(), 0);
    OutputSettings back;
    back.LoadFromDictionary(o.propertyList());
    EXPECT_EQ(back.qtCodec(), 5);
    back.SelectFormatMenuTag(2);
    EXPECT_EQ(back.format(), kFormatMovie);
    EXPECT_EQ(back.qtCodec(), 2);
}

TEST(OutputSettings, MissingKeysReadAsZeroAndAMissingDirectoryClearsIt) {
    OutputSettings o;
    o.setOutputDirectory("/somewhere");
    o.setFormat(kFormatTiff);
    PlistValue d = PlistValue::MakeDict();
    d.set("timecode", 1.9);  // truncated
    o.LoadFromDictionary(d);
    EXPECT_FALSE(o.outputDirectory().has_value());
    EXPECT_EQ(o.format(), kFormatMovie);
    EXPECT_EQ(o.timecode(), 1);
    EXPECT_EQ(o.qtCodec(), 5);
    EXPECT_EQ(o.size(), OutputSize{});
    EXPECT_FALSE(o.propertyList().contains("outputDirectory"));
}

TEST(OutputSettings, ReadableListAndPresetPaths) {
    OutputSettings o;
    o.setSize({2048.0f, 1152.0f});
    o.setOverwrite(1);  // keeps existing output, yet prints YES
    o.setFormat(kFormatDpx);
    o.setQtCodec(50);
    PlistValue r = o.ReadableList();
    EXPECT_EQ(r["size"].asString(), "2048 x 1152");
    EXPECT_EQ(r["overwrite"].asString(), "YES");
    EXPECT_EQ(r["resize"].asString(), "NO");
    EXPECT_EQ(r["file format"].asString(), "DPX");
    EXPECT_FALSE(r.contains("qtCodec"));
    o.setFormat(kFormatTiff);
    EXPECT_EQ(o.ReadableList()["file format"].asString(), "Tiff");
    o.setFormat(kFormatMovie);
    EXPECT_EQ(o.ReadableList()["file format"].asString(), "QT");

    EXPECT_EQ(OutputSettings::PresetResourceNameForTag(5), "1cva");
    EXPECT_EQ(OutputSettings::PresetResourceNameForTag(8), "012v");
    EXPECT_EQ(OutputSettings::PresetResourceNameForTag(9), "ap4h");
    EXPECT_EQ(OutputSettings::PresetResourceNameForTag(104), "cust_4");
    EXPECT_FALSE(OutputSettings::PresetResourceNameForTag(50).has_value());
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
    EXPECT_EQ(SettingsManager::SizeForTag(4), (OutputSize{1920, 1080}));
    EXPECT_EQ(SettingsManager::SizeForTag(7), (OutputSize{4096, 2034}));
    EXPECT_EQ(SettingsManager::SizeForTag(0), OutputSize{});
    EXPECT_EQ(SettingsManager::SizeForTag(101), OutputSize{});
    EXPECT_EQ(SettingsManager::SizeForTag(99), OutputSize{});
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
