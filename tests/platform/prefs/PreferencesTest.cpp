#include <gtest/gtest.h>

#include "platform/prefs/MachineId.h"
#include "platform/prefs/Preferences.h"

namespace ombrel::platform {
namespace {

TEST(Preferences, TypedReadsTakeOnlyTheirKind) {
    Preferences prefs(std::make_shared<MemoryPreferencesStore>());
    prefs.setBool("useRocket", false);
    prefs.setInteger("debayerSetting", 2);
    prefs.setObject("presetGroupPopup", PlistValue("My Presets"));
    EXPECT_EQ(prefs.boolForKey("useRocket"), false);
    EXPECT_EQ(prefs.integerForKey("debayerSetting"), 2);
    EXPECT_EQ(prefs.stringForKey("presetGroupPopup"), "My Presets");
    // A value of another kind reads as absent, so the caller's default applies.
    EXPECT_FALSE(prefs.integerForKey("presetGroupPopup"));
    EXPECT_FALSE(prefs.stringForKey("debayerSetting"));
    EXPECT_FALSE(prefs.boolForKey("absent"));
    prefs.removeObjectForKey("useRocket");
    EXPECT_EQ(prefs.Keys(), (std::vector<std::string>{"debayerSetting", "presetGroupPopup"}));
}

TEST(Preferences, SharedStoreIsReplacedWhole) {
    auto store = std::make_shared<MemoryPreferencesStore>();
    Preferences::SetSharedStore(store);
    Preferences::Shared().setInteger("debayerSetting", 1);
    EXPECT_EQ(store->Read("debayerSetting")->asInt(), 1);
    Preferences::SetSharedStore(nullptr);
    EXPECT_FALSE(Preferences::Shared().integerForKey("debayerSetting"));
}

TEST(MachineId, EachByteThreeWideWithBlanksAsZero) {
    EXPECT_EQ(FormatMachineId({0x00, 0x1B, 0x63, 0x84, 0x45, 0xE6}), "000027099132069230");
}

TEST(MachineId, FirstInterfaceByNameThatIsNotLoopbackWithAnAddress) {
    const std::vector<NetInterface> interfaces = {
        {"wlan0", "00:1b:63:84:45:e7", false},
        {"lo", "00:00:00:00:00:00", true},
        {"eth1", "00:1b:63:84:45:e6", false},
        {"dummy", "00:00:00:00:00:00", false},
        {"bond", "not an address", false},
        {"br0", "02:42:00:00:00:01", true},
    };
    EXPECT_EQ(MachineIdFromInterfaces(interfaces), "000027099132069230");
    EXPECT_EQ(MachineIdFromInterfaces({{"lo", "00:00:00:00:00:00", true}}), "");
}

}  // namespace
}  // namespace ombrel::platform
