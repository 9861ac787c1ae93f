// The edit list reader: its grammar, the frame range of a clip in a file, matching to files.
#include "core/Log.h"
#include "editorial/FCPEdl.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace ombrel {
namespace {

std::string Fmt(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

// One clip as a line: the fields the grammar sets.
std::string Describe(const FCPEdlClip& c) {
    std::string s = std::to_string(c.editNumber) + " " + c.reelId + " [" + c.BestReelId() + "] " + c.tcIn + "-" +
                    c.tcOut + " " + c.timelineIn + "-" + c.timelineOut;
    if (c.isTransition) s += " T" + Fmt(c.transDurationIn) + "/" + Fmt(c.transDurationOut);
    if (c.m2Used) s += " M2 " + Fmt(c.m2FrameRate) + "@" + c.m2Timecode;
    if (c.useNextClipFPS) s += " next " + Fmt(c.nextClipFPS);
    return s;
}

struct Parsed {
    FCPEdl edl;
    std::string clips;  // Describe of each clip, one a line
};

std::unique_ptr<Parsed> Parse(const std::string& text) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "cut.edl", text);
    auto out = std::make_unique<Parsed>();
    EXPECT_TRUE(out->edl.LoadFcpEdl(dir / "cut.edl"));
    out->edl.TraverseTree();
    for (const auto& clip : out->edl.Clips()) out->clips += Describe(*clip) + "\n";
    return out;
}

const std::string kTc = " 01:00:00:00 01:00:01:00 00:00:00:00 00:00:01:00";

struct GrammarCase {
    const char* name;
    std::string edl;
    std::string clips;
    std::string logged;  // a line the system log must hold, if any
};

TEST(EdlGrammar, RowsMakeTheClipsOfTheirReference) {
    const std::string tc = kTc;
    const std::string clip1 = "1 R1 [R1] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00";
    const std::vector<GrammarCase> cases = {
        {"title and mode", "TITLE: my cut\nFCM: NON-DROP FRAME\n001  R1 V     C       " + tc + "\n", clip1 + "\n",
         "Title =  my cut"},
        {"edit 0", "000  R1 V C" + tc, "", "Unused row\n000  R1 V C" + tc},
        {"edit 10000", "10000  R1 V C" + tc, "", "Unused row\n10000  R1 V C" + tc},
        {"no timecode, no word", "001  R1 V C a b c d e", "", ""},
        {"drop-frame timecodes", "001  R1 V C 01:00:00;00 01:00:01;00 00:00:00;00 00:00:01;00", "", ""},
        {"last timecode before part 5", "001 R1 V 01:00:00:00 x y", "", ""},
        {"CR-only file is one row", "TITLE: x\r001  R1 V C" + tc + "\r", "", "Title =  x\r001  R1 V C" + tc},
        {"audio only", "001  R1 A C" + tc + "\n* FROM CLIP NAME: a.mov", "", "FROM CLIP NAME for R1 set to a.mov"},
        {"NONE track", "001  R1 NONE C" + tc, clip1 + "\n", ""},
        {"B and K tracks", "001  R1 B C" + tc + "\n002  R2 K C" + tc,
         clip1 + "\n2 R2 [R2] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00\n", ""},
        {"black stays", "001  BL V C" + tc, "1 BL [BL] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00\n", ""},
        {"from and to", "001  R1 V C" + tc + "\n001  R2 V D 024" + tc + "\n* FROM CLIP NAME:  a.mov \n" +
                            "* TO CLIP NAME: b.mov",
         "1 R1 [a.mov] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00 T0/24\n"
         "1 R2 [b.mov] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00 T24/0\n",
         "TO CLIP NAME for R2 set to b.mov"},
        {"orphaned comments", "* FROM CLIP NAME: a\n* TO CLIP NAME: b", "", "!! Orphaned TO CLIP NAME"},
        {"not comments", "001  R1 V C" + tc + "\n*FROM CLIP NAME: a\nFROM CLIP NAME: b", clip1 + "\n", ""},
        {"M2 applies", "001  R1 V C" + tc + "\nM2   R1       048.0                01:00:00:00",
         clip1 + " M2 48@01:00:00:00\n", ""},
        {"M2 with one blank", "001  R1 V C" + tc + "\nM2 R1 048.0 01:00:00:00", clip1 + "\n", ""},
        {"M2 wrong parts", "001  R1 V C" + tc + "\nM2  R1 048.0", clip1 + "\n", "!! Orphaned M2"},
        {"M2 position moves on", "001  R1 V C" + tc + "\n001  R1 V D 012" + tc + "\nM2  R1 -24 01:00:00:00\n" +
                                     "M2  R1 48 01:00:00:00\nM2  R1 12 01:00:00:00",
         clip1 + " T0/12 M2 -24@01:00:00:00 next 48\n"
                 "1 R1 [R1] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00 T12/0 M2 48@01:00:00:00\n",
         ""},
        {"final cut reel", "001  A001C001 V C" + tc + "\nFINAL CUT PRO REEL: A001_C001_0101AB REPLACED BY: A001C001",
         "1 A001C001 [A001_C001_0101AB] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00\n", ""},
        {"final cut reel, three parts", "001  R1 V C" + tc + "\nFINAL CUT PRO REEL: a b REPLACED BY: R1",
         clip1 + "\n", "FINAL CUT PRO REEL replacement had too many parts"},
        {"DLEDL reaches flushed clips", "001  R1 V C" + tc + "\n002  R2 V C" + tc + "\nDLEDL: REEL: R1 long_1",
         "1 R1 [long_1] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00\n"
         "2 R2 [R2] 01:00:00:00-01:00:01:00 00:00:00:00-00:00:01:00\n",
         ""},
    };
    for (const GrammarCase& c : cases) {
        LogCapture log;
        const auto parsed = Parse(c.edl);
        EXPECT_EQ(parsed->clips, c.clips) << c.name;
        if (!c.logged.empty()) {
            EXPECT_TRUE(log.Contains(c.logged)) << c.name;
        }
    }
}

