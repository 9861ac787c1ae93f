#include "TestClips.h"

#include "core/Log.h"
#include "r3d/ClipLoader.h"
#include "r3d/ImagePayload.h"
#include "r3d/MetadataMapper.h"
#include "r3d/R3DContainer.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace ombrel::r3d::test {
namespace {

using ombrel::test::TempDir;

std::vector<uint16_t> DecodeFrame(ClipLoader& clip, uint64_t frame, int track = 0) {
    std::vector<uint8_t> record;
    RedFileVideoFrame f;
    std::string why;
    if (!clip.ReadVideoFrame(frame, &record, &f, &why, track)) {
        ADD_FAILURE() << "frame " << frame << ": " << why;
        return {};
    }
    ImagePayloadInfo info;
    const uint8_t* image = record.data() + f.imageOffset;
    EXPECT_EQ(InspectImagePayload(image, f.imageSize, &info), ImagePayloadStatus::kOk);
    EXPECT_EQ(info.width, f.width);
    EXPECT_EQ(info.height, f.height);
    std::vector<uint16_t> rgb(size_t(info.width) * info.height * 3);
    EXPECT_EQ(DecodeImagePayload(image, f.imageSize, 1, rgb.data(), rgb.size() * 2), ImagePayloadStatus::kOk);
    return rgb;
}

struct FrameList {
    std::vector<std::pair<uint64_t, int64_t>> video, video2;
    std::vector<std::pair<uint64_t, uint64_t>> audio;
    bool operator==(const FrameList&) const = default;
};

FrameList ListOf(R3DContainer& c) {
    FrameList l;
    for (uint64_t i = 1; i <= c.Info().videoFrames; ++i) {
        uint64_t p;
        int64_t s;
        EXPECT_TRUE(c.GetVideoFrameInfo(i, &p, &s));
        l.video.emplace_back(p, s);
    }
    for (uint64_t i = 1; i <= c.Info().secondTrackFrames; ++i) {
        uint64_t p;
        int64_t s;
        EXPECT_TRUE(c.GetVideoFrame2Info(i, &p, &s));
        l.video2.emplace_back(p, s);
    }
    for (uint64_t i = 1; i <= c.Info().audioBlocks; ++i) {
        uint64_t p, s;
        EXPECT_TRUE(c.GetAudioBlockInfo(i, &p, &s));
        l.audio.emplace_back(p, s);
    }
    return l;
}

void CutEnd(const std::string& path, uint64_t bytes) {
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - bytes);
}

class BothGenerations : public ::testing::TestWithParam<int> {};

