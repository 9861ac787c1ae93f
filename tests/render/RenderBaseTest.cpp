// The frame loop of RenderBase driven over the synthetic test pattern, with a renderer
// that records what reaches its writer hooks instead of writing files.
#include "render/RenderBase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "model/SettingsManager.h"
#include "render/DefaultRenderers.h"
#include "render/RenderManager.h"
#include "sources/testing/TestPatternSource.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using namespace std::chrono_literals;
using test::TestPatternConfig;
using test::TestPatternSource;
namespace fs = std::filesystem;

uint64_t Fnv(const uint8_t* p, size_t n) {
    uint64_t h = 1469598103934665603ull;
    for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
    return h;
}

// What a RecordingRenderer saw, shared across the renderers of a run.
struct Recording {
    struct Write {
        int frame;
        std::string path;
        uint64_t hash;
    };
    std::mutex lock;
    std::vector<Write> writes;
    std::vector<int> prepared;
    int begins = 0;
    std::vector<bool> ends;  // `completed` of each clip
    std::vector<SnippetJob> jobs;
    bool touchFiles = false;
    bool rgba = false;

    std::vector<int> Frames() {
        std::lock_guard l(lock);
        std::vector<int> f;
        for (auto& w : writes) f.push_back(w.frame);
        return f;
    }
};

class RecordingRenderer : public RenderBase {
public:
    explicit RecordingRenderer(std::shared_ptr<Recording> rec) : rec_(std::move(rec)) {}

protected:
    bool WritesFrames() const override { return true; }
    bool OutputWantsRGBA() const override { return rec_->rgba; }
    std::vector<FrameTarget> FrameTargetsForFrame(const RenderSetup& setup, int frame) const override {
        return SequenceTargetsForFrame(setup, frame, "rec");
    }
    bool BeginFrameSequence(const RenderSetup&, int, int) override {
        std::lock_guard l(rec_->lock);
        ++rec_->begins;
        return true;
    }
    void WriteFrame(RenderSetup& setup, int frame, uint8_t* buffer) override {
        const auto targets = FrameTargetsForFrame(setup, frame);
        if (targets.empty()) return;
        const auto& s = *renderSource();
        const uint64_t hash = Fnv(buffer, size_t{s.OutputWidth()} * s.OutputHeight() * (rec_->rgba ? 8 : 6));
        {
            std::lock_guard l(rec_->lock);
            rec_->prepared.push_back(frame);
            for (const auto& t : targets) rec_->writes.push_back({frame, t.path, hash});
        }
        for (const auto& t : targets) {
            if (rec_->touchFiles) test::WriteWholeFile(t.path, "frame");
            if (t.job >= 0) ++setup.jobs[static_cast<size_t>(t.job)].framesWritten;
        }
    }
    void EndFrameSequence(const RenderSetup& setup, bool completed) override {
        std::lock_guard l(rec_->lock);
        rec_->ends.push_back(completed);
        rec_->jobs = setup.jobs;
    }

private:
    std::shared_ptr<Recording> rec_;
};

// Hash of the frame as an ungraded same-size render must deliver it.
uint64_t ExpectedHash(int frame, uint32_t w, uint32_t h, bool rgba) {
    auto px = TestPatternSource::FramePixels(frame, w, h);
    if (!rgba) return Fnv(reinterpret_cast<const uint8_t*>(px.data()), px.size() * 2);
    std::vector<uint16_t> out;
    for (size_t i = 0; i < px.size(); i += 3) out.insert(out.end(), {px[i], px[i + 1], px[i + 2], 0xFFFF});
    return Fnv(reinterpret_cast<const uint8_t*>(out.data()), out.size() * 2);
}

// Keeps what the look stage was told, beyond the stage's life.
struct LookLog {
    std::mutex lock;
    std::vector<LookValues> looks;
};
class LoggingProcessor : public IdentityFrameProcessor {
public:
    explicit LoggingProcessor(std::shared_ptr<LookLog> log) : log_(std::move(log)) {}
    ~LoggingProcessor() override {
        std::lock_guard l(log_->lock);
        log_->looks.push_back(look());
    }

private:
    std::shared_ptr<LookLog> log_;
};

struct GrainLog : RenderGrain {
    float amount = -1.0f;
    void SetGrainAmount(float a) override { amount = a; }
};

class RenderBaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto& q = MainQueue::Instance();
        q.AdoptCurrentThread();
        q.Reopen();
        auto& rm = RenderManager::Instance();
        rm.WaitUntilExit();
        rm.Reset();
        q.ServePending();
        SettingsManager::Instance().ClearAll();
        SetRenderHooks({});
        out_ = OutputSettings::Make();
        out_->setOutputDirectory(dir_.path() + "/out");
        out_->setFormat(kFormatTiff);
        out_->setDebayerQuality(1);
    }
    void TearDown() override {
        auto& rm = RenderManager::Instance();
        rm.CancelRender("test over");
        rm.WaitUntilExit();
        rm.setRendererFactory(nullptr);
        rm.Reset();
        SetRenderHooks({});
        MainQueue::Instance().ServePending();
    }

    // An item whose settings are the clip's current record, as the shell makes them.
    RenderManagerItemPtr Item(const std::string& name, int frames,
                              const std::function<void(ClipSettings&)>& edit = nullptr) {
        const std::string path = dir_.path() + "/" + name;
        SettingsManager::Instance().PushSettingsForClip(*ClipSettings::Make(), path);
        ClipSettingsPtr clip = SettingsManager::Instance().SettingsForClip(path);
        clip->setTotalFrames(static_cast<float>(frames));
        if (edit) edit(*clip);
        return RenderManagerItem::Make(path, frames, clip, out_);
    }

    // Loads and renders one item on this thread, as the worker would.
    std::unique_ptr<RecordingRenderer> RenderDirect(const RenderManagerItemPtr& item, int first, int last) {
        auto r = std::make_unique<RecordingRenderer>(rec_);
        EXPECT_TRUE(r->LoadSettingsForRenderManagerItem(item)) << item->errorMessage();
        r->setRenderManager(&RenderManager::Instance());
        r->RenderFrameSequenceStartingEnding(first, last);
        return r;
    }

    test::TempDir dir_;
    OutputSettingsPtr out_;
    std::shared_ptr<Recording> rec_ = std::make_shared<Recording>();
};

std::vector<int> Range(int a, int b) {
    std::vector<int> v;
    for (int f = a; f <= b; ++f) v.push_back(f);
    return v;
}

TEST_F(RenderBaseTest, EveryFrameOfTheRangeReachesTheWriterOnceInOrderWithItsPixels) {
    TestPatternConfig c;
    c.decodeLatency = 1ms;
    for (const bool movie : {false, true}) {
        SCOPED_TRACE(movie ? "movie branch" : "raw-frame branch");
        rec_ = std::make_shared<Recording>();
        rec_->rgba = movie;  // the movie branch with alpha, the raw branch without
        test::ScopedTestPatternSources sources(c);
        auto lookLog = std::make_shared<LookLog>();
        RenderHooks hooks;
        hooks.makeFrameProcessor = [lookLog] { return std::make_unique<LoggingProcessor>(lookLog); };
        SetRenderHooks(hooks);
        auto item = Item(movie ? "scene_001.mov" : "A001_C001_0101AB_001.R3D", 48, [](ClipSettings& s) {
            s.setSaturation(0.25);
            s.setStockName("5219");
        });
        LogCapture log;
        auto r = RenderDirect(item, 3, 40);

        EXPECT_EQ(rec_->Frames(), Range(3, 40));
        EXPECT_EQ(rec_->prepared, Range(3, 40));
        for (const auto& w : rec_->writes)
            ASSERT_EQ(w.hash, ExpectedHash(w.frame, c.width, c.height, movie)) << "frame " << w.frame;
        EXPECT_EQ(item->framesRendered(), 41);
        EXPECT_EQ(item->settings()->framesRendered(), 41.0f);
        EXPECT_FALSE(item->errorState()) << item->errorMessage();
        EXPECT_EQ(rec_->ends, std::vector<bool>{true});
        ASSERT_NE(r->pfdata(), nullptr);
        EXPECT_FALSE(r->pfdata()->active.load());
        const auto& slog = *sources.log();
        EXPECT_EQ(slog.prefetched, Range(3, 40));
        EXPECT_EQ(slog.prefetchThreadsEntered, 1);
        EXPECT_EQ(slog.prefetchThreadsLeft, 1);
        EXPECT_EQ(slog.originalSizeCalls, 1);
        if (movie) {
            EXPECT_EQ(slog.diskRendererAlpha, std::optional<bool>(true));
            EXPECT_TRUE(lookLog->looks.empty());  // a movie source grades its own frames
            // 01:00:00:00 at 24 frames a second, frames named from the timecode.
            EXPECT_EQ(rec_->writes.front().path, dir_.path() + "/out/scene_001/scene_001.086403.rec");
        } else {
            EXPECT_EQ(slog.bufferCount, 4);  // full-resolution decode
            EXPECT_EQ(rec_->writes.front().path, dir_.path() + "/out/A001_C001_0101AB/A001_C001_0101AB.086403.rec");
            ASSERT_EQ(lookLog->looks.size(), 1u);
            const LookValues& look = lookLog->looks[0];
            EXPECT_FLOAT_EQ(look.saturation, 0.25f);
            EXPECT_EQ(look.exposure, 0.0f);  // the decoder applied them
            EXPECT_EQ(look.kelvin, 5600.0f);
            EXPECT_EQ(look.stock, "5219");
            EXPECT_EQ(look.sourceType, "EpicM");
            EXPECT_TRUE(look.r3dMode);
            EXPECT_EQ(look.outputWidth, c.width);
        }
    }
}

