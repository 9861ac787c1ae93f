#include "TestClips.h"
#include "r3d/CameraTables.h"
#include "r3d/MetadataMapper.h"
#include "r3d/R3DWriter.h"
#include "r3d/RedFileItems.h"
#include "r3d/Timecode.h"
#include "r3d/Tokenizers.h"
#include "support/RefFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>
#include <tuple>

namespace ombrel::r3d {
namespace {

struct Bytes {
    std::vector<uint8_t> b;
    Bytes& Raw(const std::vector<uint8_t>& v) {
        b.insert(b.end(), v.begin(), v.end());
        return *this;
    }
    Bytes& U8(uint32_t v) { return Raw({uint8_t(v)}); }
    Bytes& U16(uint32_t v) { return Raw({uint8_t(v >> 8), uint8_t(v)}); }
    Bytes& U32(uint32_t v) { return U16(v >> 16).U16(v); }
    Bytes& Zeros(size_t n) { return Raw(std::vector<uint8_t>(n)); }
    Bytes& Text(const char* s) { return Raw(std::vector<uint8_t>(s, s + std::strlen(s))); }
};

struct R2Options {
    uint8_t minor = 2;
    uint8_t videoTracks = 1;
    uint8_t flags0 = 0x10;
    uint8_t flags1 = 0;
    uint32_t audioMask = 0;  // no audio track when 0
    uint32_t auxValue = 0;   // no auxiliary track when 0
    std::vector<MetadataToken> tokens;
};

std::vector<uint8_t> R2Header(const R2Options& o) {
    Bytes p;
    p.U8(5).U8(o.minor).U16(kIdentifierR2).U8(5).U8(0).U8(12).U8(0).Zeros(32).U16(9).Zeros(6).U32(0).U32(0);
    p.U8(o.videoTracks).U8(o.audioMask ? 1 : 0).U8(o.auxValue ? 1 : 0).U8(0);
    p.Text("VID1").U32(0).U32(4096).U32(2160).U8(o.flags0).U8(0).U16(1001).U32(24000);
    if (o.videoTracks > 1) p.Zeros(16).U8(o.flags1).Zeros(7);
    if (o.audioMask) p.Text("AUD1").U32(0).U32(o.audioMask).Zeros(5).U8(160).Zeros(2);
    if (o.auxValue) p.Text("AUX1").U32(0).U32(0).U32(o.auxValue);
    p.U16(0).Raw(EncodeMetadataTokens(o.tokens, uint16_t(0x500 + o.minor)));
    return p.b;
}

TEST(R3DTokenizer, MetadataAndBoxTokensWithZeroAndBrokenSizes) {
    Bytes m;
    m.U16(6).U16(0x2019).U16(0xBEEF).U16(0).U16(0x0019).Text("rest of stream");
    MemoryTokenStream stream(m.b.data(), m.b.size());
    RedMetadataTokenizer tk(stream, 0, m.b.size());
    MetadataTokenView t;
    ASSERT_EQ(tk.NextToken(&t), TokenResult::kToken);
    EXPECT_EQ(t.Item(), 0x19);
    EXPECT_EQ(t.payloadSize, 2u);
    ASSERT_EQ(tk.NextToken(&t), TokenResult::kToken);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(t.payload), t.payloadSize), "rest of stream");
    Bytes bad;
    bad.U16(2).U16(1);
    MemoryTokenStream s2(bad.b.data(), bad.b.size());
    RedMetadataTokenizer tk2(s2, 0, bad.b.size());
    EXPECT_EQ(tk2.NextToken(&t), TokenResult::kMalformed);

    Bytes boxes;
    boxes.U32(12).Text("abcd").U32(7).U32(0).Text("jp2c").Zeros(5);
    MemoryTokenStream s3(boxes.b.data(), boxes.b.size());
    BoxTokenizer bt(s3, 0, boxes.b.size());
    Token box;
    ASSERT_EQ(bt.NextToken(&box), TokenResult::kToken);
    ASSERT_EQ(bt.NextToken(&box), TokenResult::kToken);
    EXPECT_EQ(box.tag, kTagJP2C);
    EXPECT_EQ(box.PayloadSize(), 5u) << "size 0 takes the rest";
    EXPECT_EQ(bt.NextToken(&box), TokenResult::kEnd);
}

