// Where the stock catalogue departs from a plain reading on purpose: a table that could not
// be loaded is said in the log, and the walk over the stocks never leaves tags 0 to 18.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <vector>

#include "core/Log.h"
#include "datafile/DataFile.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

void WriteTable(const std::string& profile, const std::string& stock, size_t bytes = kStockLutBytes) {
    const std::string path = LutManager::AltPathForPictureStyleStockNameStatusM(profile, stock, false);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::vector<float> table(kStockLutFloats, 0.5f);
    ASSERT_EQ(ScrambleDataToFile(path, table.data(), bytes, nullptr), 0);
}

TEST(StockDecisions, LogsWhenNoTableCouldBeLoaded_NotSilentAsWhenTheFallbackServes) {
    struct Row {
        const char* name;
        bool fallbackTable;      // the movie chain's "5D" "5207" table exists
        size_t fallbackBytes;    // and holds this much table
        bool expectNoTableLine;  // "No stock table loaded ..."
    };
    for (const Row& row :
         {Row{"the fallback serves", true, kStockLutBytes, false}, Row{"the fallback is missing too", false, 0, true},
          Row{"the fallback is short", true, kStockLutBytes - 4, true}}) {
        SCOPED_TRACE(row.name);
        test::TempDir dir;
        test::ScopedDataRoot root(dir.path());
        AppState::Instance().setState(1);
        if (row.fallbackTable) WriteTable("5D", "5207", row.fallbackBytes);
        std::vector<float> buffer(kStockLutFloats, -1.0f);
        LogCapture log;
        EXPECT_TRUE(LutManager::TextureWithStockSourceTypeToBufferOfLength("5213", "RedOne", buffer.data(),
                                                                           static_cast<int64_t>(kStockLutBytes)));
        EXPECT_EQ(buffer[0], row.expectNoTableLine ? -1.0f : 0.5f);
        EXPECT_EQ(log.Count("No stock table loaded for 5213 on profile RedOne"), row.expectNoTableLine ? 1u : 0u)
            << "the look keeps its previous table without a word";
        if (!row.expectNoTableLine) {
            EXPECT_EQ(log.Lines(), std::vector<std::string>{});
        }
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
        SCOPED_TRACE(row.name);
        EXPECT_EQ(LutManager::PreviousStockTagForTag(row.tag), row.previous);
        EXPECT_EQ(LutManager::NextStockTagForTag(row.tag), row.next);
        // Whatever the start, the result names a stock.
        EXPECT_FALSE(LutManager::StockNameForTag(LutManager::PreviousStockTagForTag(row.tag)).empty());
        EXPECT_FALSE(LutManager::StockNameForTag(LutManager::NextStockTagForTag(row.tag)).empty());
    }
}

}  // namespace
}  // namespace ombrel
