// The movie renderer through the render queue on test pattern clips: frame times, the
// placeholder of left-out frames, cancel and failure clean-up, and the refusals.
#include "render/movie/QuicktimeRenderer.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "render/FrameProcessor.h"
#include "support/Movies.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;
using test::Probe;

// A raw clip steps a double and truncates it; a movie source rounds each frame's exact start.
TEST(QuicktimeFrameTimes, FollowTheRuleOfTheSourceKind) {
    const struct {
        const char* name;
        double timeScale;
        int64_t rateNum, rateDen;
        bool rawClip;
        const char* expected;  // time stamp + duration of four frames
    } rows[] = {
        {"24 fps at 24000", 24000, 24, 1, true, "0+1000 1000+1000 2000+1000 3000+1000"},
        {"23.976 at 24000 stays exact", 24000, 24000, 1001, true, "0+1001 1001+1001 2002+1001 3003+1001"},
        {"fractional step keeps its fraction", 1000, 24000, 1001, true, "0+41 41+41 83+41 125+41"},
        {"movie source rounds exact starts", 1000, 24000, 1001, false, "0+42 42+41 83+42 125+42"},
        {"MPEG time scale keeps the rate", 90000, 24000, 1001, false, "0+3754 3754+3754 7508+3753 11261+3754"},
    };
    for (const auto& row : rows) {
        std::string times;
        for (const MovieFrameTime& t :
             QuicktimeRenderer::FrameTimes(4, row.timeScale, row.rateNum, row.rateDen, row.rawClip))
            times += (times.empty() ? "" : " ") + std::to_string(t.timeStamp) + "+" + std::to_string(t.duration);
        EXPECT_EQ(times, row.expected) << row.name;
    }
}

// The mean of each frame's luma, as ffmpeg decodes the movie.
std::vector<double> FrameMeans(const std::string& path) {
    const auto r = test::RunShell("ffprobe -v error -f lavfi -i \"movie='" + path +
                                  "',signalstats\" -show_entries frame_tags=lavfi.signalstats.YAVG -of csv=p=0");
    std::vector<double> means;
    std::istringstream in(r.output);
    for (std::string line; std::getline(in, line);) means.push_back(std::atof(line.c_str()));
    return means;
}

class MovieRendererTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        out_->SelectFormatMenuTag(5);
    }
    void TearDown() override {
        SetRenderHooks({});
        SequenceRenderTest::TearDown();
    }
    static test::TestPatternConfig Pattern(int frames) {
        test::TestPatternConfig c;
        c.frames = frames;
        return c;
    }
    std::vector<std::string> Movies() const {
        std::vector<std::string> names;
        for (const auto& n : FilesIn(Out("")))
            if (n.ends_with(".mov")) names.push_back(n);
        return names;
    }
};