TEST(EdlGrammar, AnEditKeepsEveryRowAndLogsEachClip) {
    std::string edl;
    for (int i = 0; i < 25; ++i) edl += "007  R" + std::to_string(i) + " V C" + kTc + "\n";
    LogCapture log;
    EXPECT_EQ(Parse(edl)->edl.ClipCount(), 25u);
    EXPECT_TRUE(log.Contains("7 R24, 01:00:00:00 - 01:00:01:00"));
}

TEST(EdlGrammar, BadFilesAreRefusedOrMakeNoEdits) {
    test::TempDir dir;
    FCPEdl edl;
    EXPECT_FALSE(edl.LoadFcpEdl(dir / "missing.edl"));
    test::WriteWholeFile(dir / "latin1.edl", "001  R\xe9 V C" + kTc);
    EXPECT_FALSE(edl.LoadFcpEdl(dir / "latin1.edl"));
    EXPECT_NE(edl.lastError().find("UTF-8"), std::string::npos);
    test::WriteWholeFile(dir / "surrogate.edl", "\xed\xa0\x80");
    EXPECT_FALSE(edl.LoadFcpEdl(dir / "surrogate.edl"));
    for (const std::string& text : {std::string(), std::string("\0\0\0\n\0", 5)}) {
        test::WriteWholeFile(dir / "few.edl", text);
        ASSERT_TRUE(edl.LoadFcpEdl(dir / "few.edl"));
        edl.TraverseTree();
        EXPECT_EQ(edl.ClipCount(), 0u);
    }
    std::string big;
    for (int i = 0; i < 100000; ++i) big += "0" + std::to_string(i % 9000 + 1) + "  AX V C" + kTc + "\n";
    test::WriteWholeFile(dir / "big.edl", big);
    ASSERT_TRUE(edl.LoadFcpEdl(dir / "big.edl"));
    edl.TraverseTree();
    EXPECT_EQ(edl.ClipCount(), 100000u);
}

// Random bytes and cut, spliced and repeated pieces of a real list: the reader must come
// through each without a fault (the sanitizer build makes a fault loud).
TEST(EdlGrammar, MangledListsNeverBreakTheReader) {
    const std::string seed = "TITLE: t\n001  A001_C001_0101AB V     C        " + kTc.substr(1) +
                             "\n002  R2 V D 024" + kTc + "\nM2   R2       -24.0                01:00:00:00\n"
                             "* FROM CLIP NAME: a.mov\n* TO CLIP NAME: b\nFINAL CUT PRO REEL: a REPLACED BY: R2\n"
                             "DLEDL: REEL: R2 x\n";
    std::mt19937 rng(7);
    test::TempDir dir;
    const auto meta = std::make_shared<R3DFileMeta>();
    meta->setPath("/f/A001_C001_0101AB_001.R3D");
    meta->setFps(24);
    meta->setFrameIn(86400);
    meta->setFrameOut(86500);
    meta->setEdgeFrameOut(100);
    for (int round = 0; round < 600; ++round) {
        std::string text = seed;
        for (int edits = rng() % 8; edits >= 0; --edits) {
            const size_t at = rng() % (text.size() + 1);
            switch (rng() % 4) {
                case 0: text.insert(at, 1, static_cast<char>(rng() % 128)); break;
                case 1: text.erase(at, rng() % 12); break;
                case 2: text.insert(at, text.substr(rng() % text.size(), rng() % 40)); break;
                default: text.insert(at, rng() % 3 ? " " : "\n"); break;
            }
        }
        test::WriteWholeFile(dir / "f.edl", text);
        FCPEdl edl;
        edl.setR3dMode(round % 2 == 0);
        if (!edl.LoadFcpEdl(dir / "f.edl")) continue;
        edl.TraverseTree();
        edl.MatchToFileList({meta});
    }
}