TEST_P(BothGenerations, HeaderFieldsAndFramesComeBackAsWritten) {
    TempDir dir;
    const uint8_t major = uint8_t(GetParam());
    ClipPlan plan = RichPlan(major);
    const auto paths = WriteClip(dir / "A001_C002_0101AB_001.R3D", plan);
    ASSERT_EQ(paths.size(), 1u);

    R3DContainer c;
    ContainerInfo info;
    ASSERT_EQ(c.OpenFile(paths[0], &info), 0);
    EXPECT_EQ(info.major, major);
    EXPECT_EQ(info.versionWord, major * 256u + plan.spec.minor);
    EXPECT_EQ(info.width, 24u);
    EXPECT_EQ(info.height, 10u);
    EXPECT_EQ(info.rateNumerator, 24000u);
    EXPECT_EQ(info.rateDenominator, 1001u);
    EXPECT_EQ(info.audioChannels, 2u);
    EXPECT_EQ(info.videoFrames, 5u);
    EXPECT_EQ(info.audioBlocks, 5u);
    EXPECT_EQ(info.fileName, "A001_C002_0101AB_001.R3D");
    EXPECT_EQ(info.identity, plan.spec.identity);
    EXPECT_FALSE(info.recovered);
    if (major == 5) {
        EXPECT_EQ(info.cameraCode, 4u);
        EXPECT_EQ(info.firstWord, 0u);
        EXPECT_EQ(info.secondWord, 0x1234u);
    } else {
        EXPECT_EQ(info.cameraCode, uint32_t(kIdentifierR1));
        EXPECT_EQ(info.firstWord, 0xA1B2C3D4u);
        EXPECT_EQ(info.secondWord, 0x1234u);
    }
    // Frames lie one behind the other, on block boundaries in the second generation.
    const FrameList list = ListOf(c);
    for (size_t i = 0; i < list.video.size(); ++i) {
        EXPECT_GT(list.video[i].second, 512);
        if (i) { EXPECT_GT(list.video[i].first, list.video[i - 1].first); }
        if (major == 5) { EXPECT_EQ(list.video[i].first % 4096, 0u); }
    }
    std::vector<uint8_t> out;
    EXPECT_EQ(c.GetVideoFrameData(0, &out), 0u);
    EXPECT_EQ(c.GetVideoFrameData(6, &out), 0u);
    EXPECT_EQ(c.GetVideoFrameData(1, nullptr), 0u);

    ClipLoader clip;
    ASSERT_EQ(clip.OpenClip(paths[0]), 0);
    for (uint64_t f = 0; f < 5; ++f) EXPECT_EQ(DecodeFrame(clip, f), FramePicture(24, 10, f)) << "frame " << f;
    const MetadataStore& m = clip.Metadata();
    EXPECT_EQ(m.ItemAsInt("image_width"), 24);
    EXPECT_EQ(m.ItemAsInt("image_height"), 10);
    EXPECT_NEAR(m.ItemAsFloat("framerate"), 23.976, 0.001);
    EXPECT_EQ(m.ItemAsInt("framerate_numerator"), 24000);
    EXPECT_EQ(m.ItemAsInt("framerate_denominator"), 1001);
    EXPECT_EQ(m.ItemAsString("original_filename"), "A001_C002_0101AB_001.R3D");
    EXPECT_EQ(m.ItemAsString("camera_model"), major == 5 ? "EPIC-M" : "RED ONE");
    EXPECT_EQ(m.ItemAsInt("samplerate"), 48000);
    EXPECT_EQ(m.ItemAsInt("hdr_mode"), 0);
    EXPECT_EQ(m.ItemAsInt("dropped_frame_count"), 0);
}

TEST_P(BothGenerations, TimecodeAndMetadataTokensComeBack) {
    TempDir dir;
    ClipPlan plan = RichPlan(uint8_t(GetParam()));
    plan.spec.frameMetadata.push_back(MetadataToken::Float(kIdMasterGain, 2.0f));
    plan.spec.frameMetadata.push_back(MetadataToken::Floats(kIdDigitalGains, {1.0f, 0.5f, 0.25f}));
    plan.spec.frameMetadata.push_back(MetadataToken::U8(kIdFlip, 2));
    plan.spec.frameMetadata.push_back(MetadataToken::U16(kIdRedcode, 36));
    plan.spec.frameMetadata.push_back(MetadataToken::U16(kIdMotionMountNdStops, 3));
    plan.spec.frameMetadata.push_back(MetadataToken::String(kIdUserScene, "12B"));
    plan.spec.frameMetadata.push_back(
        MetadataToken::Floats(kIdUserCurve, {0, 0, 0.25f, 0.2f, 0.5f, 0.5f, 0.75f, 0.8f, 1, 1}));
    plan.spec.frameMetadata.push_back(MetadataToken::Float(kIdExposureCompensation, 0.5f));
    plan.spec.frameMetadata.push_back(MetadataToken::Float(kIdExposureCompensation2, -0.5f));
    plan.spec.frameMetadata.push_back(MetadataToken::String(300, "an id above 133 is passed over"));
    const auto paths = WriteClip(dir / "clip.R3D", plan);
    ClipLoader clip;
    ASSERT_EQ(clip.OpenClip(paths.at(0)), 0);
    const MetadataStore& m = clip.Metadata();
    EXPECT_EQ(m.ItemAsString("start_edge_timecode"), "10:00:00:00");
    EXPECT_EQ(m.ItemAsString("start_absolute_timecode"), "11:22:33:12");
    EXPECT_EQ(clip.AbsoluteTimecode().CalculateNewTC(4), "11:22:33:16");
    EXPECT_EQ(clip.EdgeTimecode().CalculateNewTC(24 * 60), "10:01:00:00");
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("white_balance_kelvin")), 3200.0f);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("white_balance_tint")), -1.5f);
    EXPECT_EQ(m.ItemAsInt("iso"), 800);
    EXPECT_EQ(m.ItemAsString("reel_id"), "A001");
    EXPECT_EQ(m.ItemAsString("clip_id"), "A001_C002");
    EXPECT_EQ(m.ItemAsString("user_scene"), "12B");
    EXPECT_EQ(m.ItemAsInt("user_timecode_preference"), 0);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("digital_gain_red")), 2.0f);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("digital_gain_green")), 1.0f);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("digital_gain_blue")), 0.5f);
    EXPECT_EQ(m.ItemAsInt("flip_horizontal"), 0);
    EXPECT_EQ(m.ItemAsInt("flip_vertical"), 1);
    EXPECT_EQ(m.ItemAsString("redcode"), "36");
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("motion_mount_nd_stops")), 3.0f);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("user_curve_low_y")), 0.2f);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("user_curve_high_y")), 0.8f);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("exposure_compensation")), -0.5f) << "the later token wins";
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("saturation")), 1.0f);
    EXPECT_FLOAT_EQ(float(m.ItemAsFloat("contrast")), 0.0f);
    for (const auto& [key, value] : m.Items()) EXPECT_EQ(key.find("passed over"), std::string::npos);
}

