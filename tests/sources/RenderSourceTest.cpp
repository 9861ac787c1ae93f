#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <thread>

#include "core/MainQueue.h"
#include "sources/DecodeSlotRing.h"
#include "sources/FramePlacement.h"
#include "sources/R3DSource.h"
#include "sources/RenderSource.h"
#include "sources/SourceFactory.h"
#include "sources/testing/TestPatternSource.h"

namespace ombrel {
namespace {

using test::TestPatternConfig;
using test::TestPatternSource;

// The base class's fit on an image size the test sets by hand; the R3D source only lends the
// rest of the interface.
class SizedSource : public R3DSource {
public:
    void SetSize(uint32_t w, uint32_t h) { setImageSize(w, h); }
    bool SetOutputWidthHeightFit(int32_t w, int32_t h, int32_t fit) override {
        return RenderSource::SetOutputWidthHeightFit(w, h, fit);
    }
};

TEST(RenderSourceTest, FitAndSizeFollowTheWorkedExamples) {
    SizedSource s;
    // Unknown image size: refused, nothing changes.
    EXPECT_FALSE(s.SetOutputWidthHeightFit(1000, 1000, 0));
    EXPECT_EQ(s.OutputWidth(), 0u);

    s.SetSize(2000, 1000);  // 2:1
    struct Case {
        int fit;
        uint32_t aw, ah;
    } cases[] = {{0, 1000, 500}, {1, 2000, 1000}, {2, 1000, 1000}, {7, 1000, 1000}};
    for (const auto& c : cases) {
        ASSERT_TRUE(s.SetOutputWidthHeightFit(1000, 1000, c.fit)) << c.fit;
        EXPECT_EQ(std::tuple(s.needsResize(), s.OutputWidth(), s.OutputHeight(), s.AspectWidth(), s.AspectHeight()),
                  std::tuple(true, 1000u, 1000u, c.aw, c.ah))
            << "fit " << c.fit;
    }
    // Output equal to the image: no resize and the aspect is the output, whatever the fit.
    for (int fit : {0, 1, 2}) {
        ASSERT_TRUE(s.SetOutputWidthHeightFit(2000, 1000, fit));
        EXPECT_EQ(std::tuple(s.needsResize(), s.AspectWidth(), s.AspectHeight()), std::tuple(false, 2000u, 1000u));
    }
    // A second set-up leaves one buffer of the new size, zero-filled; truncation of odd ratios.
    s.SetSize(1920, 1080);
    ASSERT_TRUE(s.SetOutputWidthHeightFit(1000, 1000, 0));
    EXPECT_EQ(s.AspectHeight(), 562u);  // 1000 / (16/9) = 562.5
    ASSERT_TRUE(s.SetOutputWidthHeightFit(640, 360, 1));
    EXPECT_EQ(s.resizeBufferSize(), 640u * 360u * 8u);
    EXPECT_EQ(std::count(s.resizeBufferData(), s.resizeBufferData() + s.resizeBufferSize(), 0), 640 * 360 * 8);
    EXPECT_EQ(s.AspectWidth(), 640u);
    EXPECT_FALSE(s.SetOutputWidthHeightFit(0, 360, 0));
}

TEST(RenderSourceTest, PlacementCentresThePictureInItsBoxAndFillsAtFit2) {
    // 4 x 2 picture, samples numbered by pixel.
    std::vector<uint16_t> src(4 * 2 * 3);
    std::iota(src.begin(), src.end(), uint16_t{1});
    // Fit 0 into 4 x 4: aspect 4 x 2, one black row above and below, alpha opaque.
    std::vector<uint16_t> out(4 * 4 * 4, 0x7777), want(4 * 4 * 4, 0);
    ASSERT_TRUE(PlaceFrame(src.data(), {4, 2, 4, 4, 0, 4, 2}, out.data(), true));
    for (size_t p = 0; p < 16; ++p) want[4 * p + 3] = 0xFFFF;
    for (size_t p = 0; p < 8; ++p) std::copy_n(&src[3 * p], 3, &want[4 * (p + 4)]);
    EXPECT_EQ(out, want);
    // Fit 2 stretches: each source row covers two output rows; packed RGB output.
    std::vector<uint16_t> packed(4 * 4 * 3);
    ASSERT_TRUE(PlaceFrame(src.data(), {4, 2, 4, 4, 2, 4, 2}, packed.data(), false));
    for (uint32_t y = 0; y < 4; ++y) EXPECT_EQ(packed[(y * 4 + 1) * 3], src[((y / 2) * 4 + 1) * 3]) << y;
    // Fit 1 into 2 x 2 makes a 4 x 2 box: the middle two columns show.
    std::vector<uint16_t> crop(2 * 2 * 3);
    ASSERT_TRUE(PlaceFrame(src.data(), {4, 2, 2, 2, 1, 4, 2}, crop.data(), false));
    EXPECT_EQ(std::pair(crop[0], crop[3]), std::pair(src[1 * 3], src[2 * 3]));
    EXPECT_FALSE(PlaceFrame(nullptr, {4, 2, 2, 2, 1, 4, 2}, crop.data(), false));
}

TEST(DecodeSlotRingTest, SlotsMoveThroughFreeFillingReadyLockedAndBack) {
    DecodeSlotRing ring(2, 64);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(ring.Data(1)) % 16, 0u);
    const int a = ring.Claim(10);
    const int b = ring.Claim(11);
    EXPECT_EQ(ring.Claim(12), -1);  // full
    uint8_t* data = nullptr;
    EXPECT_EQ(ring.Retrieve(10, &data), 0);  // still filling
    ring.MarkReady(a);
    ring.MarkFailed(b);
    EXPECT_EQ(ring.Retrieve(10, &data), 2);
    EXPECT_EQ(data, ring.Data(a));
    EXPECT_EQ(ring.Retrieve(11, &data), -1);
    EXPECT_FALSE(ring.Discard(99));
    EXPECT_TRUE(ring.Discard(10));
    EXPECT_EQ(ring.InFlight(), 1);
    // A discarded frame can be taken again until its slot is claimed anew.
    EXPECT_EQ(ring.Retrieve(10, &data), 2);
    EXPECT_EQ(ring.Claim(12), a);
    EXPECT_EQ(ring.Retrieve(12, &data), 0);
    EXPECT_EQ(ring.Retrieve(10, &data), 0);
    ring.Unclaim(a);
    EXPECT_EQ(ring.InFlight(), 1);
    EXPECT_TRUE(ring.Discard(11));
    EXPECT_EQ(ring.InFlight(), 0);
}

TEST(DecodeSlotRingTest, OneProducerAndOneConsumerPassEveryFrameIntactAndInOrder) {
    constexpr int kFrames = 2000;
    constexpr size_t kBytes = 256;
    DecodeSlotRing ring(3, kBytes);
    std::thread producer([&] {
        for (int f = 0; f < kFrames; ++f) {
            int slot;
            while ((slot = ring.Claim(f)) < 0) std::this_thread::yield();
            std::memset(ring.Data(slot), f & 0xFF, kBytes);
            ring.MarkReady(slot);
        }
    });
    int bad = 0;
    for (int f = 0; f < kFrames; ++f) {
        uint8_t* data = nullptr;
        while (ring.Retrieve(f, &data) != 2) std::this_thread::yield();
        for (size_t i = 0; i < kBytes; ++i) bad += data[i] != (f & 0xFF);
        ASSERT_TRUE(ring.Discard(f));
    }
    producer.join();
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(ring.InFlight(), 0);
}

TEST(SourceFactoryTest, R3DClipsAndMoviesGoToTheirOwnMakersAndAMissingOneSaysSo) {
    // Nothing registered for either kind in this suite outside the scopes below.
    auto make = [](const std::string& path, Status::Code code, const char* says) {
        SCOPED_TRACE(path);
        std::unique_ptr<RenderSource> source = std::make_unique<TestPatternSource>(TestPatternConfig{});
        const Status status = MakeRenderSourceForPath(path, &source);
        EXPECT_EQ(status.code(), code);
        EXPECT_NE(status.message().find(says), std::string::npos) << status.message();
        EXPECT_EQ(source != nullptr, status.ok());
    };
    make("/clips/A001_C001_0101AB_001.R3D", Status::Code::kUnsupported, "R3D clips");
    make("/clips/a.mov", Status::Code::kUnsupported, "movie files");
    EXPECT_EQ(SourceKindForPath("/clips/x_001.r3d"), SourceKind::R3D);
    {
        ScopedRenderSourceMaker r3d(SourceKind::R3D, [](const std::string&) {
            return std::make_unique<TestPatternSource>(TestPatternConfig{});
        });
        make("/clips/A001_C001_0101AB_001.R3D", Status::Code::kOk, "");
        make("/clips/a.mov", Status::Code::kUnsupported, "movie files");
        ScopedRenderSourceMaker refuse(SourceKind::R3D, [](const std::string&) { return nullptr; });
        make("/clips/b.R3D", Status::Code::kInvalid, "/clips/b.R3D");
    }
    make("/clips/b.R3D", Status::Code::kUnsupported, "R3D clips");  // restored
}

}  // namespace
}  // namespace ombrel
