// The folder tree and the scan for clips: depth, names, proxies, the overlay of a long scan.
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "library/MetadataCache.h"
#include "library/browse/BrowseShotsDataSource.h"
#include "library/browse/DataSource.h"
#include "library/browse/ShotListDataSource.h"
#include "model/SettingsManager.h"
#include "support/ClipFiles.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

namespace ombrel {
namespace {
namespace fs = std::filesystem;

using test::kMovieSize;
using test::Touch;

struct Tree : ListView {
    bool enabled = true;
    int reloads = 0;
    std::vector<size_t> selected;
    void SetEnabled(bool on) override { enabled = on; }
    void ReloadData() override { ++reloads; }
    std::vector<size_t> SelectedRowIndexes() const override { return selected; }
};

class Scan : public ::testing::Test {
protected:
    Scan() {
        shots.SetShotListDataSourceForTableAndTable(&shotList, &table, &icons);
        shots.setTrees(&fileTree, &driveTree);
        shots.setOverlayChanged([this](const ScanOverlay& o) { overlays.push_back(o); });
        Touch(dir / "card/a/b/Take 1.mov", kMovieSize);                   // level 3: found
        Touch(dir / "card/a/b/c/Take 2.mov", kMovieSize);                 // level 4: not
        Touch(dir / "card/A001_C001_0101AB_001.R3D");
        Touch(dir / "card/A001_C001_0101AB_002.R3D");                     // a later part
        Touch(dir / "card/A001_C001_0101AB_P.mov", kMovieSize);           // its proxy, a movie too
        Touch(dir / "card/.Trashes/A001_C002_0101AB_001.R3D");
        Touch(dir / "card/._A001_C001_0101AB_001.R3D");
    }
    std::vector<std::string> Found() const {
        std::vector<std::string> names;
        for (const auto& item : shots.ShotsFound()) names.push_back(fs::relative(item->fullPath(), dir / "card").string());
        return names;
    }
    void Finish() {
        MainQueue::Instance().ServeUntil([&] { return !shots.isScanning(); });
    }
    test::TempDir dir;
    ShotListDataSource shotList;
    Tree table, icons, fileTree, driveTree;
    BrowseShotsDataSource shots;
    std::vector<ScanOverlay> overlays;
};

TEST_F(Scan, FindsClipsThreeFoldersDownInByteOrderAndDisablesTheTreesMeanwhile) {
    shots.LoadForPath(dir / "card");
    EXPECT_TRUE(shots.isScanning());
    EXPECT_FALSE(fileTree.enabled || driveTree.enabled);
    Finish();
    EXPECT_EQ(Found(), (std::vector<std::string>{"A001_C001_0101AB_001.R3D", "A001_C001_0101AB_P.mov", "a/b/Take 1.mov"}));
    EXPECT_TRUE(fileTree.enabled && driveTree.enabled);
    EXPECT_GT(table.reloads, 0);
    // Quicker than the delay: the overlay never shows.
    MainQueue::Instance().ServeFor(std::chrono::milliseconds(700));
    for (const auto& o : overlays) EXPECT_FALSE(o.shown);

    EXPECT_EQ(shots.TextForCell(0, BrowseShotsDataSource::kNameColumn), "A001_C001_0101AB");
    EXPECT_EQ(shots.TextForCell(2, BrowseShotsDataSource::kOtherNameColumn), "Take 1.mov");
    EXPECT_FALSE(shots.GetPathAtIndex(3).has_value());

    // A drop on the list looks at every path; the shot list takes what is chosen, once.
    shots.AcceptDrop({dir / "card/a", dir / "card/A001_C001_0101AB_002.R3D"});
    Finish();
    EXPECT_EQ(Found(), (std::vector<std::string>{"a/b/Take 1.mov", "a/b/c/Take 2.mov"}));
    SettingsManager::Instance().RemoveAllClips();
    icons.selected = {0, 0};
    shots.DoubleClick(&icons);
    EXPECT_EQ(shotList.Count(), 1u);
}

// Render workers and views ask the cache about the same clips while the scan thread asks for
// their rows: the scan still finds each once and every caller gets the one shared record.
TEST_F(Scan, RequestsFromOtherThreadsDuringAScanShareTheRecords) {
    const std::string clips[] = {dir / "card/A001_C001_0101AB_001.R3D", dir / "card/a/b/Take 1.mov"};
    shots.LoadForPath(dir / "card");
    std::shared_ptr<ClipMetadata> forced[2][2];
    const auto ask = [&](int t) {
        for (int i = 0; i < 2; ++i) {
            MetadataCache::Instance().MetadataForPathWithThumbnailNotifyDiscard(clips[i], true, nullptr, false);
            forced[t][i] = MetadataCache::Instance().ForceMetadataForPath(clips[i]);
        }
    };
    std::thread first(ask, 0), second(ask, 1);
    Finish();
    first.join(), second.join();
    EXPECT_EQ(Found(), (std::vector<std::string>{"A001_C001_0101AB_001.R3D", "A001_C001_0101AB_P.mov", "a/b/Take 1.mov"}));
    for (int i = 0; i < 2; ++i) {
        ASSERT_NE(forced[0][i], nullptr) << clips[i];
        EXPECT_TRUE(forced[0][i] == forced[1][i] && forced[0][i] == MetadataCache::Instance().CacheGet(clips[i])) << clips[i];
    }
}

TEST_F(Scan, TheOverlayShowsOnlyWhileAScanRunsAndACancelKeepsWhatWasFound) {
    shots.LoadForPath(dir / "card");
    shots.ShowOverlay();  // the timer's call, come early
    EXPECT_EQ(shots.overlay(), (ScanOverlay{true, true, true}));
    Finish();
    EXPECT_EQ(shots.overlay(), ScanOverlay{});
    shots.ShowOverlay();  // the timer's call, come late
    EXPECT_EQ(shots.overlay(), ScanOverlay{});

    const size_t before = shots.NumberOfRows();
    shots.CancelScan();
    shots.LoadForPathAtlevel(dir / "card", 0);
    EXPECT_EQ(shots.NumberOfRows(), before);
}

TEST_F(Scan, TheFolderTreeListsFoldersAndClipsLazilyWithTheirProxies) {
    FileSystemItem::changeRoot(dir / "card");
    DataSource tree;
    tree.SetBrowseShotsDataSourceForTableAndTable(&shots, &table, &icons);
    ASSERT_EQ(tree.NumberOfChildrenOfItem(nullptr), 3);  // the clip, the proxy movie and "a"
    FileSystemItem* clip = tree.ChildOfItem(0, nullptr);
    FileSystemItem* proxy = tree.ChildOfItem(1, nullptr);
    FileSystemItem* folder = tree.ChildOfItem(2, nullptr);
    EXPECT_EQ(tree.TitleForItem(folder), "a");
    EXPECT_EQ(tree.TitleForItem(nullptr), " - ");
    EXPECT_STREQ(tree.ImageForItem(clip, false), "RedFile");
    EXPECT_STREQ(tree.ImageForItem(proxy, false), "qt");
    EXPECT_STREQ(tree.ImageForItem(folder, true), "OF4");
    EXPECT_STREQ(tree.ImageForItem(folder, false), "CF4");
    EXPECT_FALSE(tree.IsItemExpandable(clip));
    EXPECT_EQ(clip->numberOfChildren(), -1);
    EXPECT_EQ(clip->DisplayPath(), "A001_C001_0101AB");
    EXPECT_EQ(clip->proxyPath().value_or(""), proxy->fullPath());
    EXPECT_EQ(proxy->proxyPath().value_or(""), proxy->fullPath());
    EXPECT_EQ(tree.DraggedPaths(folder), (std::vector<std::string>{dir / "card/a"}));
    EXPECT_TRUE(clip->Date().has_value());
    fs::remove(proxy->fullPath());
    EXPECT_FALSE(clip->proxyPath().has_value());
    EXPECT_FALSE(FileSystemItem::MakeRoot(dir / "card/notes.txt")->proxyPath().has_value());

    tree.SelectionDidChange(folder);
    Finish();
    EXPECT_EQ(Found(), (std::vector<std::string>{"a/b/Take 1.mov", "a/b/c/Take 2.mov"}));
    FileSystemItem::changeRoot(HomeFolder());
}

}  // namespace
}  // namespace ombrel