TEST_P(BothGenerations, AudioBlocksComeBackWithTheirSampleCounts) {
    TempDir dir;
    ClipPlan plan = RichPlan(uint8_t(GetParam()));
    const auto paths = WriteClip(dir / "clip.R3D", plan);
    R3DContainer c;
    ContainerInfo info;
    ASSERT_EQ(c.OpenFile(paths.at(0), &info), 0);
    uint64_t total = 0;
    for (uint32_t n : plan.audioBlocks) total += n;
    EXPECT_EQ(info.audioSampleFrames, total);
    for (size_t b = 0; b < plan.audioBlocks.size(); ++b) {
        std::vector<uint8_t> data;
        const uint64_t bytes = c.GetAudioBlockData(b + 1, &data);
        ASSERT_EQ(bytes, plan.audioBlocks[b] * 2 * 4u) << "block " << b;
        const auto samples = BlockSamples(b, plan.audioBlocks[b], 2);
        for (size_t i = 0; i < samples.size(); i += 97) EXPECT_EQ(int32_t(LoadBE32(&data[4 * i])), samples[i]);
        uint64_t position, size;
        ASSERT_TRUE(c.GetAudioBlockInfo(b + 1, &position, &size));
        EXPECT_EQ(size, bytes);
        uint8_t part[12];
        EXPECT_EQ(c.GetAudioBlockDataOffset(b + 1, 8, sizeof part, part), sizeof part);
        EXPECT_TRUE(std::equal(part, part + 12, data.begin() + 8));
        EXPECT_EQ(c.GetAudioBlockDataOffset(b + 1, bytes - 4, 100, part), 4u) << "a read is cut at the block's end";
    }
    std::vector<uint8_t> data;
    EXPECT_EQ(c.GetAudioBlockData(0, &data), 0u);
    EXPECT_EQ(c.GetAudioBlockData(6, &data), 0u);
    ClipLoader clip;
    ASSERT_EQ(clip.OpenClip(paths.at(0)), 0);
    RedFileAudioFrame header;
    ASSERT_TRUE(clip.ReadAudioBlockHeader(3, &header));
    EXPECT_EQ(header.sampleRate, 48000u);
    EXPECT_EQ(header.sampleBits, 24);
    EXPECT_EQ(header.channels, 2);
    EXPECT_EQ(header.headerLength, GetParam() == 5 ? 128u : GetParam() == 4 ? 36u : 32u);
}

TEST_P(BothGenerations, MissingFooterIsRecoveredByTheScanWithTheSameFrameList) {
    TempDir dir;
    ClipPlan plan = RichPlan(uint8_t(GetParam()));
    const auto paths = WriteClip(dir / "whole.R3D", plan);
    R3DContainer whole;
    ASSERT_EQ(whole.OpenFile(paths.at(0), nullptr), 0);
    ASSERT_FALSE(whole.Info().recovered);
    const FrameList expected = ListOf(whole);

    // The footer cut away, and a clip written without one at all.
    const std::string cut = dir / "cut.R3D";
    std::filesystem::copy_file(paths[0], cut);
    CutEnd(cut, GetParam() == 5 ? 4096 : 56);
    plan.spec.writeFooter = false;
    const auto noFooter = WriteClip(dir / "nofooter.R3D", plan);
    for (const std::string& path : {cut, noFooter.at(0)}) {
        LogCapture log;
        R3DContainer c;
        ContainerInfo info;
        ASSERT_EQ(c.OpenFile(path, &info), 0) << path;
        EXPECT_TRUE(info.recovered);
        EXPECT_TRUE(log.Contains("scanning")) << path;
        EXPECT_EQ(ListOf(c), expected) << path;
        EXPECT_EQ(info.audioSampleFrames, whole.Info().audioSampleFrames);
        ClipLoader clip;
        ASSERT_EQ(clip.OpenClip(path), 0);
        EXPECT_EQ(DecodeFrame(clip, 4), FramePicture(24, 10, 4));
    }
}

