// Documents no editor writes: each reader refuses them with the loader's text, or reads what
// there is, and never crashes.
#include "editorial/AvidXML.h"
#include "editorial/FCPXml.h"
#include "editorial/FinalCutXXML.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <functional>

namespace ombrel {
namespace {

// Loads and walks; answers the error text, empty when the document loaded.
using Reader = std::function<std::string(const std::string& path)>;

std::string ReadFcp(const std::string& path) {
    FCPXml xml;
    if (!xml.LoadFcpXml(path)) return xml.lastError();
    xml.TraverseTree();
    return {};
}

std::string ReadAvid(const std::string& path) {
    AvidXML avid;
    if (!avid.LoadAvidXml(path)) return avid.lastError();
    avid.TraverseTree();
    return {};
}

std::string ReadFcpx(const std::string& path) {
    FinalCutXXML xml;
    if (!xml.LoadFCPXXml(path)) return xml.lastError();
    xml.TraverseTree();
    return {};
}

struct Named {
    const char* kind;
    Reader read;
};
const Named kReaders[] = {{"Final Cut XML", ReadFcp}, {"Avid XML", ReadAvid}, {"FCPX XML", ReadFcpx}};

TEST(XmlBad, RefusedDocumentsEndInTheLoadersText) {
    test::TempDir dir;
    const auto nested = [](int levels, bool closed) {
        std::string s;
        for (int i = 0; i < levels; ++i) s += "<a>";
        for (int i = 0; closed && i < levels; ++i) s += "</a>";
        return s;
    };
    const struct {
        const char* name;
        std::string document;
        const char* why;  // in the error text
    } cases[] = {
        {"not XML", "TITLE: an edit list\n001 R1 V C", "No document element"},
        {"empty", "", "No document element"},
        {"truncated", "<xmeml version=\"5\"><sequence id=\"s\"><media>", "Start-end tags mismatch"},
        {"binary", std::string("\0\x01\xff<a>", 6), "line 1"},
        {"unclosed deep nesting", nested(100000, false), "Start-end tags mismatch"},
        {"deep nesting", nested(300, true), "nested deeper than"},
    };
    for (const Named& reader : kReaders) {
        for (const auto& c : cases) {
            test::WriteWholeFile(dir / "doc.xml", c.document);
            const std::string error = reader.read(dir / "doc.xml");
            EXPECT_EQ(error.rfind(std::string("Error Parsing ") + reader.kind + " at " + (dir / "doc.xml") + "\nERror:", 0),
                      0u)
                << reader.kind << ": " << c.name << ": " << error;
            EXPECT_NE(error.find(c.why), std::string::npos) << reader.kind << ": " << c.name << ": " << error;
        }
        EXPECT_NE(reader.read(dir / "missing.xml"), "") << reader.kind;
    }
}

}  // namespace
}  // namespace ombrel
