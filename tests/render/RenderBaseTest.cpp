// The frame loop of RenderBase driven over the synthetic test pattern, with a renderer
// that records what reaches its writer hooks instead of writing files.
#include "render/RenderBase.h"

#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "core/Log.h"
#include "support/FrameFiles.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

using namespace std::chrono_literals;
using test::TestPatternConfig;
using test::TestPatternSource;
namespace fs = std::filesystem;

uint64_t Fnv(const void* p, size_t n) {
    const std::string bytes(static_cast<const char*>(p), n);
    return test::Fnv64(bytes, 0, n);
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
        std::lock_guard l(rec_->lock);
        rec_->prepared.push_back(frame);
        for (const auto& t : targets) {
            rec_->writes.push_back({frame, t.path, hash});
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
    if (!rgba) return Fnv(px.data(), px.size() * 2);
    std::vector<uint16_t> out;
    for (size_t i = 0; i < px.size(); i += 3) out.insert(out.end(), {px[i], px[i + 1], px[i + 2], 0xFFFF});
    return Fnv(out.data(), out.size() * 2);
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

std::vector<int> Range(int a, int b) {
    std::vector<int> v;
    for (int f = a; f <= b; ++f) v.push_back(f);
    return v;
}

class RenderBaseTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        SetRenderHooks({});
        out_->setFormat(kFormatTiff);
        out_->setDebayerQuality(1);
    }
    void TearDown() override {
        SequenceRenderTest::TearDown();
        SetRenderHooks({});
    }

    RenderManagerItemPtr Item(const std::string& name, int frames,
                              const std::function<void(ClipSettings&)>& edit = nullptr) {
        auto clip = ClipSettings::Make();
        if (edit) edit(*clip);
        return SequenceRenderTest::Item(name, frames, clip);
    }

    // Loads and renders one item on this thread, as the worker would, with a fresh recording.
    std::unique_ptr<RecordingRenderer> RenderDirect(const RenderManagerItemPtr& item, int first, int last) {
        rec_ = std::make_shared<Recording>();
        rec_->rgba = rgba_;
        auto r = std::make_unique<RecordingRenderer>(rec_);
        EXPECT_TRUE(r->LoadSettingsForRenderManagerItem(item)) << item->errorMessage();
        r->setRenderManager(&RenderManager::Instance());
        r->RenderFrameSequenceStartingEnding(first, last);
        return r;
    }
    void RecordThroughTheQueue() {
        RenderManager::Instance().setRendererFactory([rec = rec_](int format) -> std::unique_ptr<Renderer> {
            if (format != kFormatTiff) return nullptr;
            return std::make_unique<RecordingRenderer>(rec);
        });
    }

    std::shared_ptr<Recording> rec_ = std::make_shared<Recording>();
    bool rgba_ = false;
};

