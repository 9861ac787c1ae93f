// The shot list: adding, drops, removal with the edit's ranges, selection, the render table's rows.
#include "library/browse/ShotListDataSource.h"
#include "core/Paths.h"
#include "model/SettingsManager.h"
#include "support/RefFile.h"
#include "support/ClipFiles.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace ombrel {
namespace {
namespace fs = std::filesystem;

using test::kMovieSize;
using test::Touch;

struct Viewer : BrowseController {
    int current = -1;
    int resets = 0;
    void ResetToCurrentFile() override { ++resets; }
    int GetCurrentFileIndex() override { return current; }
    void SourceDriveChanged(const VolumeDescription&) override {}
    void RedisplayDriveTree() override {}
    void ShotListUpdated() override {}
};

struct Table : ListView {
    std::vector<size_t> selected;
    int reloads = 0;
    void ReloadData() override { ++reloads; }
    std::vector<size_t> SelectedRowIndexes() const override { return selected; }
    void SelectRowIndexes(const std::vector<size_t>& rows) override { selected = rows; }
};

class ShotList : public ::testing::Test {
protected:
    ShotList() {
        SettingsManager::Instance().RemoveAllClips();
        list.setGuiController(&viewer);
        list.setTables(&table, &icons);
    }
    std::vector<std::string> Paths() const {
        std::vector<std::string> out;
        for (size_t i = 0; i < list.Count(); ++i) out.push_back(*list.GetPathAtIndex(i));
        return out;
    }
    test::TempDir dir;
    Viewer viewer;
    Table table, icons, strip;
    ShotListDataSource list;
};

TEST_F(ShotList, ADropFindsClipsAtAnyDepthOnceEachAndInByteOrder) {
    const std::string deep = Touch(dir / "card/a/b/c/d/e/B001_C001_0101AA_001.R3D");
    Touch(dir / "card/a/b/c/d/e/B001_C001_0101AA_002.R3D");  // a later part of the clip
    const std::string movie = Touch(dir / "card/Take 2.mov", kMovieSize);
    const std::string upper = Touch(dir / "card/Take 10.MOV", kMovieSize);
    Touch(dir / "card/small.mov", kMovieSize - 1);
    Touch(dir / "card/.hidden/C001_C001_0101AA_001.R3D");
    Touch(dir / "card/._Take 3.mov", kMovieSize);
    Touch(dir / "card/notes.txt");
    fs::create_directory_symlink(dir / "card", dir / "card/a/loop");

    EXPECT_EQ(list.LoadForPath(dir / "card"), 3u);
    EXPECT_EQ(Paths(), (std::vector<std::string>{upper, movie, deep}));
    EXPECT_FALSE(list.AddPath(movie));  // a clip added twice is one row
    EXPECT_EQ(list.LoadForPath(dir / "card/notes.txt"), 0u);
    EXPECT_EQ(SettingsManager::Instance().registeredPaths(), Paths());
    EXPECT_FALSE(list.GetPathAtIndex(3).has_value());
    EXPECT_GE(table.reloads, 3);
}

TEST_F(ShotList, RemovingClipsForgetsTheirSettingsAndRanges) {
    for (const char* name : {"a.R3D", "b.R3D", "c.R3D"}) list.AddPath(dir / name);
    auto ranges = [&](const std::string& path) {
        auto file = std::make_shared<FCPFile>(path, 100, LastPathComponent(path));
        file->AddSnippet(FCPSnippet(path, 1, 5));
        return file;
    };
    list.setFileSnippets({{"a", ranges(dir / "a.R3D")}, {"b", ranges(dir / "b.R3D")}, {"b2", ranges(dir / "b.R3D")}});
    SettingsManager::Instance().PushSettingsForClip(ClipSettings(), dir / "b.R3D");

    // The film strip removes by its own selection; a table by its own and reloads.
    strip.selected = {1};
    list.Delete(&strip);
    EXPECT_EQ(Paths(), (std::vector<std::string>{dir / "a.R3D", dir / "c.R3D"}));
    EXPECT_EQ(list.fileSnippets().size(), 1u);
    EXPECT_EQ(list.fileSnippets().count("a"), 1u);
    EXPECT_EQ(SettingsManager::Instance().SettingsForClip(dir / "b.R3D"), nullptr);
    EXPECT_GE(viewer.resets, 1);
    table.selected = {0};
    const int reloads = table.reloads;
    list.Delete(&table);
    EXPECT_EQ(Paths(), (std::vector<std::string>{dir / "c.R3D"}));
    EXPECT_TRUE(list.fileSnippets().empty());
    EXPECT_GT(table.reloads, reloads);

    // Emptying the list for a project load leaves the registrations to the loader.
    list.RemoveAllItems();
    EXPECT_EQ(SettingsManager::Instance().registeredPaths().size(), 1u);
}

TEST_F(ShotList, SelectRightStartsAtTheSelectionOrTheViewersClip) {
    for (const char* name : {"a.R3D", "b.R3D", "c.R3D", "d.R3D"}) list.AddPath(dir / name);
    table.selected = {2, 1};
    list.SelectRight(&table);
    EXPECT_EQ(table.selected, (std::vector<size_t>{1, 2, 3}));
    table.selected.clear();
    viewer.current = 3;
    list.SelectRight(&table);
    EXPECT_EQ(table.selected, (std::vector<size_t>{3}));
    table.selected.clear();
    viewer.current = 9;  // not in the list: nothing selected
    list.SelectRight(&table);
    EXPECT_TRUE(table.selected.empty());
    list.SelectAll(&table);
    EXPECT_EQ(table.selected.size(), 4u);
}

TEST_F(ShotList, RangesRoundTripThroughTheProjectForm) {
    auto file = std::make_shared<FCPFile>("/v/A%20B.mov", 50, "A B.mov");
    file->AddSnippet(FCPSnippet("", 3, 9));
    file->setTimecode("00:00:01:00");
    list.setFileSnippets({{"A B.mov", file}});
    const PlistValue saved = list.KVCFileSnippetsDictionary();
    PlistValue read;
    ASSERT_TRUE(PlistValue::FromXml(saved.ToXml(), &read).ok());
    ShotListDataSource other;
    other.LoadKVCFileSnippetsDictionary(read);
    ASSERT_EQ(other.fileSnippets().size(), 1u);
    EXPECT_EQ(other.fileSnippets().at("A B.mov")->sourcePath(), "/v/A B.mov");
    EXPECT_EQ(other.KVCFileSnippetsDictionary(), saved);
}

// Each row of the table: the fields of its cell, then the look the row function gives them.
TEST(RenderRow, TextsAndBarsFollowTheRenderFields) {
    struct Case {
        const char* what;
        ProgressCell cell;
    };
    auto cell = [](float total, float done, bool acquired, int error = 0, int in = 0, int out = 0,
                   std::optional<std::vector<int>> snippets = std::nullopt) {
        ProgressCell c;
        c.title = "A001_C001_0101AB_001.R3D";
        c.totalFrames = total, c.framesRendered = done, c.acquired = acquired, c.errorState = error;
        c.userFrameIn = in, c.userFrameOut = out, c.snippets = std::move(snippets);
        return c;
    };
    const Case cases[] = {
        {"queued", cell(100, 0, false)},
        {"length unknown", cell(0, 0, false)},
        {"output exists", cell(100, 0, false, 3)},
        {"rendering", cell(100, 25, true)},
        {"finished", cell(100, 100, true)},
        {"cancelled part way", cell(100, 40, false, 2)},
        {"failed while rendering", cell(100, 40, true, 2)},
        {"in and out points, queued", cell(100, 0, false, 0, 10, 19)},
        {"in and out points, rendering", cell(100, 15, true, 0, 10, 19)},
        {"in and out points, reached the out point", cell(100, 19, true, 0, 10, 19)},
        {"out point past the end: whole clip", cell(100, 50, true, 0, 10, 100)},
        {"snippets", cell(100, 50, true, 0, 10, 19, std::vector<int>{10, 20, 40, 70, 80, 90, 5})},
        {"acquired at frame 0", cell(100, 0, true)},
    };
    std::string out;
    for (const auto& c : cases) {
        const RenderRowLook row = RenderRowForCell(c.cell);
        out += std::string(c.what) + ": [" + row.title + "] [" + row.detail.value_or("(none)") + "]" +
               (row.completeImages ? " +Complete +ShowInFinder" : "") + (row.barShown ? " bar:" : "");
        for (const auto& s : row.spans) {
            char span[96];
            std::snprintf(span, sizeof span, " %.2f-%.2f %06X@%.1f", s.from, s.to, s.rgb, s.alpha);
            out += span;
        }
        out += "\n";
    }
    EXPECT_TRUE(test::MatchesRef("library/render-rows.txt", out));
}

}  // namespace
}  // namespace ombrel