// A raw clip and a movie source each give one movie at the clip's rate, named after the clip,
// with its timecode and reel, and as long as the clip. Of a snippet render, the raw clip's
// frames that the snippets leave out hold the placeholder, dark with light diagonals; a movie
// source renders every frame of the range. Placeholders count as rendered.
TEST_F(MovieRendererTest, EachClipGivesOneMovieAndOnlyARawClipFillsLeftOutFramesWithPlaceholder) {
    test::ScopedTestPatternSources sources(Pattern(12));
    const struct {
        const char* clip;
        const char* movie;
        bool snippets;
        bool placeholders;
    } rows[] = {{"A001_C001_0101AB_001.R3D", "A001_C001_0101AB.mov", false, false},
                {"A001_C002_0101AB_001.R3D", "A001_C002_0101AB.mov", true, true},
                {"B002_C003.mp4", "B002_C003.mov", true, false}};
    out_->setEdlOptions(0);
    std::vector<RenderManagerItemPtr> items;
    for (const auto& row : rows) {
        auto clip = ClipSettings::Make();
        if (row.snippets) clip->SetSnippets(std::vector<int>{0, 0});  // frames 0 to 5 with the handles
        items.push_back(Item(row.clip, 12, clip));
    }
    Run(items);
    // The placeholder's luma, from the same encoder.
    const std::vector<uint16_t> placeholder = QuicktimeRenderer::PlaceholderFrame(64, 36);
    double sum = 0;
    for (size_t p = 0; p < placeholder.size(); p += 4) sum += placeholder[p] >> 8;
    const double dark = 16.0 + 219.0 * (sum / double(placeholder.size() / 4)) / 255.0;
    for (size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].clip);
        EXPECT_EQ(items[i]->errorMessage(), "");
        EXPECT_EQ(items[i]->framesRendered(), 12);
        const std::string movie = Out(rows[i].movie);
        EXPECT_EQ(Probe("-select_streams v -show_entries stream=codec_tag_string,width,height,time_base", movie),
                  "codec_tag_string=avc1|width=64|height=36|time_base=1/24\n");
        const std::string tags = Probe("-select_streams d -show_entries stream_tags=reel_name,timecode", movie);
        EXPECT_NE(tags.find(std::string("reel_name=") + rows[i].clip + "|tag:timecode=01:00:00:00"), std::string::npos)
            << tags;
        const std::vector<double> means = FrameMeans(movie);
        ASSERT_EQ(means.size(), 12u) << "the movie keeps the clip's length";
        for (size_t f = 0; f < 12; ++f)
            EXPECT_EQ(std::abs(means[f] - dark) < 2.0, rows[i].placeholders && f >= 6) << "frame " << f;
    }
    EXPECT_EQ(Movies(), (std::vector<std::string>{"A001_C001_0101AB.mov", "A001_C002_0101AB.mov", "B002_C003.mov"}));
}

// A cancel in the middle of the clip leaves neither the "__" file nor the movie.
TEST_F(MovieRendererTest, CancelLeavesNoMovie) {
    test::ScopedTestPatternSources sources(Pattern(8));
    RenderHooks hooks;
    hooks.makeFrameProcessor = [] {
        return std::unique_ptr<FrameProcessor>(std::make_unique<test::CancellingProcessor>(3));
    };
    SetRenderHooks(hooks);
    auto item = Item("A001_C001_0101AB_001.R3D", 8);
    Run({item});
    EXPECT_EQ(item->errorMessage(), "") << "a cancel is not a failure";
    EXPECT_EQ(item->framesRendered(), 3) << "the movie had frames when the cancel came";
    EXPECT_TRUE(Movies().empty()) << Movies().front();
}

// A codec that fails its test fails its clip with the test's message; the next clip renders.
// A movie rendered into its own folder would be its own destination: refused, source kept.
TEST_F(MovieRendererTest, FailedCodecTestOrOwnDestinationFailsTheClipAndTheRunGoesOn) {
    test::ScopedTestPatternSources sources(Pattern(3));
    auto noEncoder = std::make_shared<OutputSettings>(*out_);
    noEncoder->SelectFormatMenuTag(0);
    auto intoSource = std::make_shared<OutputSettings>(*out_);
    intoSource->setOutputDirectory(ClipPath(""));
    fs::create_directories(ClipPath(""));
    test::WriteWholeFile(ClipPath("B002_C003.mov"), "the source movie");
    auto failing = RenderManagerItem::Make(ClipPath("A001_C001_0101AB_001.R3D"), 3, ClipSettings::Make(), noEncoder);
    auto own = RenderManagerItem::Make(ClipPath("B002_C003.mov"), 3, ClipSettings::Make(), intoSource);
    auto next = Item("A001_C002_0101AB_001.R3D", 3);
    Run({failing, own, next});
    EXPECT_NE(failing->errorMessage().find("Codec test failed for preset 0: "), std::string::npos)
        << failing->errorMessage();
    EXPECT_NE(failing->errorMessage().find("has no encoder"), std::string::npos) << failing->errorMessage();
    EXPECT_NE(own->errorMessage().find("would be its own destination"), std::string::npos) << own->errorMessage();
    EXPECT_EQ(test::ReadWholeFile(ClipPath("B002_C003.mov")), "the source movie");
    EXPECT_FALSE(fs::exists(ClipPath("__B002_C003.mov")));
    EXPECT_EQ(next->errorMessage(), "");
    EXPECT_EQ(Movies(), std::vector<std::string>{"A001_C002_0101AB.mov"});
}

}  // namespace
}  // namespace ombrel