std::shared_ptr<R3DFileMeta> R3D(const std::string& name, int32_t start, int32_t count, float fps = 24) {
    auto meta = std::make_shared<R3DFileMeta>();
    meta->setPath("/f/" + name);
    meta->setFps(fps);
    meta->setFrameIn(start);
    meta->setFrameOut(start + count);
    meta->setEdgeFrameIn(0);
    meta->setEdgeFrameOut(count);
    meta->setFrameCount(count);
    return meta;
}

struct RangeCase {
    const char* name;
    const char* tcIn;
    const char* tcOut;
    bool m2Used;
    double m2;
    double dissolve;
    bool fits;
    double in, out;
    bool edge;
};

// A file of 100 frames from 01:00:00:00 at 24 frames a second, edge code from 0.
TEST(EdlRanges, ClipsFitTheirFrameRanges) {
    const std::vector<RangeCase> cases = {
        {"plain", "01:00:00:10", "01:00:00:20", false, 0, 0, true, 10, 20, false},
        {"to the file end", "01:00:00:10", "01:00:04:04", false, 0, 0, true, 10, 100, false},
        {"past the end", "01:00:00:10", "01:00:04:05", false, 0, 0, false, 0, 0, false},
        {"before the start", "00:59:59:23", "01:00:00:05", false, 0, 0, false, 0, 0, false},
        {"by edge code", "00:00:00:10", "00:00:00:20", false, 0, 0, true, 10, 20, true},
        {"double speed", "01:00:00:10", "01:00:00:20", true, 48, 0, true, 10, 30, false},
        {"speed 1.5 rounds out", "01:00:00:10", "01:00:00:21", true, 36, 0, true, 10, 27, false},
        {"reverse", "01:00:00:10", "01:00:00:20", true, -24, 0, true, 10, 0, false},
        {"reverse dissolve", "01:00:00:10", "01:00:00:20", true, -24, 4, true, 10, 4, false},
        {"speed 0", "01:00:00:10", "01:00:00:20", true, 0, 0, true, 10, 10, false},
        {"dissolve", "01:00:00:10", "01:00:00:20", false, 0, 24, true, 10, 44, false},
        {"dissolve past the end", "01:00:00:10", "01:00:04:00", false, 0, 24, false, 0, 0, false},
    };
    for (const RangeCase& c : cases) {
        FCPEdlClip clip;
        clip.isVideoClip = true;
        clip.tcIn = c.tcIn;
        clip.tcOut = c.tcOut;
        clip.m2Used = c.m2Used;
        clip.m2FrameRate = c.m2;
        clip.transDurationOut = c.dissolve;
        const auto meta = R3D("A001_C001_0101AB_001.R3D", 86400, 100);
        EXPECT_EQ(clip.ConsilidateWithFile(meta, false), c.fits) << c.name;
        EXPECT_EQ(clip.consolidated, c.fits) << c.name;
        EXPECT_EQ(clip.frameIn, c.in) << c.name;
        EXPECT_EQ(clip.frameOut, c.out) << c.name;
        EXPECT_EQ(clip.usedEdgecode, c.edge) << c.name;
        EXPECT_EQ(clip.meta == meta, c.fits) << c.name;
    }
}

TEST(EdlRanges, AudioNeverFitsAndAZeroRateFitsNowhere) {
    FCPEdlClip clip;
    clip.tcIn = "01:00:00:10";
    clip.tcOut = "01:00:00:20";
    EXPECT_FALSE(clip.ConsilidateWithFile(R3D("A001_C001_0101AB_001.R3D", 86400, 100), false));
    clip.isVideoClip = true;
    clip.m2Used = true;
    clip.m2FrameRate = 24;
    EXPECT_FALSE(clip.ConsilidateWithFile(R3D("A001_C001_0101AB_001.R3D", 0, 100, 0), false));
}

std::string Ranges(const FCPEdl& edl) {
    std::string s;
    for (const auto& [path, file] : edl.Files()) {
        s += path.substr(3) + ":";
        for (const FCPSnippet& snip : file.GetSnippets())
            s += " " + std::to_string(snip.inPoint()) + "-" + std::to_string(snip.outPoint());
        s += "\n";
    }
    return s;
}

