#include "render/RenderManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "core/MainQueue.h"
#include "model/SettingsManager.h"
#include "support/RenderQueueFixture.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using namespace std::chrono_literals;

// A renderer double: walks the range like a real renderer, writes nothing.
class FakeRenderer : public Renderer {
public:
    struct Script {
        std::chrono::milliseconds perFrame{0};
        std::string failLoadFor;  // a path whose source "cannot open"
        std::vector<std::pair<std::string, std::pair<int, int>>> ranges;
        std::mutex lock;
    };
    explicit FakeRenderer(Script& script) : script_(script) {}

    bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) override {
        item_ = item;
        if (item->filePath() == script_.failLoadFor) {
            item->Fail("Render source aspect width was 0");
            return false;
        }
        return true;
    }
    void setRenderManager(RenderManager* m) override { manager_ = m; }
    RenderManagerItemPtr currentRenderItem() const override { return item_; }
    void RenderFrameSequenceStartingEnding(int first, int last) override {
        {
            std::lock_guard l(script_.lock);
            script_.ranges.push_back({item_->filePath(), {first, last}});
        }
        for (int f = first; f <= last; ++f) {
            if (manager_->ShouldCancel()) return;
            std::this_thread::sleep_for(script_.perFrame);
            item_->settings()->setFramesRendered(static_cast<float>(f + 1));
            item_->setFramesRendered(f + 1);
            MainQueue::Instance().RunAsync([m = manager_, f] { m->UpdateFramesRendered(f); });
        }
    }

private:
    Script& script_;
    RenderManagerItemPtr item_;
    RenderManager* manager_ = nullptr;
};

class RenderManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::ResetRenderQueue();
        RenderManager::Instance().setRendererFactory([this](int) { return std::make_unique<FakeRenderer>(script_); });
        out_ = OutputSettings::Make();
        out_->setOutputDirectory(dir_.path() + "/out");
        out_->setFormat(kFormatDpx);
        out_->setQtCodec(0);
    }
    void TearDown() override {
        auto& rm = RenderManager::Instance();
        rm.CancelRender("test over");
        rm.WaitUntilExit();
        rm.setRendererFactory(nullptr);
        rm.setClock(nullptr);
        rm.setUsageEventSink(nullptr);
        MainQueue::Instance().Reopen();
    }

    RenderManagerItemPtr Item(const std::string& name, int frames) {
        auto clip = ClipSettings::Make();
        clip->setTotalFrames(static_cast<float>(frames));
        return RenderManagerItem::Make(dir_.path() + "/" + name, frames, clip, out_);
    }

    test::TempDir dir_;
    OutputSettingsPtr out_;
    FakeRenderer::Script script_;
};

TEST_F(RenderManagerTest, DestinationPathsFollowReelClipAndFolderRules) {
    auto r3d = Item("A001_C001_0101AB_001.R3D", 10);
    EXPECT_EQ(r3d->BaseName(), "A001_C001_0101AB");
    const std::string out = dir_.path() + "/out";
    EXPECT_EQ(r3d->DestPath(), out + "/A001_C001_0101AB");
    out_->setFolders(1);
    EXPECT_EQ(r3d->DestPath(), out + "/A001_C001");
    out_->setFolders(2);
    EXPECT_EQ(r3d->DestPath(), out + "/A001/C001");
    out_->setFolders(3);
    EXPECT_EQ(r3d->DestPath(), "");
    // A short name is all reel, and the clip part is "_".
    out_->setFolders(1);
    EXPECT_EQ(Item("B2_001.R3D", 5)->DestPath(), out + "/B2__");
    // "_001" only comes off R3D names.
    out_->setFolders(0);
    auto dpxSource = Item("A001_C001_0101AB_001.dpx", 10);
    EXPECT_EQ(dpxSource->DestPath(), out + "/A001_C001_0101AB_001");
    // Movie output is one file named after the clip.
    out_->setFormat(kFormatMovie);
    EXPECT_EQ(r3d->DestPath(), out + "/A001_C001_0101AB.mov");
}

