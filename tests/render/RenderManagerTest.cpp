// The render queue over test pattern clips and the renderers of the build: destinations,
// refusals, in/out points, the time texts, the run on its worker thread, cancel and close.
#include "render/RenderManager.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/MainQueue.h"
#include "model/SettingsManager.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

using namespace std::chrono_literals;
using test::TestPatternConfig;

class RenderManagerTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        out_->setFormat(kFormatDpx);
        out_->setTimecode(1);  // files numbered by frame
    }
    // A clip of `frames` small frames, each `latency` to decode.
    static TestPatternConfig Slow(int frames, std::chrono::milliseconds latency) {
        TestPatternConfig c;
        c.width = c.height = 8;
        c.frames = frames;
        c.decodeLatency = latency;
        return c;
    }
};

TEST_F(RenderManagerTest, ExistingOutputIsRefusedOnlyWhenItIsToBeKept) {
    const std::string out = dir_ / "out";
    std::filesystem::create_directories(out + "/A001_C001_0101AB");
    test::WriteWholeFile(out + "/A001_C001_0101AB/A001_C001_0101AB.0000100.dpx", "x");
    std::filesystem::create_directories(out + "/A002_C003_0101AB");
    test::WriteWholeFile(out + "/A002_C003_0101AB/unrelated.txt", "x");
    test::WriteWholeFile(out + "/Movie.mov", "x");

    auto& rm = RenderManager::Instance();
    out_->setOverwrite(1);  // keep (replacing, the default, refuses nothing: SequenceRendererTest)
    auto taken = Item("A001_C001_0101AB_001.R3D", 10);
    EXPECT_FALSE(rm.AddItem(taken));
    EXPECT_EQ(taken->settings()->errorState(), 3);
    EXPECT_EQ(rm.totalFrameCount(), 0u);
    // A folder that holds nothing of this clip is no refusal; a movie is refused by its file.
    EXPECT_TRUE(rm.AddItem(Item("A002_C003_0101AB_001.R3D", 7)));
    out_->setFormat(kFormatMovie);
    EXPECT_FALSE(rm.AddItem(Item("Movie.R3D", 3)));
    EXPECT_TRUE(rm.AddItem(Item("Other.R3D", 3)));
}

TEST_F(RenderManagerTest, InOutPointsDecideTheTotalsAndTheRange) {
    struct Row {
        const char* name;
        int in, out;
        std::optional<std::vector<int>> snippets;
        bool useInOut;
        std::pair<int, int> range;  // as the worker asks for it
    } rows[] = {
        {"no points", 0, 0, std::nullopt, false, {0, 99}},
        {"in and out", 10, 19, std::nullopt, true, {10, 19}},
        {"out past the clip", 10, 500, std::nullopt, false, {10, 99}},
        {"out at the last frame counts all frames", 50, 99, std::nullopt, false, {50, 99}},
        {"equal points", 30, 30, std::nullopt, false, {0, 99}},
        {"only an out point", 0, 50, std::nullopt, true, {0, 50}},
        {"snippets win", 10, 20, std::vector<int>{30, 40}, false, {0, 99}},
        {"an empty snippet list", 10, 20, std::vector<int>{}, false, {10, 20}},
    };
    auto& rm = RenderManager::Instance();
    uint32_t total = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        auto item = Item("a.R3D", 100);
        item->settings()->setUserFrameIn(row.in);
        item->settings()->setUserFrameOut(row.out);
        item->settings()->SetSnippets(row.snippets);
        ASSERT_TRUE(rm.AddItem(item));
        EXPECT_EQ(item->useInOutPoints(), row.useInOut);
        total += row.useInOut ? static_cast<uint32_t>(row.out - row.in + 1) : 100u;
        EXPECT_EQ(rm.totalFrameCount(), total);
        item->settings()->setUserFrameOut(std::min(row.out, 99));  // the worker clamps first
        EXPECT_EQ(RenderManager::FrameRangeForItem(*item), row.range);
    }
}

// In and out points that are no frame range reach the queue from hand-edited projects: they
// are refused there with a message, and the totals never wrap.
TEST_F(RenderManagerTest, BadInOutPointsFailTheClipAndNeverWrapTheTotals) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    constexpr int32_t kMin = std::numeric_limits<int32_t>::min(), kMax = std::numeric_limits<int32_t>::max();
    struct Row {
        const char* name;
        int32_t in, out;
        const char* fault;  // empty when the clip renders
    } rows[] = {
        {"out before in is refused, not swapped", 4, 1, "out point 1 is before in point 4"},
        {"smallest int in", kMin, 3, "in point -2147483648"},
        {"negative out", 0, -1, "out point -1"},
        {"largest int in before out", kMax, 3, "before in point"},
        {"in and out", 1, 4, ""},
    };
    auto& rm = RenderManager::Instance();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        rm.Reset();
        auto item = Item("A001_C001_0101AB_001.R3D", 6);
        item->settings()->setUserFrameIn(row.in);
        item->settings()->setUserFrameOut(row.out);
        ASSERT_TRUE(rm.AddItem(item));
        EXPECT_LE(rm.totalFrameCount(), 6u);
        Run({});
        EXPECT_EQ(FilesIn(Out("A001_C001_0101AB")).size(), *row.fault ? 0u : 4u);
        EXPECT_EQ(item->errorState(), *row.fault != 0) << item->errorMessage();
        EXPECT_NE(item->errorMessage().find(row.fault), std::string::npos) << item->errorMessage();
        EXPECT_LE(rm.framesRendered(), rm.totalFrameCount());
    }
}

