// In and out points that are no frame range reach the queue from hand-edited projects: they
// are refused there with a message, and the totals never wrap.
#include <gtest/gtest.h>

#include <limits>
#include <mutex>
#include <thread>

#include "core/MainQueue.h"
#include "model/SettingsManager.h"
#include "render/RenderManager.h"
#include "support/RenderQueueFixture.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// Records the range it was asked for and walks it.
class RangeRecorder : public Renderer {
public:
    explicit RangeRecorder(std::vector<std::pair<int, int>>* ranges) : ranges_(ranges) {}
    bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) override {
        item_ = item;
        return true;
    }
    void setRenderManager(RenderManager* m) override { manager_ = m; }
    RenderManagerItemPtr currentRenderItem() const override { return item_; }
    void RenderFrameSequenceStartingEnding(int first, int last) override {
        ranges_->push_back({first, last});
        item_->setFramesRendered(last + 1);
        item_->settings()->setFramesRendered(static_cast<float>(last + 1));
        MainQueue::Instance().RunAsync([m = manager_, last] { m->UpdateFramesRendered(last); });
    }

private:
    std::vector<std::pair<int, int>>* ranges_;
    RenderManagerItemPtr item_;
    RenderManager* manager_ = nullptr;
};

struct PointsRow {
    const char* name;
    int32_t in, out;
    const char* fault;  // empty when the clip renders
};

class InOutPoints : public ::testing::TestWithParam<PointsRow> {
protected:
    void SetUp() override {
        test::ResetRenderQueue();
        RenderManager::Instance().setRendererFactory([this](int) { return std::make_unique<RangeRecorder>(&ranges_); });
    }
    void TearDown() override {
        RenderManager::Instance().WaitUntilExit();
        RenderManager::Instance().setRendererFactory(nullptr);
    }
    test::TempDir dir_;
    std::vector<std::pair<int, int>> ranges_;
};

TEST_P(InOutPoints, BadPointsFailTheClipAndNeverWrapTheTotals) {
    const PointsRow& row = GetParam();
    auto out = OutputSettings::Make();
    out->setOutputDirectory(dir_ / "out");
    out->setFormat(kFormatDpx);
    auto clip = ClipSettings::Make();
    clip->setTotalFrames(6.0f);
    clip->setUserFrameIn(row.in);
    clip->setUserFrameOut(row.out);
    auto item = RenderManagerItem::Make(dir_ / "A001_C001_0101AB_001.R3D", 6, clip, out);
    auto& rm = RenderManager::Instance();
    ASSERT_TRUE(rm.AddItem(item));
    EXPECT_LE(rm.totalFrameCount(), 6u);
    rm.StartRender(nullptr);
    rm.WaitUntilExit();
    MainQueue::Instance().ServePending();  // the counters' last update
    if (std::string(row.fault).empty()) {
        EXPECT_FALSE(item->errorState()) << item->errorMessage();
        ASSERT_EQ(ranges_.size(), 1u);
        EXPECT_LE(rm.framesRendered(), rm.totalFrameCount());
    } else {
        EXPECT_TRUE(ranges_.empty());
        EXPECT_TRUE(item->errorState());
        EXPECT_NE(item->errorMessage().find(row.fault), std::string::npos) << item->errorMessage();
        EXPECT_EQ(rm.totalFrameCount(), 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Points, InOutPoints,
    ::testing::Values(PointsRow{"OutBeforeInIsRefusedNotSwapped", 4, 1, "out point 1 is before in point 4"},
                      PointsRow{"SmallestIntIn", std::numeric_limits<int32_t>::min(), 3, "in point -2147483648"},
                      PointsRow{"SmallestIntInNoOut", std::numeric_limits<int32_t>::min(), 0, "in point"},
                      PointsRow{"NegativeOut", 0, -1, "out point -1"},
                      PointsRow{"LargestIntInBeforeOut", std::numeric_limits<int32_t>::max(), 3, "before in point"},
                      PointsRow{"InAndOut", 1, 4, ""}, PointsRow{"EqualPointsAreTheWholeClip", 3, 3, ""},
                      PointsRow{"NoPoints", 0, 0, ""}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