TEST_F(RenderManagerTest, ExistingOutputIsRefusedOnlyWhenItIsToBeKept) {
    namespace fs = std::filesystem;
    const std::string out = dir_.path() + "/out";
    fs::create_directories(out + "/A001_C001_0101AB");
    test::WriteWholeFile(out + "/A001_C001_0101AB/A001_C001_0101AB.0000100.dpx", "x");
    fs::create_directories(out + "/A002_C003_0101AB");
    test::WriteWholeFile(out + "/A002_C003_0101AB/unrelated.txt", "x");
    test::WriteWholeFile(out + "/Movie.mov", "x");

    auto& rm = RenderManager::Instance();
    out_->setOverwrite(0);  // replace: nothing is refused
    EXPECT_TRUE(rm.AddItem(Item("A001_C001_0101AB_001.R3D", 10)));
    rm.Reset();

    out_->setOverwrite(1);
    auto taken = Item("A001_C001_0101AB_001.R3D", 10);
    EXPECT_FALSE(rm.AddItem(taken));
    EXPECT_TRUE(taken->errorState());
    EXPECT_EQ(taken->settings()->errorState(), 3);
    EXPECT_EQ(rm.DestPathForPath(taken->filePath()), out + "/A001_C001_0101AB");
    EXPECT_EQ(rm.totalFrameCount(), 0u);
    EXPECT_TRUE(rm.renderQueue().empty());

    // A folder that exists but holds nothing of this clip, and a folder that does not exist.
    EXPECT_TRUE(rm.AddItem(Item("A002_C003_0101AB_001.R3D", 7)));
    EXPECT_TRUE(rm.AddItem(Item("A009_C009_0101AB_001.R3D", 5)));
    EXPECT_EQ(rm.totalFrameCount(), 12u);

    out_->setFormat(kFormatMovie);
    EXPECT_FALSE(rm.AddItem(Item("Movie.R3D", 3)));
    EXPECT_TRUE(rm.AddItem(Item("Other.R3D", 3)));
}

TEST_F(RenderManagerTest, InOutPointsDecideTheTotalsAndTheRange) {
    auto& rm = RenderManager::Instance();
    auto whole = Item("a.R3D", 100);  // no points
    auto inout = Item("b.R3D", 100);
    inout->settings()->setUserFrameIn(10);
    inout->settings()->setUserFrameOut(19);
    auto lastOut = Item("c.R3D", 100);  // out at the last frame: counts all frames
    lastOut->settings()->setUserFrameIn(50);
    lastOut->settings()->setUserFrameOut(99);
    auto emptySnippets = Item("d.R3D", 100);  // a list that exists but is empty
    emptySnippets->settings()->SetSnippets(std::vector<int>{});
    emptySnippets->settings()->setUserFrameOut(20);
    for (auto& i : {whole, inout, lastOut, emptySnippets}) ASSERT_TRUE(rm.AddItem(i));
    EXPECT_FALSE(whole->useInOutPoints());
    EXPECT_TRUE(inout->useInOutPoints());
    EXPECT_EQ(inout->inoutFrames(), 10);
    EXPECT_FALSE(lastOut->useInOutPoints());
    EXPECT_FALSE(emptySnippets->useInOutPoints());
    EXPECT_EQ(rm.totalFrameCount(), 100u + 10u + 100u + 100u);

    using R = std::pair<int, int>;
    auto range = [&](int in, int out, std::optional<std::vector<int>> snippets = std::nullopt) {
        auto item = Item("r.R3D", 100);
        item->settings()->setUserFrameIn(in);
        item->settings()->setUserFrameOut(std::min(out, 99));  // the worker clamps first
        item->settings()->SetSnippets(std::move(snippets));
        return RenderManager::FrameRangeForItem(*item);
    };
    EXPECT_EQ(range(0, 0), R(0, 99));
    EXPECT_EQ(range(10, 500), R(10, 99));
    EXPECT_EQ(range(30, 30), R(0, 99));
    EXPECT_EQ(range(40, 20), R(0, 99));
    EXPECT_EQ(range(0, 50), R(0, 50));
    EXPECT_EQ(range(-5, 50), R(-5, 50));
    EXPECT_EQ(range(0, 99), R(0, 99));
    EXPECT_EQ(range(10, 20, std::vector<int>{30, 40}), R(0, 99));
    EXPECT_EQ(range(10, 20, std::vector<int>{}), R(10, 20));
}