TEST_P(BothGenerations, ScanDropsAFrameThatEndsTheFileAndKeepsWholeFramesOfACutFile) {
    TempDir dir;
    ClipPlan plan = RichPlan(uint8_t(GetParam()));
    plan.audioBlocks.clear();
    plan.spec.audioChannels = 0;
    plan.spec.writeFooter = false;
    plan.spec.writeIndex = false;
    const auto paths = WriteClip(dir / "clip.R3D", plan);
    R3DContainer c;
    ASSERT_EQ(c.OpenFile(paths.at(0), nullptr), 0);
    EXPECT_EQ(c.Info().videoFrames, 4u) << "the last frame may be cut short and nothing after it tells";
    uint64_t p4;
    int64_t s4;
    ASSERT_TRUE(c.GetVideoFrameInfo(4, &p4, &s4));
    c.CloseFile();
    // Cut in the middle of the fourth frame: three whole frames stay.
    std::filesystem::resize_file(paths[0], p4 + uint64_t(s4) / 2);
    LogCapture log;
    ClipLoader clip;
    ASSERT_EQ(clip.OpenClip(paths[0]), 0);
    EXPECT_EQ(clip.VideoFrameCount(), 3u);
    EXPECT_TRUE(log.Contains("cut short"));
    EXPECT_EQ(DecodeFrame(clip, 2), FramePicture(24, 10, 2));
}

INSTANTIATE_TEST_SUITE_P(R3D, BothGenerations, ::testing::Values(3, 4, 5),
                         [](const auto& info) { return "Version" + std::to_string(info.param); });

TEST(R3DRoundTrip, MultiFileClipOpensFromAnyOfItsFiles) {
    TempDir dir;
    ClipPlan plan = RichPlan(5);
    plan.frames = 10;
    plan.audioBlocks.assign(10, 2002);
    plan.spec.framesPerFile = 4;
    const auto paths = WriteClip(dir / "A001_C002_0101AB_001.R3D", plan);
    ASSERT_EQ(paths.size(), 3u);
    EXPECT_EQ(paths[2], dir / "A001_C002_0101AB_003.R3D");
    for (const auto& start : paths) {
        ClipLoader clip;
        ASSERT_EQ(clip.OpenClip(start), 0) << start;
        EXPECT_EQ(clip.ChunkCount(), 3u);
        EXPECT_EQ(clip.ChunkPath(0), paths[0]);
        EXPECT_EQ(clip.VideoFrameCount(), 10u);
        EXPECT_EQ(clip.AudioBlockCount(), 10u);
        EXPECT_EQ(clip.Info().audioSampleFrames, 20020u);
        size_t chunk;
        uint64_t local;
        ASSERT_TRUE(clip.GetVideoBlock(5, &chunk, &local));
        EXPECT_EQ(chunk, 1u);
        EXPECT_EQ(local, 2u);
        EXPECT_FALSE(clip.GetVideoBlock(10, &chunk, &local));
        for (uint64_t f = 0; f < 10; ++f) EXPECT_EQ(DecodeFrame(clip, f), FramePicture(24, 10, f)) << f;
        std::vector<uint8_t> block;
        EXPECT_EQ(clip.GetAudioBlockData(9, &block), 2002u * 2 * 4);
    }
}

