// The frame loop of RenderBase, driven through the TIFF and DPX sequence renderers over the
// synthetic test pattern: which frames reach the files, and what the source and look stage are told.
#include "render/RenderBase.h"

#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "core/Log.h"
#include "look/AppState.h"
#include "render/FrameSequenceRenderer.h"
#include "render/dpx/DpxFile.h"
#include "render/tiff/TiffFile.h"
#include "support/FrameFiles.h"
#include "support/RefFile.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

using namespace std::chrono_literals;
using test::TestPatternConfig;
using test::TestPatternSource;
namespace fs = std::filesystem;

// Keeps what the look stage was told, beyond the stage's life, and what the application
// worked on (0 raw, 1 movies) when the stock was set: its fallback chain follows that.
struct LookLog {
    std::mutex lock;
    std::vector<LookValues> looks;
    std::vector<int> statesAtStock;
};
class LoggingProcessor : public IdentityFrameProcessor {
public:
    explicit LoggingProcessor(std::shared_ptr<LookLog> log) : log_(std::move(log)) {}
    ~LoggingProcessor() override {
        std::lock_guard l(log_->lock);
        log_->looks.push_back(look());
    }
    void SetCurrentLUTSourceTypeChosenR3DMode(const std::string& stock, const std::string& sourceType,
                                              const std::optional<std::string>& chosen, bool r3dMode) override {
        IdentityFrameProcessor::SetCurrentLUTSourceTypeChosenR3DMode(stock, sourceType, chosen, r3dMode);
        std::lock_guard l(log_->lock);
        log_->statesAtStock.push_back(AppState::Instance().State());
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

std::unique_ptr<RenderBase> Sequence(bool dpx = false) {
    if (dpx) return std::make_unique<FrameSequenceRenderer>(std::make_unique<DpxFormat>());
    return std::make_unique<FrameSequenceRenderer>(std::make_unique<TiffFormat>());
}

class RenderBaseTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        SetRenderHooks({});
        out_->setFormat(kFormatTiff);
        out_->setTimecode(1);  // files numbered by frame
        out_->setDebayerQuality(1);
    }
    void TearDown() override {
        SequenceRenderTest::TearDown();
        SetRenderHooks({});
        AppState::Instance().setState(1);
    }

    RenderManagerItemPtr Item(const std::string& name, int frames,
                              const std::function<void(ClipSettings&)>& edit = nullptr) {
        auto clip = ClipSettings::Make();
        if (edit) edit(*clip);
        return SequenceRenderTest::Item(name, frames, clip);
    }

    // Loads and renders one item on this thread, as the worker would.
    std::unique_ptr<RenderBase> RenderDirect(const RenderManagerItemPtr& item, int first, int last, bool dpx = false) {
        auto r = Sequence(dpx);
        EXPECT_TRUE(r->LoadSettingsForRenderManagerItem(item)) << item->errorMessage();
        r->setRenderManager(&RenderManager::Instance());
        r->RenderFrameSequenceStartingEnding(first, last);
        return r;
    }

    // The numbers of the frame files in a clip's folder, in order.
    std::vector<int> FramesIn(const std::string& folder) const {
        std::vector<int> frames;
        for (const auto& name : FilesIn(Out(folder))) {
            const fs::path stem = fs::path(name).stem();
            if (fs::path(name).extension() != ".au") frames.push_back(std::stoi(stem.extension().string().substr(1)));
        }
        return frames;
    }
};

