#include "model/OutputSettings.h"

#include <gtest/gtest.h>

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

TEST(OutputSettings, MissingKeysReadAsZeroAndAMissingDirectoryClearsIt) {
    OutputSettings o;
    o.setOutputDirectory("/somewhere");
    o.setFormat(kFormatTiff);
    o.LoadFromDictionary(PlistValue::DictT{{"timecode", 1.9}});  // truncated
    EXPECT_FALSE(o.outputDirectory().has_value());
    EXPECT_EQ(std::pair(o.format(), o.timecode()), (std::pair<int, int>(kFormatMovie, 1)));
    EXPECT_EQ(o.qtCodec(), 5);
}

// Codec 50 names no preset, 4 one whose file is missing, 5 one present on disk.
TEST(OutputSettings, ReadableListAndPresetPaths) {
    test::TempDir data;
    test::ScopedDataRoot root(data.path());
    test::WriteWholeFile(data / "Resources/Codecs/1cva.dat", "x");
    OutputSettings o;
    o.setSize({2048.0f, 1152.0f});
    o.setOverwrite(1);  // keeps existing output, yet prints YES
    std::string out;
    for (const auto& [format, codec] : std::vector<std::pair<int, int>>{
             {kFormatDpx, 50}, {kFormatTiff, 50}, {kFormatMovie, 50}, {kFormatMovie, 4}, {kFormatMovie, 5}}) {
        o.setFormat(format);
        o.setQtCodec(codec);
        out += o.ReadableList().Description() + "\n";
    }
    EXPECT_TRUE(test::MatchesRef("model/readable-lists.txt", out));
    EXPECT_EQ(OutputSettings::PresetResourceNameForTag(104).value_or(""), "cust_4");
}

TEST(SettingsManager, SizeTagsBothWaysWithTheCustomSize) {
    auto& sm = SettingsManager::Instance();
    sm.setCustomOutputSize({});
    const std::pair<int, OutputSize> tags[] = {{4, {1920, 1080}}, {7, {4096, 2034}}, {101, {}}, {99, {}}};
    for (const auto& [tag, size] : tags) EXPECT_EQ(SettingsManager::SizeForTag(tag), size) << tag;
    EXPECT_EQ(SettingsManager::TagForSize({1280, 720}), 3);
    EXPECT_EQ(SettingsManager::TagForSize({1000, 500}), 101);
    sm.setCustomOutputSize({1280, 720});
    EXPECT_EQ(SettingsManager::TagForSize({1280, 720}), 101);
    EXPECT_EQ(SettingsManager::SizeForTag(101), (OutputSize{1280, 720}));
    sm.setCustomOutputSize({});
}

}  // namespace
}  // namespace ombrel