TEST(R3DRoundTrip, ChunkWalkStopsAtAStrangerAndAtTheLargestNumber) {
    TempDir dir;
    ClipPlan plan = RichPlan(4);
    plan.frames = 4;
    plan.audioBlocks.clear();
    plan.spec.audioChannels = 0;
    plan.spec.framesPerFile = 2;
    const auto paths = WriteClip(dir / "A001_998.R3D", plan);
    ASSERT_EQ(paths.size(), 2u);
    EXPECT_EQ(paths[1], dir / "A001_999.R3D");
    // A file numbered past the width's largest number is never looked at.
    std::filesystem::copy_file(paths[1], dir / "A001_1000.R3D");
    // A clip of another size in front ends the downward walk.
    ClipPlan other = plan;
    other.spec.framesPerFile = 0;
    other.spec.width = 32;
    WriteClip(dir / "A001_997.R3D", other);
    ClipLoader clip;
    ASSERT_EQ(clip.OpenClip(paths[1]), 0);
    EXPECT_EQ(clip.ChunkCount(), 2u);
    EXPECT_EQ(clip.VideoFrameCount(), 4u);
    EXPECT_EQ(clip.ChunkPath(0), paths[0]);

    // A name without a number is a one-file clip.
    const auto single = WriteClip(dir / "Single.R3D", other);
    ASSERT_EQ(clip.OpenClip(single.at(0)), 0);
    EXPECT_EQ(clip.ChunkCount(), 1u);
}

TEST(R3DRoundTrip, DamagedHeaderSizeReadsLikeANormalOne) {
    TempDir dir;
    for (bool footer : {true, false}) {
        ClipPlan plan = RichPlan(4);
        plan.spec.writeFooter = footer;
        const auto normal = WriteClip(dir / "normal.R3D", plan);
        plan.spec.damagedHeaderSize = true;
        const auto damaged = WriteClip(dir / "damaged.R3D", plan);
        ASSERT_EQ(ReadBytes(damaged.at(0))[0], 0x01) << "the size field carries the damage";
        R3DContainer a, b;
        ContainerInfo ia, ib;
        ASSERT_EQ(a.OpenFile(normal.at(0), &ia), 0);
        ASSERT_EQ(b.OpenFile(damaged.at(0), &ib), 0) << "footer " << footer;
        EXPECT_EQ(ListOf(a), ListOf(b));
        EXPECT_TRUE(ia.SameClipAs(ib));
        EXPECT_EQ(ib.fileName, "damaged.R3D");
    }
}

TEST(R3DRoundTrip, TwoVideoTracksOfDifferentLengthsComeOutEqual) {
    TempDir dir;
    ClipPlan plan = RichPlan(5);
    plan.spec.videoTracks = 2;
    plan.spec.hdrKind = 3;
    plan.frames = 6;
    plan.secondTrackFrames = 4;
    const auto paths = WriteClip(dir / "hdr.R3D", plan);
    plan.spec.writeFooter = false;
    const auto scanned = WriteClip(dir / "hdr_scan.R3D", plan);
    for (const auto& path : {paths.at(0), scanned.at(0)}) {
        R3DContainer c;
        ContainerInfo info;
        ASSERT_EQ(c.OpenFile(path, &info), 0);
        EXPECT_EQ(info.videoFrames, 4u) << path;
        EXPECT_EQ(info.secondTrackFrames, 4u) << path;
        EXPECT_TRUE(info.hdrTwoTrack);
        ClipLoader clip;
        ASSERT_EQ(clip.OpenClip(path), 0);
        EXPECT_EQ(clip.Metadata().ItemAsInt("hdr_mode"), 2);
        EXPECT_EQ(DecodeFrame(clip, 3, 0), FramePicture(24, 10, 3, 0));
        EXPECT_EQ(DecodeFrame(clip, 3, 1), FramePicture(24, 10, 3, 1));
    }
}

TEST(R3DRoundTrip, PrimaryTrackFlagLandsWhereAskedAlsoWhenTheRevisionFlipsIt) {
    TempDir dir;
    for (uint32_t revision : {kNoRevision, 41878u}) {
        for (uint8_t minor : {uint8_t(2), uint8_t(9)}) {
            ClipPlan plan = RichPlan(5);
            plan.spec.minor = minor;
            plan.spec.videoTracks = 2;
            plan.spec.primaryTrack = 1;
            plan.spec.firmwareRevision = revision;
            const auto paths = WriteClip(dir / "p.R3D", plan);
            R3DContainer c;
            ContainerInfo info;
            ASSERT_EQ(c.OpenFile(paths.at(0), &info), 0);
            EXPECT_EQ(info.primaryTrack, 1);
            std::vector<uint8_t> record;
            RedFileVideoFrame f;
            ASSERT_GT(c.GetVideoFrameData(1, &record), 0u);
            ASSERT_TRUE(f.Parse(record.data(), record.size(), nullptr));
            EXPECT_EQ(f.secondValue, 1u) << "the primary store holds the frames written on track 1";
            ClipLoader clip;
            ASSERT_EQ(clip.OpenClip(paths[0]), 0);
            if (revision != kNoRevision) {
                EXPECT_EQ(clip.Metadata().ItemAsInt("camera_firmware_revision"), 41878);
                EXPECT_EQ(clip.Metadata().ItemAsString("camera_firmware_version"), "2.0.0");
            } else {
                EXPECT_FALSE(clip.Metadata().Has("camera_firmware_revision"));
            }
        }
    }
}