TEST_F(RenderBaseTest, EveryFrameOfTheRangeIsWrittenOnceAndTheLookStageIsTold) {
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
        AppState::Instance().setState(movie ? 0 : 1);  // what the application worked on before
        auto r = RenderDirect(item, 3, 40, movie);     // the movie branch with alpha (DPX), the raw without
        EXPECT_EQ(AppState::Instance().State(), movie ? 1 : 0);

        EXPECT_EQ(FramesIn(movie ? "scene_001" : "A001_C001_0101AB"), Range(3, 40));
        EXPECT_EQ(item->framesRendered(), 41) << item->errorMessage();
        EXPECT_EQ(item->settings()->framesRendered(), 41.0f);
        EXPECT_FALSE(r->pfdata()->active.load());
        const auto& slog = *sources.log();
        EXPECT_EQ(slog.prefetched, Range(3, 40));
        EXPECT_EQ(std::vector({slog.prefetchThreadsEntered, slog.prefetchThreadsLeft, slog.originalSizeCalls}),
                  std::vector({1, 1, 1}));
        if (movie) {
            EXPECT_EQ(slog.diskRendererAlpha, std::optional<bool>(true));
            EXPECT_TRUE(lookLog->looks.empty());  // a movie source grades its own frames
            continue;
        }
        EXPECT_EQ(slog.bufferCount, 3);
        ASSERT_EQ(lookLog->looks.size(), 1u);
        EXPECT_EQ(lookLog->statesAtStock, std::vector<int>{0}) << "the raw chain before the stock table loads";
        const LookValues& l = lookLog->looks[0];  // exposure and kelvin: the decoder applied them
        EXPECT_EQ(test::Formatted("saturation %g exposure %g kelvin %g %s %s r3d %d width %u", l.saturation, l.exposure,
                                  l.kelvin, l.stock.c_str(), l.sourceType.c_str(), l.r3dMode, l.outputWidth),
                  "saturation 0.25 exposure 0 kelvin 5600 5219 EpicM r3d 1 width 64");
    }
}

// What opening an item told the source and the grain, read against a reference file.
TEST_F(RenderBaseTest, OpeningFollowsOutputSizeFitMetadataAndGrainRules) {
    TestPatternConfig c;
    c.width = 64;
    c.height = 32;  // 2:1
    c.metadataKelvin = 4300;
    test::ScopedTestPatternSources sources(c);
    const auto& log = *sources.log();
    auto grain = std::make_shared<GrainLog>();
    int colorFormat = 0;
    std::string dump;
    RenderHooks hooks;
    hooks.grainMapWithNameSizeStockName = [&](const std::string& name, float w, float h, const std::string& stock) {
        dump += test::Line("grain map %s %gx%g %s", name.c_str(), w, h, stock.c_str());
        return grain;
    };
    hooks.currentColorFormat = [&] { return colorFormat; };
    SetRenderHooks(hooks);
    const auto open = [&](const RenderManagerItemPtr& item) {
        auto r = Sequence(true);
        EXPECT_TRUE(r->LoadSettingsForRenderManagerItem(item)) << item->errorMessage();
        const RenderSource& s = *r->renderSource();
        dump += test::Line("output %u, aspect %ux%u, resize %d", s.OutputWidth(), s.AspectWidth(), s.AspectHeight(),
                           s.needsResize());
        dump +=
            test::Line("exposure %g, kelvin %g, planar %d, debayer %d, buffers %d, rocket %d, blur %d", log.exposure,
                       log.kelvin, log.planar, log.debayer, log.bufferCount, log.useRocket, log.willBlur);
        return r;
    };
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
    auto r = open(item);
    // Grain amount: the multiplier, scaled by 0.3 under colour format 2.
    RenderSetup setup;
    ASSERT_TRUE(r->SetupForRenderStartingEnding(setup, 0, 9));
    dump += test::Line("grain amount %g", grain->amount);
    colorFormat = 2;
    r->UpdateCurrentGrainAmount();
    dump += test::Line("grain amount under colour format 2: %g", grain->amount);

    // Fit 2 at the source size, without metadata, the decoder preference off.
    out_->setFitMethod(2);
    out_->setSize({0.0f, 0.0f});
    item->settings()->setUseMetadata(false);
    hooks.useRocketPreference = [] { return std::optional<bool>(false); };
    SetRenderHooks(hooks);
    open(item);
    EXPECT_TRUE(test::MatchesRef("render/opening.txt", dump));
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
        fs::remove_all(Out(""));
        out_->setEdlOptions(row.edl);
        auto item = Item("A001_C003_0101AB_001.R3D", 48, [&](ClipSettings& s) { s.SetSnippets(row.snippets); });
        sources.log()->prefetched.clear();
        RenderDirect(item, 0, 47);
        EXPECT_EQ(FramesIn("A001_C003_0101AB"), row.frames);  // no snippet folders
        EXPECT_EQ(sources.log()->prefetched, row.frames);
        EXPECT_EQ(item->framesRendered(), row.itemFrames);
        EXPECT_EQ(item->settings()->framesRendered(), 48.0f) << "the clip counter moves over skipped frames";
    }
}

