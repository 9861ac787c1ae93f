// The decode layer as its callers use it: opening, metadata, timecode, frames at each decode
// resolution, the maker's image data, and audio blocks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "SdkClips.h"
#include "r3d/Buffer.h"
#include "r3d/sdk/Develop.h"
#include "r3d/sdk/R3DSDK.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using namespace R3DSDK;

struct AlignedFree {
    void operator()(void* p) const { std::free(p); }
};
using Aligned = std::unique_ptr<uint8_t, AlignedFree>;
Aligned Allocate(size_t bytes, size_t alignment = 16) {
    const size_t rounded = (bytes + alignment - 1) / alignment * alignment;
    return Aligned(static_cast<uint8_t*>(std::aligned_alloc(alignment, rounded)));
}

// A job that decodes into `buffer`, `bytes` long.
VideoDecodeJob JobFor(const Aligned& buffer, size_t bytes) {
    VideoDecodeJob job;
    job.outputBuffer = buffer.get();
    job.outputBufferSize = bytes;
    return job;
}

std::string Written(const test::TempDir& dir, const std::string& name, const sdktest::SdkClip& c) {
    const std::string path = dir / name;
    const std::string error = sdktest::WriteSdkClip(path, c);
    EXPECT_EQ(error, "") << path;
    return path;
}

TEST(SdkClip, OpensClipsAndRefusesWhatIsNone) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "text_001.R3D", std::string(5000, 'x'));
    std::filesystem::create_directory(dir / "folder_001.R3D");
    // A folder cannot be opened as a file; it was once taken for a lack of memory.
    for (const auto& [path, status] : {std::pair{std::string(), kClipNoPath},
                                       {dir / "absent_001.R3D", kClipCannotOpen},
                                       {dir / "text_001.R3D", kClipNotAClip},
                                       {dir / "folder_001.R3D", kClipCannotOpen}})
        EXPECT_EQ(Clip(path).Status(), status) << path;

    const std::string path = Written(dir, "A007_C003_0101AB_001.R3D", sdktest::BasicClip(40, 20, 4));
    Clip clip(path);
    ASSERT_EQ(clip.Status(), kClipLoaded) << ClipStatusText(clip.Status());
    EXPECT_EQ(std::to_string(clip.Width()) + "x" + std::to_string(clip.Height()) + " " +
                  std::to_string(clip.VideoFrameCount()) + " at " + std::to_string(clip.FrameRateNumerator()) + "/" +
                  std::to_string(clip.FrameRateDenominator()),
              "40x20 4 at 24000/1001");
    clip.Close();
    EXPECT_EQ(clip.LoadFrom(path), kClipLoaded);
}

TEST(SdkClip, MetadataByKeyAsIntFloatAndTextWithTheSampleRateFromTheAudioBlocks) {
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip();
    c.spec.audioSampleRate = 96000;
    Clip clip(Written(dir, "A007_C003_0101AB_001.R3D", c));
    ASSERT_EQ(clip.Status(), kClipLoaded);
    std::string dump;
    for (const std::string& key : clip.MetadataKeys())
        dump += key + " " + clip.MetadataItemAsString(key) + " " + std::to_string(clip.MetadataItemAsInt(key)) + " " +
                std::to_string(clip.MetadataItemAsFloat(key)) + "\n";
    EXPECT_TRUE(test::MatchesRef("r3d/sdk-metadata.txt", dump));
    EXPECT_FALSE(clip.MetadataExists("no_such_key"));
}

