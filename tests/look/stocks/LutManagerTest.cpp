// The stock catalogue and the loading of stock tables from a profile store of our making, with
// where they depart from a plain reading on purpose: a table that could not be loaded is said
// in the log, and the walk over the stocks never leaves tags 0 to 18.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <set>
#include <vector>

#include "core/Log.h"
#include "datafile/DataFile.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

TEST(StockCatalogue, TagsNamesDisplayNamesAndKindsAnswerBothWays) {
    std::set<std::string> names;
    for (int tag = 0; tag <= kLastStockTag; ++tag) {
        const std::string name = LutManager::StockNameForTag(tag);
        EXPECT_TRUE(names.insert(name).second) << "two tags share " << name;
        EXPECT_EQ(LutManager::PopupTagForStockName(name), tag);
        EXPECT_NE(LutManager::DisplayNameForStockName(name), "-") << name;
        EXPECT_EQ(LutManager::BgPathForTag(tag), "StockBG_" + name);
    }
    for (int tag = 50; tag <= 53; ++tag) {
        EXPECT_EQ(LutManager::PopupTagForStockName(LutManager::StockNameForTag(tag)), tag);
        EXPECT_EQ(LutManager::DisplayNameForStockName(LutManager::StockNameForTag(tag)), "-") << "a look, no name";
    }
    EXPECT_EQ(LutManager::StockNameForTag(2), "8543");
    EXPECT_EQ(LutManager::DisplayNameForStockName("KodakTriX"), "KD TrX 400");
    EXPECT_EQ(LutManager::BgPathForTag(kSeparatorTag), "StockBG_5207");
    // Unknown names read as colour stock 0 and have no display name.
    for (const char* unknown : {"", "5219", "kodaktrix", "Polaroid "}) {
        EXPECT_EQ(LutManager::PopupTagForStockName(unknown), 0) << unknown;
        EXPECT_EQ(LutManager::DisplayNameForStockName(unknown), "-") << unknown;
        EXPECT_FALSE(LutManager::IsStockNameBW(unknown) || LutManager::IsStockNamePolaroid(unknown)) << unknown;
    }
    EXPECT_DEATH(LutManager::StockNameForTag(19), "No stock has the popup tag 19");
    EXPECT_DEATH(LutManager::BgPathForTag(-1), "No stock has the popup tag -1");
    for (int tag = -2; tag <= 100; ++tag) {
        EXPECT_EQ(LutManager::IsTagBW(tag), tag >= 8 && tag <= 13) << tag;
        EXPECT_EQ(LutManager::IsTagPolaroid(tag), tag == 18) << tag;
    }
    EXPECT_TRUE(LutManager::IsStockNameBW("IlfordDelta3200"));
    EXPECT_FALSE(LutManager::IsStockNameBW("FujiProH") || LutManager::IsStockNameBW("Polaroid"));
    EXPECT_TRUE(LutManager::IsStockNamePolaroid("Polaroid"));
}

TEST(StockCatalogue, PopupHoldsTheStocksInGroupsWithDisabledSeparators) {
    std::vector<int> tags;
    for (const auto& item : LutManager::StockPopupItems()) {
        tags.push_back(item.tag);
        EXPECT_EQ(item.enabled, item.tag != kSeparatorTag);
        EXPECT_EQ(item.title, item.tag == kSeparatorTag
                                  ? ""
                                  : LutManager::DisplayNameForStockName(LutManager::StockNameForTag(item.tag)));
    }
    EXPECT_EQ(tags,
              (std::vector<int>{0, 1, 2, 3, 4, 99, 5, 6, 7, 99, 8, 9, 10, 11, 12, 13, 99, 14, 15, 16, 17, 99, 18}));
}