TEST_F(RenderBaseTest, OpeningFollowsOutputSizeFitMetadataAndGrainRules) {
    TestPatternConfig c;
    c.width = 64;
    c.height = 32;  // 2:1
    c.metadataKelvin = 4300;
    test::ScopedTestPatternSources sources(c);
    auto grain = std::make_shared<GrainLog>();
    int colorFormat = 0;
    std::string grainAsked;
    RenderHooks hooks;
    hooks.grainMapWithNameSizeStockName = [&](const std::string& name, float w, float h, const std::string& stock) {
        grainAsked =
            name + " " + std::to_string(static_cast<int>(w)) + "x" + std::to_string(static_cast<int>(h)) + " " + stock;
        return grain;
    };
    hooks.currentColorFormat = [&] { return colorFormat; };
    SetRenderHooks(hooks);

    out_->setSize({32.0f, 32.0f});
    out_->setFitMethod(0);
    out_->setFormat(kFormatDpx);
    out_->setDebayerQuality(2);
    auto item = Item("A001_C002_0101AB_001.R3D", 10, [](ClipSettings& s) {
        s.setGrainScale(2.0f);
        s.setGrainMultiplier(0.8f);
        s.setExposure(1.5f);
        s.setKelvin(3200.0f);
        s.setBlurRadius(1.0f);
    });
    RecordingRenderer r(rec_);
    ASSERT_TRUE(r.LoadSettingsForRenderManagerItem(item));
    const RenderSource& s = *r.renderSource();
    EXPECT_EQ(s.OutputWidth(), 32u);
    EXPECT_EQ(s.AspectWidth(), 32u);
    EXPECT_EQ(s.AspectHeight(), 16u);
    EXPECT_EQ(grainAsked, "CP35 64x32 5207");  // aspect size x grain scale
    EXPECT_EQ(sources.log()->exposure, 0.0f);  // metadata white balance in use
    EXPECT_EQ(sources.log()->kelvin, 4300.0f);
    EXPECT_GE(sources.log()->decodeSetups, 1);
    EXPECT_TRUE(sources.log()->planar);  // DPX
    EXPECT_EQ(sources.log()->debayer, 2);
    EXPECT_EQ(sources.log()->bufferCount, 8);
    EXPECT_TRUE(sources.log()->useRocket);  // absent preference counts as true
    EXPECT_TRUE(sources.log()->willBlur);
    EXPECT_EQ(r.currentRenderItem(), item);

    // Grain amount: the multiplier, scaled by 0.3 under colour format 2.
    RenderSetup setup;
    ASSERT_TRUE(r.SetupForRenderStartingEnding(setup, 0, 9));
    EXPECT_FLOAT_EQ(grain->amount, 0.8f);
    colorFormat = 2;
    r.UpdateCurrentGrainAmount();
    EXPECT_FLOAT_EQ(grain->amount, 0.24f);

    // Fit 2: the grain follows the output size; without metadata the clip's own values.
    out_->setFitMethod(2);
    out_->setSize({0.0f, 0.0f});  // source size
    item->settings()->setUseMetadata(false);
    hooks.useRocketPreference = [] { return std::optional<bool>(false); };
    SetRenderHooks(hooks);
    RecordingRenderer r2(rec_);
    ASSERT_TRUE(r2.LoadSettingsForRenderManagerItem(item));
    EXPECT_EQ(r2.renderSource()->OutputWidth(), 64u);
    EXPECT_FALSE(r2.renderSource()->needsResize());
    EXPECT_EQ(grainAsked, "CP35 128x64 5207");
    EXPECT_EQ(sources.log()->exposure, 1.5f);
    EXPECT_EQ(sources.log()->kelvin, 3200.0f);
    EXPECT_FALSE(sources.log()->useRocket);
}

