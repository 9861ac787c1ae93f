// Damaged clips made from good ones: every one is refused or opens as far as it holds, with a
// line in the log, and nothing crashes or hangs. Run it under the sanitizers too.
#include "TestClips.h"

#include "core/Log.h"
#include "r3d/ClipLoader.h"
#include "r3d/MetadataMapper.h"
#include "r3d/RedFileItems.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <random>

namespace ombrel::r3d::test {
namespace {

using ombrel::test::TempDir;

struct AtomRef {
    uint64_t position;
    uint64_t size;
    uint32_t tag;
};

std::vector<AtomRef> Atoms(const std::vector<uint8_t>& file, int alignment) {
    MemoryTokenStream stream(file.data(), file.size());
    RedFileTokenizer tk(stream);
    std::vector<AtomRef> atoms;
    Token t;
    while (tk.NextToken(&t) == TokenResult::kToken) {
        atoms.push_back({t.position, t.size, t.tag});
        tk.Align(alignment);
    }
    return atoms;
}

// What a reader gets out of a clip: the pictures of its frames and its audio.
struct Contents {
    std::vector<std::vector<uint16_t>> frames;
    std::vector<std::vector<uint8_t>> audio;
    bool operator==(const Contents&) const = default;
};

Contents ReadAll(ClipLoader& clip) {
    Contents c;
    for (uint64_t f = 0; f < clip.VideoFrameCount(); ++f) {
        c.frames.push_back(DecodeFrame(clip, f));
        if (clip.Info().secondTrackFrames) {
            std::vector<uint8_t> second;
            clip.GetVideoFrameData(f, &second, 1);
        }
    }
    for (uint64_t b = 0; b < clip.AudioBlockCount(); ++b) {
        std::vector<uint8_t> data;
        clip.GetAudioBlockData(b, &data);
        RedFileAudioFrame header;
        clip.ReadAudioBlockHeader(b, &header);
        c.audio.push_back(std::move(data));
    }
    return c;
}

struct Corpus {
    std::string name;
    std::vector<uint8_t> original;
    Contents good;
    int alignment = 0;

    // Writes the damaged bytes in place of the good file, opens the clip and judges it.
    void Check(const std::vector<uint8_t>& bytes, const std::string& what, bool mustTell = true) {
        WriteBytes(name, bytes);
        LogCapture log;
        ClipLoader clip;
        const Status r = clip.OpenClip(name);
        if (!r.ok()) {
            EXPECT_FALSE(r.message().empty()) << what << ": refused without a reason";
            EXPECT_FALSE(log.Lines().empty()) << what << ": refused without a word";
            return;
        }
        const Contents got = ReadAll(clip);
        if (mustTell && !(got == good)) {
            EXPECT_FALSE(log.Lines().empty()) << what << ": a partial clip without a word";
        }
    }
};

Corpus Prepare(const std::string& path, const ClipPlan& plan) {
    Corpus c;
    c.name = WriteClip(path, plan).at(0);
    c.original = ReadBytes(c.name);
    c.alignment = plan.spec.major == 5 ? plan.spec.alignmentExponent : 0;
    ClipLoader clip;
    EXPECT_TRUE(clip.OpenClip(c.name).ok());
    c.good = ReadAll(clip);
    EXPECT_EQ(c.good.frames.size(), size_t(plan.frames));
    for (const auto& f : c.good.frames) EXPECT_FALSE(f.empty());
    return c;
}

void PutBE32(std::vector<uint8_t>* b, uint64_t at, uint32_t v) {
    if (at + 4 <= b->size()) StoreBE32(b->data() + at, v);
}

void RunStructuredDamage(Corpus& c) {
    const auto& o = c.original;
    const auto atoms = Atoms(o, c.alignment);
    ASSERT_GT(atoms.size(), 4u);
    for (size_t i = 0; i < atoms.size(); ++i) {
        const AtomRef& a = atoms[i];
        const std::string at = TagText(a.tag) + " at " + std::to_string(a.position);
        // Truncated at the atom's start, inside its head, in its middle and just before its end.
        for (uint64_t cut : {a.position, a.position + 4, a.position + a.size / 2, a.position + a.size - 1}) {
            if (cut >= o.size()) continue;
            c.Check(std::vector<uint8_t>(o.begin(), o.begin() + std::ptrdiff_t(cut)),
                    "cut at " + std::to_string(cut) + " in " + at);
        }
        // Sizes that claim too much, nothing, less than a head, one byte more.
        for (uint32_t size : {0u, 4u, 0xFFFFFFFFu, uint32_t(a.size + 1), uint32_t(a.size - 1), uint32_t(o.size())}) {
            auto b = o;
            PutBE32(&b, a.position, size);
            c.Check(b, "size " + std::to_string(size) + " for " + at);
        }
        // A wrong identifier.
        auto b = o;
        PutBE32(&b, a.position + 4, MakeTag("ZZZZ"));
        c.Check(b, "wrong tag for " + at);
        // Garbage between atoms, shifting all behind it.
        b = o;
        const std::vector<uint8_t> junk(13, 0xA5);
        b.insert(b.begin() + std::ptrdiff_t(a.position), junk.begin(), junk.end());
        c.Check(b, "garbage in front of " + at);
    }
}

void RunRandomDamage(Corpus& c, uint32_t seed, int count) {
    std::mt19937 rng(seed);
    for (int i = 0; i < count; ++i) {
        auto b = c.original;
        const int flips = 1 + int(rng() % 6);
        for (int k = 0; k < flips; ++k) b[rng() % b.size()] = uint8_t(rng());
        c.Check(b, "random damage " + std::to_string(i), false);
    }
}

class R3DCorpusOfVersion : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override { SetLogToStderr(false); }
    void TearDown() override { SetLogToStderr(true); }
};

TEST_P(R3DCorpusOfVersion, ClipsSurviveDamage) {
    TempDir dir;
    const uint8_t major = uint8_t(GetParam());
    ClipPlan plan = RichPlan(major);
    plan.spec.frameMetadata.push_back(MetadataToken::String(kIdUserLocation, "On the hill"));
    if (major == 5) {
        plan.spec.videoTracks = 2;
        plan.spec.hdrKind = 3;
        plan.spec.auxTrack = true;
        plan.spec.firmwareRevision = 42254;
    }
    Corpus c = Prepare(dir / "clip.R3D", plan);
    RunStructuredDamage(c);
    RunRandomDamage(c, major, 250);
}

INSTANTIATE_TEST_SUITE_P(R3D, R3DCorpusOfVersion, ::testing::Values(3, 4, 5),
                         [](const auto& info) { return "Version" + std::to_string(info.param); });

}  // namespace
}  // namespace ombrel::r3d::test
