#include "ConformCommand.h"
#include "Json.h"
#include "Signals.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>

#include "RenderCommand.h"
#include "core/Log.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "editorial/EdlGuiController.h"

namespace ombrel::cli {
namespace {


struct TypeInfo {
    const char* name;
    int tag;
    const char* title;
};
constexpr TypeInfo kTypes[] = {{"fcp", kTagFcpXml, "Final Cut XML"},
                               {"edl", kTagEdl, "EDL"},
                               {"avid", kTagAvid, "Avid Filmscribe"},
                               {"fcpx", kTagFcpxXml, "FCP-X XML"}};

const TypeInfo* TypeNamed(const std::string& name) {
    for (const TypeInfo& t : kTypes)
        if (name == t.name) return &t;
    return nullptr;
}

std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// By extension, else by the XML root element; anything else is read as an edit list.
const TypeInfo& TypeOfFile(const std::string& path) {
    const std::string ext = Lower(PathExtension(path));
    if (ext == "edl") return *TypeNamed("edl");
    if (ext == "fcpxml") return *TypeNamed("fcpx");
    std::ifstream in(path, std::ios::binary);
    std::string head(4096, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    for (size_t at = head.find('<'); at != std::string::npos; at = head.find('<', at + 1)) {
        const char next = at + 1 < head.size() ? head[at + 1] : '\0';
        if (next == '?' || next == '!') continue;
        size_t end = at + 1;
        while (end < head.size() && (std::isalnum(static_cast<unsigned char>(head[end])) || head[end] == ':')) ++end;
        const std::string root = head.substr(at + 1, end - at - 1);
        if (root == "xmeml") return *TypeNamed("fcp");
        if (root == "fcpxml") return *TypeNamed("fcpx");
        if (root == "FilmScribeFile") return *TypeNamed("avid");
        break;
    }
    return *TypeNamed("edl");
}

std::string Json(const std::string& s) { return JsonString(s); }
std::string Json(double v) { return std::isfinite(v) ? fmt::format("{}", v) : "null"; }
std::string Json(bool v) { return v ? "true" : "false"; }
std::string Json(int64_t v) { return std::to_string(v); }
std::string Json(int v) { return std::to_string(v); }

// Fields of one JSON object, in the order given.
class Object {
public:
    template <typename T>
    Object& add(const char* key, const T& value) {
        return raw(key, Json(value));
    }
    Object& raw(const char* key, const std::string& json) {
        text_ += (text_.empty() ? "{" : ", ") + Json(std::string(key)) + ": " + json;
        return *this;
    }
    std::string str() const { return text_.empty() ? "{}" : text_ + "}"; }

private:
    std::string text_;
};

std::string ClipJson(const FCPEdlClip& c) {
    Object o;
    o.add("editNumber", c.editNumber).add("entryPosition", c.entryPosition).add("reelId", c.reelId);
    o.add("replacementClip", c.replacementClip).add("fcpClip", c.fcpClip).add("bestReelId", c.BestReelId());
    o.add("isVideoClip", c.isVideoClip).add("isTransition", c.isTransition).add("frameRate", c.frameRate);
    o.add("m2FrameRate", c.m2FrameRate).add("transDurationIn", c.transDurationIn).add("nextClipFPS", c.nextClipFPS);
    o.add("useNextClipFPS", c.useNextClipFPS).add("transDurationOut", c.transDurationOut).add("m2Reel", c.m2Reel);
    o.add("m2Timecode", c.m2Timecode).add("m2Used", c.m2Used).add("tcIn", c.tcIn).add("tcOut", c.tcOut);
    o.add("timelineIn", c.timelineIn).add("timelineOut", c.timelineOut).add("frameIn", c.frameIn);
    o.add("frameOut", c.frameOut).add("timeRemapFrameIn", c.timeRemapFrameIn);
    o.add("timeRemapFrameOut", c.timeRemapFrameOut).add("editType", c.editType).add("consolidated", c.consolidated);
    o.add("isAttachment", c.isAttachment).add("hasAttachment", c.attachment != nullptr);
    o.add("originalText", c.originalText).add("filePath", c.filePath).add("usedEdgecode", c.usedEdgecode);
    return o.str();
}

std::string FcpClipJson(const FCPClip& c) {
    const std::string summary = c.DumpSummary();
    const std::shared_ptr<FCPClip> parent = c.parentClip.lock();
    Object o;
    o.add("clipId", c.clipId).add("masterClipId", c.masterClipId).add("subClipMasterId", c.subClipMasterId);
    o.add("fileId", c.fileId).add("inFrame", c.inFrame).add("outFrame", c.outFrame).add("startOffset", c.startOffset);
    o.add("endOffset", c.endOffset).add("duration", c.duration).add("isNtsc", c.isNtsc).add("fps", c.fps);
    o.add("hasTimeRemap", c.hasTimeRemap).add("timeRemapReverse", c.timeRemapReverse);
    o.add("timeRemapSpeed", c.timeRemapSpeed).add("timeRemapIn", c.timeRemapIn).add("timeRemapOut", c.timeRemapOut);
    o.add("timeRemapOffset", c.timeRemapOffset).add("mediaDelay", c.mediaDelay);
    o.raw("parentClip", parent ? Json(parent->clipId) : "null").add("isVideo", c.isVideo);
    o.add("isMulticlipAngle", c.isMulticlipAngle).add("multiclipAngleIsActive", c.multiclipAngleIsActive);
    o.raw("summary", summary.empty() ? "null" : Json(summary));
    return o.str();
}

std::string AvidClipJson(const AvidXMLClip& c) {
    const auto text = [](const std::optional<std::string>& s) { return s ? Json(*s) : std::string("null"); };
    Object o;
    o.add("R3dPrefix", c.R3dPrefix()).add("timecodeIn", c.timecodeIn).add("timecodeOut", c.timecodeOut);
    o.add("originalTcIn", c.originalTcIn).add("originalTcOut", c.originalTcOut);
    o.raw("originalTcInString", text(c.originalTcInString)).raw("originalTcOutString", text(c.originalTcOutString));
    o.add("originalTcStartString", c.originalTcStartString).add("originalTcEndString", c.originalTcEndString);
    o.add("fps", double{c.Fps()}).raw("meta", c.meta ? Json(c.meta->path()) : "null");
    return o.str();
}

std::string FcpxClipJson(const FinalCutXXMLClip& c) {
    std::vector<std::string> names;
    c.GetR3dPrefixList(names);
    std::string list, metas;
    for (const std::string& n : names) list += (list.empty() ? "" : ", ") + Json(n);
    for (const auto& [key, meta] : c.metaDict) metas += (metas.empty() ? "" : ", ") + Json(meta->path());
    const auto id = [](const FCPXResource* r) { return r ? Json(r->resourceId) : std::string("null"); };
    Object o;
    o.add("kind", c.kind).add("nameString", c.nameString).add("offsetString", c.offsetString);
    o.add("startString", c.startString).add("durationString", c.durationString).add("formatId", c.formatId);
    o.add("isDropFrame", c.isDropFrame).add("videoAssetId", c.videoAssetId).add("mediaRef", c.mediaRef);
    o.add("angleId", c.angleId).raw("asset", id(c.asset)).raw("format", id(c.format));
    o.add("timePoints", static_cast<int64_t>(c.timePoints.size())).raw("names", "[" + list + "]");
    o.raw("metaDict", "[" + metas + "]");
    return o.str();
}

std::string FileJson(const std::string& key, const FCPFile& f) {
    std::string snippets;
    for (const FCPSnippet& s : f.GetSnippets())
        snippets += (snippets.empty() ? "[" : ", [") + std::to_string(s.inPoint()) + ", " +
                    std::to_string(s.outPoint()) + "]";
    Object o;
    o.add("key", key).add("sourcePath", f.sourcePath()).add("reference", f.reference()).add("name", f.name());
    o.add("timecode", f.timecode()).add("timecodeFrame", int64_t{f.timecodeFrame()});
    o.add("duration", int64_t{f.duration()}).add("baseFps", double{f.baseFps()}).add("isNtsc", f.isNtsc());
    o.add("isNeeded", f.isNeeded()).raw("snippets", "[" + snippets + "]");
    return o.str();
}

// The command line's side of the conform: it keeps what the sheet would show, and in text
// mode prints the log as it comes.
class CliPort : public ConformPort {
public:
    explicit CliPort(bool echo) : echo_(echo) {}

    void SetStageLabel(int stage, const std::string& text) override { labels[stage - 1] = text; }
    void SetStageAlpha(int, double) override {}
    void SetStageIcon(int stage, StageIcon icon) override { icons[stage - 1] = icon; }
    void SetStageSpinner(int, bool) override {}
    void AppendLog(const std::string& text) override {
        if (!echo_) return;
        std::fputs(text.c_str(), stdout);
        std::fflush(stdout);
    }
    void ReplaceLog(const std::string&) override {}
    void SetEdlButtons(bool) override {}
    void RemoveAllItems() override {
        shotList.clear();
        known.clear();
    }
    void AddPath(const std::string& path) override {
        if (known.insert(path).second) shotList.push_back(path);
    }
    void SetFileSnippets(const std::map<std::string, FCPFile>& f) override { files = f; }
    void RemoveAllClips() override {}

    std::string labels[4];
    StageIcon icons[4] = {};
    std::vector<std::string> shotList;
    std::set<std::string> known;
    std::map<std::string, FCPFile> files;

private:
    bool echo_;
};

struct Run {
    int exitCode = kExitOk;
    std::string typeName;
    bool ran = false;  // the conform started
};

// Checks the options, runs the conform through `port` and serves the main queue until it
// ends. The exit code tells what came of it.
Run RunThrough(const ConformOptions& o, CliPort& port, EdlGuiController& conform) {
    Run run;
    const TypeInfo* type = o.type ? TypeNamed(*o.type) : &TypeOfFile(o.editFile);
    if (!type) {
        std::fprintf(stderr, "ombrel conform: --type wants edl, fcp, avid or fcpx, not \"%s\"\n", o.type->c_str());
        run.exitCode = kExitUsage;
        return run;
    }
    run.typeName = type->name;
    ConformRequest request;
    request.inputPath = o.editFile;
    request.sourceDirectories = o.footage;
    request.inputType = type->tag;
    request.typeTitle = type->title;
    request.r3d = !o.mov;
    request.stageOneOnly = o.footage.empty();

    auto& main = MainQueue::Instance();
    main.AdoptCurrentThread();
    run.ran = true;
    conform.LoadEDL(request);
    bool cancelled = false;
    main.ServeUntil([&] {
        if (SignalGuard::Interrupted() && !cancelled) {
            cancelled = true;
            std::fprintf(stderr, "ombrel conform: cancelling\n");
            conform.Cancel();
        }
        return conform.Finished();
    });
    main.ServePending();
    if (cancelled || SignalGuard::Interrupted()) {
        run.exitCode = kExitCancelled;
    } else if (conform.stoppedStage() > 0) {
        const std::string why = conform.errorString().empty() ? "" : " (" + conform.errorString() + ")";
        std::fprintf(stderr, "ombrel conform: %s%s\n", port.labels[conform.stoppedStage() - 1].c_str(), why.c_str());
        run.exitCode = kExitFailed;
    }
    return run;
}

}  // namespace

CLI::App* AddConformCommand(CLI::App& app, ConformOptions& o) {
    CLI::App* conform = app.add_subcommand("conform", "Match an edit to its footage and list the frames it uses");
    conform->add_option("EDIT_FILE", o.editFile, "The edit: an EDL, a Final Cut or Final Cut X XML, or an Avid Filmscribe cut list")
        ->required();
    conform->add_option("--footage", o.footage, "A folder of source footage; several are walked in turn");
    conform->add_option("--type", o.type, "edl, fcp, avid or fcpx; else by extension or XML root element");
    conform->add_flag("--mov", o.mov, "Match movies by name instead of R3D clips by reel and clip");
    conform->add_flag("--json", o.json, "Print one JSON object");
    return conform;
}

int RunConform(const ConformOptions& o) {
    SignalGuard signals;
    CliPort port(!o.json);
    EdlGuiController conform(port);
    const Run run = RunThrough(o, port, conform);
    if (!run.ran) return run.exitCode;
    if (!o.json) {
        std::printf("\n");
        for (int i = 0; i < 4; ++i) {
            if (port.labels[i].empty()) continue;
            const char* icon = StageIconName(port.icons[i]);
            std::printf("%-8s %s\n", *icon ? (std::string("[") + icon + "]").c_str() : "", port.labels[i].c_str());
        }
        for (const std::string& path : port.shotList) {
            std::printf("%s\n", path.c_str());
            for (const auto& [key, file] : port.files) {
                if (file.sourcePath() != path) continue;
                for (const FCPSnippet& s : file.GetSnippets()) std::printf("  frames %u to %u\n", s.inPoint(), s.outPoint());
            }
        }
        return run.exitCode;
    }
    std::string stages, clips, files, shotList;
    for (int i = 0; i < 4; ++i) {
        const char* icon = StageIconName(port.icons[i]);
        stages += std::string(i ? ", " : "") +
                  Object().add("label", port.labels[i]).raw("icon", *icon ? Json(std::string(icon)) : "null").str();
    }
    const auto item = [](std::string& list, const std::string& json) {
        list += (list.empty() ? "\n    " : ",\n    ") + json;
    };
    if (const FCPEdl* edl = conform.fcpEdl()) {
        for (const auto& clip : edl->Clips()) item(clips, ClipJson(*clip));
        for (const auto& [key, file] : edl->Files()) item(files, FileJson(key, file));
    }
    if (const FinalCutXXML* fcpx = conform.fcpXXml()) {
        for (const auto& clip : fcpx->ClipList()) item(clips, FcpxClipJson(*clip));
        for (const auto& [key, file] : fcpx->Files()) item(files, FileJson(key, file));
    }
    if (const AvidXML* avid = conform.avid()) {
        for (const auto& clip : avid->ClipList()) item(clips, AvidClipJson(*clip));
        for (const auto& [key, file] : avid->Files()) item(files, FileJson(key, file));
    }
    if (const FCPXml* xml = conform.fcpXml()) {
        for (const auto& clip : xml->Clips()) item(clips, FcpClipJson(*clip));
        for (const auto& [key, file] : xml->Files()) item(files, FileJson(key, file));
    }
    for (const std::string& path : port.shotList) shotList += (shotList.empty() ? "" : ", ") + Json(path);
    std::string log = conform.LogText();
    if (!log.empty() && log[0] == ' ') log.erase(0, 1);  // the blank an emptied view holds
    Object out;
    out.add("input", o.editFile).add("type", run.typeName).add("mode", std::string(o.mov ? "mov" : "r3d"));
    out.add("edits", conform.edits()).raw("stages", "[" + stages + "]").add("failCount", conform.failCount());
    out.add("log", log).raw("clips", "[" + clips + (clips.empty() ? "]" : "\n  ]"));
    out.raw("files", "[" + files + (files.empty() ? "]" : "\n  ]")).raw("shotList", "[" + shotList + "]");
    std::printf("%s\n", out.str().c_str());
    return run.exitCode;
}

ConformResult ConformQuietly(const ConformOptions& o) {
    ConformResult result;
    CliPort port(false);
    EdlGuiController conform(port);
    result.exitCode = RunThrough(o, port, conform).exitCode;
    if (result.exitCode != kExitOk) {
        if (conform.stoppedStage() > 0) result.error = port.labels[conform.stoppedStage() - 1];
        return result;
    }
    result.shotList = port.shotList;
    result.snippetList = PlistValue::MakeDict();
    for (const auto& [key, file] : port.files) {
        PlistValue ranges = PlistValue::MakeArray();
        for (const FCPSnippet& s : file.GetSnippets()) {
            ranges.append(static_cast<double>(s.inPoint()));
            ranges.append(static_cast<double>(s.outPoint()));
        }
        PlistValue entry = PlistValue::MakeDict();
        entry.set("sourcePath", file.sourcePath());
        entry.set("KVCSnippetList", ranges);
        result.snippetList.set(key, entry);
    }
    return result;
}

}  // namespace ombrel::cli