std::string Fields(const RedFileHeader& h) {
    std::ostringstream o;
    o << "version " << int(h.major) << "." << int(h.minor) << " camera " << h.cameraCode << " align "
      << int(h.alignmentExponent) << " size " << h.width << "x" << h.height << " rate " << h.rateNumerator << "/"
      << h.rateDenominator << " (" << h.FrameRate() << ") tracks " << int(h.videoTrackCount) << " primary "
      << h.primaryTrack << " hdr " << h.hdrSingleTrack << h.hdrTwoTrack << " audio " << h.audioChannels << " mask "
      << std::hex << h.audioChannelMask << std::dec << " le " << h.littleEndianAudio << " aux " << h.auxValue
      << " revision " << h.firmwareRevision << " read " << h.revisionRead << " name '" << h.fileName << "'";
    return o.str();
}

std::string Fields(const RedFileFooter& f) {
    std::ostringstream o;
    o << "video at " << f.video[0].position << " counts " << f.videoCount[0] << " " << f.videoCount[1] << " audio "
      << f.audioCount << " aux " << f.auxCount << " at " << f.aux.position;
    return o.str();
}

std::string Fields(const RedFileVideoFrame& f) {
    std::ostringstream o;
    o << "version " << int(f.major) << "." << int(f.minor) << " values " << f.firstValue << " " << f.secondValue << " "
      << f.thirdValue << " size " << f.width << "x" << f.height << " metadata " << f.metadataSize << " image "
      << f.imageSize << " jpeg2000 " << f.jpeg2000;
    return o.str();
}

// The parse of a record, or its refusal.
template <class Item, class... Args>
std::string Parsed(const std::vector<uint8_t>& b, Args... args) {
    Item item;
    const Status s = item.Parse(b.data(), b.size(), args...);
    return s.ok() ? Fields(item) : "refused: " + s.message();
}