// Each clip's timecodes at its first, second and last frame and one past the end, in the
// reference file.
TEST(SdkClip, TimecodeFollowsThePreferenceAndEndsWithTheClip) {
    test::TempDir dir;
    sdktest::SdkClip absolute = sdktest::BasicClip(16, 8, 30);
    absolute.audioBlocks.clear();
    sdktest::SdkClip noPreference = absolute, edge = absolute, without = absolute;
    noPreference.spec.frameMetadata.erase(noPreference.spec.frameMetadata.begin() + 4);
    edge.spec.frameMetadata = noPreference.spec.frameMetadata;
    edge.spec.frameMetadata.push_back(r3d::MetadataToken::U8(r3d::kIdUserTimecodePreference, 0));
    without.spec.edgeTimecode.clear();
    without.spec.absoluteTimecode.clear();
    sdktest::SdkClip fast = sdktest::BasicClip(16, 8, 5);  // above 30 fps a step covers two frames
    fast.audioBlocks.clear();
    fast.spec.rateNumerator = 48;
    fast.spec.rateDenominator = 1;
    fast.spec.absoluteTimecode = "01:00:00:00";
    const std::pair<const char*, const sdktest::SdkClip*> rows[] = {{"absolute preferred", &absolute},
                                                                    {"no preference", &noPreference},
                                                                    {"edge preferred", &edge},
                                                                    {"no timecodes", &without},
                                                                    {"48 fps", &fast}};
    std::string out;
    for (const auto& [name, c] : rows) {
        Clip clip(Written(dir, std::string(name) + "_001.R3D", *c));
        out += std::string(name) + ": rate " + std::to_string(clip.TimecodeFramerate());
        const size_t last = clip.VideoFrameCount() - 1;
        for (size_t f : {size_t(0), size_t(1), size_t(2), last, last + 1})
            out += " | " + std::to_string(f) + " " + clip.Timecode(f) + " " + clip.AbsoluteTimecode(f) + " " +
                   clip.EdgeTimecode(f);
        out += "\n";
    }
    EXPECT_TRUE(test::MatchesRef("r3d/sdk-timecode.txt", out));
}

TEST(SdkClip, DecodedFramesEqualTheWrittenPictureAtEveryResolutionAndLayout) {
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(70, 36, 2);  // sizes that leave a remainder at every divisor
    c.payload.rowsPerStripe = 5;
    Clip clip(Written(dir, "A007_C003_0101AB_001.R3D", c));
    ASSERT_EQ(clip.Status(), kClipLoaded);
    const std::pair<uint32_t, int> modes[] = {{kDecodeFullResPremium, 1}, {kDecodeHalfResGood, 2},
                                              {kDecodeHalfResPremium, 2}, {kDecodeQuarterResGood, 4},
                                              {kDecodeEighthResGood, 8},  {kDecodeSixteenthResGood, 16}};
    for (const auto& [mode, divisor] : modes) {
        SCOPED_TRACE("divisor " + std::to_string(divisor));
        const uint32_t w = 70u / uint32_t(divisor), h = 36u / uint32_t(divisor);
        const auto expected = sdktest::Reduced(sdktest::Picture(70, 36, 1), 70, 36, divisor);
        // Interleaved, with rows farther apart than they need be: the gaps stay untouched.
        const size_t row = size_t(w) * 6 + 10;
        auto buffer = Allocate(row * h);
        std::memset(buffer.get(), 0xAB, row * h);
        VideoDecodeJob job = JobFor(buffer, row * h);
        job.mode = mode;
        job.bytesPerRow = row;
        ASSERT_EQ(clip.DecodeVideoFrame(1, job), kDecodeOk);
        for (uint32_t y = 0; y < h; ++y) {
            ASSERT_EQ(std::memcmp(buffer.get() + y * row, expected.data() + size_t(y) * w * 3, size_t(w) * 6), 0)
                << "row " << y;
            EXPECT_EQ(buffer.get()[y * row + size_t(w) * 6], 0xAB);
        }
        // Planar: three planes of the same samples.
        VideoDecodeJob planar = JobFor(buffer, size_t(w) * h * 6);
        planar.mode = mode;
        planar.pixelType = kPixelRGB16Planar;
        ASSERT_EQ(clip.DecodeVideoFrame(1, planar), kDecodeOk);
        const auto* p = reinterpret_cast<const uint16_t*>(buffer.get());
        for (size_t i = 0; i < size_t(w) * h * 3; ++i) ASSERT_EQ(p[i % 3 * w * h + i / 3], expected[i]) << i;
    }
}

