// The volume list: the mount table read as text, the row images, the watcher.
#include "core/MainQueue.h"
#include "library/browse/DriveDataSource.h"
#include "library/browse/FileSystemItem.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace ombrel {
namespace {

struct Controller : BrowseController {
    int redisplays = 0;
    std::string chosen;
    void ResetToCurrentFile() override {}
    int GetCurrentFileIndex() override { return -1; }
    void SourceDriveChanged(const VolumeDescription& volume) override { chosen = volume.name; }
    void RedisplayDriveTree() override { ++redisplays; }
    void ShotListUpdated() override {}
};

TEST(Volumes, HomeThenTheRootAndTheDisksOfTheMountTable) {
    test::TempDir home;
    test::ScopedEnv env("HOME", home.path().c_str());
    DriveDataSource drives(test::RefPath("library/mountinfo"));
    Controller controller;
    drives.setGuiController(&controller);
    drives.Reload();
    std::string out;
    for (size_t i = 0; i < drives.volumes().size(); ++i) {
        const char* image = drives.ImageForRow(i);
        const auto& v = drives.volumes()[i];
        const bool home = v.type == VolumeDescription::kHome;  // named after the scratch folder
        out += (home ? "HOME" : v.name) + " | " + (home ? "HOME" : v.path) + " | " +
               std::to_string(v.type) + " | " + image + " | " + v.iconName + "\n";
    }
    EXPECT_TRUE(test::MatchesRef("library/volumes.txt", out));

    drives.SelectVolume(1);
    EXPECT_EQ(controller.chosen, DriveDataSource::kRootVolumeName);
    EXPECT_EQ(FileSystemItem::rootItem()->fullPath(), "/");
    FileSystemItem::changeRoot(home.path());
}

TEST(Volumes, RowImagesByKindAndGroup) {
    const struct {
        VolumeDescription volume;
        const char* image;
        const char* icon;
    } rows[] = {
        {{"SMB://nas", "/mnt/nas", "", VolumeDescription::kServer}, "PC4", "PCServer"},
        {{"afp://mac", "/mnt/mac", "", VolumeDescription::kServer}, "MS4", "MacServer"},
        {{"Footage", "/srv/footage", "", VolumeDescription::kFolder}, "CF4", "OpenFolder"},
        {{"Card", "/media/card", "", VolumeDescription::kLocalVolume}, "FW4", "FirewireDrive"},
        {{"ed", "/home/ed", "", VolumeDescription::kHome}, "HM4", "Home"},
        {{"Anything", "/", "", VolumeDescription::kHome}, "ID4", "InternalDrive"},
    };
    for (const auto& row : rows) {
        const VolumeImage image = ImageForVolume(row.volume);
        EXPECT_STREQ(image.image, row.image) << row.volume.name;
        EXPECT_STREQ(image.iconName, row.icon) << row.volume.name;
    }
    EXPECT_STREQ(ImageForGroup("Volumes"), "NW5");
    EXPECT_STREQ(ImageForGroup("Servers"), "NW5");
    EXPECT_STREQ(ImageForGroup("Places"), "OF4");
    EXPECT_STREQ(ImageForFolderRow(true), "FolderOpen");
}

TEST(Volumes, TheWatcherReportsACardComingAndGoing) {
    test::TempDir dir;
    const std::string table = dir / "mountinfo";
    const std::string base = "26 1 254:0 / / rw - ext4 /dev/vda rw\n";
    test::WriteWholeFile(table, base);
    DriveDataSource drives(table);
    Controller controller;
    drives.setGuiController(&controller);
    drives.Reload();
    drives.StartWatching(std::chrono::milliseconds(10));
    auto waitFor = [&](int redisplays) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        MainQueue::Instance().ServeUntil(
            [&] { return controller.redisplays >= redisplays || std::chrono::steady_clock::now() > deadline; });
    };
    // Whole or not at all, as the kernel's table changes.
    auto replace = [&](const std::string& text) {
        test::WriteWholeFile(table + ".new", text);
        std::filesystem::rename(table + ".new", table);
    };
    replace(base + "33 26 8:17 / /media/ed/CARD rw - exfat /dev/sdb1 rw\n");
    waitFor(1);
    ASSERT_EQ(drives.volumes().size(), 3u);
    EXPECT_EQ(drives.volumes()[2].path, "/media/ed/CARD");
    replace(base);
    waitFor(2);
    EXPECT_EQ(drives.volumes().size(), 2u);
}

}  // namespace
}  // namespace ombrel
