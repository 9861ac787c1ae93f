#include "editorial/AvidXML.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "editorial/ReaderRules.h"
#include "library/FileParser.h"

namespace ombrel {
namespace {

bool EndsWith(const std::string& s, std::string_view tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

uint32_t FramePoint(int64_t v) { return static_cast<uint32_t>(std::clamp<int64_t>(v, 0, UINT32_MAX)); }

}  // namespace

void AvidXMLClip::SetIn(int32_t frame) {
    timecodeIn = frame;
    if (!std::exchange(inRead_, true)) originalTcIn = frame;
}

void AvidXMLClip::SetOut(int32_t frame) {
    timecodeOut = frame;
    if (!std::exchange(outRead_, true)) originalTcOut = frame;
}

std::string AvidXMLClip::TimecodeIn() const {
    return FileParser::GetStringOfTimecode(static_cast<uint32_t>(timecodeIn), timebase);
}

std::string AvidXMLClip::TimecodeOut() const {
    return FileParser::GetStringOfTimecode(static_cast<uint32_t>(timecodeOut), timebase);
}

std::string AvidXMLClip::Description() const {
    return fmt::format("Filmscribe: {} In:{}, Out:{} Start:{} End:{} FPS:{:1.3f}", fileR3dPrefix, TimecodeIn(),
                       TimecodeOut(), originalTcStartString, originalTcEndString, timebase);
}

FCPSnippet AvidXMLClip::GetPullSnippet() const {
    const int64_t first = meta ? meta->frameIn() : 0;
    return FCPSnippet(fileR3dPrefix, FramePoint(int64_t{timecodeIn} - first), FramePoint(int64_t{timecodeOut} - first));
}

void AvidXMLClip::UpdateFile(const std::string& filePath, const std::string& newTcIn, const std::string& newTcOut,
                             int32_t handle, float fps) {
    LogInfo("AvidXML: Updating file node {} {} {} {} {:f}", filePath, newTcIn, newTcOut, handle, fps);
    UpdateNode(clipNode, filePath, "");
}

void AvidXMLClip::UpdateNode(const pugi::xml_node& node, const std::string& filePath, const std::string& path) {
    LogDebug("Traverse {}", path);
    if (EndsWith(path, "ClipName")) {
        pugi::xml_node target = node;
        while (target.first_child()) target.remove_child(target.first_child());
        target.append_child(pugi::node_pcdata).set_value(LastPathComponent(filePath).c_str());
    } else if (EndsWith(path, "Custom") && node.type() == pugi::node_element) {
        LogInfo("FOund custom node {}", node.attribute("Name").value());
    }
    for (const pugi::xml_node& child : node.children())
        if (*child.name()) UpdateNode(child, filePath, path + " > " + child.name());
}

bool AvidXML::LoadAvidXml(const std::string& path) {
    originalPath_ = path;
    clipsToExtract_.clear();
    files_.clear();
    timebase_ = 0;
    return LoadEditXml(path, "Avid XML", pugi::parse_default | pugi::parse_ws_pcdata, xmlDoc_, lastError_);
}

bool AvidXML::TraverseTree() {
    const pugi::xml_node root = xmlDoc_.document_element();
    return !root || TraverseNode(root, std::string(" > ") + root.name(), nullptr);
}

bool AvidXML::ValidateSourceNode(const pugi::xml_node& node) const {
    for (const char* name : {"CamRoll", "ClipItem", "TapeID"})
        for (const pugi::xml_node& child : node.children(name))
            if (HasRedPrefix(StringValue(child))) return true;
    return false;
}

void AvidXML::ReadPath(const pugi::xml_node& node, const std::string& path, AvidXMLClip& clip) const {
    const std::string text = StringValue(node);
    const auto takeName = [&] {
        // A short movie name has no 16-character prefix: it is taken whole.
        if (HasRedPrefix(text)) clip.fileR3dPrefix = text.substr(0, 16);
    };
    if (EndsWith(path, " > Master > Start > Timecode")) {
        clip.originalTcStartString = text;
        LogInfo("\n\n Master Start {}", text);
    } else if (EndsWith(path, " > Master > End > Timecode")) {
        clip.originalTcEndString = text;
        LogInfo("Master End {}", text);
    } else if (EndsWith(path, " > Source > ClipName")) {
        takeName();
        LogInfo("Clip {}", text);
    } else if (EndsWith(path, " > Source > CamRoll")) {
        takeName();
        LogInfo("CamRoll {}", text);
    } else if (EndsWith(path, " > Source > Start > Frame")) {
        clip.SetIn(IntValue(text));
        LogInfo("In Frame {}", text);
    } else if (EndsWith(path, " > Source > Start > Timecode")) {
        if (!clip.originalTcInString) {
            clip.originalTcInString = text;
            LogInfo("Source In TC {} {}", text, clip.fileR3dPrefix);
        }
    } else if (EndsWith(path, " > Source > End > Frame")) {
        clip.SetOut(IntValue(text));
        LogInfo("End Frame {}", text);
    } else if (EndsWith(path, " > Source > End > Timecode")) {
        if (!clip.originalTcOutString) {
            clip.originalTcOutString = text;
            LogInfo("Source End Tc {}", text);
        }
    }
}

bool AvidXML::TraverseNode(const pugi::xml_node& node, const std::string& path, AvidXMLClip* clip) {
    LogDebug("TREE: {}", path);
    const std::string name = node.name();
    if (name.empty()) return true;
    LogDebug("Node: {}", name);
    const bool element = node.type() == pugi::node_element;
    bool fileNode = false;
    if (element && name == "EditRate") timebase_ = ClampedFloat(DoubleValue(StringValue(node)));
    if (element && name == "FilmScribeFile") {
        const std::string version = node.attribute("Version").value();
        if (version != "1.0") {
            LogInfo("Unsupported Avid Filmscribe version {}", version);
            return false;
        }
        LogInfo("Avid Filmscribe Version 1.0");
        fileNode = true;
    }
    // An event without a picture track ends the walk of everything after it.
    if (element && name == "Tracks" && StringValue(node).find('V') == std::string::npos) return false;
    if (clip) ReadPath(node, path, *clip);
    if (element && name == "Source" && ValidateSourceNode(node)) {
        if (std::string_view(node.attribute("Type").value()) != "Cut") return true;
        if (clip) LogInfo("Created: {}", clip->Description());
        auto made = std::make_shared<AvidXMLClip>(node);
        made->timebase = timebase_;
        clipsToExtract_.push_back(made);
        clip = made.get();
    }
    for (const pugi::xml_node& child : node.children())
        if (!TraverseNode(child, path + " > " + child.name(), clip) && !fileNode) return false;
    return true;
}

void AvidXML::MatchToFileList(const MetaList& fileList) {
    for (const auto& clip : clipsToExtract_) {
        const std::string& p = clip->R3dPrefix();
        if (p.empty()) continue;
        for (const auto& meta : fileList) {
            const std::string name = LastPathComponent(meta->path());
            if (r3dMode_ ? name.size() < 16 || name.compare(0, 16, p) != 0 : name != p) continue;
            if (!r3dMode_) RefreshMovieMeta(*meta);
            clip->meta = meta;
            if (!files_.contains(meta->path())) files_.insert_or_assign(meta->path(), FileRecordForMeta(*meta));
            break;
        }
    }
    for (const auto& clip : clipsToExtract_)
        if (FCPFile* file = clip->meta ? files_.find(clip->meta->path()) : nullptr) file->AddSnippet(clip->GetPullSnippet());
    for (auto& [path, file] : files_) file.DumpSummary();
}

std::string AvidXML::WriteAvidXml(const std::string& path) const {
    return WriteEditXml(xmlDoc_, path, pugi::format_indent);
}

}  // namespace ombrel