TEST(StockCatalogue, PreviousAndNextWalkTheStocksAndWrapAround) {
    // A full walk either way visits every stock tag once and comes back.
    int forward = 0, backward = 0;
    for (int i = 1; i <= 19; ++i) {
        forward = LutManager::NextStockTagForTag(forward);
        backward = LutManager::PreviousStockTagForTag(backward);
        EXPECT_EQ(forward, i % 19);
        EXPECT_EQ(backward, 19 - i);
    }
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

TEST_F(StockTables, PathsAvailabilityAndTheInstalledList) {
    EXPECT_EQ(LutManager::PictureStyleBasePath(), dir_ / "Profiles");
    EXPECT_EQ(LutManager::AltPathForPictureStyleStockNameStatusM("EpicM", "KodakT-max", false),
              dir_ / "Profiles/EpicM/EpicM_KodakT-max.tin");
    EXPECT_EQ(LutManager::AltPathForPictureStyleStockNameStatusM("RedMX_RC3RG3", "5213", true),
              dir_ / "Profiles/RedMX_RC3RG3/RedMX_RC3RG3_5213_SM.tin");
    EXPECT_TRUE(LutManager::InstalledTables().empty());
    Write("EpicM", "5213", 0.3f);
    EXPECT_FALSE(LutManager::LutAvailable("EpicM")) << "only the 5207 table stands for a profile";
    Write("EpicM", "5207", 0.2f);
    Write("EpicM", "5207", 0.25f, true);
    EXPECT_TRUE(LutManager::LutAvailable("EpicM"));
    EXPECT_FALSE(LutManager::LutAvailable("5D"));
    EXPECT_TRUE(LutManager::StatusMAvailableForStockAndSource("5207", "EpicM"));
    EXPECT_FALSE(LutManager::StatusMAvailableForStockAndSource("5213", "EpicM"));
    const auto tables = LutManager::InstalledTables();
    ASSERT_EQ(tables.size(), 1u);
    EXPECT_EQ(tables.at("EpicM"), (std::vector<std::string>{"5207", "5207_SM", "5213"}));
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

TEST_F(StockTables, AShortTableOrASmallBufferIsLeftAloneAndStillAnswersTrue) {
    Write("RedOne", "5213", 0.5f, false, kStockLutBytes - 4);
    bool answer = false;
    LogCapture log;
    EXPECT_EQ(Load("5213", "RedOne", &answer), -1.0f) << "a short table is not half copied";
    EXPECT_TRUE(answer);
    EXPECT_TRUE(log.Contains("3145724 bytes of table, 3145728 needed"));
    Write("RedOne", "5213", 0.5f);
    std::vector<float> small(16, -1.0f);
    EXPECT_TRUE(LutManager::TextureWithStockSourceTypeToBufferOfLength("5213", "RedOne", small.data(),
                                                                       static_cast<int64_t>(small.size() * 4)));
    EXPECT_EQ(small.back(), -1.0f);
}

TEST_F(StockTables, LogsWhenNoTableCouldBeLoaded_NotSilentAsWhenTheFallbackServes) {
    struct Row {
        const char* name;
        size_t fallbackBytes;    // of the movie chain's "5D" "5207" table; 0: none
        bool expectNoTableLine;  // "No stock table loaded ..."
    };
    for (const Row& row :
         {Row{"the fallback serves", kStockLutBytes, false}, Row{"the fallback is missing too", 0, true},
          Row{"the fallback is short", kStockLutBytes - 4, true}}) {
        SCOPED_TRACE(row.name);
        std::filesystem::remove_all(dir_ / "Profiles");
        if (row.fallbackBytes) Write("5D", "5207", 0.5f, false, row.fallbackBytes);
        LogCapture log;
        bool answer = false;
        EXPECT_EQ(Load("5213", "RedOne", &answer), row.expectNoTableLine ? -1.0f : 0.5f);
        EXPECT_TRUE(answer);
        EXPECT_EQ(log.Count("No stock table loaded for 5213 on profile RedOne"), row.expectNoTableLine ? 1u : 0u)
            << "the look keeps its previous table without a word";
        if (!row.expectNoTableLine) { EXPECT_EQ(log.Lines(), std::vector<std::string>{}); }
        if (!row.fallbackBytes) {
            EXPECT_TRUE(log.Contains("File doesn't exist at " + dir_ / "Profiles/5D/5D_5207.tin"));
        }
    }
}

}  // namespace
}  // namespace ombrel