TEST(R3DRoundTrip, DroppedFramesAreCountedAndGiveNoData) {
    TempDir dir;
    for (uint8_t major : {uint8_t(4), uint8_t(5)}) {
        R3DClipSpec spec = RichPlan(major).spec;
        spec.audioChannels = 0;
        R3DWriter w;
        ASSERT_TRUE(w.Create(dir / "dropped.R3D", spec, true));
        for (int f = 0; f < 4; ++f) {
            if (f == 2) {
                ASSERT_TRUE(w.AddDroppedFrame());
            } else {
                const auto pic = FramePicture(24, 10, uint64_t(f));
                ASSERT_TRUE(w.AddVideoFrameRGB(pic.data()));
            }
        }
        ASSERT_TRUE(w.Finish());
        ClipLoader clip;
        ASSERT_EQ(clip.OpenClip(w.Paths()[0]), 0);
        EXPECT_EQ(clip.VideoFrameCount(), 4u);
        EXPECT_EQ(clip.DroppedFrameCount(), 1u);
        EXPECT_EQ(clip.Metadata().ItemAsInt("dropped_frame_count"), 1);
        std::vector<uint8_t> record;
        RedFileVideoFrame f;
        EXPECT_FALSE(clip.ReadVideoFrame(2, &record, &f) && f.imageSize > 0 &&
                     InspectImagePayload(record.data() + f.imageOffset, f.imageSize, nullptr) ==
                         ImagePayloadStatus::kOk);
        EXPECT_EQ(DecodeFrame(clip, 3), FramePicture(24, 10, 3));
    }
}

TEST(R3DRoundTrip, AudioChannelCorrectionsOfCertainRevisions) {
    TempDir dir;
    // An odd channel count with an even-audio revision reads one channel more.
    ClipPlan even = RichPlan(5);
    even.spec.audioChannels = 3;
    even.spec.firmwareRevision = 40329;
    even.audioBlocks = {1000, 1000};
    even.frames = 2;
    auto paths = WriteClip(dir / "even.R3D", even);
    R3DContainer c;
    ContainerInfo info;
    ASSERT_EQ(c.OpenFile(paths.at(0), &info), 0);
    EXPECT_EQ(info.audioChannels, 4u);
    EXPECT_EQ(info.audioSampleFrames, 2u * 1000 * 3 / 4);
    // A more-audio revision whose blocks hold about twice the samples for the frames: the
    // clip has twice the channels stated.
    ClipPlan more = RichPlan(5);
    more.spec.rateNumerator = 24;
    more.spec.rateDenominator = 1;
    more.spec.firmwareRevision = 42254;
    more.frames = 2;
    more.audioBlocks = {4000, 4000};
    paths = WriteClip(dir / "more.R3D", more);
    ASSERT_EQ(c.OpenFile(paths.at(0), &info), 0);
    EXPECT_EQ(info.audioChannels, 4u);
    EXPECT_EQ(info.audioSampleFrames, 4000u);
    more.audioBlocks = {2000, 2000};
    paths = WriteClip(dir / "more2.R3D", more);
    ASSERT_EQ(c.OpenFile(paths.at(0), &info), 0);
    EXPECT_EQ(info.audioChannels, 2u) << "samples enough for the frames: no doubling";
    // Little-endian samples are marked.
    ClipPlan le = RichPlan(5);
    le.spec.audioLittleEndian = true;
    paths = WriteClip(dir / "le.R3D", le);
    ASSERT_EQ(c.OpenFile(paths.at(0), &info), 0);
    EXPECT_TRUE(info.littleEndianAudio);
    std::vector<uint8_t> data;
    ASSERT_GT(c.GetAudioBlockData(1, &data), 0u);
    const auto samples = BlockSamples(0, 2002, 2);
    uint32_t le0 = uint32_t(data[0]) | uint32_t(data[1]) << 8 | uint32_t(data[2]) << 16 | uint32_t(data[3]) << 24;
    EXPECT_EQ(int32_t(le0), samples[0]);
}