TEST_F(RenderBaseTest, FrameFlagsSkipFramesAndOnlyTheClipCounterMovesOverThem) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setEdlOptions(0);
    // Snippets 10-12 and 31-30 (reversed), with 5 frames of handle each side.
    auto item = Item("A001_C003_0101AB_001.R3D", 48, [](ClipSettings& s) {
        s.SetSnippets(std::vector<int>{10, 12, 31, 30});
    });
    RenderDirect(item, 0, 47);
    std::vector<int> expected = Range(5, 17);
    for (int f : Range(25, 36)) expected.push_back(f);
    EXPECT_EQ(rec_->Frames(), expected);
    EXPECT_EQ(sources.log()->prefetched, expected);
    EXPECT_EQ(item->framesRendered(), 37);  // the last rendered frame + 1
    EXPECT_EQ(item->settings()->framesRendered(), 48.0f);
    for (const auto& w : rec_->writes) EXPECT_EQ(w.path.find("/S0"), std::string::npos);
}

TEST_F(RenderBaseTest, EdlOption1WritesEachSnippetToItsFolderAndOverlapsToBoth) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setEdlOptions(1);
    out_->setTimecode(1);  // each snippet counts from 0
    auto item = Item("A001_C004_0101AB_001.R3D", 48, [](ClipSettings& s) {
        s.SetSnippets(std::vector<int>{10, 14, 16, 12, 20, 20});
    });
    RenderDirect(item, 0, 47);
    const std::string dest = dir_.path() + "/out/A001_C004_0101AB/";
    std::map<int, std::vector<std::string>> byFrame;
    for (const auto& w : rec_->writes) byFrame[w.frame].push_back(w.path.substr(dest.size()));
    EXPECT_EQ(byFrame[10], std::vector<std::string>{"S0001/A001_C004_0101AB.000000.rec"});
    EXPECT_EQ(byFrame[13],
              (std::vector<std::string>{"S0001/A001_C004_0101AB.000003.rec", "S0002/A001_C004_0101AB.000001.rec"}));
    EXPECT_EQ(byFrame[16], std::vector<std::string>{"S0002/A001_C004_0101AB.000004.rec"});
    std::set<int> written;
    for (const auto& [f, paths] : byFrame) written.insert(f);
    EXPECT_EQ(written, (std::set<int>{10, 11, 12, 13, 14, 15, 16}));
    // Handles are decoded and counted, but no job holds them; frames 12-14 are converted once.
    EXPECT_EQ(sources.log()->prefetched, Range(5, 25));
    EXPECT_EQ(std::count(rec_->prepared.begin(), rec_->prepared.end(), 13), 1);
    ASSERT_EQ(rec_->jobs.size(), 3u);
    EXPECT_EQ(rec_->jobs[0].framesWritten, 5);
    EXPECT_EQ(rec_->jobs[1].framesWritten, 5);
    EXPECT_EQ(rec_->jobs[2].framesWritten, 0);  // start equal to end holds no frame
    for (const char* folder : {"S0001", "S0002", "S0003"}) EXPECT_TRUE(fs::is_directory(dest + folder)) << folder;
    EXPECT_EQ(item->framesRendered(), 26);
}

TEST_F(RenderBaseTest, WithoutSnippetsOrWithOption2TheWholeRangeIsRendered) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setEdlOptions(1);
    RenderDirect(Item("plain.mov", 12), 0, 11);  // option 1 but no snippets
    EXPECT_EQ(rec_->Frames(), Range(0, 11));
    rec_ = std::make_shared<Recording>();
    out_->setEdlOptions(2);
    RenderDirect(Item("cut.mov", 12, [](ClipSettings& s) { s.SetSnippets(std::vector<int>{2, 3}); }), 0, 11);
    EXPECT_EQ(rec_->Frames(), Range(0, 11));
    rec_ = std::make_shared<Recording>();
    out_->setEdlOptions(0);
    RenderDirect(Item("empty.mov", 12, [](ClipSettings& s) { s.SetSnippets(std::vector<int>{}); }), 0, 11);
    EXPECT_EQ(rec_->Frames(), Range(0, 11));
}

