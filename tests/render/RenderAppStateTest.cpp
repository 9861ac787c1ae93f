// Which kind of clip the application works on follows the render: raw clips set it to 0
// before their stock table loads, movies to 1, so a stock that has no table for the clip's
// camera falls back through the right chain ("EpicM" for raw clips, "5D" for movies).
#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <vector>

#include "datafile/DataFile.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "render/FrameProcessor.h"
#include "support/RenderQueueFixture.h"
#include "support/StockFiles.h"

namespace ombrel {
namespace {

using test::TestPatternConfig;

// What the look stage saw when the render set its stock: the first entry of the table the
// catalogue handed over, and the application state at that moment.
struct TableLoads {
    std::mutex lock;
    std::vector<std::pair<float, int>> seen;
};

// The identity stage that also loads the stock table the way the look pipeline does.
class TableLoadingProcessor : public IdentityFrameProcessor {
public:
    explicit TableLoadingProcessor(std::shared_ptr<TableLoads> loads) : loads_(std::move(loads)) {}

    void SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock, const std::string& sourceType,
                                              const std::optional<std::string>& chosen, bool r3dMode) override {
        IdentityFrameProcessor::SetCurrentLUTSourceTypeChosenR3DMode(stock, sourceType, chosen, r3dMode);
        std::vector<float> table(kStockLutFloats, -1.0f);
        LutManager::TextureWithStockSourceTypeToBufferOfLength(stock, sourceType, table.data(),
                                                               static_cast<int64_t>(kStockLutBytes));
        std::lock_guard l(loads_->lock);
        loads_->seen.push_back({table[0], AppState::Instance().State()});
    }

private:
    std::shared_ptr<TableLoads> loads_;
};

class RenderAppStateTest : public test::SequenceRenderTest {
protected:
    void TearDown() override {
        SetRenderHooks({});
        AppState::Instance().setState(1);
        SequenceRenderTest::TearDown();
    }
};

TEST_F(RenderAppStateTest, RawClipWithoutATableForItsCameraFallsBackToTheRawChain) {
    // The profile store holds the two last fallbacks (first entries 0.1 and 0.2) and nothing
    // for the clip's camera.
    test::WriteStock(dir_ / "data", "5D", "5207", 0.1f);
    test::WriteStock(dir_ / "data", "EpicM", "5207", 0.2f);
    test::ScopedDataRoot root(dir_ / "data");
    auto loads = std::make_shared<TableLoads>();
    RenderHooks hooks;
    hooks.makeFrameProcessor = [loads] {
        return std::unique_ptr<FrameProcessor>(std::make_unique<TableLoadingProcessor>(loads));
    };
    SetRenderHooks(hooks);
    out_->setFormat(kFormatTiff);
    struct Row {
        const char* name;
        int stateBefore;  // what the application worked on before the render
        bool movieAfter;  // a movie clip follows the raw one in the queue
        int stateAfter;
    };
    for (const Row& row : {Row{"after a movie (the state at start)", 1, false, 0}, Row{"after a raw clip", 0, false, 0},
                           Row{"a movie after it puts the state back to movies", 1, true, 1}}) {
        SCOPED_TRACE(row.name);
        RenderManager::Instance().Reset();
        loads->seen.clear();
        AppState::Instance().setState(row.stateBefore);
        TestPatternConfig raw, movie;
        raw.sourceType = "RedOne";  // a camera whose profile is not installed
        raw.frames = movie.frames = 2;
        test::ScopedTestPatternSources sources({{ClipPath("A001_C001_0101AB_001.R3D"), raw}}, movie);
        auto clip = ClipSettings::Make();
        clip->setStockName("5213");
        out_->setOutputDirectory(dir_ / ("out-" + std::string(row.name)));
        std::vector<RenderManagerItemPtr> items = {Item("A001_C001_0101AB_001.R3D", 2, clip)};
        if (row.movieAfter) items.push_back(Item("holiday.mov", 2));  // a ".mov" takes the movie source type
        Run(items);
        for (const auto& item : items) EXPECT_FALSE(item->errorState()) << item->errorMessage();
        // Only the raw clip draws through the render's look stage, with the raw chain's table.
        EXPECT_EQ(loads->seen, (std::vector<std::pair<float, int>>{{0.2f, 0}}));
        EXPECT_EQ(AppState::Instance().State(), row.stateAfter);
    }
}

}  // namespace
}  // namespace ombrel
