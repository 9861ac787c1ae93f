// The stock catalogue and the loading of stock tables from a profile store of our making.
#include <gtest/gtest.h>

#include <cstdlib>
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

TEST(StockCatalogue, TagsNamesAndDisplayNamesAnswerBothWays) {
    std::set<std::string> names;
    for (int tag = 0; tag <= kLastStockTag; ++tag) {
        const std::string name = LutManager::StockNameForTag(tag);
        EXPECT_TRUE(names.insert(name).second) << "two tags share " << name;
        EXPECT_EQ(LutManager::PopupTagForStockName(name), tag);
        EXPECT_NE(LutManager::DisplayNameForStockName(name), "-") << name;
        EXPECT_EQ(LutManager::BgPathForTag(tag), "StockBG_" + name);
    }
    for (int tag = 50; tag <= 53; ++tag) {
        const std::string name = LutManager::StockNameForTag(tag);
        EXPECT_EQ(LutManager::PopupTagForStockName(name), tag);
        EXPECT_EQ(LutManager::DisplayNameForStockName(name), "-") << "looks have a tag but no display name";
    }
    EXPECT_EQ(LutManager::StockNameForTag(2), "8543");
    EXPECT_EQ(LutManager::DisplayNameForStockName("KodakTriX"), "KD TrX 400");
    EXPECT_EQ(LutManager::StockNameForTag(kSeparatorTag), "5207");
    EXPECT_EQ(LutManager::BgPathForTag(kSeparatorTag), "StockBG_5207");

    // Unknown names read as colour stock 0 and have no display name.
    for (const char* unknown : {"", "5219", "kodaktrix", "Polaroid "}) {
        EXPECT_EQ(LutManager::PopupTagForStockName(unknown), 0) << unknown;
        EXPECT_EQ(LutManager::DisplayNameForStockName(unknown), "-") << unknown;
        EXPECT_FALSE(LutManager::IsStockNameBW(unknown));
        EXPECT_FALSE(LutManager::IsStockNamePolaroid(unknown));
    }
    EXPECT_DEATH(LutManager::StockNameForTag(19), "No stock has the popup tag 19");
    EXPECT_DEATH(LutManager::BgPathForTag(-1), "No stock has the popup tag -1");
}

TEST(StockCatalogue, KindsOfEveryTag) {
    for (int tag = -2; tag <= 100; ++tag) {
        EXPECT_EQ(LutManager::IsTagBW(tag), tag >= 8 && tag <= 13) << tag;
        EXPECT_EQ(LutManager::IsTagPolaroid(tag), tag == 18) << tag;
    }
    EXPECT_TRUE(LutManager::IsStockNameBW("IlfordDelta3200"));
    EXPECT_FALSE(LutManager::IsStockNameBW("FujiProH"));
    EXPECT_TRUE(LutManager::IsStockNamePolaroid("Polaroid"));
    EXPECT_FALSE(LutManager::IsStockNameBW("Polaroid"));
}

TEST(StockCatalogue, PreviousAndNextWalkTheStocksAndWrapAround) {
    // A full walk either way visits every stock tag once and comes back.
    std::vector<int> forward{0}, backward{0};
    for (int i = 0; i < 19; ++i) forward.push_back(LutManager::NextStockTagForTag(forward.back()));
    for (int i = 0; i < 19; ++i) backward.push_back(LutManager::PreviousStockTagForTag(backward.back()));
    for (int i = 0; i <= 18; ++i) {
        EXPECT_EQ(forward[size_t(i)], i);
        EXPECT_EQ(backward[size_t(i)], i == 0 ? 0 : 19 - i);
    }
    EXPECT_EQ(forward.back(), 0);
    EXPECT_EQ(backward.back(), 0);
    // From a look or a separator the walk re-enters the stocks instead of wandering.
    for (int outside : {50, 53, kSeparatorTag}) {
        const int next = LutManager::NextStockTagForTag(outside);
        const int previous = LutManager::PreviousStockTagForTag(outside);
        EXPECT_TRUE(next >= 0 && next <= 18) << outside;
        EXPECT_TRUE(previous >= 0 && previous <= 18) << outside;
    }
}

TEST(StockCatalogue, PopupHoldsTheStocksInGroupsWithDisabledSeparators) {
    const auto items = LutManager::StockPopupItems();
    std::vector<int> tags;
    for (const auto& item : items) {
        tags.push_back(item.tag);
        if (item.tag == kSeparatorTag) {
            EXPECT_FALSE(item.enabled);
            EXPECT_EQ(item.title, "");
        } else {
            EXPECT_TRUE(item.enabled);
            EXPECT_EQ(item.title, LutManager::DisplayNameForStockName(LutManager::StockNameForTag(item.tag)));
        }
    }
    const std::vector<int> expected{0, 1, 2, 3, 4, 99, 5, 6, 7, 99, 8, 9, 10, 11, 12, 13, 99, 14, 15, 16, 17, 99, 18};
    EXPECT_EQ(tags, expected);
}