TEST_F(RenderBaseTest, FrameBaseAndTimecodeBaseNameTheFiles) {
    EXPECT_EQ(RenderBase::FrameBaseForRate(29.97f), 30);
    EXPECT_EQ(RenderBase::FrameBaseForRate(24.005f), 24);  // not above 24.01
    EXPECT_EQ(RenderBase::FrameBaseForRate(23.976f), 24);
    EXPECT_EQ(RenderBase::FrameBaseForRate(24.0f), 24);
    EXPECT_EQ(RenderBase::FrameBaseForRate(59.94f), 60);
    EXPECT_EQ(RenderBase::FrameBaseForRate(0.0f), 0);

    struct Case {
        float fps;
        TimecodeValues tc;
        int timecodeSetting;
        int filenames;
        std::string name;
    } cases[] = {
        {29.97f, {1, 0, 0, 0}, 0, 0, "tc.108002.rec"},  // 3600 x 30 + 2
        {24.005f, {1, 0, 0, 0}, 0, 0, "tc.086402.rec"},
        {25.0f, {0, 1, 2, 3}, 0, 1, "001555.rec"},      // (62 x 25 + 3) + 2, no prefix
        {25.0f, {10, 0, 0, 0}, 1, 0, "tc.000002.rec"},  // frame numbers, not timecode
        {24.0f, {0, 0, 0, 0}, 0, 0, "tc.000002.rec"},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.name);
        TestPatternConfig c;
        c.fps = k.fps;
        c.startTimecode = k.tc;
        test::ScopedTestPatternSources sources(c);
        out_->setTimecode(k.timecodeSetting);
        out_->setFilenames(k.filenames);
        rec_ = std::make_shared<Recording>();
        RenderDirect(Item("tc.mov", 5), 2, 2);
        ASSERT_EQ(rec_->writes.size(), 1u);
        EXPECT_EQ(rec_->writes[0].path, dir_.path() + "/out/tc/" + k.name);
    }
}

TEST_F(RenderBaseTest, DestinationFoldersOfRawAndMovieClips) {
    TestPatternConfig c;
    c.audioChannels = 1;
    test::ScopedTestPatternSources sources(c);
    const std::string out = dir_.path() + "/out";
    struct Case {
        std::string clip;
        int folders;
        std::string dest, base;
    } cases[] = {
        {"A001_C001_0101AB_001.R3D", 0, out + "/A001_C001_0101AB", "A001_C001_0101AB"},
        {"A001_C001_0101AB_001.R3D", 1, out + "/A001_C001", "A001_C001_0101AB"},
        {"A001_C001_0101AB_001.R3D", 2, out + "/A001/C001", "A001_C001_0101AB"},
        {"A001_C001_0101AB_001.R3D", 3, out, "A001_C001_0101AB"},
        {"abc_001.R3D", 1, out + "/abc__", "abc"},           // short names: the whole name and "_"
        {"take_001.mov", 0, out + "/take_001", "take_001"},  // "_001" stays on movies
        {"take_001.mov", 2, out, "take_001"},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.clip + " folders " + std::to_string(k.folders));
        out_->setFolders(k.folders);
        RecordingRenderer r(rec_);
        ASSERT_TRUE(r.LoadSettingsForRenderManagerItem(Item(k.clip, 4)));
        RenderSetup setup;
        const bool movie = r.renderSource()->SourceType() == "5D";
        ASSERT_TRUE(movie ? r.SetDestPathForQT(setup) : r.SetDestPathForR3D(setup));
        EXPECT_EQ(setup.destPath, k.dest);
        EXPECT_EQ(setup.baseName, k.base);
        EXPECT_TRUE(fs::is_directory(k.dest));
        // Raw clips bring their sound out beside the frames; movies do not.
        EXPECT_EQ(fs::exists(k.dest + "/" + k.base + ".au"), !movie);
    }
}