TEST_F(RenderManagerTest, TimeTextsForASweepOfElapsedAndRemainingTimes) {
    auto& rm = RenderManager::Instance();
    auto now = RenderManager::Clock::now();
    RenderManager::Clock::time_point t = now;
    rm.setClock([&] { return t; });
    auto item = Item("a.R3D", 1000);
    ASSERT_TRUE(rm.AddItem(item));
    rm.setRendererFactory([](int) { return std::unique_ptr<Renderer>(); });  // nothing runs
    rm.StartRender(nullptr);
    rm.WaitUntilExit();
    const auto start = rm.startDate();

    EXPECT_EQ(rm.ElapsedString(), " - ");
    EXPECT_EQ(rm.ETAString(), " - ");
    EXPECT_EQ(rm.FPSString(), " - ");

    item->setFramesRendered(5);
    rm.UpdateFramesRendered();
    EXPECT_EQ(rm.framesRendered(), 5u);
    EXPECT_EQ(rm.FPSString(), " - ");  // below ten frames

    struct Case {
        int seconds;
        const char* text;
    };
    for (auto [seconds, text] : {Case{0, "0 mins"}, Case{45, "0 mins"}, Case{59, "0 mins"}, Case{60, "1 min"},
                                 Case{119, "1 min"}, Case{120, "2 mins"}, Case{3599, "59 mins"}, Case{3600, "1 hour"},
                                 Case{7199, "1 hour"}, Case{7200, "2 hours"}, Case{90000, "25 hours"}}) {
        t = start + std::chrono::seconds(seconds) + 900ms;  // fractions do not count
        EXPECT_EQ(rm.ElapsedString(), text) << seconds;
    }

    item->setFramesRendered(10);
    rm.UpdateFramesRendered();
    t = start + 500ms;  // ten frames in under a second: the division gives infinity
    EXPECT_EQ(rm.FPSString(), "inf fps");
    t = start + 4s;
    EXPECT_EQ(rm.FPSString(), "2.50 fps");
    // Within the first five seconds the (empty) cache answers.
    EXPECT_EQ(rm.ETAString(), "");
    t = start + 10s;
    // 990 frames left at 1 s a frame.
    EXPECT_EQ(rm.ETAString(), "16 mins");
    item->setFramesRendered(500);
    rm.UpdateFramesRendered();
    t = start + 12s;  // the cache holds for five seconds
    EXPECT_EQ(rm.ETAString(), "16 mins");
    t = start + 15s;
    EXPECT_EQ(rm.ETAString(), "0 mins");  // 500 left at 0.03 s a frame: 15 s
    t = start + 3600s;
    EXPECT_EQ(rm.ETAString(), "1 hour");  // 500 x 7.2f rounds to 3600.0f
    item->setFramesRendered(1000);
    rm.UpdateFramesRendered();
    t = start + 3601s;  // the last frame bypasses the cache
    EXPECT_EQ(rm.ETAString(), "0 mins");
    EXPECT_EQ(rm.FPSString(), "0.28 fps");
}

TEST_F(RenderManagerTest, ARunRendersEveryClipInOrderAndReportsOnTheMainThread) {
    auto& rm = RenderManager::Instance();
    auto a = Item("A001_C001_0101AB_001.R3D", 4);
    auto broken = Item("broken.R3D", 4);
    auto c = Item("c.R3D", 30);
    c->settings()->setUserFrameIn(5);
    c->settings()->setUserFrameOut(400);  // clamped to 29 by the worker
    SettingsManager::Instance().PushSettingsForClip(*a->settings(), a->filePath());
    script_.failLoadFor = broken->filePath();
    for (auto& i : {a, broken, c}) ASSERT_TRUE(rm.AddItem(i));

    std::vector<std::string> events;
    rm.setUsageEventSink([&](const std::string& name, const std::string& data) {
        EXPECT_TRUE(MainQueue::Instance().IsMainThread());
        events.push_back(name + ":" + data.substr(0, data.find('\r')));
    });
    auto target = std::make_shared<RenderNotifyTarget>();
    std::atomic<int> progress{0}, completed{0};
    target->UpdateProgress = [&] {
        EXPECT_TRUE(MainQueue::Instance().IsMainThread());
        ++progress;
    };
    target->RenderCompleted = [&] {
        EXPECT_TRUE(MainQueue::Instance().IsMainThread());
        ++completed;
    };
    rm.StartRender(target);
    rm.WaitUntilExit();

    EXPECT_EQ(rm.activeThreads(), 0);
    EXPECT_EQ(completed.load(), 1);
    EXPECT_GE(progress.load(), 3);
    ASSERT_EQ(script_.ranges.size(), 2u);
    EXPECT_EQ(script_.ranges[0].second, std::make_pair(0, 3));
    EXPECT_EQ(script_.ranges[1].second, std::make_pair(5, 29));
    EXPECT_EQ(c->settings()->userFrameOut(), 29);
    EXPECT_TRUE(a->settings()->acquired());
    EXPECT_TRUE(SettingsManager::Instance().SettingsForClip(a->filePath())->acquired());
    EXPECT_FALSE(a->errorState());
    EXPECT_TRUE(broken->errorState());
    EXPECT_EQ(broken->errorMessage(), "Render source aspect width was 0");
    EXPECT_EQ(rm.DestPathForPath(c->filePath()), dir_.path() + "/out/c");
    EXPECT_EQ(rm.framesRendered(), 4u + 30u);
    // Two usage events per clip, the first one before any frame.
    ASSERT_EQ(events.size(), 6u);
    EXPECT_EQ(events[0].substr(0, 20), "RENDER:\nClipSettings");
    EXPECT_EQ(events[1], "COMPLETE:FINISHED:");
}