TEST(SdkClip, DecodeJobsThatCannotBeServedGetTheirStatus) {
    test::TempDir dir;
    Clip clip(Written(dir, "A007_C003_0101AB_001.R3D", sdktest::BasicClip(32, 16, 2)));
    auto buffer = Allocate(32 * 16 * 6 + 16);
    VideoDecodeJob job = JobFor(buffer, 32 * 16 * 6);
    EXPECT_EQ(clip.DecodeVideoFrame(2, job), kDecodeInvalidParameter);
    const struct {
        const char* name;
        void (*spoil)(VideoDecodeJob&);
        DecodeStatus expected;
    } rows[] = {
        {"unknown pixel type", [](VideoDecodeJob& j) { j.pixelType = 0x52423846; }, kDecodeInvalidPixelType},
        {"buffer a byte short", [](VideoDecodeJob& j) { j.outputBufferSize -= 1; }, kDecodeOutputBufferInvalid},
        {"buffer not on a 16-byte bound",
         [](VideoDecodeJob& j) { j.outputBuffer = static_cast<uint8_t*>(j.outputBuffer) + 8; },
         kDecodeOutputBufferInvalid},
    };
    for (const auto& r : rows) {
        VideoDecodeJob bad = job;
        r.spoil(bad);
        EXPECT_EQ(clip.DecodeVideoFrame(0, bad), r.expected) << r.name;
    }
}

TEST(SdkClip, TheMakersImageDataAndDroppedFramesGetTheirOwnStatus) {
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(32, 16, 4);
    c.makerFrames = {1, 2};
    c.droppedFrames = {3};
    Clip clip(Written(dir, "A007_C003_0101AB_001.R3D", c));
    ASSERT_EQ(clip.Status(), kClipLoaded);
    auto buffer = Allocate(32 * 16 * 6);
    std::memset(buffer.get(), 0x5A, 32 * 16 * 6);
    VideoDecodeJob job = JobFor(buffer, 32 * 16 * 6);
    EXPECT_EQ(clip.DecodeVideoFrame(1, job), kDecodeNeedsMakersDecoder);
    // Nothing that looks like a picture was left behind.
    for (size_t i = 0; i < 32 * 16 * 6; ++i) ASSERT_EQ(buffer.get()[i], 0x5A);
    EXPECT_EQ(clip.DecodeVideoFrame(3, job), kDecodeDroppedFrame);
    EXPECT_EQ(clip.DecodeVideoFrame(0, job), kDecodeOk);
    EXPECT_EQ(clip.AbsoluteTimecode(3), "11:22:33:15") << "timecode goes on over them";
}