TEST_F(RenderBaseTest, ExistingOutputIsRefusedBeforeAnyFrameAndNothingIsReplaced) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setOverwrite(1);  // keep existing output
    const std::string dest = dir_.path() + "/out/A001_C005_0101AB";
    fs::create_directories(dest);
    const std::string existing = dest + "/A001_C005_0101AB.086430.rec";  // frame 30
    test::WriteWholeFile(existing, "old");
    test::WriteWholeFile(dest + "/A001_C005_0101AB.au", "old sound");
    auto item = Item("A001_C005_0101AB_001.R3D", 48);
    LogCapture log;
    RenderDirect(item, 0, 47);
    EXPECT_TRUE(log.Contains("Part of sequence exists at " + existing + ".  Not rendering."));
    EXPECT_EQ(item->errorMessage(), "Part of sequence exists at " + existing + ".  Not rendering.");
    EXPECT_TRUE(rec_->writes.empty());
    EXPECT_EQ(rec_->begins, 0);
    EXPECT_TRUE(sources.log()->prefetched.empty());
    EXPECT_EQ(test::ReadWholeFile(existing), "old");
    EXPECT_EQ(test::ReadWholeFile(dest + "/A001_C005_0101AB.au"), "old sound");

    // A range that misses the existing frame renders.
    auto later = Item("A001_C005_0101AB_001.R3D", 48);
    RenderDirect(later, 31, 33);
    EXPECT_EQ(rec_->Frames(), Range(31, 33));

    // Per snippet: a file in the second job's folder refuses the clip too.
    rec_ = std::make_shared<Recording>();
    out_->setEdlOptions(1);
    out_->setTimecode(1);
    const std::string snippetDest = dir_.path() + "/out/A001_C006_0101AB";
    fs::create_directories(snippetDest + "/S0002");
    test::WriteWholeFile(snippetDest + "/S0002/A001_C006_0101AB.000001.rec", "old");
    auto snipped = Item("A001_C006_0101AB_001.R3D", 48, [](ClipSettings& s) {
        s.SetSnippets(std::vector<int>{10, 14, 12, 16});
    });
    RenderDirect(snipped, 0, 47);
    EXPECT_TRUE(rec_->writes.empty());
    EXPECT_NE(snipped->errorMessage().find("S0002/A001_C006_0101AB.000001.rec"), std::string::npos);

    // Replacing is the default.
    out_->setOverwrite(0);
    out_->setEdlOptions(0);
    out_->setTimecode(0);
    rec_ = std::make_shared<Recording>();
    rec_->touchFiles = true;
    RenderDirect(Item("A001_C005_0101AB_001.R3D", 48), 29, 31);
    EXPECT_EQ(rec_->Frames(), Range(29, 31));
    EXPECT_EQ(test::ReadWholeFile(existing), "frame");
}

TEST_F(RenderBaseTest, AnOutputFolderThatCannotBeMadeEndsTheClipWithAMessage) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    test::WriteWholeFile(dir_.path() + "/blocked", "a file where the folder should be");
    out_->setOutputDirectory(dir_.path() + "/blocked");
    auto item = Item("A001_C007_0101AB_001.R3D", 10);
    RenderDirect(item, 0, 9);
    EXPECT_TRUE(rec_->writes.empty());
    EXPECT_TRUE(item->errorState());
    EXPECT_NE(item->errorMessage().find("could not be made"), std::string::npos) << item->errorMessage();
}

TEST_F(RenderBaseTest, AFrameThatNeverDecodesEndsTheClipWithAMessageAndNoHang) {
    TestPatternConfig c;
    c.failFrame = 7;
    test::ScopedTestPatternSources sources(c);
    for (const char* name : {"A001_C008_0101AB_001.R3D", "broken.mov"}) {
        rec_ = std::make_shared<Recording>();
        auto item = Item(name, 20);
        auto r = RenderDirect(item, 0, 19);
        EXPECT_EQ(rec_->Frames(), Range(0, 6)) << name;
        EXPECT_NE(item->errorMessage().find("Frame 7 of"), std::string::npos) << item->errorMessage();
        EXPECT_EQ(rec_->ends, std::vector<bool>{false});
        EXPECT_FALSE(r->pfdata()->active.load());
    }
}

