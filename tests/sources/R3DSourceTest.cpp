// The R3D source on clips made by our writer: camera profiles, decode resolutions, the ring
// with its prefetch, audio extraction, timecode and edge code, and the decisions on sound
// and white balance.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <optional>

#include "core/Log.h"
#include "r3d/sdk/SdkClips.h"
#include "sources/AuFile.h"
#include "sources/R3DSource.h"
#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

std::string Written(const test::TempDir& dir, const std::string& name, const sdktest::SdkClip& c) {
    const std::string path = dir / name;
    EXPECT_EQ(sdktest::WriteSdkClip(path, c), "") << path;
    return path;
}

// A source opened for an output size as a render opens it.
// Fit 2 fills the output, so the size asked of the clip is the output size.
std::unique_ptr<R3DSource> OpenForOutput(const std::string& path, int32_t w, int32_t h, int slots = 8,
                                         bool willBlur = false) {
    auto s = std::make_unique<R3DSource>();
    s->SetFilePath(path);
    EXPECT_TRUE(s->SetOutputWidthHeightFit(w, h, 2));
    s->SetPlanar(false);
    EXPECT_TRUE(s->OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(path, true, slots, true, willBlur))
        << s->lastError();
    return s;
}

TEST(R3DSource, EachCameraAndExtractTypeTakesItsProfile) {
    test::TempDir dir;
    const int saved = R3DFile::GetExtractType();  // class-wide: put back at the end
    struct Camera {
        const char* name;
        uint8_t major;
        uint8_t cameraCode;
        int sensorFamily;  // -1: no token
        const char* profiles[3];
    } cameras[] = {
        {"camera 1 sensor 0", 5, 1, 0, {"RedOne", "RedOne_RC3RG3", "RedOne_RC3RLF"}},
        {"camera 1 sensor 1", 5, 1, 4, {"Red", "RedMX_RC3RG3", "RedMX_RC3RLF"}},
        {"first generation, sensor 0", 4, 0, 0, {"RedOne", "RedOne_RC3RG3", "RedOne_RC3RLF"}},
        {"camera 5", 5, 5, 4, {"EpicM", "EpicX_RC3RG3", "EpicX_RC3RLF"}},
        {"camera 2, sensor 0", 5, 2, 0, {"EpicM", "EpicX_RC3RG3", "EpicX_RC3RLF"}},
    };
    int n = 0;
    for (const Camera& cam : cameras) {
        sdktest::SdkClip c = sdktest::BasicClip(16, 8, 1);
        c.spec.major = cam.major;
        c.spec.minor = cam.major == 5 ? 2 : 0;
        c.spec.cameraCode = cam.cameraCode;
        c.spec.frameMetadata = {r3d::MetadataToken::U8(r3d::kIdSensorFamily, uint8_t(cam.sensorFamily)),
                                r3d::MetadataToken::U32(r3d::kIdSensorVariant, 0)};
        const std::string path = Written(dir, "A00" + std::to_string(++n) + "_C001_0101AB_001.R3D", c);
        auto source = OpenForOutput(path, 16, 8);
        for (int extract = 0; extract < 3; ++extract) {
            R3DFile::SetExtractType(extract);
            EXPECT_EQ(source->SourceType(), cam.profiles[extract]) << cam.name << ", extract type " << extract;
        }
        R3DFile::SetExtractType(3);
        EXPECT_EQ(source->SourceType(), "EpicX_RC3RG3") << cam.name;
    }
    R3DFile::SetExtractType(saved);
}

TEST(R3DSource, TheDecodeResolutionIsTheSmallestThatCoversTheOutput) {
    test::TempDir dir;
    const std::string path = Written(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(64, 32, 1));
    const struct {
        int32_t w, h;
        bool blur;
        int divisor;
    } cases[] = {
        {32, 16, false, 2},                                        // exactly half
        {33, 16, false, 1},                                        // one pixel more across
        {32, 17, false, 1},                                        // one pixel more down
        {4, 2, false, 16},  {1, 1, false, 16}, {64, 32, true, 1},  // a blur below 4097 wide stays at full size
    };
    for (const auto& k : cases) {
        auto s = OpenForOutput(path, k.w, k.h, 8, k.blur);
        EXPECT_EQ(s->r3dFile()->Resolution(), k.divisor) << k.w << " x " << k.h;
    }
    // Only a clip wider than 4096 that will blur is decoded at half size.
    const struct {
        const char* name;
        uint32_t clipWidth;
        bool blur;
        int divisor;
    } loads[] = {{"wider than 4096, blurred", 4097, true, 2}, {"4096, blurred", 4096, true, 1}};
    int n = 1;
    for (const auto& l : loads) {
        sdktest::SdkClip c = sdktest::BasicClip(l.clipWidth, 2, 1);
        c.audioBlocks.clear();
        R3DFile file(1);
        const std::string wide = Written(dir, "A00" + std::to_string(++n) + "_C001_0101AB_001.R3D", c);
        ASSERT_TRUE(file.LoadR3DClip(wide, int32_t(l.clipWidth), 2, false, l.blur)) << l.name;
        EXPECT_EQ(file.Resolution(), l.divisor) << l.name;
    }
    // Sizes before the open (asked on the main thread) come from the clip.
    const OriginalSize original = R3DSource().GetOriginalSizeForPath(path);
    EXPECT_EQ(std::pair(original.width, original.height), std::pair(64.0f, 32.0f));
}