TEST(SdkClip, DevelopmentFollowsExposureIsoWhiteBalanceAndTheExtractCurves) {
    test::TempDir dir;
    Clip clip(Written(dir, "A007_C003_0101AB_001.R3D", sdktest::BasicClip(32, 16, 1)));
    auto buffer = Allocate(32 * 16 * 6);
    const auto decode = [&](float exposure, int iso, float kelvin) {
        ImageProcessingSettings s;
        s.exposureCompensation = exposure;
        s.iso = iso;
        s.kelvin = kelvin;
        VideoDecodeJob job = JobFor(buffer, 32 * 16 * 6);
        job.imageProcessingSettings = &s;
        EXPECT_EQ(clip.DecodeVideoFrame(0, job), kDecodeOk);
        const auto* p = reinterpret_cast<const uint16_t*>(buffer.get());
        return std::vector<uint16_t>(p, p + 32 * 16 * 3);
    };
    const auto written = sdktest::Picture(32, 16, 0);
    EXPECT_EQ(decode(0, 800, 3200), written) << "the clip's own ISO and white balance";
    const auto up = decode(1, 800, 3200), warm = decode(0, 800, 5600);
    EXPECT_EQ(decode(0, 1600, 3200), up) << "twice the ISO is one stop";
    int raised = 0;
    int64_t red = 0, blue = 0;
    for (size_t i = 0; i < written.size(); ++i) {
        EXPECT_GE(up[i], written[i]);
        raised += up[i] > written[i];
        if (i % 3 != 1) (i % 3 == 0 ? red : blue) += int64_t(warm[i]) - written[i];
    }
    EXPECT_GT(raised, int(written.size()) / 2);
    EXPECT_GT(red, 0);
    EXPECT_LT(blue, 0);
    // The extracts are the camera encodings the stock tables expect.
    EXPECT_NEAR(LightToCode(kGammaREDlogFilm, 0.18) * 1023.0, 470.0, 3.0);
    EXPECT_NEAR(LightToCode(kGammaREDlogFilm, 1.0) * 1023.0, 685.0, 0.01);
    EXPECT_NEAR(LightToCode(kGammaREDgamma3, 4.0), 1.0, 1e-9);
    for (double code : {0.0, 0.05, 0.3, 0.8, 1.0})
        EXPECT_NEAR(LightToCode(kGammaREDgamma, PayloadCodeToLight(code)), code, 1e-9) << code;
}

TEST(SdkClip, AudioBlocksComeBigEndianOnFiveHundredTwelveByteBounds) {
    test::TempDir dir;
    for (const bool littleEndian : {false, true}) {
        SCOPED_TRACE(littleEndian ? "little-endian clip" : "big-endian clip");
        sdktest::SdkClip c = sdktest::BasicClip(16, 8, 3);
        c.spec.audioLittleEndian = littleEndian;
        c.audioBlocks = {2002, 2002, 1001};
        Clip clip(Written(dir, littleEndian ? "le_001.R3D" : "be_001.R3D", c));
        ASSERT_EQ(clip.Status(), kClipLoaded);
        EXPECT_EQ(clip.AudioChannelCount() * clip.AudioSampleCount(), 2u * 5005u);
        size_t blockSize = 0;
        ASSERT_EQ(clip.AudioBlockCountAndSize(&blockSize), 3u);
        EXPECT_EQ(blockSize, (2002u * 8 + kAudioAlignment - 1) / kAudioAlignment * kAudioAlignment);
        auto buffer = Allocate(blockSize + kAudioAlignment, kAudioAlignment);
        for (size_t b = 0; b < 3; ++b) {
            size_t size = blockSize;
            ASSERT_EQ(clip.DecodeAudioBlock(b, buffer.get(), &size), kAudioOk);
            const auto samples = sdktest::Samples(b, c.audioBlocks[b], 2);
            ASSERT_EQ(size, samples.size() * 4);
            for (size_t i = 0; i < samples.size(); ++i)
                ASSERT_EQ(r3d::LoadBE32(buffer.get() + i * 4), uint32_t(samples[i]))
                    << "block " << b << " sample " << i;
        }
        size_t size = blockSize;
        EXPECT_EQ(clip.DecodeAudioBlock(0, buffer.get() + 16, &size), kAudioBadBuffer);
        size = blockSize;
        EXPECT_EQ(clip.DecodeAudioBlock(3, buffer.get(), &size), kAudioNoSuchBlock);
        EXPECT_EQ(Clip().DecodeAudioBlock(0, buffer.get(), &size), kAudioClipNotOpen);
    }
}

TEST(SdkRocket, NoCardIsFitted) {
    EXPECT_EQ(RedRocket::RocketsAvailable(), 0u);
    RedRocket card;
    RocketInfo info;
    EXPECT_EQ(card.Open(0, &info), kDecodeResourceNotAvailable);
    RocketDecodeJob job;
    EXPECT_EQ(card.Decode(&job, 1), kDecodeResourceNotOpened);
}

}  // namespace
}  // namespace ombrel