TEST_F(RenderBaseTest, ThePlainBaseRendersNothingAndServesThePreview) {
    TestPatternConfig c;
    test::ScopedTestPatternSources sources(c);
    auto item = Item("A001_C009_0101AB_001.R3D", 10);
    RenderBase base;
    ASSERT_TRUE(base.LoadSettingsForRenderManagerItem(item));
    LogCapture log;
    base.RenderFrameSequenceStartingEnding(0, 9);
    EXPECT_TRUE(log.Contains("Error: RenderFrameSequenceStarting for RenderBase not implemented."));
    EXPECT_TRUE(sources.log()->prefetched.empty());

    // Preview: decode on request, nothing while aborted.
    RenderBase preview;
    auto source = std::make_shared<TestPatternSource>(c, sources.log());
    ASSERT_TRUE(source->OpenFileForOutputSize(dir_.path() + "/p.R3D", true));
    preview.setRenderSource(source);
    preview.SetExposureKelvin(0.5f, 6500.0f);
    EXPECT_EQ(sources.log()->kelvin, 6500.0f);
    ASSERT_TRUE(preview.Decode(3));
    EXPECT_EQ(preview.decodedFrame(), 3);
    const auto* px = reinterpret_cast<const uint16_t*>(source->RawBuffer());
    EXPECT_EQ(px[2], TestPatternSource::SampleAt(3, 0, 0, 2, c.width, c.height));
    preview.AbortRender();
    EXPECT_FALSE(preview.Decode(5));
    EXPECT_EQ(preview.decodedFrame(), 3);
    preview.ResetAbortStatus();
    EXPECT_TRUE(preview.Decode(5));
    EXPECT_EQ(preview.decodedFrame(), 5);
    EXPECT_FALSE(preview.Decode(c.frames));
}

TEST_F(RenderBaseTest, MovieBufferConversionsSwapBytesAndMoveAlphaToTheFront) {
    std::vector<uint16_t> px = {0x0102, 0x0304, 0x0506, 0x0708, 0x1112, 0x1314, 0x1516, 0x1718};
    RenderBase::SwapRGBA16BufferEndiannessPixels(px.data(), 2);
    EXPECT_EQ(px, (std::vector<uint16_t>{0x0201, 0x0403, 0x0605, 0x0807, 0x1211, 0x1413, 0x1615, 0x1817}));
    RenderBase::ConvertShaderBufferToARGBPixels(px.data(), 2);
    EXPECT_EQ(px, (std::vector<uint16_t>{0x0807, 0x0201, 0x0403, 0x0605, 0x1817, 0x1211, 0x1413, 0x1615}));
}

// ---- Runs through the render queue --------------------------------------------------

class RenderBaseRunTest : public RenderBaseTest {
protected:
    void StartWithRecorder() {
        RenderManager::Instance().setRendererFactory([rec = rec_](int format) -> std::unique_ptr<Renderer> {
            if (format != kFormatTiff) return nullptr;
            return std::make_unique<RecordingRenderer>(rec);
        });
    }
    // Serves the main thread until the run ends; false when it does not end in time.
    static bool ServeUntilDone(std::chrono::seconds limit) {
        const auto until = std::chrono::steady_clock::now() + limit;
        MainQueue::Instance().ServeUntil(
            [&] { return RenderManager::Instance().activeThreads() == 0 || std::chrono::steady_clock::now() > until; });
        return RenderManager::Instance().activeThreads() == 0;
    }
};

TEST_F(RenderBaseRunTest, AClipThatCannotOpenOrHasNoAspectEndsAloneAndTheRunGoesOn) {
    TestPatternConfig good;
    TestPatternConfig refuses;
    refuses.failOpen = true;
    TestPatternConfig flat;
    flat.zeroAspectWidth = true;
    const std::string d = dir_.path() + "/";
    test::ScopedTestPatternSources sources(
        {{d + "B001_C001_0101AB_001.R3D", refuses}, {d + "B001_C002_0101AB_001.R3D", flat}}, good);
    StartWithRecorder();
    auto& rm = RenderManager::Instance();
    auto first = Item("B001_C000_0101AB_001.R3D", 12);
    auto cannotOpen = Item("B001_C001_0101AB_001.R3D", 12);
    auto noAspect = Item("B001_C002_0101AB_001.R3D", 12);
    auto inOut = Item("B001_C003_0101AB_001.R3D", 30, [](ClipSettings& s) {
        s.setUserFrameIn(10);
        s.setUserFrameOut(20);
    });
    for (auto& i : {first, cannotOpen, noAspect, inOut}) ASSERT_TRUE(rm.AddItem(i));
    rm.StartRender(nullptr);
    ASSERT_TRUE(ServeUntilDone(30s));

    EXPECT_FALSE(first->errorState());
    EXPECT_EQ(first->framesRendered(), 12);
    EXPECT_TRUE(cannotOpen->errorState());
    EXPECT_NE(cannotOpen->errorMessage().find("refuses to open"), std::string::npos) << cannotOpen->errorMessage();
    EXPECT_TRUE(noAspect->errorState());
    EXPECT_EQ(noAspect->errorMessage(), "Render source aspect width was 0");
    EXPECT_FALSE(inOut->errorState());
    EXPECT_EQ(inOut->framesRendered(), 21);
    std::map<std::string, std::vector<int>> framesByClip;
    for (const auto& w : rec_->writes) framesByClip[fs::path(w.path).parent_path().filename()].push_back(w.frame);
    EXPECT_EQ(framesByClip["B001_C000_0101AB"], Range(0, 11));
    EXPECT_EQ(framesByClip["B001_C003_0101AB"], Range(10, 20));
    EXPECT_EQ(framesByClip.size(), 2u);
    EXPECT_EQ(rm.framesRendered(), 12u + 11u);  // in/out points count from the in point
    // The size question went to the main thread while the worker waited.
    EXPECT_EQ(sources.log()->originalSizeCalls, 4);
    EXPECT_EQ(sources.log()->originalSizeCallsOffMainThread, 0);
    EXPECT_EQ(sources.log()->sourcesDestroyed, sources.log()->sourcesMade);
}