// A profile store in a scratch data root; each table's entries all hold one value, so a
// load shows which file it read.
class StockTables : public testing::Test {
protected:
    void SetUp() override {
        root_.emplace(dir_.path());
        AppState::Instance().setState(1);
        LutManager::SetColorFormat(0);
    }
    void TearDown() override {
        root_.reset();
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
    // Loads into a buffer that starts at -1 and returns its first and last entries' value,
    // or -1 when the buffer was left alone.
    float Load(const std::string& stock, const std::string& profile, bool* answer = nullptr) {
        buffer_.assign(kStockLutFloats, -1.0f);
        const bool ok = LutManager::TextureWithStockSourceTypeToBufferOfLength(stock, profile, buffer_.data(),
                                                                               static_cast<int64_t>(kStockLutBytes));
        if (answer) *answer = ok;
        EXPECT_EQ(buffer_.front(), buffer_.back()) << "a table is copied whole or not at all";
        return buffer_.front();
    }

    test::TempDir dir_;
    std::optional<test::ScopedDataRoot> root_;
    std::vector<float> buffer_;
};

TEST_F(StockTables, PathsAvailabilityAndTheInstalledList) {
    EXPECT_EQ(LutManager::PictureStyleBasePath(), dir_.path() + "/Profiles");
    EXPECT_EQ(LutManager::AltPathForPictureStyleStockNameStatusM("EpicM", "KodakT-max", false),
              dir_.path() + "/Profiles/EpicM/EpicM_KodakT-max.tin");
    EXPECT_EQ(LutManager::AltPathForPictureStyleStockNameStatusM("RedMX_RC3RG3", "5213", true),
              dir_.path() + "/Profiles/RedMX_RC3RG3/RedMX_RC3RG3_5213_SM.tin");
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

TEST_F(StockTables, MissingTablesFallBackToThe5207OfTheSideInUse) {
    Write("5D", "5207", 0.1f);
    Write("EpicM", "5207", 0.2f);
    Write("RedOne", "KodakTriX", 0.3f);

    EXPECT_EQ(Load("KodakTriX", "RedOne"), 0.3f);
    EXPECT_EQ(Load("5213", "RedOne"), 0.1f) << "movies fall back to 5D";
    EXPECT_EQ(Load("5213", "NoSuchProfile"), 0.1f);
    AppState::Instance().setState(0);
    EXPECT_EQ(Load("5213", "RedOne"), 0.2f) << "R3D clips fall back to EpicM";
    EXPECT_EQ(Load("NoSuchStock", "RedOne"), 0.2f);

    bool answer = true;
    EXPECT_EQ(Load("", "RedOne", &answer), -1.0f);
    EXPECT_FALSE(answer);
    EXPECT_EQ(Load("5213", "", &answer), -1.0f);
    EXPECT_FALSE(answer);
}

TEST_F(StockTables, NothingToLoadStillAnswersTrueKeepsTheBufferAndSaysSo) {
    bool answer = false;
    {
        LogCapture log;
        EXPECT_EQ(Load("5213", "RedOne", &answer), -1.0f);
        EXPECT_TRUE(answer);
        EXPECT_TRUE(log.Contains("File doesn't exist at " + dir_.path() + "/Profiles/5D/5D_5207.tin"));
        EXPECT_TRUE(log.Contains("No stock table loaded for 5213 on profile RedOne"));
    }
    Write("RedOne", "5213", 0.5f, false, kStockLutBytes - 4);
    {
        LogCapture log;
        EXPECT_EQ(Load("5213", "RedOne", &answer), -1.0f) << "a short table is not half copied";
        EXPECT_TRUE(answer);
        EXPECT_TRUE(log.Contains("3145724 bytes of table, 3145728 needed"));
    }
    // A buffer too small for a table is left alone.
    Write("RedOne", "5213", 0.5f);
    std::vector<float> small(16, -1.0f);
    EXPECT_TRUE(LutManager::TextureWithStockSourceTypeToBufferOfLength("5213", "RedOne", small.data(),
                                                                       static_cast<int64_t>(small.size() * 4)));
    EXPECT_EQ(small.back(), -1.0f);
}

// Status M reaches the path only when the fallback is taken: a stock's own _SM table is not
// read while its plain table exists.
TEST_F(StockTables, StatusMActsOnlyOnTheFallbackPath) {
    Write("5D", "5207", 0.1f);
    Write("5D", "5207", 0.15f, true);
    Write("RedOne", "5213", 0.3f);
    Write("RedOne", "5213", 0.35f, true);
    Write("RedOne", "8553", 0.4f, true);  // a Status M table without its plain one

    LutManager::SetColorFormat(kColorFormatStatusM);
    EXPECT_EQ(LutManager::Instance().currentColorFormat(), kColorFormatStatusM);
    EXPECT_EQ(Load("5213", "RedOne"), 0.3f) << "the plain table wins while it exists";
    EXPECT_EQ(Load("8553", "RedOne"), 0.15f) << "the stock offers Status M, so the fallback is its _SM table";
    EXPECT_EQ(Load("8543", "RedOne"), 0.1f) << "no Status M for this stock: plain fallback";
    LutManager::SetColorFormat(0);
    EXPECT_EQ(Load("8553", "RedOne"), 0.1f);
}

}  // namespace
}  // namespace ombrel