TEST_F(RenderBaseTest, EveryFrameOfTheRangeReachesTheWriterOnceInOrderWithItsPixels) {
    TestPatternConfig c;
    c.decodeLatency = 1ms;
    for (const bool movie : {false, true}) {
        SCOPED_TRACE(movie ? "movie branch" : "raw-frame branch");
        test::ScopedTestPatternSources sources(c);
        auto lookLog = std::make_shared<LookLog>();
        RenderHooks hooks;
        hooks.makeFrameProcessor = [lookLog] { return std::make_unique<LoggingProcessor>(lookLog); };
        SetRenderHooks(hooks);
        auto item = Item(movie ? "scene_001.mov" : "A001_C001_0101AB_001.R3D", 48, [](ClipSettings& s) {
            s.setSaturation(0.25);
            s.setStockName("5219");
        });
        rgba_ = movie;  // the movie branch with alpha, the raw branch without
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
        // 01:00:00:00 at 24 frames a second, frames named from the timecode.
        const std::string base = movie ? "scene_001" : "A001_C001_0101AB";
        EXPECT_EQ(rec_->writes.front().path, Out(base + "/" + base + ".086403.rec"));
        if (movie) {
            EXPECT_EQ(slog.diskRendererAlpha, std::optional<bool>(true));
            EXPECT_TRUE(lookLog->looks.empty());  // a movie source grades its own frames
        } else {
            EXPECT_EQ(slog.bufferCount, 4);  // full-resolution decode
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
    const auto& log = *sources.log();
    auto grain = std::make_shared<GrainLog>();
    int colorFormat = 0;
    std::string grainAsked;
    RenderHooks hooks;
    hooks.grainMapWithNameSizeStockName = [&](const std::string& name, float w, float h, const std::string& stock) {
        grainAsked = name + " " + std::to_string(int(w)) + "x" + std::to_string(int(h)) + " " + stock;
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
    EXPECT_EQ(std::vector({s.OutputWidth(), s.AspectWidth(), s.AspectHeight()}), std::vector({32u, 32u, 16u}));
    EXPECT_EQ(grainAsked, "CP35 64x32 5207");  // aspect size x grain scale
    EXPECT_EQ(log.exposure, 0.0f);             // metadata white balance in use
    EXPECT_EQ(log.kelvin, 4300.0f);
    EXPECT_GE(log.decodeSetups, 1);
    EXPECT_TRUE(log.planar);  // DPX
    EXPECT_EQ(log.debayer, 2);
    EXPECT_EQ(log.bufferCount, 8);
    EXPECT_TRUE(log.useRocket);  // absent preference counts as true
    EXPECT_TRUE(log.willBlur);
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
    EXPECT_EQ(log.exposure, 1.5f);
    EXPECT_EQ(log.kelvin, 3200.0f);
    EXPECT_FALSE(log.useRocket);
}

TEST_F(RenderBaseTest, SnippetsAndTheEdlOptionDecideWhichFramesAreRendered) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    std::vector<int> handled = Range(5, 17);  // 10-12 and 31-30 (reversed) with 5 frames of handle
    for (int f : Range(25, 36)) handled.push_back(f);
    struct Row {
        const char* name;
        int edl;
        std::optional<std::vector<int>> snippets;
        std::vector<int> frames;
        int itemFrames;  // the last rendered frame + 1
    } rows[] = {
        {"option 0 skips outside the handles", 0, std::vector<int>{10, 12, 31, 30}, handled, 37},
        {"option 1 without snippets", 1, std::nullopt, Range(0, 47), 48},
        {"option 2 ignores snippets", 2, std::vector<int>{2, 3}, Range(0, 47), 48},
        {"an empty list", 0, std::vector<int>{}, Range(0, 47), 48},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        out_->setEdlOptions(row.edl);
        auto item = Item("A001_C003_0101AB_001.R3D", 48, [&](ClipSettings& s) { s.SetSnippets(row.snippets); });
        sources.log()->prefetched.clear();
        RenderDirect(item, 0, 47);
        EXPECT_EQ(rec_->Frames(), row.frames);
        EXPECT_EQ(sources.log()->prefetched, row.frames);
        EXPECT_EQ(item->framesRendered(), row.itemFrames);
        EXPECT_EQ(item->settings()->framesRendered(), 48.0f) << "the clip counter moves over skipped frames";
        for (const auto& w : rec_->writes) EXPECT_EQ(w.path.find("/S0"), std::string::npos);
    }
}

TEST_F(RenderBaseTest, EdlOption1WritesEachSnippetToItsFolderAndOverlapsToBoth) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setEdlOptions(1);
    out_->setTimecode(1);  // each snippet counts from 0
    auto item = Item("A001_C004_0101AB_001.R3D", 48, [](ClipSettings& s) {
        s.SetSnippets(std::vector<int>{10, 14, 16, 12, 20, 20});
    });
    RenderDirect(item, 0, 47);
    const std::string dest = Out("A001_C004_0101AB/");
    std::map<int, std::vector<std::string>> byFrame;
    for (const auto& w : rec_->writes) byFrame[w.frame].push_back(w.path.substr(dest.size()));
    EXPECT_EQ(byFrame, (std::map<int, std::vector<std::string>>{
                           {10, {"S0001/A001_C004_0101AB.000000.rec"}},
                           {11, {"S0001/A001_C004_0101AB.000001.rec"}},
                           {12, {"S0001/A001_C004_0101AB.000002.rec", "S0002/A001_C004_0101AB.000000.rec"}},
                           {13, {"S0001/A001_C004_0101AB.000003.rec", "S0002/A001_C004_0101AB.000001.rec"}},
                           {14, {"S0001/A001_C004_0101AB.000004.rec", "S0002/A001_C004_0101AB.000002.rec"}},
                           {15, {"S0002/A001_C004_0101AB.000003.rec"}},
                           {16, {"S0002/A001_C004_0101AB.000004.rec"}},
                       }));
    // Handles are decoded and counted, but no job holds them; frames 12-14 are converted once.
    EXPECT_EQ(sources.log()->prefetched, Range(5, 25));
    EXPECT_EQ(rec_->prepared, Range(10, 16));
    ASSERT_EQ(rec_->jobs.size(), 3u);
    EXPECT_EQ(rec_->jobs[0].framesWritten, 5);
    EXPECT_EQ(rec_->jobs[1].framesWritten, 5);
    EXPECT_EQ(rec_->jobs[2].framesWritten, 0);  // start equal to end holds no frame
    for (const char* folder : {"S0001", "S0002", "S0003"}) EXPECT_TRUE(fs::is_directory(dest + folder)) << folder;
    EXPECT_EQ(item->framesRendered(), 26);
}

TEST_F(RenderBaseTest, FrameBaseAndTimecodeBaseNameTheFiles) {
    for (auto [rate, base] :
         {std::pair{29.97f, 30}, {24.005f, 24}, {23.976f, 24}, {24.0f, 24}, {59.94f, 60}, {0.0f, 0}})
        EXPECT_EQ(RenderBase::FrameBaseForRate(rate), base) << rate;  // 24 up to 24.01
    struct Row {
        float fps;
        TimecodeValues tc;
        int timecodeSetting;
        int filenames;
        std::string name;
    } rows[] = {
        {29.97f, {1, 0, 0, 0}, 0, 0, "tc.108002.rec"},  // 3600 x 30 + 2
        {24.005f, {1, 0, 0, 0}, 0, 0, "tc.086402.rec"},
        {25.0f, {0, 1, 2, 3}, 0, 1, "001555.rec"},      // (62 x 25 + 3) + 2, no prefix
        {25.0f, {10, 0, 0, 0}, 1, 0, "tc.000002.rec"},  // frame numbers, not timecode
        {24.0f, {0, 0, 0, 0}, 0, 0, "tc.000002.rec"},
    };
    for (const auto& k : rows) {
        SCOPED_TRACE(k.name);
        TestPatternConfig c;
        c.fps = k.fps;
        c.startTimecode = k.tc;
        test::ScopedTestPatternSources sources(c);
        out_->setTimecode(k.timecodeSetting);
        out_->setFilenames(k.filenames);
        RenderDirect(Item("tc.mov", 5), 2, 2);
        ASSERT_EQ(rec_->writes.size(), 1u);
        EXPECT_EQ(rec_->writes[0].path, Out("tc/" + k.name));
    }
}

TEST_F(RenderBaseTest, DestinationFoldersOfRawAndMovieClips) {
    TestPatternConfig c;
    c.audioChannels = 1;
    test::ScopedTestPatternSources sources(c);
    const std::string out = dir_ / "out";
    struct Row {
        std::string clip;
        int folders;
        std::string dest, base;
    } rows[] = {
        {"A001_C001_0101AB_001.R3D", 0, out + "/A001_C001_0101AB", "A001_C001_0101AB"},
        {"A001_C001_0101AB_001.R3D", 1, out + "/A001_C001", "A001_C001_0101AB"},
        {"A001_C001_0101AB_001.R3D", 2, out + "/A001/C001", "A001_C001_0101AB"},
        {"A001_C001_0101AB_001.R3D", 3, out, "A001_C001_0101AB"},
        {"abc_001.R3D", 1, out + "/abc__", "abc"},           // short names: the whole name and "_"
        {"take_001.mov", 0, out + "/take_001", "take_001"},  // "_001" stays on movies
        {"take_001.mov", 2, out, "take_001"},
    };
    for (const auto& k : rows) {
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

TEST_F(RenderBaseTest, KeptOutputRefusesARangeThatMeetsAFileOfItBeforeAnyFrame) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setOverwrite(1);  // keep existing output
    out_->setTimecode(1);
    struct Row {
        const char* name;
        std::optional<std::vector<int>> snippets;  // with EDL option 1
        std::string existing;                      // in the clip's folder
        int first, last;
        bool refused;
    } rows[] = {
        {"a frame of the range", std::nullopt, "A001_C005_0101AB.000030.rec", 0, 47, true},
        {"a range that misses it", std::nullopt, "A001_C005_0101AB.000030.rec", 31, 33, false},
        {"a file of the second snippet", std::vector<int>{10, 14, 12, 16}, "S0002/A001_C005_0101AB.000001.rec", 0, 47,
         true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(Out(""));
        const std::string existing = Out("A001_C005_0101AB/" + row.existing);
        fs::create_directories(fs::path(existing).parent_path());
        test::WriteWholeFile(existing, "old");
        out_->setEdlOptions(row.snippets ? 1 : 0);
        auto item = Item("A001_C005_0101AB_001.R3D", 48, [&](ClipSettings& s) { s.SetSnippets(row.snippets); });
        sources.log()->prefetched.clear();
        RenderDirect(item, row.first, row.last);
        EXPECT_EQ(test::ReadWholeFile(existing), "old");
        if (!row.refused) {
            EXPECT_EQ(rec_->Frames(), Range(row.first, row.last));
            continue;
        }
        EXPECT_EQ(item->errorMessage(), "Part of sequence exists at " + existing + ".  Not rendering.");
        EXPECT_TRUE(rec_->writes.empty());
        EXPECT_EQ(rec_->begins, 0);
        EXPECT_TRUE(sources.log()->prefetched.empty());
    }
}

TEST_F(RenderBaseTest, AFolderThatCannotBeMadeOrAFrameThatNeverDecodesEndsTheClipWithAMessage) {
    TestPatternConfig c;
    c.failFrame = 7;
    test::ScopedTestPatternSources sources(c);
    for (const char* name : {"A001_C008_0101AB_001.R3D", "broken.mov"}) {
        SCOPED_TRACE(name);
        auto item = Item(name, 20);
        auto r = RenderDirect(item, 0, 19);
        EXPECT_EQ(rec_->Frames(), Range(0, 6));
        EXPECT_NE(item->errorMessage().find("Frame 7 of"), std::string::npos) << item->errorMessage();
        EXPECT_EQ(rec_->ends, std::vector<bool>{false});
        EXPECT_FALSE(r->pfdata()->active.load());
    }
    test::WriteWholeFile(dir_ / "blocked", "a file where the folder should be");
    out_->setOutputDirectory(dir_ / "blocked");
    auto item = Item("A001_C007_0101AB_001.R3D", 10);
    RenderDirect(item, 0, 9);
    EXPECT_TRUE(rec_->writes.empty());
    EXPECT_TRUE(item->errorState());
    EXPECT_NE(item->errorMessage().find("could not be made"), std::string::npos) << item->errorMessage();
}

TEST_F(RenderBaseTest, ThePlainBaseRendersNothingAndServesThePreview) {
    TestPatternConfig c;
    test::ScopedTestPatternSources sources(c);
    RenderBase base;
    ASSERT_TRUE(base.LoadSettingsForRenderManagerItem(Item("A001_C009_0101AB_001.R3D", 10)));
    LogCapture log;
    base.RenderFrameSequenceStartingEnding(0, 9);
    EXPECT_TRUE(log.Contains("Error: RenderFrameSequenceStarting for RenderBase not implemented."));
    EXPECT_TRUE(sources.log()->prefetched.empty());

    // Preview: decode on request, nothing while aborted.
    RenderBase preview;
    auto source = std::make_shared<TestPatternSource>(c, sources.log());
    ASSERT_TRUE(source->OpenFileForOutputSize(dir_ / "p.R3D", true));
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

TEST_F(RenderBaseTest, AClipThatCannotOpenOrHasNoAspectEndsAloneAndTheRunGoesOn) {
    TestPatternConfig refuses, flat;
    refuses.failOpen = true;
    flat.zeroAspectWidth = true;
    test::ScopedTestPatternSources sources(
        {{ClipPath("B001_C001_0101AB_001.R3D"), refuses}, {ClipPath("B001_C002_0101AB_001.R3D"), flat}},
        TestPatternConfig{});
    RecordThroughTheQueue();
    auto first = Item("B001_C000_0101AB_001.R3D", 12);
    auto cannotOpen = Item("B001_C001_0101AB_001.R3D", 12);
    auto noAspect = Item("B001_C002_0101AB_001.R3D", 12);
    auto inOut = Item("B001_C003_0101AB_001.R3D", 30, [](ClipSettings& s) {
        s.setUserFrameIn(10);
        s.setUserFrameOut(20);
    });
    Run({first, cannotOpen, noAspect, inOut});

    EXPECT_FALSE(first->errorState());
    EXPECT_EQ(first->framesRendered(), 12);
    EXPECT_NE(cannotOpen->errorMessage().find("refuses to open"), std::string::npos) << cannotOpen->errorMessage();
    EXPECT_EQ(noAspect->errorMessage(), "Render source aspect width was 0");
    EXPECT_FALSE(inOut->errorState());
    EXPECT_EQ(inOut->framesRendered(), 21);
    std::map<std::string, std::vector<int>> framesByClip;
    for (const auto& w : rec_->writes) framesByClip[fs::path(w.path).parent_path().filename()].push_back(w.frame);
    EXPECT_EQ(framesByClip, (std::map<std::string, std::vector<int>>{{"B001_C000_0101AB", Range(0, 11)},
                                                                     {"B001_C003_0101AB", Range(10, 20)}}));
    EXPECT_EQ(RenderManager::Instance().framesRendered(), 12u + 11u);  // in/out points count from the in point
    // The size question went to the main thread while the worker waited.
    EXPECT_EQ(sources.log()->originalSizeCalls, 4);
    EXPECT_EQ(sources.log()->originalSizeCallsOffMainThread, 0);
    EXPECT_EQ(sources.log()->sourcesDestroyed, sources.log()->sourcesMade);
}

TEST_F(RenderBaseTest, TheRegistryMakesRenderersOnlyForRegisteredFormats) {
    // Format codes of our own, so that the renderers of the build stay as they are.
    constexpr int kRecorded = 901, kMissing = 902;
    RegisterRendererMaker(kRecorded, [rec = rec_] { return std::make_unique<RecordingRenderer>(rec); });
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setFormat(kRecorded);
    auto recorded = Item("D001_C001_0101AB_001.R3D", 3);
    auto missingOut = OutputSettings::Make();
    missingOut->setFormat(kMissing);
    missingOut->setOutputDirectory(Out(""));
    auto missing = RenderManagerItem::Make(ClipPath("D001_C002_0101AB_001.R3D"), 3, ClipSettings::Make(), missingOut);
    Run({recorded, missing});
    EXPECT_EQ(rec_->Frames(), Range(0, 2));
    EXPECT_NE(missing->errorMessage().find("No renderer"), std::string::npos) << missing->errorMessage();
    RegisterRendererMaker(kRecorded, nullptr);
    EXPECT_EQ(MakeRendererForFormat(kRecorded), nullptr);
}

}  // namespace
}  // namespace ombrel