TEST_F(RenderBaseRunTest, CancelMidClipEndsEveryThreadSoonAndLeavesNoFrameHalfDelivered) {
    TestPatternConfig c;
    c.decodeLatency = 15ms;  // the loop waits on the decoder most of the time
    c.frames = 400;
    test::ScopedTestPatternSources sources(c);
    StartWithRecorder();
    auto& rm = RenderManager::Instance();
    auto a = Item("C001_C001_0101AB_001.R3D", 400);
    auto b = Item("C001_C002_0101AB_001.R3D", 400);
    ASSERT_TRUE(rm.AddItem(a));
    ASSERT_TRUE(rm.AddItem(b));
    rm.StartRender(nullptr);
    MainQueue::Instance().ServeUntil([&] { return a->framesRendered() >= 5 || rm.activeThreads() == 0; });
    const auto cancelled = std::chrono::steady_clock::now();
    rm.CancelRender("Cancelling at user's request");
    ASSERT_TRUE(ServeUntilDone(10s));
    EXPECT_LT(std::chrono::steady_clock::now() - cancelled, 1s);

    const auto frames = rec_->Frames();
    ASSERT_GE(frames.size(), 5u);
    EXPECT_LT(frames.size(), 400u);
    EXPECT_EQ(frames, Range(0, static_cast<int>(frames.size()) - 1));
    EXPECT_EQ(a->framesRendered(), static_cast<int>(frames.size()));
    for (const auto& w : rec_->writes) ASSERT_EQ(w.hash, ExpectedHash(w.frame, c.width, c.height, false));
    EXPECT_EQ(b->framesRendered(), 0);
    EXPECT_EQ(rec_->ends, std::vector<bool>{false});
    const auto& log = *sources.log();
    EXPECT_EQ(log.prefetchThreadsEntered, 1);
    EXPECT_EQ(log.prefetchThreadsLeft, 1);
    EXPECT_EQ(log.sourcesDestroyed, log.sourcesMade);
    EXPECT_LE(log.maxInFlight, 4);
}

TEST_F(RenderBaseRunTest, TheRegistryMakesRenderersOnlyForRegisteredFormats) {
    // Format codes of our own, so that the renderers of the build stay as they are.
    constexpr int kRecorded = 901, kMissing = 902;
    RegisterDefaultRenderers();
    RegisterRendererMaker(kRecorded, [rec = rec_] { return std::make_unique<RecordingRenderer>(rec); });
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    auto& rm = RenderManager::Instance();
    out_->setFormat(kRecorded);
    auto recorded = Item("D001_C001_0101AB_001.R3D", 3);
    auto missingOut = OutputSettings::Make();
    missingOut->setFormat(kMissing);
    missingOut->setOutputDirectory(dir_.path() + "/out");
    auto missing =
        RenderManagerItem::Make(dir_.path() + "/D001_C002_0101AB_001.R3D", 3, ClipSettings::Make(), missingOut);
    ASSERT_TRUE(rm.AddItem(recorded));
    ASSERT_TRUE(rm.AddItem(missing));
    rm.StartRender(nullptr);
    ASSERT_TRUE(ServeUntilDone(30s));
    EXPECT_EQ(rec_->Frames(), Range(0, 2));
    EXPECT_NE(missing->errorMessage().find("No renderer"), std::string::npos) << missing->errorMessage();
    RegisterRendererMaker(kRecorded, nullptr);
    EXPECT_EQ(MakeRendererForFormat(kRecorded), nullptr);
}

}  // namespace
}  // namespace ombrel