// The parse of each record, or its refusal, one line a row in the reference file.
TEST(R3DItems, HeadersFootersAndFrameRecords) {
    R2Options twoTracks;  // primary flag on the second, two-track HDR, a revision that flips
    twoTracks.minor = 8;
    twoTracks.videoTracks = 2;
    twoTracks.flags0 = 3;
    twoTracks.flags1 = 0x10;
    twoTracks.tokens = {MetadataToken::U32(kHeaderIdRevision, 40980)};
    twoTracks.audioMask = 0x00000111;
    twoTracks.auxValue = 42;
    R2Options minor9 = twoTracks;
    minor9.minor = 9;
    R2Options emptyName, longName;
    emptyName.tokens = {MetadataToken::String(kHeaderIdFileName, "")};
    longName.tokens = {MetadataToken::String(kHeaderIdFileName, std::string(300, 'n')),
                       MetadataToken::U16(kHeaderIdRevision, 7)};
    const auto damaged = [](size_t at, int value) {  // value -1: cut there
        auto q = R2Header(R2Options{});
        value < 0 ? q.resize(at) : void(q[at] = uint8_t(value));
        return q;
    };
    Bytes r1;  // a zero rate denominator
    r1.U8(3).U8(1).U16(kIdentifierR1).U32(11).U32(22).Zeros(32).U32(2048).U32(1152).U32(25).U16(0).U8(4);
    std::vector<uint8_t> name(255, 0);
    std::memcpy(name.data(), "A001.R3D", 8);
    r1.Raw(name).U16(0);

    Bytes footer;
    footer.Zeros(68).U8(2).U8(1).U8(1).U8(0);
    footer.Text("RII1").U32(5).U32(100).U32(9).U32(0).U32(0);
    footer.Text("RII2").U32(6).U32(100).U32(7).U32(0).U32(0);
    footer.Text("RIA1").U32(7).U32(100).U32(12).Zeros(24);
    footer.Text("RIX1").U32(9).U32(100).U32(3).Zeros(8);
    footer.U16(2).Zeros(2);
    auto noVideo = footer.b, cutFooter = footer.b;
    noVideo[68] = 0;
    cutFooter.pop_back();

    Bytes v4, v5, v3;
    v4.U32(524).Text("REDV").U32(1).U32(2).U8(4).U8(0).U16(0).U32(3).U32(640).U32(360).U32(0).Text("IMG");
    v5.U32(0).Text("RDI\x01").U32(0x0503'5232).U32(0xFFFFFFFF).Zeros(48).U32(3).U32(1).Zeros(4).U32(2).Zeros(4);
    v5.U32(320).U32(180).Zeros(2).U16(5).Zeros(32).Text("IMG");
    v3.U32(1).U32(2).U8(3).U8(0).U16(0).U32(8 + 165).Text("jp2c").U8(0xFF).U8(0x4F).U8(0xFF).U8(0x52).Zeros(161);
    auto v3Marked = v3.b;
    v3Marked[23] = 0x51;

    const auto header = [](const std::vector<uint8_t>& b) { return Parsed<RedFileHeader>(b); };
    const auto footerAt = [](const std::vector<uint8_t>& b, uint64_t end) {
        return Parsed<RedFileFooter>(b, uint16_t(0x502), end);
    };
    const auto frame = [](const std::vector<uint8_t>& b) { return Parsed<RedFileVideoFrame>(b); };
    const std::pair<const char*, std::string> rows[] = {
        {"header, empty name token", header(R2Header(emptyName))},
        {"header, 300-byte name, 2-byte revision", header(R2Header(longName))},
        {"header, two tracks, 5.8", header(R2Header(twoTracks))},
        {"header, two tracks, 5.9", header(R2Header(minor9))},
        {"header, first generation", header(r1.b)},
        {"header, alignment 11", header(damaged(6, 11))},
        {"header, no video track", header(damaged(56, 0))},
        {"header, R2 version 4", header(damaged(0, 4))},
        {"header, unknown identifier", header(damaged(3, 0x33))},
        {"header, cut in the track records", header(damaged(70, -1))},
        {"footer", footerAt(footer.b, 10 * 4096 + 300)},
        {"footer, no video track", footerAt(noVideo, 10 * 4096)},
        {"footer, skipped bytes past the end", footerAt(cutFooter, 10 * 4096)},
        {"frame, version 4", frame(v4.b)},
        {"frame, version 5 with its atom head", frame(v5.b)},
        {"frame, version 3 without codestream markers", frame(v3.b)},
        {"frame, version 3", frame(v3Marked)},
    };
    std::string out;
    for (const auto& [name, got] : rows) out += std::string(name) + ": " + got + "\n";
    EXPECT_TRUE(ombrel::test::MatchesRef("r3d/items.txt", out));
}

TEST(R3DTimecode, BasesSeparatorsAndFallback) {
    for (const auto& [start, base, expected] :
         std::vector<std::tuple<const char*, int, std::string>>{{"23:59:59:23", 24, "00:00:00:00"},  // hours wrap at 24
                                                                {"00:00:59:29", 30, "00:01:00:00"},
                                                                {"01.00.00.00", 48, "01:00:00:00"}}) {
        Timecode tc;
        ASSERT_TRUE(tc.SetTimecode(start, base, false)) << start;
        EXPECT_EQ(tc.CalculateNewTC(1), expected) << start << " at " << base;
    }
    // First generation: equal separators; above 30 frames a second the dots.
    for (const auto& [text, base, firstGeneration, valid] : std::vector<std::tuple<const char*, int, bool, bool>>{
             {"01;00;00;00", 30, true, true}, {"01:00:00;00", 30, true, false}, {"01:00:00.00", 48, false, true}})
        EXPECT_EQ(Timecode::IsValidText(text, base, firstGeneration), valid) << text << " at " << base;
    Timecode tc;
    for (int base : {0, 99, 31}) EXPECT_FALSE(tc.SetTimecode("01:00:00:00", base, false)) << base;  // 31: odd above 30
}

// Inputs here, answers in the reference file, one line per look-up.
TEST(R3DCameraTables, ModelsSensorsIsoAndRevisions) {
    std::ostringstream o;
    for (auto [code, width, kind] : std::vector<std::tuple<uint32_t, uint32_t, int>>{{kIdentifierR1, 4096, -1},
                                                                                     {0, 3072, -1},
                                                                                     {0, 5120, -1},
                                                                                     {0, 4096, -1},
                                                                                     {5, 5120, 9},
                                                                                     {4, 5120, 8},
                                                                                     {5, 5120, 5}}) {
        const CameraModel m = CameraModelForCode(code, width, kind);
        o << "model " << code << " " << width << " " << kind << ": " << m.id << " " << m.name << "\n";
    }
    // Version word 1280 comes first; camera 4 or 5 with family up to 3; with no row the kind stays.
    for (auto [previous, word, code, width, family, variant] :
         std::vector<std::array<int, 6>>{{-1, 1280, 5, 5120, 6, 7},
                                         {-1, 1282, 5, 3072, 2, 0},
                                         {-1, 1282, 5, 5120, 2, 0},
                                         {-1, 1282, 4, 5120, 3, 0},
                                         {-1, 0x401, kIdentifierR1, 4096, 0, 0},
                                         {-1, 0x401, kIdentifierR1, 4096, 1, 1},
                                         {7, 0x401, kIdentifierR1, 4096, 1, 5},
                                         {-1, 1282, 6, 5120, 5, 4},
                                         {-1, 1282, 6, 5120, 6, 9},
                                         {-1, 1282, 6, 5120, 6, 3},
                                         {-1, 1282, 6, 5120, 4, 2}})
        o << "kind " << previous << " " << word << " " << code << " " << width << " " << family << " " << variant
          << ": " << SensorKindFor(previous, uint16_t(word), uint32_t(code), uint32_t(width), family, uint32_t(variant))
          << "\n";
    for (int kind : {0, 9, 14, -1})
        o << "sensor " << kind << ": " << SensorForKind(kind).id << " " << SensorForKind(kind).name << "\n";
    // log2(90/320) lies as near 80 as 100: the first of the two.
    for (double stops : {0.0, 1.0, -10.0, std::log2(90.0 / 320.0)})
        o << "iso " << stops << ": " << NearestIsoForExposure(stops) << "\n";
    for (uint32_t r : {38366u, 42254u, 44555u, 1u})
        o << "revision " << r << ": even " << IsEvenAudioRevision(r) << " more " << IsMoreAudioRevision(r)
          << " firmware " << FirmwareVersionForRevision(r) << "\n";
    EXPECT_TRUE(ombrel::test::MatchesRef("r3d/camera-tables.txt", o.str()));
}

TEST(R3DMetadataMapper, ReversedFloatsIsoFromExposureAndSensor) {
    std::vector<MetadataToken> tokens = {
        MetadataToken::Float(kIdWhiteBalanceKelvin, 5600.0f), MetadataToken::Float(kIdExposureCompensation, 1.0f),
        MetadataToken::U8(kIdSensorFamily, 5), MetadataToken::U32(kIdSensorVariant, 5)};
    for (uint16_t versionWord : {uint16_t(1280), uint16_t(1281)}) {
        const auto bytes = EncodeMetadataTokens(tokens, versionWord);
        RedFileFrameMetadata m;
        ASSERT_TRUE(m.Parse(bytes.data(), bytes.size(), versionWord));
        MetadataStore store;
        MapperContext ctx;
        ctx.versionWord = versionWord;
        ctx.cameraCode = 5;
        ctx.width = 5120;
        ctx.height = 2700;
        MetadataMapper::MapMetadata(m, ctx, &store);
        EXPECT_TRUE(
            ombrel::test::MatchesRef("r3d/mapped-" + std::to_string(versionWord) + ".txt", test::DumpStore(store)));
    }
    RedFileFrameMetadata m;
    // A start that is no timecode reads as 01:00:00:00.
    const auto iso = EncodeMetadataTokens({MetadataToken::U16(kIdIso, 1250), MetadataToken::String(0, "bad"),
                                           MetadataToken::String(kIdStartEdgeTimecode, "10:00:0x:00")},
                                          1282);
    ASSERT_TRUE(m.Parse(iso.data(), iso.size(), 1282));
    MetadataStore store;
    MapperContext ctx;
    ctx.timecodeBase = 24;
    MetadataMapper::MapMetadata(m, ctx, &store);
    EXPECT_EQ(store.ItemAsInt("iso"), 1280);
    EXPECT_EQ(store.ItemAsString("start_edge_timecode"), "01:00:00:00");
}

// A hostile or damaged clip can carry text tokens with nothing in them: they read as empty
// texts, without a null buffer handed to the C string functions, and the next token still reads.
TEST(R3DMetadataMapper, AnEmptyTextPayloadReadsAsAnEmptyText) {
    for (const auto& [id, key] :
         std::vector<std::pair<uint16_t, std::string>>{{kIdReelId, "reel_id"},
                                                       {kIdClipId, "clip_id"},
                                                       {kIdCameraId, "camera_id"},
                                                       {kIdStartEdgeTimecode, "start_edge_timecode"}}) {
        SCOPED_TRACE(key);
        RedFileFrameMetadata metadata;
        metadata.items = {MetadataItem{id, {}}, MetadataItem{kIdUserScene, {'4', '2', 0}}};
        MetadataStore store;
        MetadataMapper::MapMetadata(metadata, MapperContext{}, &store);
        EXPECT_TRUE(store.Has(key) && store.ItemAsString(key).empty());
        EXPECT_EQ(store.ItemAsString("user_scene"), "42");
    }
}

}  // namespace
}  // namespace ombrel::r3d
