// The edit list reader: its grammar, the frame range of a clip in a file, matching to files.
#include "core/Log.h"
#include "editorial/FCPEdl.h"
#include "support/Mangle.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>
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

// Each case of grammar-in.txt ("=== name", then its rows; "\r" stands for a carriage return)
// parsed alone: its clips and every line it logs.
TEST(EdlGrammar, RowsMakeTheClipsOfTheirReference) {
    std::istringstream in(test::ReadWholeFile(test::RefPath("editorial/grammar-in.txt")));
    std::vector<std::pair<std::string, std::string>> cases;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("=== ", 0) == 0) {
            cases.emplace_back(line, "");
            continue;
        }
        for (size_t at; (at = line.find("\\r")) != std::string::npos;) line.replace(at, 2, "\r");
        cases.back().second += line + (line.empty() || line.back() != '\r' ? "\n" : "");
    }
    std::string out;
    for (const auto& [name, edl] : cases) {
        LogCapture log;
        const auto parsed = Parse(edl);
        out += name + "\n" + parsed->clips;
        for (const std::string& line : log.Lines()) out += "  log: " + line + "\n";
    }
    EXPECT_TRUE(test::MatchesRef("editorial/grammar-out.txt", out));
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
    // 25 rows to an edit number: no limit on the rows of one edit.
    for (int i = 0; i < 100000; ++i) big += "0" + std::to_string(i / 25 + 1) + "  AX V C" + kTc + "\n";
    test::WriteWholeFile(dir / "big.edl", big);
    ASSERT_TRUE(edl.LoadFcpEdl(dir / "big.edl"));
    edl.TraverseTree();
    EXPECT_EQ(edl.ClipCount(), 100000u);
}

std::shared_ptr<R3DFileMeta> R3D(const std::string& name, int32_t start, int32_t count, float fps = 24) {
    auto meta = std::make_shared<R3DFileMeta>();
    meta->setPath("/f/" + name);
    meta->setFps(fps);
    meta->setFrameIn(start);
    meta->setFrameOut(start + count);
    meta->setEdgeFrameOut(count);
    meta->setFrameCount(count);
    return meta;
}

// Random bytes and cut, spliced and repeated pieces of a real list: the reader must come
// through each without a fault (the sanitizer build makes a fault loud; OMBREL_FUZZ_ROUNDS
// sets how many).
TEST(EdlGrammar, MangledListsNeverBreakTheReader) {
    // The seeds: every list of both reference inputs, whole, each mangled in turn.
    std::vector<std::string> seeds;
    for (const char* ref : {"editorial/grammar-in.txt", "editorial/match-in.txt"}) {
        std::istringstream in(test::ReadWholeFile(test::RefPath(ref)));
        for (std::string line; std::getline(in, line);) {
            if (line.rfind("=== ", 0) == 0 || seeds.empty()) seeds.emplace_back();
            else seeds.back() += line + "\n";
        }
    }
    std::mt19937 rng(7);
    test::TempDir dir;
    const auto meta = R3D("A001_C001_0101AB_001.R3D", 86400, 100);
    for (int round = 0, rounds = test::FuzzRounds(600); round < rounds; ++round) {
        const std::string text = test::Mangle(seeds[round % seeds.size()], rng);
        test::WriteWholeFile(dir / "f.edl", text);
        FCPEdl edl;
        edl.setR3dMode(round % 2 == 0);
        if (!edl.LoadFcpEdl(dir / "f.edl")) continue;
        edl.TraverseTree();
        edl.MatchToFileList({meta});
    }
}

// Each case of match-in.txt: "=== name", "files: NAME START COUNT [FPS], ..." (R3D clips with
// edge code from 0), "mode: mov" for movie matching, then the rows. Out: each clip's range in
// its file, and each file's snippets.
TEST(EdlMatching, ClipsFindTheFilesAndRangesOfTheirReference) {
    std::istringstream in(test::ReadWholeFile(test::RefPath("editorial/match-in.txt")));
    std::string out, line;
    bool more = static_cast<bool>(std::getline(in, line));
    while (more) {
        std::string name = line, edl;
        FCPEdl::MetaList files;
        bool r3d = true;
        while ((more = static_cast<bool>(std::getline(in, line))) && line.rfind("=== ", 0) != 0) {
            if (line.rfind("files: ", 0) == 0) {
                std::istringstream list(line.substr(7));
                for (std::string entry; std::getline(list, entry, ',');) {
                    std::istringstream fields(entry);
                    std::string file;
                    int32_t start = 0, count = 0;
                    float fps = 24;
                    fields >> file >> start >> count >> fps;
                    files.push_back(R3D(file, start, count, fps));
                }
            } else if (line == "mode: mov") {
                r3d = false;
            } else {
                edl += line + "\n";
            }
        }
        auto parsed = Parse(edl);
        parsed->edl.setR3dMode(r3d);
        parsed->edl.MatchToFileList(files);
        out += name + "\n";
        for (const auto& c : parsed->edl.Clips())
            out += "  " + std::to_string(c->editNumber) + " " + c->BestReelId() + ": " +
                   (c->consolidated ? Fmt(c->frameIn) + "-" + Fmt(c->frameOut) + " in " + c->filePath.substr(3)
                                    : "unmatched") +
                   (c->usedEdgecode ? " by edge code" : "") + (c->isAttachment ? " attached" : "") + "\n";
        for (const auto& [path, file] : parsed->edl.Files()) {
            out += "  " + path.substr(3) + " (" + file.reference() + ", " + Fmt(file.baseFps()) +
                   (file.isNtsc() ? " NTSC" : "") + ", from " + std::to_string(file.timecodeFrame()) + "):";
            for (const FCPSnippet& snip : file.GetSnippets())
                out += " " + std::to_string(snip.inPoint()) + "-" + std::to_string(snip.outPoint());
            out += "\n";
        }
    }
    EXPECT_TRUE(test::MatchesRef("editorial/match-out.txt", out));
}

TEST(EdlMatching, MovieNamesPassThePrefixTestOutsideR3DMode) {
    FCPEdl edl;
    EXPECT_TRUE(edl.HasRedPrefix("TAKE.MOV"));
    edl.setR3dMode(true);
    EXPECT_FALSE(edl.HasRedPrefix("TAKE.MOV"));
    EXPECT_TRUE(edl.HasRedPrefix("a001_c001_0101AB"));
    EXPECT_FALSE(edl.HasRedPrefix("A001_B001_0101AB"));
}

}  // namespace
}  // namespace ombrel
