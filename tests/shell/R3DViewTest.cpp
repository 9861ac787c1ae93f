#include <gtest/gtest.h>

#include <thread>

#include "FakeControls.h"
#include "core/MainQueue.h"
#include "look/AppState.h"
#include "sources/R3DView.h"
#include "support/Movies.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

struct Surface : PreviewSurface {
    std::mutex lock;
    PreviewImagePtr last;
    void Present(PreviewImagePtr image) override {
        std::lock_guard l(lock);
        last = std::move(image);
    }
    PreviewImagePtr Last() {
        std::lock_guard l(lock);
        return last;
    }
};

const uint8_t* Pixel(const PreviewImage& image, int x, int y) {
    return &image.rgba[(static_cast<size_t>(y) * image.width + x) * 4];
}

class R3DViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        MainQueue::Instance().AdoptCurrentThread();
        ASSERT_TRUE(view_.AwakeFromNib(800, 600)) << view_.lastError();
        view_.setSurface(&surface_);
    }
    // A 16-bit RGB frame of the given size, grey.
    void SetFrame(int w, int h) {
        frame_.assign(static_cast<size_t>(w) * h * 3, 30000);
        view_.SetBufferWidthHeight(reinterpret_cast<const uint8_t*>(frame_.data()), w, h);
        view_.setHasOpenClip(true);
    }
    R3DView view_;
    Surface surface_;
    std::vector<uint16_t> frame_;
};

TEST_F(R3DViewTest, ThePlaceholderStandsUprightInHalfTheWidth) {
    const FloatRect vp = R3DView::PlaceholderViewport(800, 600);
    EXPECT_EQ(vp.origin.x, 0.0f);
    EXPECT_EQ(vp.origin.y, 100.0f);
    EXPECT_EQ(vp.size.width, 800.0f);
    EXPECT_EQ(vp.size.height, 400.0f);

    view_.DrawPlaceholder();
    const PreviewImagePtr image = surface_.Last();
    ASSERT_TRUE(image);
    ASSERT_EQ(image->width, 800);
    ASSERT_EQ(image->height, 600);
    // Outside the viewport's band: black.
    EXPECT_EQ(Pixel(*image, 400, 50)[0], 0);
    // The picture's lighter band is at the top of the quad, its amber mark top-left.
    const int top = 100 + static_cast<int>(400 * 0.2) + 3;      // the quad spans 0.2 .. 0.8 of the band
    const int bottom = 100 + static_cast<int>(400 * 0.8) - 10;
    EXPECT_GT(Pixel(*image, 400, top)[0], Pixel(*image, 400, bottom)[0] + 30);
    const int markX = static_cast<int>(160 + 480.0 * 60 / 1024), markY = static_cast<int>(180 + 240.0 * 120 / 512);
    const uint8_t* mark = Pixel(*image, markX, markY);
    EXPECT_GT(mark[0], 200);
    EXPECT_LT(mark[2], 80);
}

TEST_F(R3DViewTest, PanningStopsAtThePicturesEdgeAndOnlyWhenZoomed) {
    AppState::Instance().setState(1);  // no redraw of an R3D frame while panning here
    SetFrame(2048, 1080);
    view_.mouseDown(0, 0);
    view_.mouseDragged(-5000, 5000);
    EXPECT_EQ(view_.zoomHandles().x, 0.0f);  // not zoomed: no pan
    view_.setZoom(true);
    view_.mouseDown(0, 0);
    view_.mouseDragged(-5000, 5000);
    EXPECT_EQ(view_.zoomHandles().x, 2048.0f - 800.0f);
    EXPECT_EQ(view_.zoomHandles().y, 1080.0f - 600.0f);
    view_.mouseDragged(9000, -9000);
    EXPECT_EQ(view_.zoomHandles().x, 0.0f);
    EXPECT_EQ(view_.zoomHandles().y, 0.0f);
    // A view wider than the picture does not pan.
    SetFrame(640, 360);
    view_.mouseDown(0, 0);
    view_.mouseDragged(-100, 100);
    EXPECT_EQ(view_.zoomHandles().x, 0.0f);
}

TEST_F(R3DViewTest, TheSameMovieFrameTwiceKeepsTheGrainAndResizePausesPlayback) {
    test::TempDir dir;
    const std::string movie = dir / "clip.mov";
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 48) + test::kRawVideo, movie));
    ASSERT_TRUE(view_.OpenMovieAtPath(movie));
    view_.setHasOpenClip(true);
    view_.SetGrainValue(1.0);
    view_.ShowFrame(3);
    ASSERT_TRUE(test::GrabDone(view_));
    // A repeat pins the grain; from then on the frame stays as it is.
    view_.ShowFrame(3);
    ASSERT_TRUE(test::GrabDone(view_));
    const PreviewImagePtr first = surface_.Last();
    view_.ShowFrame(3);
    ASSERT_TRUE(test::GrabDone(view_));
    const PreviewImagePtr second = surface_.Last();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->serial, second->serial);
    EXPECT_EQ(first->rgba, second->rgba);

    view_.StartPlayback();
    EXPECT_TRUE(view_.playback());
    view_.windowResized();
    EXPECT_FALSE(view_.playback());
    EXPECT_TRUE(view_.pausedForResize());
    view_.viewDidEndLiveResize();
    EXPECT_TRUE(view_.playback());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    view_.StopPlayback();
    // A file that is not a movie leaves the view without one.
    EXPECT_FALSE(view_.OpenMovieAtPath(dir / "nothing.mov"));
    EXPECT_EQ(view_.FramesInClip(), 0);
}

}  // namespace
}  // namespace ombrel