TEST(EdlMatching, R3DClipsFindTheirFilesByPrefixOrShortForm) {
    const std::string tc1 = " 01:00:00:10 01:00:00:20 00:00:00:00 00:00:00:10";
    const std::string tc2 = " 02:00:00:00 02:00:00:12 00:00:00:10 00:00:00:22";
    auto parsed = Parse("001  A001_C001_0101AB_x V C" + tc1 + "\n002  A001_C001_0101AB_y V C" + tc2 +
                        "\n003  SC010_203B V C" + tc1 + "\n004  A002_C001 V C" + tc1 + "\n005  BL V C" + tc1 +
                        "\n006  A009_C009_0101AB V C" + tc1 + "\n");
    parsed->edl.setR3dMode(true);
    // The first A001 file holds only the first clip's frames; the short form makes both SC010 reels one key.
    parsed->edl.MatchToFileList({R3D("A001_C001_0101AB_001.R3D", 86400, 100), R3D("A001_C001_0101AB_002.R3D", 172800, 50),
                                 R3D("SC010_203A_001.R3D", 86400, 100), R3D("SC010_203B_001.R3D", 86400, 100),
                                 R3D("A002_C001_0101AB_001.R3D", 86400, 5), R3D("A002C0010_x.R3D", 86400, 30)});
    EXPECT_EQ(Ranges(parsed->edl),
              "A001_C001_0101AB_001.R3D: 10-20\nA001_C001_0101AB_002.R3D: 0-12\n"
              "A002C0010_x.R3D: 10-20\nSC010_203A_001.R3D: 10-20\n");
    const auto& clips = parsed->edl.Clips();
    EXPECT_FALSE(clips[4]->consolidated);  // black
    EXPECT_FALSE(clips[5]->consolidated);  // no such file
}

TEST(EdlMatching, AZeroLengthClipBetweenTransitionsJoinsTheClipBefore) {
    auto parsed = Parse("001  R0 V C" + kTc + "\n" +
                        "001  A001_C001_0101AB V D 005 01:00:00:10 01:00:00:20 00:00:00:00 00:00:00:10\n"
                        "002  A001_C001_0101AB V C 01:00:00:30 01:00:00:30 00:00:00:10 00:00:00:10\n"
                        "002  R2 V D 010" + kTc + "\n");
    parsed->edl.setR3dMode(true);
    parsed->edl.MatchToFileList({R3D("A001_C001_0101AB_001.R3D", 86400, 100)});
    const auto& clips = parsed->edl.Clips();
    ASSERT_EQ(clips.size(), 4u);
    EXPECT_TRUE(clips[2]->isAttachment);
    EXPECT_EQ(clips[1]->attachment, clips[2]);
    // The zero-length clip carries the next dissolve's 10 frames into the clip before.
    EXPECT_EQ(Ranges(parsed->edl), "A001_C001_0101AB_001.R3D: 10-40\n");
}

TEST(EdlMatching, MoviesMatchByWholeNameAndMovieNamesPassThePrefixTest) {
    auto parsed = Parse("001  R1 V C 00:00:00:02 00:00:00:05 00:00:00:00 00:00:00:03\n"
                        "* FROM CLIP NAME: take.mov\n");
    const auto other = R3D("take.mov.bak", 0, 10);
    const auto movie = R3D("take.mov", 0, 10);
    parsed->edl.MatchToFileList({other, movie});
    EXPECT_EQ(Ranges(parsed->edl), "take.mov: 2-5\n");
    const FCPFile& file = parsed->edl.Files().begin()->second;
    EXPECT_EQ(file.reference(), "take.mov");
    EXPECT_TRUE(parsed->edl.HasRedPrefix("TAKE.MOV"));
    parsed->edl.setR3dMode(true);
    EXPECT_FALSE(parsed->edl.HasRedPrefix("TAKE.MOV"));
    EXPECT_TRUE(parsed->edl.HasRedPrefix("a001_c001_0101AB"));
    EXPECT_FALSE(parsed->edl.HasRedPrefix("A001_B001_0101AB"));
}

TEST(EdlMatching, NtscFilesRoundTheirRateUp) {
    FCPEdl edl;
    auto meta = R3D("A001_C001_0101AB_001.R3D", 86400, 10, 23.976f);
    meta->setTimecodeIn("01:00:00:00");
    edl.AddFileForMeta(*meta);
    meta->setFps(30);
    edl.AddFileForMeta(*meta);  // known path: left as it was
    const FCPFile& file = edl.Files().at(meta->path());
    EXPECT_EQ(file.baseFps(), 24.0f);
    EXPECT_TRUE(file.isNtsc());
    EXPECT_EQ(file.timecodeFrame(), 86400);
    EXPECT_EQ(file.name(), "A001_C001_0101AB_001.R3D");
}

}  // namespace
}  // namespace ombrel
