// The Final Cut 7 reader on documents in the shapes editors export: clips, files, ranges, log.
#include "editorial/FCPXml.h"
#include "editorial/XmlCases.h"

#include <gtest/gtest.h>

namespace ombrel {
namespace {

std::string Num(double v) { return fmt::format("{}", v); }

std::string Dump(const FCPXml& xml) {
    std::string out;
    for (const auto& c : xml.Clips()) {
        const auto parent = c->parentClip.lock();
        const auto snippet = c->GetPullSnippet();
        out += fmt::format("clip {} file={} in={} out={} dur={} fps={}{} video={} angle={}/{} InFrame={}", c->clipId,
                           c->fileId, Num(c->inFrame), Num(c->outFrame), Num(c->duration), Num(c->fps),
                           c->isNtsc ? " ntsc" : "", c->isVideo, c->isMulticlipAngle, c->multiclipAngleIsActive,
                           Num(c->InFrame()));
        if (c->hasTimeRemap)
            out += fmt::format(" remap {}{} {}..{} @{}", Num(c->timeRemapSpeed), c->timeRemapReverse ? " rev" : "",
                               Num(c->timeRemapIn), Num(c->timeRemapOut), Num(c->timeRemapOffset));
        if (parent) out += " parent=" + parent->clipId;
        out += snippet ? " pull " + snippet->DumpSummary() : " no pull";
        out += " [" + c->DumpSummary() + "]\n";
    }
    for (const auto& [id, f] : xml.Files()) {
        out += fmt::format("file {} {} {} dur={} fps={}{} tc={}/{}:", id, f.name(), f.sourcePath(), f.duration(),
                           Num(f.baseFps()), f.isNtsc() ? " ntsc" : "", f.timecode(), f.timecodeFrame());
        for (const FCPSnippet& s : f.GetSnippets()) out += " " + s.DumpSummary();
        out += "\n";
    }
    return out;
}

TEST(FcpXml, DocumentsGiveTheirClipsFilesAndRanges) {
    const std::string out = test::RunXmlCases("editorial/fcp-in.txt", "cut.xml", [](const auto& name, const auto& path) {
        FCPXml xml;
        xml.setR3dMode(name.find("[mov]") == std::string::npos);
        EXPECT_TRUE(xml.LoadFcpXml(path)) << xml.lastError();
        xml.TraverseTree();
        return Dump(xml);
    });
    EXPECT_TRUE(test::MatchesRef("editorial/fcp-out.txt", out));
}

}  // namespace
}  // namespace ombrel
