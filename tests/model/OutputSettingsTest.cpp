#include "model/OutputSettings.h"

#include <gtest/gtest.h>

#include "core/Paths.h"
#include "model/SettingsManager.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

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
    o.setFolders(2);
    o.setOverwrite(1);
    o.setTimecode(1);
    o.setQtCodec(3);
    o.setDebayerQuality(2);
    o.setEdlOptions(1);
    o.setColorFormat(2);
    o.setOutputDirectory("/renders/day 1");
    o.setThreadCount(1);
    o.setCodec(0x61766331);
    o.setOptionsPreset(20);

    const PlistValue d = PlistValue::FromXml(o.propertyList().ToXml());
    ASSERT_TRUE(d.isDict());
    EXPECT_EQ(d["width"].type(), PlistValue::Type::Integer);
    EXPECT_EQ(d["timecode"].type(), PlistValue::Type::Real);
    EXPECT_EQ(d["frameRate"].type(), PlistValue::Type::Real);
    EXPECT_FALSE(d.contains("codec"));

    OutputSettings back;
    back.setCodec(7);
    back.setOptionsPreset(9);
    back.LoadFromDictionary(d);
    EXPECT_EQ(back.frameRate(), static_cast<double>(23.976f));  // stored as a float
    EXPECT_EQ(back.size(), (OutputSize{1920.0f, 1080.0f}));
    EXPECT_EQ(back.format(), kFormatDpx);
    EXPECT_EQ(back.fitMethod(), 2);
    EXPECT_EQ(back.filenames(), 1);
    EXPECT_EQ(back.folders(), 2);
    EXPECT_EQ(back.overwrite(), 1);
    EXPECT_EQ(back.timecode(), 1);
    EXPECT_EQ(back.qtCodec(), 3);
    EXPECT_EQ(back.debayerQuality(), 2);
    EXPECT_EQ(back.edlOptions(), 1);
    EXPECT_EQ(back.colorFormat(), 2);
    EXPECT_EQ(back.outputDirectory(), "/renders/day 1");
    EXPECT_EQ(back.threadCount(), 1);
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

TEST(SettingsManager, StackKeepsFiveAndSkipsIdenticalPushes) {
    auto& sm = SettingsManager::Instance();
    sm.ClearAll();
    const std::string path = "/footage/A001_C001_0101AB_001.R3D";
    EXPECT_EQ(sm.SettingsForClip(path), nullptr);
    ClipSettings s;
    s.setSourceCameraChosen("EpicM");
    s.setDisplayMake("m");
    s.setDisplayModel("m");
    s.setDisplayPictureStyle("p");
    sm.PushSettingsForClip(s, path);
    sm.PushSettingsForClip(s, path);  // the same: not pushed
    EXPECT_EQ(sm.GetStackForClip(path).size(), 1u);
    for (int i = 0; i < 7; ++i) {
        s.setExposure(static_cast<float>(i));
        sm.PushSettingsForClip(s, path);
    }
    EXPECT_EQ(sm.GetStackForClip(path).size(), 4u);  // trimmed so the next push makes five
    EXPECT_EQ(sm.SettingsForClip(path)->exposure(), 6.0f);
    EXPECT_NE(sm.SettingsForClip(path).get(), &s);  // a copy
    auto top = sm.PopSettingsForClip(path);
    EXPECT_EQ(top->exposure(), 6.0f);
    EXPECT_EQ(sm.SettingsForClip(path)->exposure(), 5.0f);
    sm.PushSettingsForClip(s, "");  // no path: nothing
    sm.ClearAll();
}

}  // namespace
}  // namespace ombrel
