// The Final Cut X reader on documents in the shapes editors export: resources, clips, names,
// frame ranges, and its relink copy.
#include "editorial/FinalCutXXML.h"
#include "editorial/XmlCases.h"

#include <gtest/gtest.h>

namespace ombrel {
namespace {

std::string Id(const FCPXResource* r) { return r ? r->resourceId : "-"; }

std::string Dump(FinalCutXXML& xml) {
    static const char* const kKinds[] = {"asset", "format", "compound", "multicam"};
    std::string out;
    for (const auto& [id, r] : xml.resourceList()) out += "resource " + id + " " + kKinds[int(r->kind())] + "\n";
    for (const auto& c : xml.ClipList()) {
        std::vector<std::string> names;
        c->GetR3dPrefixList(names);
        out += fmt::format("{} '{}' format={} asset={} angle={} DF={} map={} pull {} names", c->kind, c->nameString,
                           Id(c->format), Id(c->asset), c->angleId, c->isDropFrame, c->timePoints.size(),
                           c->GetPullSnippet().DumpSummary());
        for (const std::string& n : names) out += " " + n;
        out += "\n";
    }
    // Footage of three R3D clips of 200 frames each.
    FinalCutXXML::MetaList metas;
    for (const char* name : {"A001_C001_0101AB_001.R3D", "A001_C002_0101AB_001.R3D", "B001_C003_0101AB_001.R3D"}) {
        metas.push_back(std::make_shared<R3DFileMeta>());
        metas.back()->setPath(std::string("/footage/") + name);
        metas.back()->setFrameCount(200);
        metas.back()->setFps(24);
    }
    xml.MatchToFileList(metas);
    for (const auto& c : xml.ClipList()) {
        out += "'" + c->nameString + "' matched";
        for (const auto& [key, meta] : c->metaDict) out += " " + key;
        out += "\n";
    }
    for (const auto& [path, f] : xml.Files()) {
        out += "file " + path + ":";
        for (const FCPSnippet& s : f.GetSnippets()) out += " " + s.DumpSummary();
        out += "\n";
    }
    return out;
}

TEST(FcpxXml, DocumentsGiveTheirClipsNamesAndRanges) {
    const std::string out = test::RunXmlCases("editorial/fcpx-in.txt", "cut.fcpxml", [](const auto&, const auto& path) {
        FinalCutXXML xml;
        xml.setR3dMode(true);
        EXPECT_TRUE(xml.LoadFCPXXml(path)) << xml.lastError();
        xml.TraverseTree();
        return Dump(xml);
    });
    EXPECT_TRUE(test::MatchesRef("editorial/fcpx-out.txt", out));
}

TEST(FcpxXml, TimesParseAsTheFormatCountsThem) {
    const struct {
        const char* text;
        uint64_t d;
        bool convert;
        uint64_t num, den;
    } cases[] = {
        {"1001/24000s", 24000, false, 1001, 24000}, {"10s", 24000, true, 240000, 24000},
        {"10s", 0, true, 250000, 25000},            {"1/2s", 24000, true, 12000, 24000},
        {"1/3s", 24000, false, 1, 3},               {"", 30, true, 0, 30},
        {"-5s", 24, true, 0, 24},                   {"99999999999999999999s", 24000, true, UINT64_MAX, 24000},
        {"7/0s", 24, true, 0, 24},
    };
    for (const auto& c : cases) {
        const FcpxTime t = FinalCutXXMLClip::ConvertString(c.text, c.d, c.convert);
        EXPECT_EQ(t.num, c.num) << c.text;
        EXPECT_EQ(t.den, c.den) << c.text;
    }
}

TEST(FcpxXml, TheRelinkCopyKeepsTheDocumentAsWritten) {
    test::TempDir dir;
    const std::string input = dir / "cut.fcpxml";
    test::WriteWholeFile(input, test::XmlCases("editorial/fcpx-in.txt").front().second);
    FinalCutXXML xml;
    ASSERT_TRUE(xml.LoadFCPXXml(input));
    ASSERT_EQ(xml.WriteFCPXXml(), "");
    const std::string copy = test::ReadWholeFile(dir / "cut_for_relink.xml");
    EXPECT_NE(copy.find("name=\"Shot 2 &amp; more\""), std::string::npos);
    FinalCutXXML again;
    ASSERT_TRUE(again.LoadFCPXXml(dir / "cut_for_relink.xml"));
    again.TraverseTree();
    xml.TraverseTree();
    ASSERT_EQ(again.ClipList().size(), xml.ClipList().size());
    EXPECT_EQ(again.ClipList()[1]->nameString, "Shot 2 &amp; more");
    EXPECT_NE(xml.WriteFCPXXml(), "");  // the first copy stays
}

}  // namespace
}  // namespace ombrel
