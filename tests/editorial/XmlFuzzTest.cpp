// Each XML reader on mutated documents: the reference documents of its tests, changed byte by
// byte or element by element, deterministically. Nothing may crash; run under the sanitizers
// with OMBREL_FUZZ_ROUNDS raised.
#include "editorial/AvidXML.h"
#include "editorial/FCPXml.h"
#include "editorial/FinalCutXXML.h"
#include "editorial/XmlCases.h"
#include "support/Mangle.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace ombrel {
namespace {

const char* const kValues[] = {"", "0", "-1", "1", "TRUE", "V1", "A1", "Cut", "99999999999999999999", "1e308",
                               "-1e308", "1/0s", "0/0s", "1001/24000s", "3600s", "NaN", "%zz", "file:///a%2",
                               "A001_C001_0101AB_001.R3D", "x.mov", "1.0", "timeremap", "graphdict"};

std::vector<pugi::xml_node> Elements(const pugi::xml_node& root) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node n = root; n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        out.push_back(n);
        const auto inner = Elements(n.first_child());
        out.insert(out.end(), inner.begin(), inner.end());
    }
    return out;
}

// Changes values, copies, moves and removes elements of a parsed document.
std::string MutateTree(const std::string& text, std::mt19937& rng) {
    pugi::xml_document doc;
    if (!doc.load_string(text.c_str(), pugi::parse_default | pugi::parse_ws_pcdata)) return text;
    for (int edits = 1 + rng() % 6; edits > 0; --edits) {
        std::vector<pugi::xml_node> all = Elements(doc.first_child());
        if (all.empty()) break;
        pugi::xml_node n = all[rng() % all.size()];
        pugi::xml_node to = all[rng() % all.size()];
        bool inside = false;  // `to` is `n` or under it
        for (pugi::xml_node p = to; p; p = p.parent()) inside = inside || p == n;
        const char* value = kValues[rng() % std::size(kValues)];
        switch (rng() % 6) {
            case 0: {
                std::vector<pugi::xml_attribute> attrs(n.attributes_begin(), n.attributes_end());
                if (!attrs.empty()) attrs[rng() % attrs.size()].set_value(value);
                break;
            }
            case 1: n.text().set(value); break;
            case 2:
                if (!inside) to.append_copy(n);
                break;
            case 3:
                if (n.parent() && n.parent() != doc) n.parent().remove_child(n);
                break;
            case 4:
                if (!inside) to.append_move(n);
                break;
            default: n.append_attribute(rng() % 2 ? "id" : "ref").set_value(value); break;
        }
    }
    std::ostringstream out;
    doc.save(out, "", pugi::format_raw | pugi::format_no_escapes);
    return out.str();
}

FinalCutXXML::MetaList Footage() {
    FinalCutXXML::MetaList metas;
    for (const char* name : {"A001_C001_0101AB_001.R3D", "A001_C002_0101AB_001.R3D", "B001_C003_0101AB_001.R3D"}) {
        metas.push_back(std::make_shared<R3DFileMeta>());
        metas.back()->setPath(std::string("/footage/") + name);
        metas.back()->setFrameCount(200);
        metas.back()->setFps(24);
        metas.back()->setFrameIn(86400);
    }
    return metas;
}

size_t ReadFcp(const std::string& path) {
    FCPXml xml;
    xml.setR3dMode(true);
    if (!xml.LoadFcpXml(path)) return 0;
    xml.TraverseTree();
    for (const auto& clip : xml.Clips()) clip->DumpSummary();
    return xml.ClipCount();
}

size_t ReadAvid(const std::string& path) {
    AvidXML avid;
    avid.setR3dMode(true);
    if (!avid.LoadAvidXml(path)) return 0;
    avid.TraverseTree();
    avid.MatchToFileList(Footage());
    for (const auto& clip : avid.ClipList()) clip->UpdateFile("/new/A001_C001_0101AB_001.R3D", "", "", 0, 24);
    return avid.ClipList().size();
}

size_t ReadFcpx(const std::string& path) {
    FinalCutXXML xml;
    xml.setR3dMode(true);
    if (!xml.LoadFCPXXml(path)) return 0;
    xml.TraverseTree();
    xml.MatchToFileList(Footage());
    return xml.ClipList().size();
}

TEST(XmlFuzz, MutatedDocumentsNeverCrashAReader) {
    const struct {
        const char* name;
        std::vector<std::string> seeds;
        size_t (*read)(const std::string&);
    } readers[] = {
        {"fcp", {"editorial/fcp-in.txt"}, ReadFcp},
        {"avid", {"editorial/avid-in.txt"}, ReadAvid},
        {"fcpx", {"editorial/fcpx-in.txt"}, ReadFcpx},
    };
    const int rounds = test::FuzzRounds(3000);
    test::TempDir dir;
    SetLogToStderr(false);
    for (const auto& reader : readers) {
        std::vector<std::string> seeds;
        for (const std::string& ref : reader.seeds)
            for (const auto& [name, document] : test::XmlCases(ref)) seeds.push_back(document);
        std::mt19937 rng(20261124);
        size_t clips = 0, loaded = 0;
        for (int round = 0; round < rounds; ++round) {
            const std::string& seed = seeds[rng() % seeds.size()];
            const std::string doc = rng() % 3 ? MutateTree(seed, rng) : test::Mangle(seed, rng);
            test::WriteWholeFile(dir / "doc.xml", doc);
            const size_t n = reader.read(dir / "doc.xml");
            clips += n;
            loaded += n > 0;
        }
        // Most mutations keep a readable document with clips in it.
        EXPECT_GT(loaded, static_cast<size_t>(rounds) / 5) << reader.name;
        std::printf("%s: %d rounds, %zu with clips, %zu clips\n", reader.name, rounds, loaded, clips);
    }
    SetLogToStderr(true);
}

}  // namespace
}  // namespace ombrel