TEST(R3DSource, PrefetchedFramesEqualTheWrittenPictureAndTheRingKeepsItsContract) {
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(48, 24, 6);
    const std::string path = Written(dir, "A001_C001_0101AB_001.R3D", c);
    for (const int divisor : {1, 2, 4}) {
        SCOPED_TRACE("divisor " + std::to_string(divisor));
        auto s = OpenForOutput(path, 48 / divisor, 24 / divisor, 4);
        ASSERT_EQ(s->r3dFile()->Resolution(), divisor);
        s->DecodeSetup();
        const uint32_t w = s->Width(), h = s->Height();
        for (int f = 0; f < 4; ++f) ASSERT_TRUE(s->PreFectchFrame(f));
        EXPECT_FALSE(s->PreFectchFrame(4));  // all four slots are taken
        for (int f = 0; f < 6; ++f) {
            if (f >= 4) { ASSERT_TRUE(s->PreFectchFrame(f)); }
            ASSERT_EQ(s->RetrieveBufferForFrame(f), kFrameReady);
            const auto expected = sdktest::Reduced(sdktest::Picture(48, 24, uint64_t(f)), 48, 24, divisor);
            ASSERT_EQ(std::memcmp(s->ResizeBuffer(), expected.data(), size_t(w) * h * 6), 0) << "frame " << f;
            EXPECT_TRUE(s->DiscardFrame(f));
        }
        EXPECT_FALSE(s->needsResize());  // the decode is the output's size: read from the slot
        EXPECT_EQ(s->ResizeBuffer(), s->RawBuffer());
    }
}

TEST(R3DSource, AnOutputOfAnotherSizeReadsACopyOfTheFrame) {
    test::TempDir dir;
    auto s = OpenForOutput(Written(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(48, 24, 1)), 40, 20, 4);
    ASSERT_TRUE(s->PreFectchFrame(0));
    ASSERT_EQ(s->RetrieveBufferForFrame(0), kFrameReady);
    ASSERT_NE(s->ResizeBuffer(), s->RawBuffer());
    EXPECT_EQ(std::memcmp(s->ResizeBuffer(), s->RawBuffer(), 48 * 24 * 6), 0);
}

TEST(R3DSource, PlanarAndInterleavedLayoutsDescribeTheProcessedBuffer) {
    test::TempDir dir;
    const std::string path = Written(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(32, 16, 1));
    R3DSource planar;
    planar.SetPlanar(true);
    planar.setDebayer(1);
    ASSERT_TRUE(planar.OpenFileForOutputSize(path, false));
    // Full resolution keeps four slots of 12 bytes a pixel; the decoder writes rows of 6.
    const R3DFile& file = *planar.r3dFile();
    EXPECT_EQ(std::tuple(planar.bytesPerPlane(), planar.bytesPerRow(), file.bufferCount(), file.slotBytes(),
                         file.decodeJob().bytesPerRow),
              std::tuple(32 * 16 * 2, 64, 4, size_t(32) * 16 * 12, size_t(32) * 6));
    R3DSource interleaved;
    interleaved.setDebayer(2);
    ASSERT_TRUE(interleaved.OpenFileForOutputSize(path, false));
    EXPECT_EQ(std::tuple(interleaved.Width(), interleaved.bytesPerRow()), std::tuple(16u, 16 * 6));
}

TEST(R3DSource, AMakersFrameEndsWithItsReasonAndOthersStillDecode) {
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(32, 16, 4);
    c.makerFrames = {2};
    auto s = OpenForOutput(Written(dir, "A001_C001_0101AB_001.R3D", c), 32, 16, 4);
    s->DecodeSetup();
    for (int f = 0; f < 4; ++f) ASSERT_TRUE(s->PreFectchFrame(f));  // a given-up frame settles its slot
    EXPECT_EQ(s->RetrieveBufferForFrame(1), kFrameReady);
    EXPECT_EQ(s->RetrieveBufferForFrame(2), kFrameFailed);
    EXPECT_EQ(s->lastError(), "this frame's image data needs the camera maker's decoder");
    EXPECT_EQ(s->RetrieveBufferForFrame(3), kFrameReady);
}

