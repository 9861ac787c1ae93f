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
    struct Row {
        const char* name;
        std::vector<const char*> shells;  // libraries made with their list files
        bool removeDefaultList;
        std::vector<std::string> menu;
    };
    const Row rows[] = {
        {"no library root at all", {}, false, {"My Presets"}},
        {"other libraries only", {"Zed", "Alpha", "Trash"}, false, {"My Presets", "Alpha", "Zed"}},
        {"the default's folder without its list", {"My Presets", "Beta"}, true, {"My Presets", "Beta"}},
        {"the default with its list", {"Beta", "My Presets"}, false, {"My Presets", "Beta"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::error_code ec;
        fs::remove_all(DocumentsFolder(), ec);
        for (const char* name : row.shells) ASSERT_TRUE(sm.CreateLibraryShell(name)) << name;
        if (row.removeDefaultList) fs::remove(SettingsManager::PresetLibraryPlistPathForName("My Presets"));
        EXPECT_EQ(SettingsManager::PresetLibraryNames(), row.menu);
    }
    std::error_code ec;
    fs::remove_all(DocumentsFolder(), ec);
}

}  // namespace
}  // namespace ombrel
