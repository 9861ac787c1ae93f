// The stock catalogue and the loading of stock tables from a profile store of our making, with
// where they depart from a plain reading on purpose: a table that could not be loaded is said
// in the log, and the walk over the stocks never leaves tags 0 to 18.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <vector>

#include "core/Log.h"
#include "datafile/DataFile.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// Every tag with its name, display name, background, kind and neighbours, the popup, and how
// unknown names read, one line each.
TEST(StockCatalogue, TagsNamesKindsNeighboursAndThePopupMatchTheReference) {
    std::ostringstream out;
    for (int tag = 0; tag <= 53; tag = tag == kLastStockTag ? 50 : tag + 1) {
        const std::string name = LutManager::StockNameForTag(tag);
        out << "tag " << tag << " " << name << " \"" << LutManager::DisplayNameForStockName(name) << "\" "
            << LutManager::BgPathForTag(tag) << " back " << LutManager::PopupTagForStockName(name) << " bw "
            << LutManager::IsTagBW(tag) << LutManager::IsStockNameBW(name) << " instant "
            << LutManager::IsTagPolaroid(tag) << LutManager::IsStockNamePolaroid(name) << " previous "
            << LutManager::PreviousStockTagForTag(tag) << " next " << LutManager::NextStockTagForTag(tag) << "\n";
    }
    out << "separator " << LutManager::BgPathForTag(kSeparatorTag) << "\n";
    for (const char* unknown : {"", "5219", "kodaktrix", "Polaroid "}) {
        out << "unknown \"" << unknown << "\" tag " << LutManager::PopupTagForStockName(unknown) << " \""
            << LutManager::DisplayNameForStockName(unknown) << "\" bw " << LutManager::IsStockNameBW(unknown)
            << " instant " << LutManager::IsStockNamePolaroid(unknown) << "\n";
    }
    for (const auto& item : LutManager::StockPopupItems()) {
        out << "popup " << item.tag << " \"" << item.title << "\" enabled " << item.enabled << "\n";
    }
    EXPECT_TRUE(test::MatchesRef("look/stock-catalogue.txt", out.str()));
    EXPECT_DEATH(LutManager::StockNameForTag(19), "No stock has the popup tag 19");
    EXPECT_DEATH(LutManager::BgPathForTag(-1), "No stock has the popup tag -1");
}

TEST(StockDecisions, PreviousAndNextFromOutside0To18ReEnterTheWalk_NotTagMinusOrPlusOne) {
    struct Row {
        const char* name;
        int tag, previous, next;
    };
    for (const Row& row :
         {Row{"first stock", 0, 18, 1}, Row{"last stock", 18, 17, 0}, Row{"a look", 50, 18, 0},
          Row{"the last look", 53, 18, 0}, Row{"a separator", kSeparatorTag, 18, 0},
          Row{"just past the stocks", 19, 18, 0}, Row{"just below them", -1, 18, 0}, Row{"far below", -5, 18, 0}}) {
        EXPECT_EQ(LutManager::PreviousStockTagForTag(row.tag), row.previous) << row.name;
        EXPECT_EQ(LutManager::NextStockTagForTag(row.tag), row.next) << row.name;
    }
}

// A profile store in a scratch data root; each table's entries all hold one value, so a
// load shows which file it read.
class StockTables : public testing::Test {
protected:
    void SetUp() override { AppState::Instance().setState(1); }
    void TearDown() override {
        AppState::Instance().setState(1);
        LutManager::SetColorFormat(0);
    }
    void Write(const std::string& profile, const std::string& stock, float value, bool statusM = false,
               size_t bytes = kStockLutBytes) {
        const std::string path = LutManager::AltPathForPictureStyleStockNameStatusM(profile, stock, statusM);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::vector<float> table(kStockLutFloats, value);
        ASSERT_EQ(ScrambleDataToFile(path, table.data(), bytes, nullptr), 0);
    }
    // Loads into a buffer that starts at -1 and returns its entries' value, or -1 when the
    // buffer was left alone.
    float Load(const std::string& stock, const std::string& profile, bool* answer = nullptr) {
        buffer_.assign(kStockLutFloats, -1.0f);
        const bool ok = LutManager::TextureWithStockSourceTypeToBufferOfLength(stock, profile, buffer_.data(),
                                                                               static_cast<int64_t>(kStockLutBytes));
        if (answer) *answer = ok;
        EXPECT_EQ(buffer_.front(), buffer_.back()) << "a table is copied whole or not at all";
        return buffer_.front();
    }

    test::TempDir dir_;
    test::ScopedDataRoot root_{dir_.path()};
    std::vector<float> buffer_;
};