TEST(R3DRoundTrip, AuxiliaryBlocksAndValue) {
    TempDir dir;
    R3DClipSpec spec = RichPlan(5).spec;
    spec.auxTrack = true;
    spec.auxValue = 77;
    spec.audioChannels = 0;
    R3DWriter w;
    ASSERT_TRUE(w.Create(dir / "aux.R3D", spec));
    const auto pic = FramePicture(24, 10, 0);
    ASSERT_TRUE(w.AddVideoFrameRGB(pic.data()));
    const uint8_t aux[5] = {1, 2, 3, 4, 5};
    ASSERT_TRUE(w.AddAuxBlock(aux, sizeof aux));
    ASSERT_TRUE(w.Finish());
    R3DContainer c;
    ContainerInfo info;
    ASSERT_EQ(c.OpenFile(w.Paths()[0], &info), 0);
    EXPECT_EQ(info.auxValue, 77u);
    EXPECT_EQ(info.auxBlocks, 1u);
    std::vector<uint8_t> data;
    ASSERT_EQ(c.GetAuxBlockData(1, &data), 5u);
    EXPECT_EQ(data, std::vector<uint8_t>(aux, aux + 5));
}

TEST(R3DRoundTrip, OpenResultsOfFilesThatAreNoClips) {
    TempDir dir;
    R3DContainer c;
    ClipLoader clip;
    LogCapture log;
    EXPECT_EQ(c.OpenFile("", nullptr), R3DContainer::kNoPath);
    EXPECT_EQ(clip.OpenClip(""), ClipLoader::kEmptyName);
    EXPECT_EQ(c.OpenFile(dir / "missing.R3D", nullptr), R3DContainer::kCannotOpen);
    EXPECT_EQ(c.OpenFile(dir.path(), nullptr), R3DContainer::kCannotOpen);
    WriteBytes(dir / "text.R3D", std::vector<uint8_t>(1000, 'x'));
    EXPECT_EQ(clip.OpenClip(dir / "text.R3D"), R3DContainer::kParseFailed);
    // A header whose alignment exponent is below 12 refuses the file.
    ClipPlan plan = RichPlan(5);
    auto paths = WriteClip(dir / "align.R3D", plan);
    auto bytes = ReadBytes(paths.at(0));
    bytes[8 + 6] = 11;
    WriteBytes(paths[0], bytes);
    EXPECT_EQ(c.OpenFile(paths[0], nullptr), R3DContainer::kParseFailed);
    EXPECT_TRUE(log.Contains("below 12"));
    // A clip whose only frame is unreadable.
    plan.frames = 0;
    plan.audioBlocks.clear();
    paths = WriteClip(dir / "empty.R3D", plan);
    EXPECT_EQ(clip.OpenClip(paths.at(0)), ClipLoader::kFirstFrameUnreadable);
    EXPECT_FALSE(clip.IsOpen());
}

TEST(R3DRoundTrip, HandlesAreGivenUpAndTakenUpAgain) {
    TempDir dir;
    ClipPlan plan = RichPlan(4);
    plan.frames = 12;
    plan.audioBlocks.clear();
    plan.spec.audioChannels = 0;
    plan.spec.framesPerFile = 2;
    const auto paths = WriteClip(dir / "H_01.R3D", plan);
    ASSERT_EQ(paths.size(), 6u);
    ClipLoader clip;
    ASSERT_EQ(clip.OpenClip(paths[0]), 0);
    // Walk back and forth over more files than handles are kept.
    for (int pass = 0; pass < 2; ++pass)
        for (uint64_t f = 0; f < 12; ++f)
            EXPECT_EQ(DecodeFrame(clip, pass ? 11 - f : f), FramePicture(24, 10, pass ? 11 - f : f));
    R3DContainer c;
    ASSERT_EQ(c.OpenFile(paths[0], nullptr), 0);
    c.CloseHandle();
    EXPECT_FALSE(c.HandleOpen());
    std::vector<uint8_t> data;
    EXPECT_GT(c.GetVideoFrameData(1, &data), 0u) << "a read takes the handle up again";
    c.CloseFile();
    EXPECT_EQ(c.GetVideoFrameData(1, &data), 0u);
}

}  // namespace
}  // namespace ombrel::r3d::test
