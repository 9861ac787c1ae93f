// The library menu always offers the default library first, whether or not its list file is
// on disk yet: it is where presets go until the user picks another.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "core/Paths.h"
#include "model/SettingsManager.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;

TEST(PresetLibraryMenu, ListsMyPresetsFirstEvenWithoutItsListFile_AsTheDefaultLibrary) {
    auto& sm = SettingsManager::Instance();
    const struct {
        const char* name;
        std::vector<const char*> shells;  // libraries made with their list files
        const char* withoutList;          // one of them whose list file is then removed
        std::vector<std::string> menu;
    } rows[] = {
        {"no library root at all", {}, nullptr, {"My Presets"}},
        {"other libraries only, trash left out", {"Zed", "Alpha", "Trash"}, nullptr, {"My Presets", "Alpha", "Zed"}},
        {"the default's folder without its list", {"My Presets", "Beta"}, "My Presets", {"My Presets", "Beta"}},
        {"another folder without its list", {"Alpha", "No List"}, "No List", {"My Presets", "Alpha"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::error_code ec;
        fs::remove_all(DocumentsFolder(), ec);
        for (const char* name : row.shells) ASSERT_TRUE(sm.CreateLibraryShell(name)) << name;
        if (row.withoutList) {
            // A list named after another library does not count either.
            fs::rename(SettingsManager::PresetLibraryPlistPathForName(row.withoutList),
                       SettingsManager::PresetLibraryPathForName(row.withoutList) + "/Other.plist");
        }
        EXPECT_EQ(SettingsManager::PresetLibraryNames(), row.menu);
    }
}

}  // namespace
}  // namespace ombrel
