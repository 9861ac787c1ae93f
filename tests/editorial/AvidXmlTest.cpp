// The FilmScribe reader on cut lists in the shapes editors export, and its relink writer.
#include "editorial/AvidXML.h"
#include "editorial/XmlCases.h"

#include <gtest/gtest.h>

namespace ombrel {
namespace {

TEST(AvidXml, CutListsGiveTheirClips) {
    const std::string out = test::RunXmlCases("editorial/avid-in.txt", "cut.xml", [](const auto& name, const auto& path) {
        AvidXML avid;
        avid.setR3dMode(name.find("[mov]") == std::string::npos);
        EXPECT_TRUE(avid.LoadAvidXml(path)) << avid.lastError();
        std::string dump = avid.TraverseTree() ? "walked\n" : "walk failed\n";
        for (const auto& c : avid.ClipList())
            dump += fmt::format("{} frames {}-{} first {}-{} tc {}-{} | {}\n", c->clipNode.name(), c->timecodeIn,
                                c->timecodeOut, c->originalTcIn, c->originalTcOut, c->originalTcInString.value_or("-"),
                                c->originalTcOutString.value_or("-"), c->Description());
        return dump;
    });
    EXPECT_TRUE(test::MatchesRef("editorial/avid-out.txt", out));
}

// Element paths and texts, blanks between elements left out.
std::string Flatten(const pugi::xml_node& node, const std::string& path = "") {
    std::string out;
    for (const pugi::xml_node& child : node.children()) {
        const std::string here = path + "/" + child.name();
        if (child.type() == pugi::node_pcdata) {
            if (std::string(child.value()).find_first_not_of(" \t\r\n") != std::string::npos)
                out += path + " = " + child.value() + "\n";
            continue;
        }
        for (const pugi::xml_attribute& a : child.attributes()) out += here + " @" + a.name() + "=" + a.value() + "\n";
        out += Flatten(child, here);
    }
    return out;
}

TEST(AvidXml, TheRelinkCopyChangesOnlyTheClipNames) {
    test::TempDir dir;
    const std::string input = dir / "cut.xml";
    test::WriteWholeFile(input, test::XmlCases("editorial/avid-in.txt").front().second);
    AvidXML avid;
    avid.setR3dMode(true);
    ASSERT_TRUE(avid.LoadAvidXml(input));
    avid.TraverseTree();
    LogCapture log;
    avid.ClipList().at(1)->UpdateFile("/new/place/A002_C007_0102CD_001.R3D", "02:00:00:05", "02:00:00:26", 5, 24);
    EXPECT_TRUE(log.Contains("AvidXML: Updating file node /new/place/A002_C007_0102CD_001.R3D 02:00:00:05 "
                             "02:00:00:26 5 24.000000"));
    ASSERT_EQ(avid.WriteAvidXml(), "");
    pugi::xml_document before, after;
    ASSERT_TRUE(before.load_file(input.c_str()));
    ASSERT_TRUE(after.load_file((dir / "cut_for_relink.xml").c_str()));
    std::string was = Flatten(before), now = Flatten(after);
    const std::string from = "Source/ClipName = Interview wide", to = "Source/ClipName = A002_C007_0102CD_001.R3D";
    ASSERT_NE(was.find(from), std::string::npos);
    EXPECT_EQ(was.replace(was.find(from), from.size(), to), now);
    // A second copy does not replace the first.
    EXPECT_NE(avid.WriteAvidXml(), "");
}

}  // namespace
}  // namespace ombrel