// A queue whose clock the test moves and where nothing renders.
class EtaDecision : public RenderManagerTest {
protected:
    void SetUp() override {
        RenderManagerTest::SetUp();
        RenderManager::Instance().setClock([this] { return now_; });
        RenderManager::Instance().setRendererFactory([](int) { return std::unique_ptr<Renderer>(); });
    }
    // Runs a 1000-frame clip through the queue and marks `done` frames of it rendered.
    RenderManagerItemPtr RunWithFramesDone(int done) {
        RenderManager::Instance().Reset();
        auto item = Item("a.R3D", 1000);
        Run({item});
        item->setFramesRendered(done);
        RenderManager::Instance().UpdateFramesRendered();
        return item;
    }
    RenderManager::Clock::time_point now_ = RenderManager::Clock::now();
};

TEST_F(EtaDecision, TimeTextsForASweepOfElapsedAndRemainingTimes) {
    auto& rm = RenderManager::Instance();
    auto item = RunWithFramesDone(0);
    const auto start = rm.startDate();
    EXPECT_EQ(rm.ElapsedString() + rm.ETAString() + rm.FPSString(), " -  -  - ");
    item->setFramesRendered(5);
    rm.UpdateFramesRendered();
    EXPECT_EQ(rm.FPSString(), " - ");  // below ten frames

    struct Case {
        int seconds;
        const char* text;
    };
    for (auto [seconds, text] : {Case{0, "0 mins"}, Case{59, "0 mins"}, Case{60, "1 min"}, Case{119, "1 min"},
                                 Case{120, "2 mins"}, Case{3599, "59 mins"}, Case{3600, "1 hour"}, Case{7199, "1 hour"},
                                 Case{7200, "2 hours"}, Case{90000, "25 hours"}}) {
        now_ = start + std::chrono::seconds(seconds) + 900ms;  // fractions do not count
        EXPECT_EQ(rm.ElapsedString(), text) << seconds;
    }

    struct Step {
        int done;
        std::chrono::milliseconds at;
        const char *eta, *fps;  // null: not asked
    };
    for (const Step& s : {
             Step{10, 500ms, nullptr, "inf fps"},      // ten frames in under a second: infinity
             Step{10, 4s, "", "2.50 fps"},             // within the first five seconds the (empty) cache answers
             Step{10, 10s, "16 mins", nullptr},        // 990 frames left at 1 s a frame
             Step{500, 12s, "16 mins", nullptr},       // the cache holds for five seconds
             Step{500, 15s, "0 mins", nullptr},        // 500 left at 0.03 s a frame: 15 s
             Step{500, 3600s, "1 hour", nullptr},      // 500 x 7.2f rounds to 3600.0f
             Step{1000, 3601s, "0 mins", "0.28 fps"},  // the last frame bypasses the cache
         }) {
        SCOPED_TRACE(std::to_string(s.done) + " frames at " + std::to_string(s.at.count()) + " ms");
        item->setFramesRendered(s.done);
        rm.UpdateFramesRendered();
        now_ = start + s.at;
        if (s.eta) { EXPECT_EQ(rm.ETAString(), s.eta); }
        if (s.fps) { EXPECT_EQ(rm.FPSString(), s.fps); }
    }
}

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

