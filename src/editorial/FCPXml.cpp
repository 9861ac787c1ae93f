#include "editorial/FCPXml.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "editorial/ReaderRules.h"

#include <cctype>
#include <cmath>
#include <unordered_map>
#include <unordered_set>

namespace ombrel {
namespace {

std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Snippet ends are unsigned: a frame before the file's first is its first.
uint32_t FramePoint(int32_t v) { return v < 0 ? 0u : static_cast<uint32_t>(v); }

FcpTimeRemap ParseRemap(const pugi::xml_node& effect) {
    FcpTimeRemap remap;
    for (const pugi::xml_node& param : effect.children("parameter")) {
        const std::string id = StringValue(param.child("parameterid"));
        const std::string value = StringValue(param.child("value"));
        if (id == "reverse") {
            remap.reverse = BoolValue(value);
        } else if (id == "speed") {
            remap.speed = DoubleValue(value);
        } else if (id == "graphdict") {
            double in = -1, out = -1, anchor = 0;
            for (const pugi::xml_node& key : param.children("keyframe")) {
                enum { kNone, kIn, kOut, kAnchor } kind = kNone;
                double v = 0;
                for (const pugi::xml_node& part : key.children()) {
                    const std::string name = part.name();
                    if (name == "value") v = DoubleValue(StringValue(part));
                    else if (name == "speedkfin") kind = kIn;
                    else if (name == "speedkfout") kind = kOut;
                    else if (name == "anchorOffset") {
                        v = DoubleValue(StringValue(part));
                        kind = kAnchor;
                    }
                }
                if (kind == kIn) in = v;
                if (kind == kOut) out = v;
                if (kind == kAnchor) anchor = v;
            }
            remap.speedkfin = in;
            remap.speedkfout = out;
            remap.anchorOffset = anchor;
        }
    }
    return remap;
}

}  // namespace

std::string FcpNode::get(const std::string& key) const {
    const auto it = values.find(key);
    return it == values.end() ? std::string() : it->second;
}

std::string FcpNode::Describe() const {
    std::string s;
    for (const auto& [k, v] : values) {
        if (!s.empty()) s.push_back(' ');
        s.append(k).append("=").append(v);
    }
    if (timeremap) s += " timeremap";
    return s;
}

FCPClip::FCPClip(const FcpNode& node)
    : clipId(node.get("NodeId")),
      masterClipId(node.get("masterclipid")),
      subClipMasterId(node.get("subclipmasterid")),
      fileId(node.get("file")),
      inFrame(DoubleValue(node.get("in"))),
      outFrame(DoubleValue(node.get("out"))),
      startOffset(DoubleValue(node.get("startoffset"))),
      endOffset(DoubleValue(node.get("endoffset"))),
      duration(DoubleValue(node.get("duration"))),
      isNtsc(BoolValue(node.get("ntsc"))),
      fps(DoubleValue(node.get("timebase"))),
      clipInfo(node),
      hasTimeRemap(node.timeremap.has_value()),
      mediaDelay(DoubleValue(node.get("mediadelay"))),
      isVideo(!node.has("isVideo") || BoolValue(node.get("isVideo"))),
      isMulticlipAngle(BoolValue(node.get("isAngle"))),
      multiclipAngleIsActive(isMulticlipAngle && BoolValue(node.get("angleIsActive"))) {
    if (hasTimeRemap) {
        const FcpTimeRemap& r = *node.timeremap;
        timeRemapReverse = r.reverse.value_or(false);
        timeRemapSpeed = r.speed.value_or(0);
        timeRemapIn = r.speedkfin.value_or(0);
        timeRemapOut = r.speedkfout.value_or(0);
        timeRemapOffset = r.anchorOffset.value_or(0);
    }
}

std::optional<FCPSnippet> FCPClip::GetPullSnippet() const {
    double in = std::max(0.0, inFrame + startOffset);
    double out = std::max(0.0, outFrame + startOffset);
    if (Remapped()) {
        in = timeRemapIn - timeRemapOffset + startOffset;
        out = timeRemapOut - timeRemapOffset + startOffset;
    }
    if (in == out) return std::nullopt;
    // Outward: a reverse range keeps its in point above its out point.
    if (out > in) {
        out = std::ceil(out);
        in = std::floor(in);
    } else {
        out = std::floor(out);
        in = std::ceil(in);
    }
    const int32_t first = TruncatedInt32(TruncatedInt32(in) - mediaDelay);
    const int32_t last = TruncatedInt32(TruncatedInt32(out) - mediaDelay);
    return FCPSnippet(clipId, FramePoint(first), FramePoint(last));
}

double FCPClip::OwnInFrame() const {
    if (!Remapped()) return inFrame;
    return (timeRemapReverse ? timeRemapOut : timeRemapIn) - timeRemapOffset;
}

double FCPClip::InFrame() const {
    // Masters may name each other: each clip of the chain counts once.
    std::unordered_set<const FCPClip*> seen;
    double sum = 0;
    std::shared_ptr<FCPClip> hold;
    for (const FCPClip* c = this; c && seen.insert(c).second; c = hold.get()) {
        sum += c->OwnInFrame();
        hold = c->parentClip.lock();
    }
    return sum;
}

std::string FCPClip::DumpSummary() const {
    if (outFrame == inFrame || !isVideo) return {};
    const std::shared_ptr<FCPClip> parent = parentClip.lock();
    const double o = parent ? parent->InFrame() - timeRemapOffset : 0;
    const std::string file = fileId.empty() ? "(null)" : fileId;
    std::string text;
    if (Remapped()) {
        const int32_t speed = TruncatedInt32(timeRemapSpeed);
        text = fmt::format("Clip: {}\tIN:{:1.3f}\tOut:{:1.3f}\tDuration:{}\tSpeed:{}", file,
                           timeRemapIn - timeRemapOffset + o, timeRemapOut - timeRemapOffset + o,
                           TruncatedInt32(duration), timeRemapReverse ? -int64_t{speed} : speed);
    } else {
        text = fmt::format("Clip: {}\tIN:{}\tOut:{}\tDuration:{}", file, TruncatedInt32(inFrame + o),
                           TruncatedInt32(outFrame + o), TruncatedInt32(duration));
    }
    LogInfo("{}", text);
    return text;
}

bool FCPXml::LoadFcpXml(const std::string& path) {
    originalPath_ = path;
    files_.clear();
    clips_.clear();
    return LoadEditXml(path, "Final Cut XML", pugi::parse_default | pugi::parse_ws_pcdata, xmlDoc_, lastError_);
}

std::vector<std::shared_ptr<FCPClip>> FCPXml::Clips() const {
    std::vector<std::shared_ptr<FCPClip>> out;
    out.reserve(clips_.size());
    for (const auto& [id, clip] : clips_) out.push_back(clip);
    return out;
}

void FCPXml::TraverseTree() {
    FcpNode root;
    root.values = {{"NodeType", "root"}, {"NodeId", "root"}, {"ntsc", "0"}, {"timebase", "24.0"}, {"isVideo", "0"}};
    if (const pugi::xml_node top = xmlDoc_.document_element()) TraverseNode(top, root, 0);
    LinkParentClips();
    LinkSnippets();
    for (auto& [id, file] : files_) file.DumpSummary();
}

void FCPXml::TraverseChildren(const pugi::xml_node& node, FcpNode& d, int level) {
    for (const pugi::xml_node& child : node.children()) TraverseNode(child, d, level + 1);
}

void FCPXml::TraverseNode(const pugi::xml_node& node, FcpNode& d, int level) {
    const std::string name = node.name();
    if (name.empty()) return;
    LogDebug("{:{}}{}  -  {}:{}", "", level * 3, name, IntValue(d.get("in")), d.get("NodeId"));
    if (node.type() != pugi::node_element || name == "marker" || name == "link") return;
    const pugi::xml_attribute idAttribute = node.attribute("id");

    if (!idAttribute) {
        if (name == "angle") {
            d.setBool("isAngle", true);
            d.setBool("angleIsActive", false);
            TraverseChildren(node, d, level);
            d.setBool("isAngle", false);
            d.setBool("angleIsActive", false);
            return;
        }
        if (name == "duration") {
            if (!d.has("duration")) d.values["duration"] = std::to_string(IntValue(StringValue(node)));
            return;
        }
        if (name == "effect") {
            if (Lower(StringValue(node.child("effectid"))) == "timeremap") {
                d.timeremap = ParseRemap(node);
                return;
            }
            TraverseChildren(node, d, level);
            return;
        }
        if (name == "activevideoangle") {
            if (StringValue(node) == "TRUE") d.setBool("angleIsActive", true);
        } else if (name == "mediatype") {
            if (!d.has("isVideo")) d.setBool("isVideo", StringValue(node) == "video");
        } else if (name == "video" || name == "audio") {
            d.setBool("isVideo", name == "video");
        }
        const pugi::xml_node only = node.first_child();
        if (only && !only.next_sibling() && !only.first_child()) {
            const bool cut = name == "in" || name == "out" || name == "startoffset" || name == "endoffset";
            if (!(cut && d.has("isMulticlipPart"))) d.values[name] = StringValue(node);
            return;
        }
        TraverseChildren(node, d, level);
        return;
    }

    const std::string id = idAttribute.value();
    const auto noteFile = [&] {
        d.values["file"] = id;
        LogInfo("Adding file {} to dict ID: {} Type: {}", id, d.get("NodeId"), d.get("NodeType"));
    };
    if (!node.first_child()) {
        if (name == "file") noteFile();
        return;
    }
    bool copyOnly = (d.get("NodeType") == "clip" && name == "clipitem") || BoolValue(d.get("isMulticlipPart")) ||
                    BoolValue(d.get("isAngle"));
    if (name == "multiclip") {
        d.setBool("isMulticlipPart", true);
        d.setBool("angleIsActive", false);
        copyOnly = true;
    }
    if (name == "file") copyOnly = false;
    FcpNode own;
    if (copyOnly) {
        own = d;
    } else {
        own.values = {{"NodeType", name}, {"NodeId", id}};
        if (d.has("ntsc")) own.values["ntsc"] = d.get("ntsc");
        if (d.has("timebase")) own.values["timebase"] = d.get("timebase");
    }
    TraverseChildren(node, own, level);
    if (name == "file") noteFile();
    if (copyOnly) return;
    if (name == "clipitem" || name == "clip") {
        LogInfo("Encoding clip {}", own.Describe());
        if (clips_.contains(id)) LogInfo("Clip ID conflict!!");
        clips_.insert_or_assign(id, std::make_shared<FCPClip>(own));
    } else if (name == "file") {
        MakeFile(node, own, d);
    }
}

void FCPXml::MakeFile(const pugi::xml_node& node, const FcpNode& own, FcpNode& d) {
    const std::string url = own.get("pathurl");
    const std::string name = LastPathComponent(url);
    const int32_t duration = IntValue(own.get("duration"));
    if (!own.has("pathurl") || !HasRedPrefix(name) || !own.has("duration") || duration <= 0) return;
    const std::string id = own.get("NodeId");
    d.values["file"] = id;
    FCPFile file(url, duration, id);
    file.setBaseFps(ClampedFloat(DoubleValue(own.get("timebase"))));
    file.setIsNtsc(BoolValue(own.get("ntsc")));
    file.setTimecode(own.get("string"));
    file.setName(name);
    file.setTimecodeFrame(own.has("frame") ? IntValue(own.get("frame")) : 0);
    if (files_.contains(id)) {
        size_t children = 0;
        for (auto it = node.begin(); it != node.end(); ++it) ++children;
        LogInfo("Duplicate file nodes {}", children);
    }
    LogInfo("Adding file object for {}", id);
    files_.insert_or_assign(id, std::move(file));
    files_.find(id)->DumpSummary();
}

void FCPXml::LinkParentClips() {
    std::unordered_map<std::string, std::shared_ptr<FCPClip>> masters;
    for (const auto& [id, clip] : clips_) masters.emplace(clip->masterClipId, clip);  // the first of each stays
    for (const auto& [id, clip] : clips_) {
        if (clip->subClipMasterId.empty()) continue;
        const auto it = masters.find(clip->subClipMasterId);
        if (it != masters.end()) clip->parentClip = it->second;
    }
}

void FCPXml::LinkSnippets() {
    for (const auto& [id, clip] : clips_) {
        if (clip->isMulticlipAngle && !clip->multiclipAngleIsActive) continue;
        if (!clip->isVideo || clip->fileId.empty()) continue;
        const std::optional<FCPSnippet> snippet = clip->GetPullSnippet();
        FCPFile* file = files_.find(clip->fileId);
        if (!file) {
            LogInfo("Nil File Ref {} {} \n\n{}", clip->fileId, clip->clipId, clip->clipInfo.Describe());
            continue;
        }
        if (snippet) file->AddSnippet(*snippet);
    }
}

}  // namespace ombrel
