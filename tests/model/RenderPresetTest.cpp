#include "model/RenderPreset.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "ModelTestSupport.h"
#include "core/Paths.h"
#include "support/Plists.h"

namespace ombrel {
namespace {

using test::Swatch;

TEST(RenderPreset, NewPresetsGetDistinctStandardGuids) {
    // 8-4-4-4-12 upper-case hex digits, version 4, the standard variant.
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        RenderPreset p;
        EXPECT_TRUE(std::regex_match(p.presetID(), form)) << p.presetID();
        seen.insert(p.presetID());
    }
    EXPECT_EQ(seen.size(), 200u);
}

TEST(RenderPreset, DictionaryRoundTripAndCopyWithNewID) {
    auto p = RenderPreset::Make();
    p->Settings()->setStockName("5219");
    p->setPresetName("Night exterior");
    p->setPresetNumber(7);
    p->setIsFactory(true);

    const PlistValue d = test::ParsePlist(p->PropertyList().ToXml());
    EXPECT_EQ(d["theSettings"], p->Settings()->propertyList());
    RenderPreset back;
    back.setIsFactory(true);
    back.LoadFromDictionary(d);
    EXPECT_EQ(back.PropertyList(), d);
    EXPECT_FALSE(back.isFactory());

    auto copy = p->copyWithNewID();
    EXPECT_NE(copy->Settings(), p->Settings());
    PlistValue same = copy->PropertyList();
    EXPECT_NE(same["presetID"], p->PropertyList()["presetID"]);
    same.set("presetID", p->presetID());
    EXPECT_EQ(same, p->PropertyList());
}

TEST(RenderPreset, IconsAreWrittenAsTiffAndFactoryIconsReachTheLegacyPath) {
    auto p = RenderPreset::Make();
    EXPECT_EQ(p->IconPathLegacy(), HomeFolder() + "/Documents/Ombrel/Thumbnails/Preset/" + p->presetID() + ".tiff");
    p->setIcon(Swatch());
    RenderPreset loaded;
    loaded.LoadFromDictionary(p->PropertyList());
    ASSERT_NE(loaded.icon(), nullptr);
    EXPECT_EQ(loaded.icon()->rgba, Swatch()->rgba);

    // A factory preset takes its thumbnail from its library and leaves a copy at the legacy path.
    auto factory = RenderPreset::Make();
    const std::string libraryIcon = factory->IconPathLibrary("Factory");
    std::filesystem::create_directories(std::filesystem::path(libraryIcon).parent_path());
    ASSERT_TRUE(WriteImageAsTiff(*Swatch(), libraryIcon).ok());
    RenderPreset fromLibrary;
    fromLibrary.LoadFactoryPresetFromDictionaryLibraryName(factory->PropertyList(), "Factory");
    ASSERT_NE(fromLibrary.icon(), nullptr);
    EXPECT_TRUE(std::filesystem::exists(fromLibrary.IconPathLegacy()));
}

}  // namespace
}  // namespace ombrel
