#include "TestClips.h"

#include "r3d/ClipLoader.h"
#include "r3d/MetadataMapper.h"
#include "r3d/R3DContainer.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <sstream>

namespace ombrel::r3d::test {
namespace {

using ombrel::test::MatchesRef;
using ombrel::test::TempDir;

// Every header field, the frame and block tables, the audio block header, the timecodes and
// every metadata item of the rich clip, one per line: a field read wrong or a key mapped wrong
// changes a line of the reference file.
std::string Dump(R3DContainer& c, ClipLoader& clip) {
    std::ostringstream o;
    const ContainerInfo& i = c.Info();
    o << "version " << i.major << "." << i.minor << " word " << i.versionWord << " identifier " << i.identifier
      << "\ncamera " << i.cameraCode << " words " << i.firstWord << " " << i.secondWord << "\nsize " << i.width << "x"
      << i.height << " rate " << i.rateNumerator << "/" << i.rateDenominator << "\naudio " << i.audioChannels
      << " channels, " << i.audioSampleFrames << " sample frames, little-endian " << i.littleEndianAudio << "\nvideo "
      << i.videoFrames << " second " << i.secondTrackFrames << " audio " << i.audioBlocks << " aux " << i.auxBlocks
      << "\nfile " << i.fileName << " recovered " << i.recovered << " tracks " << i.videoTrackCount << " primary "
      << i.primaryTrack << " hdr " << i.hdrSingleTrack << i.hdrTwoTrack << "\nidentity";
    for (uint8_t b : i.identity) o << " " << int(b);
    uint64_t at, bytes;
    int64_t size;
    for (uint64_t n = 1; c.GetVideoFrameInfo(n, &at, &size); ++n) o << "\nframe at " << at << " size " << size;
    for (uint64_t n = 1; c.GetAudioBlockInfo(n, &at, &bytes); ++n) o << "\nblock at " << at << " size " << bytes;
    RedFileAudioFrame a;
    EXPECT_TRUE(clip.ReadAudioBlockHeader(3, &a));
    o << "\naudio header " << a.sampleRate << " Hz " << int(a.sampleBits) << " bits " << a.channels
      << " channels length " << a.headerLength << "\nabsolute +4 " << clip.AbsoluteTimecode().CalculateNewTC(4)
      << "\nedge +1440 " << clip.EdgeTimecode().CalculateNewTC(24 * 60) << "\n";
    return o.str() + DumpStore(clip.Metadata());
}

class BothGenerations : public ::testing::TestWithParam<int> {};

TEST_P(BothGenerations, ClipComesBackAsWritten) {
    TempDir dir;
    ClipPlan plan = RichPlan(uint8_t(GetParam()));
    for (const MetadataToken& t :
         {MetadataToken::Float(kIdMasterGain, 2.0f), MetadataToken::Floats(kIdDigitalGains, {1.0f, 0.5f, 0.25f}),
          MetadataToken::U8(kIdFlip, 2), MetadataToken::U16(kIdRedcode, 36),
          MetadataToken::U16(kIdMotionMountNdStops, 3), MetadataToken::String(kIdUserScene, "12B"),
          MetadataToken::Floats(kIdUserCurve, {0, 0, 0.25f, 0.2f, 0.5f, 0.5f, 0.75f, 0.8f, 1, 1}),
          MetadataToken::Float(kIdExposureCompensation, 0.5f),
          MetadataToken::Float(kIdExposureCompensation2, -0.5f),  // the later token wins
          MetadataToken::String(300, "an id above 133 is passed over")})
        plan.spec.frameMetadata.push_back(t);
    const auto paths = WriteClip(dir / "A001_C002_0101AB_001.R3D", plan);
    ASSERT_EQ(paths.size(), 1u);
    R3DContainer c;
    ClipLoader clip;
    ASSERT_EQ(c.OpenFile(paths[0], nullptr), 0);
    ASSERT_TRUE(clip.OpenClip(paths[0]).ok());
    EXPECT_TRUE(MatchesRef("r3d/rich-clip-v" + std::to_string(GetParam()) + ".txt", Dump(c, clip)));

    for (uint64_t f = 0; f < 5; ++f) EXPECT_EQ(DecodeFrame(clip, f), Picture(24, 10, f)) << "frame " << f;
    std::vector<uint8_t> data;
    EXPECT_EQ(c.GetVideoFrameData(6, &data) + c.GetAudioBlockData(0, &data) + c.GetAudioBlockData(6, &data), 0u);
    for (size_t b = 0; b < plan.audioBlocks.size(); ++b)
        EXPECT_EQ(c.GetAudioBlockData(b + 1, &data), plan.audioBlocks[b] * 2 * 4u) << "block " << b;
}

INSTANTIATE_TEST_SUITE_P(R3D, BothGenerations, ::testing::Values(3, 4, 5),
                         [](const auto& info) { return "Version" + std::to_string(info.param); });

TEST(R3DRoundTrip, MultiFileClipOpensFromAnyOfItsFilesAndNoFurther) {
    TempDir dir;
    ClipPlan plan = RichPlan(5);
    plan.frames = 10;
    plan.audioBlocks.assign(10, 2002);
    plan.spec.framesPerFile = 2;
    const auto paths = WriteClip(dir / "A001_C002_0101AB_995.R3D", plan);
    ASSERT_EQ(paths.size(), 5u);
    EXPECT_EQ(paths[4], dir / "A001_C002_0101AB_999.R3D");
    // Neither a file numbered past the width's largest number nor a clip of another size in
    // front belongs to it.
    std::filesystem::copy_file(paths[4], dir / "A001_C002_0101AB_1000.R3D");
    ClipPlan other = plan;
    other.spec.framesPerFile = 0;
    other.spec.width = 32;
    WriteClip(dir / "A001_C002_0101AB_994.R3D", other);
    for (const auto& start : paths) {
        SCOPED_TRACE(start);
        ClipLoader clip;
        ASSERT_TRUE(clip.OpenClip(start).ok());
        EXPECT_EQ(clip.ChunkCount(), 5u);
        EXPECT_EQ(clip.ChunkPath(0), paths[0]);
        EXPECT_EQ(clip.VideoFrameCount() + clip.AudioBlockCount(), 20u);
        EXPECT_EQ(clip.Info().audioSampleFrames, 20020u);
        for (uint64_t i = 0; i < 20; ++i) {  // back and forth over more files than handles are kept
            const uint64_t f = i < 10 ? i : 19 - i;
            EXPECT_EQ(DecodeFrame(clip, f), Picture(24, 10, f)) << f;
        }
    }
}

// What a reader acts on, one line a clip: counts, tracks, audio, firmware, which track the
// primary store's first record was written on, and per frame of each track the track whose
// picture it holds, "-" for none.
std::string Facts(const std::string& path) {
    R3DContainer c;
    ClipLoader clip;
    if (c.OpenFile(path, nullptr) != 0 || !clip.OpenClip(path).ok()) return "does not open";
    const ContainerInfo& i = c.Info();
    const MetadataStore& m = clip.Metadata();
    std::ostringstream o;
    o << "frames " << i.videoFrames << "+" << i.secondTrackFrames << " dropped " << clip.DroppedFrameCount() << "/"
      << m.ItemAsInt("dropped_frame_count") << " primary " << i.primaryTrack << " hdr " << i.hdrTwoTrack << "/"
      << m.ItemAsInt("hdr_mode") << " audio " << i.audioChannels << "ch " << i.audioSampleFrames << " le "
      << i.littleEndianAudio << " firmware '" << m.ItemAsString("camera_firmware_revision") << "' '"
      << m.ItemAsString("camera_firmware_version") << "'";
    std::vector<uint8_t> data;
    RedFileVideoFrame f;
    if (c.GetVideoFrameData(1, &data) > 0 && f.Parse(data.data(), data.size()).ok())
        o << " first record of track " << f.secondValue;
    if (i.audioBlocks > 0 && c.GetAudioBlockData(1, &data) >= 4) {
        if (i.littleEndianAudio) std::reverse(data.begin(), data.begin() + 4);
        const uint32_t word = LoadBE32(data.data());
        o << " first sample " << (int32_t(word) == Samples(0, 1, 1)[0] ? "as written" : "differs");
    }
    o << " pictures ";
    for (int track : {0, 1}) {
        for (uint64_t n = 0; n < (track ? i.secondTrackFrames : i.videoFrames); ++n) {
            const auto got = DecodeFrame(clip, n, track);
            o << (got == Picture(i.width, i.height, n, 0) ? "0" : got == Picture(i.width, i.height, n, 1) ? "1" : "-");
        }
        o << (track ? "" : "/");
    }
    return o.str();
}

// Variants of a clip, each written and read back into one line of the reference file.
TEST(R3DRoundTrip, VariantsReadAsWritten) {
    TempDir dir;
    const auto twoTracks = [](ClipPlan& p) {
        p.spec.videoTracks = 2;
        p.spec.hdrKind = 3;
        p.frames = 6;
        p.secondTrackFrames = 4;
    };
    const auto primary = [](uint32_t revision, uint8_t minor) {
        return [=](ClipPlan& p) {
            p.spec.minor = minor;
            p.spec.videoTracks = 2;
            p.spec.primaryTrack = 1;
            p.spec.firmwareRevision = revision;
        };
    };
    // An odd channel count with an even-audio revision reads one channel more; a more-audio
    // revision whose blocks hold about twice the samples for the frames has twice the channels.
    const auto audio = [](uint32_t revision, uint32_t rate, int channels, uint32_t blockFrames) {
        return [=](ClipPlan& p) {
            p.spec.audioChannels = channels;
            p.spec.firmwareRevision = revision;
            p.spec.rateNumerator = rate;
            p.spec.rateDenominator = rate == 24 ? 1 : 1001;
            p.frames = 2;
            p.audioBlocks = {blockFrames, blockFrames};
        };
    };
    // The last frame may be cut short and nothing after it tells: the scan leaves it out.
    const auto endsInAFrame = [](ClipPlan& p) {
        p.spec.audioChannels = 0;
        p.audioBlocks.clear();
        p.spec.writeFooter = false;
        p.spec.writeIndex = false;
    };
    const auto noFooter = [](ClipPlan& p) { p.spec.writeFooter = false; };
    const auto dropped = [](ClipPlan& p) {
        p.spec.audioChannels = 0;
        p.audioBlocks.clear();
        p.frames = 4;
        p.droppedFrames = {2};
    };
    const struct {
        const char* name;
        uint8_t major;
        std::function<void(ClipPlan&)> change;
    } rows[] = {
        {"two tracks of 6 and 4 frames", 5, twoTracks},
        {"two tracks, scanned", 5,
         [&](ClipPlan& p) {
             twoTracks(p);
             p.spec.writeFooter = false;
         }},
        {"primary track 1, no revision, 5.2", 5, primary(kNoRevision, 2)},
        {"primary track 1, no revision, 5.9", 5, primary(kNoRevision, 9)},
        {"primary track 1, revision 41878, 5.2", 5, primary(41878, 2)},
        {"primary track 1, revision 41878, 5.9", 5, primary(41878, 9)},
        {"dropped frame, version 4", 4, dropped},
        {"dropped frame, version 5", 5, dropped},
        {"3 channels, even-audio revision", 5, audio(40329, 24000, 3, 1000)},
        {"2 channels, more-audio revision", 5, audio(42254, 24, 2, 4000)},
        {"2 channels, more-audio revision, samples enough", 5, audio(42254, 24, 2, 2000)},
        {"little-endian samples", 5, [](ClipPlan& p) { p.spec.audioLittleEndian = true; }},
        {"version 4", 4, [](ClipPlan&) {}},
        {"no footer, version 3", 3, noFooter},
        {"no footer, version 4", 4, noFooter},
        {"no footer, version 5", 5, noFooter},
        {"no footer or index, version 3", 3, endsInAFrame},
        {"no footer or index, version 5", 5, endsInAFrame},
        {"damaged header size", 4, [](ClipPlan& p) { p.spec.damagedHeaderSize = true; }},
        {"damaged header size, scanned", 4,
         [](ClipPlan& p) {
             p.spec.damagedHeaderSize = true;
             p.spec.writeFooter = false;
         }},
    };
    std::string out;
    for (const auto& row : rows) {
        ClipPlan plan = RichPlan(row.major);
        row.change(plan);
        out += std::string(row.name) + ": " + Facts(WriteClip(dir / "v.R3D", plan).at(0)) + "\n";
    }
    EXPECT_TRUE(MatchesRef("r3d/variants.txt", out));
}

TEST(R3DRoundTrip, OpenResultsOfFilesThatAreNoClips) {
    TempDir dir;
    R3DContainer c;
    ClipLoader clip;
    EXPECT_EQ(c.OpenFile("", nullptr), R3DContainer::kNoPath);
    EXPECT_EQ(clip.OpenClip("").code(), Status::Code::kInvalid);
    EXPECT_EQ(c.OpenFile(dir / "missing.R3D", nullptr), R3DContainer::kCannotOpen);
    WriteBytes(dir / "text.R3D", std::vector<uint8_t>(1000, 'x'));
    EXPECT_EQ(clip.OpenClip(dir / "text.R3D").code(), Status::Code::kUnsupported);
    // A clip whose only frame is unreadable.
    ClipPlan plan = RichPlan(5);
    plan.frames = 0;
    plan.audioBlocks.clear();
    EXPECT_EQ(clip.OpenClip(WriteClip(dir / "empty.R3D", plan).at(0)).code(), Status::Code::kInvalid);
}

}  // namespace
}  // namespace ombrel::r3d::test