TEST(R3DSource, ExtractedAudioMatchesTheWrittenSamples) {
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(16, 8, 3);
    c.spec.audioChannels = 3;
    c.spec.audioSampleRate = 44100;
    c.audioBlocks = {1839, 1840, 1839};
    auto s = OpenForOutput(Written(dir, "A001_C001_0101AB_001.R3D", c), 16, 8);
    const std::string au = dir / "A001_C001_0101AB.au";
    ASSERT_TRUE(s->ExtractAudio(au));  // its header: AuExtractDecisions
    const std::string bytes = test::ReadWholeFile(au);
    std::vector<int32_t> all;
    for (size_t b = 0; b < 3; ++b) {
        const auto block = sdktest::Samples(b, c.audioBlocks[b], 3);
        all.insert(all.end(), block.begin(), block.end());
    }
    ASSERT_EQ(bytes.size(), 28 + all.size() * 4);
    for (size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(test::BigEndian32(bytes, 28 + i * 4), uint32_t(all[i])) << "sample " << i;

    // No audio: true and no file; a folder that is not there: false and nothing left behind.
    sdktest::SdkClip silent = sdktest::BasicClip(16, 8, 1);
    silent.spec.audioChannels = 0;
    auto quiet = OpenForOutput(Written(dir, "A002_C001_0101AB_001.R3D", silent), 16, 8);
    EXPECT_TRUE(quiet->ExtractAudio(dir / "silent.au"));
    EXPECT_FALSE(std::filesystem::exists(dir / "silent.au"));
    EXPECT_FALSE(s->ExtractAudio(dir / "missing/folder/x.au"));
    EXPECT_FALSE(std::filesystem::exists(dir / "missing"));
}

TEST(R3DSource, TimecodeAndEdgeCodeOfTheFirstAndLastFrame) {
    test::TempDir dir;
    auto s = OpenForOutput(Written(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 40)), 16, 8);
    EXPECT_EQ(std::pair(s->FramesInClip(), s->FramesPerSecond()), std::pair(40u, 24000.0f / 1001.0f));
    EXPECT_EQ(s->TimecodeString(0) + " " + s->TimecodeString(39), "11:22:33:12 11:22:35:03");
    EXPECT_EQ(s->EdgecodeString(0) + " " + s->EdgecodeString(39), "10:00:00:00 10:00:01:15");
    EXPECT_EQ(s->TimecodeString(40) + " " + s->EdgecodeString(40), "00:00:00:00 ");  // beyond the clip

    // Above 30 fps the "." frame is the first of its step: frames count in the clip's own rate.
    sdktest::SdkClip fast = sdktest::BasicClip(16, 8, 4);
    fast.spec.rateNumerator = 60000;
    fast.spec.rateDenominator = 1001;
    fast.spec.absoluteTimecode = "02:00:00:00";
    auto f = OpenForOutput(Written(dir, "A002_C001_0101AB_001.R3D", fast), 16, 8);
    EXPECT_EQ(f->TimecodeString(0) + " " + f->TimecodeString(1), "02:00:00:00 02.00.00.01");
    for (int i = 0; i < 4; ++i) EXPECT_EQ(f->Timecode(i), (TimecodeValues{2, 0, 0, 1 + i})) << "frame " << i;

    // A first-generation clip may separate with ";": read like ":".
    sdktest::SdkClip old = sdktest::BasicClip(16, 8, 2);
    old.spec.major = 4;
    old.spec.minor = 0;
    old.spec.rateNumerator = 30;
    old.spec.rateDenominator = 1;
    old.spec.absoluteTimecode = "03;04;05;29";
    old.spec.edgeTimecode = "03;04;05;29";
    auto o = OpenForOutput(Written(dir, "A003_C001_0101AB_001.R3D", old), 16, 8);
    EXPECT_EQ(o->Timecode(0), (TimecodeValues{3, 4, 5, 29}));
    EXPECT_EQ(o->Timecode(1), (TimecodeValues{3, 4, 6, 0}));
}

TEST(R3DSource, ExposureAndKelvinTakeEffectAtDecodeSetup) {
    test::TempDir dir;
    auto s = OpenForOutput(Written(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 1)), 16, 8);
    const auto decoded = [&] {
        EXPECT_TRUE(s->DecodeFrame(0));  // settings are copied at the decode
        return std::vector<uint8_t>(s->RawBuffer(), s->RawBuffer() + 16 * 8 * 6);
    };
    const auto asShot = decoded();
    s->SetExposureKelvin(1.0f, 3200.0f);
    EXPECT_NE(decoded(), asShot);
    s->SetExposureKelvin(0.0f, 3200.0f);
    EXPECT_EQ(decoded(), asShot);
}