TEST_F(RenderBaseTest, FrameBaseAndTimecodeBaseNameTheFiles) {
    struct Row {
        float fps;
        TimecodeValues tc;
        int timecodeSetting;
        int filenames;
        std::string name;
    } rows[] = {
        {29.97f, {1, 0, 0, 0}, 0, 0, "tc.108002.tiff"},   // 3600 x 30 + 2
        {24.005f, {1, 0, 0, 0}, 0, 0, "tc.086402.tiff"},  // 24 up to 24.01
        {23.976f, {1, 0, 0, 0}, 0, 0, "tc.086402.tiff"}, {59.94f, {1, 0, 0, 0}, 0, 0, "tc.216002.tiff"},
        {25.0f, {0, 1, 2, 3}, 0, 1, "001555.tiff"},      // (62 x 25 + 3) + 2, no prefix
        {25.0f, {10, 0, 0, 0}, 1, 0, "tc.000002.tiff"},  // frame numbers, not timecode
        {24.0f, {0, 0, 0, 0}, 0, 0, "tc.000002.tiff"},
    };
    for (const auto& k : rows) {
        SCOPED_TRACE(k.name);
        fs::remove_all(Out(""));
        TestPatternConfig c;
        c.fps = k.fps;
        c.startTimecode = k.tc;
        test::ScopedTestPatternSources sources(c);
        out_->setTimecode(k.timecodeSetting);
        out_->setFilenames(k.filenames);
        RenderDirect(Item("tc.mov", 5), 2, 2);
        EXPECT_EQ(FilesIn(Out("tc")), std::vector<std::string>{k.name});
    }
}

// The renderer's folder, and the queue's idea of it (where it looks for output to keep).
// Per clip and folder option: the renderer's folder and base name, whether the sound came out
// beside the frames, and the queue's idea of the folder (where it looks for output to keep).
TEST_F(RenderBaseTest, DestinationFoldersOfRawAndMovieClips) {
    TestPatternConfig c;
    c.audioChannels = 1;
    test::ScopedTestPatternSources sources(c);
    const auto shown = [out = dir_ / "out"](std::string path) {
        return path.starts_with(out) ? "OUT" + path.substr(out.size()) : path;
    };
    std::string dump;
    for (const auto& [clip, folders] : {std::pair{"A001_C001_0101AB_001.R3D", 0},
                                        {"A001_C001_0101AB_001.R3D", 1},
                                        {"A001_C001_0101AB_001.R3D", 2},
                                        {"A001_C001_0101AB_001.R3D", 3},
                                        {"abc_001.R3D", 1},
                                        {"take_001.mov", 0},
                                        {"take_001.mov", 2}}) {
        out_->setFolders(folders);
        auto item = Item(clip, 4);
        auto r = Sequence();
        ASSERT_TRUE(r->LoadSettingsForRenderManagerItem(item));
        RenderSetup setup;
        const bool movie = r->renderSource()->SourceType() == "5D";
        ASSERT_TRUE(movie ? r->SetDestPathForQT(setup) : r->SetDestPathForR3D(setup));
        dump += test::Line("%s folders %d: %s base %s, folder made %d, sound %d; queue looks in \"%s\"", clip, folders,
                           shown(setup.destPath).c_str(), setup.baseName.c_str(), fs::is_directory(setup.destPath),
                           fs::exists(setup.destPath + "/" + setup.baseName + ".au"), shown(item->DestPath()).c_str());
    }
    out_->setFolders(0);
    out_->setFormat(kFormatMovie);
    dump +=
        test::Line("as a movie, the queue looks at %s", shown(Item("A001_C001_0101AB_001.R3D", 4)->DestPath()).c_str());
    EXPECT_TRUE(test::MatchesRef("render/destinations.txt", dump));
}

