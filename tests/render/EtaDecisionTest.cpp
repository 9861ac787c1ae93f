// The time-left estimate belongs to one run: a new run starts without the last run's text.
#include <gtest/gtest.h>

#include "core/MainQueue.h"
#include "model/SettingsManager.h"
#include "render/RenderManager.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

using namespace std::chrono_literals;

class EtaDecision : public ::testing::Test {
protected:
    void SetUp() override {
        test::ResetRenderQueue();
        auto& rm = RenderManager::Instance();
        rm.setClock([this] { return now_; });
        rm.setRendererFactory([](int) { return std::unique_ptr<Renderer>(); });  // nothing renders
    }
    void TearDown() override {
        auto& rm = RenderManager::Instance();
        rm.WaitUntilExit();
        rm.setClock(nullptr);
        rm.setRendererFactory(nullptr);
        rm.Reset();
        MainQueue::Instance().ServePending();
    }
    // Runs a 1000-frame clip through the queue and marks `done` frames of it rendered.
    RenderManagerItemPtr RunWithFramesDone(int done) {
        auto& rm = RenderManager::Instance();
        rm.Reset();
        auto clip = ClipSettings::Make();
        clip->setTotalFrames(1000.0f);
        auto out = OutputSettings::Make();
        auto item = RenderManagerItem::Make("/nowhere/a.R3D", 1000, clip, out);
        EXPECT_TRUE(rm.AddItem(item));
        rm.StartRender(nullptr);
        rm.WaitUntilExit();
        item->setFramesRendered(done);
        rm.UpdateFramesRendered();
        return item;
    }

    RenderManager::Clock::time_point now_ = RenderManager::Clock::now();
};

TEST_F(EtaDecision, ClearsTheEstimateAtEachStart_NotShowingThePreviousRunsEta) {
    auto& rm = RenderManager::Instance();
    RunWithFramesDone(10);
    now_ += 10s;
    ASSERT_EQ(rm.ETAString(), "16 mins");  // 990 frames left at one a second

    // The next run, two seconds in with frames done: the estimate is not due yet.
    now_ += 1h;
    RunWithFramesDone(500);
    now_ += 2s;
    EXPECT_EQ(rm.ETAString(), "") << "the previous run's estimate is shown for this one";
    now_ += 3s;
    EXPECT_EQ(rm.ETAString(), "0 mins") << "500 left at 0.01 s a frame";
}

}  // namespace
}  // namespace ombrel