TEST(R3DSource, AClipThatCannotBeReadIsRefusedWithAReason) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "A001_C001_0101AB_001.R3D", std::string(3000, '\0'));
    R3DSource s;
    EXPECT_FALSE(s.OpenFileForOutputSize(dir / "A001_C001_0101AB_001.R3D", false));
    EXPECT_NE(s.lastError().find("not an R3D clip"), std::string::npos) << s.lastError();
    EXPECT_EQ(s.GetOriginalSizeForPath(dir / "absent_001.R3D").width, 0.0f);
}

// ---- Decisions: the ".au" beside a raw clip's frames, and the metadata white balance ----

// The header holds the clip's true rate and channel count.
TEST(AuExtractDecisions, KeepsWholeRateAndChannelWordsInTheHeader_NotOnlyLow16BitsAndLowByte) {
    struct Row {
        const char* name;
        uint32_t rate, channels;
    };
    for (const Row& row : {Row{"48 kHz stereo, the same either way", 48000, 2}, Row{"96 kHz", 96000, 2},
                           Row{"192 kHz, eight channels", 192000, 8}, Row{"300 channels", 48000, 300}}) {
        SCOPED_TRACE(row.name);
        const auto h = AuHeader(row.rate, row.channels);
        const std::string bytes(h.begin(), h.end());
        EXPECT_EQ(test::BigEndian32(bytes, 16), row.rate);
        EXPECT_EQ(test::BigEndian32(bytes, 20), row.channels);
    }
    // And so in a file extracted from a 96 kHz clip, which a cut word would play at 30,464 Hz.
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(16, 8, 2);
    c.spec.audioSampleRate = 96000;
    auto s = OpenForOutput(Written(dir, "A001_C001_0101AB_001.R3D", c), 16, 8, 4);
    ASSERT_TRUE(s->ExtractAudio(dir / "a.au"));
    const std::string au = test::ReadWholeFile(dir / "a.au");
    ASSERT_GE(au.size(), kAuHeaderBytes);
    EXPECT_EQ(test::BigEndian32(au, 16), 96000u);
    EXPECT_EQ(test::BigEndian32(au, 20), 2u);
}

// No file at all rather than one whose sound slips against the pictures.
TEST(AuExtractDecisions, WritesNoAuWhenABlockCannotBeRead_NotWhateverSizeTheBlockReturned) {
    test::TempDir dir;
    const std::string clip = Written(dir, "A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 3));
    auto s = OpenForOutput(clip, 16, 8, 4);
    // The second audio block goes missing from the file after the clip was opened.
    const std::string bytes = test::ReadWholeFile(clip);
    const size_t second = bytes.find("REDA", bytes.find("REDA") + 4);
    ASSERT_NE(second, std::string::npos);
    std::filesystem::resize_file(clip, second);

    const std::string au = dir / "out.au";
    test::WriteWholeFile(au, "an earlier extract");
    LogCapture log;
    EXPECT_FALSE(s->ExtractAudio(au));
    EXPECT_EQ(test::ReadWholeFile(au), "an earlier extract") << "the file on disk was replaced by a broken one";
    EXPECT_TRUE(log.Contains("Audio block 1 ")) << "the message names the block";
    EXPECT_TRUE(log.Contains(au)) << "and the file not written";
    EXPECT_TRUE(test::HiddenFiles(dir.path()).empty()) << "a temporary file was left behind";
}

// A clip whose metadata gives no usable white balance decodes at the neutral 5600 K when the
// look follows the metadata, never at 0 K or below.
TEST(MetadataKelvinDecision, GivesNeutral5600ForMetadataOfZeroOrLess_NotTheValueItself) {
    struct Row {
        const char* name;
        std::optional<float> kelvin;  // nullopt: the clip has no white balance token
        uint32_t expected;
    };
    test::TempDir dir;
    int n = 0;
    for (const Row& row : {Row{"3200 K", 3200.0f, 3200}, Row{"zero", 0.0f, 5600}, Row{"negative", -3200.0f, 5600},
                           Row{"no token", std::nullopt, 5600}}) {
        SCOPED_TRACE(row.name);
        sdktest::SdkClip c = sdktest::BasicClip(16, 8, 1);
        auto& tokens = c.spec.frameMetadata;
        std::erase_if(tokens, [](const r3d::MetadataToken& t) { return (t.id & 0xFFF) == r3d::kIdWhiteBalanceKelvin; });
        if (row.kelvin) tokens.push_back(r3d::MetadataToken::Float(r3d::kIdWhiteBalanceKelvin, *row.kelvin));
        auto s = OpenForOutput(Written(dir, "A00" + std::to_string(++n) + "_C001_0101AB_001.R3D", c), 16, 8, 4);
        EXPECT_EQ(s->MetadataKelvin(), row.expected);
    }
}

}  // namespace
}  // namespace ombrel