TEST_F(RenderBaseTest, KeptOutputRefusesARangeThatMeetsAFileOfItBeforeAnyFrame) {
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setOverwrite(1);  // keep existing output
    struct Row {
        const char* name;
        std::optional<std::vector<int>> snippets;  // with EDL option 1
        std::string existing;                      // in the clip's folder
        int first, last;
        bool refused;
    } rows[] = {
        {"a frame of the range", std::nullopt, "A001_C005_0101AB.000030.tiff", 0, 47, true},
        {"a range that misses it", std::nullopt, "A001_C005_0101AB.000030.tiff", 31, 33, false},
        {"a file of the second snippet", std::vector<int>{10, 14, 12, 16}, "S0002/A001_C005_0101AB.000001.tiff", 0, 47,
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
        EXPECT_EQ(item->errorMessage(),
                  row.refused ? "Part of sequence exists at " + existing + ".  Not rendering." : "");
        EXPECT_EQ(sources.log()->prefetched, row.refused ? std::vector<int>{} : Range(row.first, row.last));
    }
}

TEST_F(RenderBaseTest, AFolderThatCannotBeMadeOrAFrameThatNeverDecodesEndsTheClipWithAMessage) {
    TestPatternConfig c;
    c.failFrame = 7;
    test::ScopedTestPatternSources sources(c);
    for (const std::string name : {"A001_C008_0101AB", "broken"}) {
        SCOPED_TRACE(name);
        auto item = Item(name + (name == "broken" ? ".mov" : "_001.R3D"), 20);
        auto r = RenderDirect(item, 0, 19);
        EXPECT_EQ(FramesIn(name), Range(0, 6));
        EXPECT_NE(item->errorMessage().find("Frame 7 of"), std::string::npos) << item->errorMessage();
        EXPECT_FALSE(r->pfdata()->active.load());
    }
    test::WriteWholeFile(dir_ / "blocked", "a file where the folder should be");
    out_->setOutputDirectory(dir_ / "blocked");
    auto item = Item("A001_C007_0101AB_001.R3D", 10);
    RenderDirect(item, 0, 9);
    EXPECT_TRUE(item->errorState());
    EXPECT_NE(item->errorMessage().find("could not be made"), std::string::npos) << item->errorMessage();
}

TEST_F(RenderBaseTest, TheRegistryMakesRenderersOnlyForRegisteredFormats) {
    constexpr int kOwn = 901;  // a code of our own, so that the build's renderers stay as they are
    RegisterRendererMaker(kOwn, [] { return Sequence(); });
    EXPECT_NE(MakeRendererForFormat(kOwn), nullptr);
    RegisterRendererMaker(kOwn, nullptr);
    EXPECT_EQ(MakeRendererForFormat(kOwn), nullptr);
    test::ScopedTestPatternSources sources(TestPatternConfig{});
    out_->setFormat(kOwn);
    auto missing = Item("D001_C002_0101AB_001.R3D", 3);
    Run({missing});
    EXPECT_NE(missing->errorMessage().find("No renderer"), std::string::npos) << missing->errorMessage();
}

}  // namespace
}  // namespace ombrel