TEST_F(StockTables, AvailabilityAndTheInstalledList) {
    EXPECT_TRUE(LutManager::InstalledTables().empty());
    Write("EpicM", "5213", 0.3f);
    EXPECT_FALSE(LutManager::LutAvailable("EpicM")) << "only the 5207 table stands for a profile";
    Write("EpicM", "5207", 0.2f);
    Write("EpicM", "5207", 0.25f, true);
    EXPECT_TRUE(LutManager::LutAvailable("EpicM"));
    EXPECT_TRUE(LutManager::StatusMAvailableForStockAndSource("5207", "EpicM"));
    EXPECT_FALSE(LutManager::StatusMAvailableForStockAndSource("5213", "EpicM"));
    EXPECT_EQ(LutManager::InstalledTables(),
              (std::map<std::string, std::vector<std::string>>{{"EpicM", {"5207", "5207_SM", "5213"}}}));
}

// Status M reaches the path only when the fallback is taken: a stock's own _SM table is not
// read while its plain table exists.
TEST_F(StockTables, MissingTablesFallBackToThe5207OfTheSideInUseInStatusMWhereTheStockOffersIt) {
    Write("5D", "5207", 0.1f);
    Write("5D", "5207", 0.15f, true);
    Write("EpicM", "5207", 0.2f);
    Write("RedOne", "KodakTriX", 0.3f);
    Write("RedOne", "5213", 0.35f);
    Write("RedOne", "5213", 0.36f, true);
    Write("RedOne", "8553", 0.4f, true);  // a Status M table without its plain one
    struct Row {
        const char *name, *stock, *profile;
        int appState, colorFormat;
        float loaded;
    };
    for (const Row& r : {Row{"its own table", "KodakTriX", "RedOne", 1, 0, 0.3f},
                         Row{"movies fall back to 5D", "8543", "RedOne", 1, 0, 0.1f},
                         Row{"an unknown profile too", "8543", "NoSuchProfile", 1, 0, 0.1f},
                         Row{"R3D clips fall back to EpicM", "8543", "RedOne", 0, 0, 0.2f},
                         Row{"an unknown stock too", "NoSuchStock", "RedOne", 0, 0, 0.2f},
                         Row{"no stock", "", "RedOne", 1, 0, -1.0f}, Row{"no profile", "5213", "", 1, 0, -1.0f},
                         Row{"Status M: the plain table wins while it exists", "5213", "RedOne", 1, 1, 0.35f},
                         Row{"Status M offered: the fallback is its _SM table", "8553", "RedOne", 1, 1, 0.15f},
                         Row{"no Status M for the stock: plain fallback", "8543", "RedOne", 1, 1, 0.1f},
                         Row{"Status M off", "8553", "RedOne", 1, 0, 0.1f}}) {
        AppState::Instance().setState(r.appState);
        LutManager::SetColorFormat(r.colorFormat ? kColorFormatStatusM : 0);
        bool answer = false;
        EXPECT_EQ(Load(r.stock, r.profile, &answer), r.loaded) << r.name;
        EXPECT_EQ(answer, r.loaded >= 0) << r.name;
    }
}

// A table that cannot be used leaves the buffer alone and still answers true.
TEST_F(StockTables, LogsWhenNoTableCouldBeLoaded_NotSilentAsWhenTheFallbackServes) {
    struct Row {
        const char* name;
        size_t fallbackBytes;  // of the movie chain's "5D" "5207" table; 0: none
        const char* line;      // besides "No stock table loaded ..."; null: the log stays empty
    };
    for (const Row& row :
         {Row{"the fallback serves", kStockLutBytes, nullptr},
          Row{"the fallback is missing too", 0, "doesn't exist at"},
          Row{"the fallback is short", kStockLutBytes - 4, "3145724 bytes of table, 3145728 needed"}}) {
        SCOPED_TRACE(row.name);
        std::filesystem::remove_all(dir_ / "Profiles");
        if (row.fallbackBytes) Write("5D", "5207", 0.5f, false, row.fallbackBytes);
        LogCapture log;
        bool answer = false;
        EXPECT_EQ(Load("5213", "RedOne", &answer), row.line ? -1.0f : 0.5f);
        EXPECT_TRUE(answer);
        EXPECT_EQ(log.Count("No stock table loaded for 5213 on profile RedOne"), row.line ? 1u : 0u);
        EXPECT_TRUE(row.line ? log.Contains(row.line) : log.Lines().empty());
    }
    Write("5D", "5207", 0.5f);
    std::vector<float> small(16, -1.0f);
    EXPECT_TRUE(LutManager::TextureWithStockSourceTypeToBufferOfLength("5207", "5D", small.data(), 64));
    EXPECT_EQ(small.back(), -1.0f) << "a buffer too small is left alone";
}

}  // namespace
}  // namespace ombrel