TEST_F(RenderManagerTest, CancelInTheMiddleEndsEveryThreadAndMarksWhatWasCutShort) {
    auto& rm = RenderManager::Instance();
    script_.perFrame = 5ms;
    auto a = Item("a.R3D", 1000);
    auto b = Item("b.R3D", 1000);
    ASSERT_TRUE(rm.AddItem(a));
    ASSERT_TRUE(rm.AddItem(b));
    std::vector<std::string> events;
    rm.setUsageEventSink([&](const std::string& name, const std::string& data) {
        if (name == "COMPLETE") events.push_back(data.substr(0, data.find('\r')));
    });
    rm.StartRender(nullptr);
    MainQueue::Instance().ServeUntil([&] { return a->framesRendered() >= 5; });
    rm.CancelRender("Cancelling at user's request");
    EXPECT_TRUE(rm.ShouldCancel());
    rm.WaitUntilExit();
    EXPECT_EQ(rm.activeThreads(), 0);
    EXPECT_TRUE(a->errorState());
    EXPECT_EQ(a->settings()->errorState(), 2);
    EXPECT_LT(a->framesRendered(), 1000);
    EXPECT_EQ(b->framesRendered(), 0);  // never started
    EXPECT_EQ(events, std::vector<std::string>{"CANCELLED:"});
    EXPECT_EQ(MainQueue::Instance().ServePending(), 0u);  // no hop left behind
    // The counters stop moving once cancelling.
    const uint32_t frozen = rm.framesRendered();
    a->setFramesRendered(999);
    rm.UpdateFramesRendered();
    EXPECT_EQ(rm.framesRendered(), frozen);
}

TEST_F(RenderManagerTest, ClosingTheApplicationDuringARunDoesNotDeadlock) {
    auto& rm = RenderManager::Instance();
    script_.perFrame = 2ms;
    ASSERT_TRUE(rm.AddItem(Item("a.R3D", 50)));
    ASSERT_TRUE(rm.AddItem(Item("b.R3D", 50)));
    auto target = std::make_shared<RenderNotifyTarget>();
    target->RenderCompleted = [] {};
    rm.StartRender(target);
    // The application closes without serving the queue: the worker's hops must not block it.
    MainQueue::Instance().Close();
    rm.CancelRender("quit");
    std::thread waiter([&] { rm.WaitUntilExit(); });
    waiter.join();
    EXPECT_EQ(rm.activeThreads(), 0);
}

TEST_F(RenderManagerTest, AnEmptyRunStillDeliversCompletion) {
    auto& rm = RenderManager::Instance();
    rm.CancelRender("Nothing to render");
    EXPECT_FALSE(rm.ShouldCancel());  // an empty queue is left alone
    int completed = 0;
    auto target = std::make_shared<RenderNotifyTarget>();
    target->RenderCompleted = [&] { ++completed; };
    rm.StartRender(target);
    rm.WaitUntilExit();
    EXPECT_EQ(completed, 1);
}

TEST_F(RenderManagerTest, AFormatWithoutARendererFailsThatClipOnly) {
    auto& rm = RenderManager::Instance();
    rm.setRendererFactory([this](int format) -> std::unique_ptr<Renderer> {
        if (format == kFormatMovie) return nullptr;
        return std::make_unique<FakeRenderer>(script_);
    });
    auto movieOut = OutputSettings::Make();
    movieOut->setOutputDirectory(dir_.path());
    auto a = Item("a.R3D", 3);
    a->setOutputSettings(movieOut);
    auto b = Item("b.R3D", 3);
    ASSERT_TRUE(rm.AddItem(a));
    ASSERT_TRUE(rm.AddItem(b));
    rm.StartRender(nullptr);
    rm.WaitUntilExit();
    EXPECT_TRUE(a->errorState());
    EXPECT_NE(a->errorMessage().find("This build cannot write movies"), std::string::npos);
    EXPECT_FALSE(b->errorState());
    EXPECT_EQ(b->framesRendered(), 3);
}

}  // namespace
}  // namespace ombrel