TEST_F(RenderManagerTest, ARunRendersEveryClipInOrderAndReportsOnTheMainThread) {
    TestPatternConfig refuses, flat;
    refuses.failOpen = true;
    flat.zeroAspectWidth = true;
    test::ScopedTestPatternSources sources(
        {{ClipPath("B001_C001_0101AB_001.R3D"), refuses}, {ClipPath("B001_C002_0101AB_001.R3D"), flat}},
        TestPatternConfig{});
    auto& rm = RenderManager::Instance();
    auto first = Item("B001_C000_0101AB_001.R3D", 12);
    auto cannotOpen = Item("B001_C001_0101AB_001.R3D", 12);
    auto noAspect = Item("B001_C002_0101AB_001.R3D", 12);
    auto noRenderer = Item("B001_C004_0101AB_001.R3D", 3);
    auto unknownOut = OutputSettings::Make();
    unknownOut->setOutputDirectory(dir_.path());
    unknownOut->setFormat(99);
    noRenderer->setOutputSettings(unknownOut);
    auto inOut = Item("B001_C003_0101AB_001.R3D", 30);
    inOut->settings()->setUserFrameIn(10);
    inOut->settings()->setUserFrameOut(20);
    SettingsManager::Instance().PushSettingsForClip(*first->settings(), first->filePath());

    std::vector<std::string> events;  // each noted with whether it came on the main thread
    const auto note = [&](const std::string& what) {
        events.push_back(what + (MainQueue::Instance().IsMainThread() ? "" : " OFF THE MAIN THREAD"));
    };
    rm.setUsageEventSink(
        [&](const std::string& name, const std::string& data) { note(name + ":" + data.substr(0, data.find('\r'))); });
    auto target = std::make_shared<RenderNotifyTarget>();
    target->UpdateProgress = [&] { note("progress"); };
    target->RenderCompleted = [&] { note("completed"); };
    for (const auto& item : {first, cannotOpen, noAspect, noRenderer, inOut}) ASSERT_TRUE(rm.AddItem(item));
    rm.StartRender(target);
    rm.WaitUntilExit();
    MainQueue::Instance().ServePending();

    EXPECT_NE(cannotOpen->errorMessage().find("refuses to open"), std::string::npos) << cannotOpen->errorMessage();
    EXPECT_EQ(noAspect->errorMessage(), "Render source aspect width was 0");
    EXPECT_NE(noRenderer->errorMessage().find("No renderer for output format 99"), std::string::npos)
        << noRenderer->errorMessage();
    EXPECT_FALSE(first->errorState() || inOut->errorState());
    EXPECT_EQ(FilesIn(Out("B001_C000_0101AB")).size(), 12u);
    const auto inOutFiles = FilesIn(Out("B001_C003_0101AB"));
    ASSERT_EQ(inOutFiles.size(), 11u);
    EXPECT_EQ(inOutFiles.front(), "B001_C003_0101AB.000010.dpx");
    EXPECT_EQ(rm.framesRendered(), 12u + 11u);  // in/out points count from the in point
    EXPECT_TRUE(SettingsManager::Instance().SettingsForClip(first->filePath())->acquired());
    // The size question went to the main thread while the worker waited.
    EXPECT_EQ(sources.log()->originalSizeCalls, 4);
    EXPECT_EQ(sources.log()->originalSizeCallsOffMainThread, 0);
    EXPECT_EQ(sources.log()->sourcesDestroyed, sources.log()->sourcesMade);
    // Two usage events per clip, the first one before any frame; progress, then one completion.
    for (const auto& e : events) EXPECT_EQ(e.find("OFF THE MAIN THREAD"), std::string::npos) << e;
    EXPECT_GE(std::erase(events, "progress"), 4u);
    ASSERT_EQ(events.size(), 11u);
    EXPECT_EQ(events[0].substr(0, 20), "RENDER:\nClipSettings");
    EXPECT_EQ(events[1], "COMPLETE:FINISHED:");
    EXPECT_EQ(events[10], "completed");
}

// A cancel's effect on the clip and its files: FrameWriteDecisions in SequenceRendererTest.
TEST_F(RenderManagerTest, ACancelMarksTheClipCutShortAndStopsTheCounters) {
    test::ScopedTestPatternSources sources(Slow(1000, 5ms));
    auto a = Item("a.R3D", 1000);
    auto& rm = RenderManager::Instance();
    ASSERT_TRUE(rm.AddItem(a));
    rm.StartRender(nullptr);
    MainQueue::Instance().ServeUntil([&] { return a->framesRendered() >= 5; });
    rm.CancelRender("Cancelling at user's request");
    rm.WaitUntilExit();
    EXPECT_EQ(a->settings()->errorState(), 2);
    const uint32_t frozen = rm.framesRendered();
    a->setFramesRendered(999);
    rm.UpdateFramesRendered();
    EXPECT_EQ(rm.framesRendered(), frozen);
}

TEST_F(RenderManagerTest, ClosingTheApplicationDuringARunOrAnEmptyRunEndsCleanly) {
    auto& rm = RenderManager::Instance();
    rm.CancelRender("Nothing to render");
    EXPECT_FALSE(rm.ShouldCancel());  // an empty queue is left alone
    int completed = 0;
    auto target = std::make_shared<RenderNotifyTarget>();
    target->RenderCompleted = [&] { ++completed; };
    rm.StartRender(target);
    rm.WaitUntilExit();
    MainQueue::Instance().ServePending();
    EXPECT_EQ(completed, 1) << "an empty run still delivers completion";

    test::ScopedTestPatternSources sources(Slow(50, 2ms));
    ASSERT_TRUE(rm.AddItem(Item("a.R3D", 50)));
    ASSERT_TRUE(rm.AddItem(Item("b.R3D", 50)));
    rm.StartRender(target);
    // The application closes without serving the queue: the worker's hops must not block it.
    MainQueue::Instance().Close();
    rm.CancelRender("quit");
    rm.WaitUntilExit();
    EXPECT_EQ(rm.activeThreads(), 0);
}

}  // namespace
}  // namespace ombrel
