#include "editorial/FinalCutXXML.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "editorial/ReaderRules.h"
#include "library/FileParser.h"

#include <algorithm>
#include <cmath>

namespace ombrel {
namespace {

// A walk of more steps than this is no document's and stops.
constexpr size_t kMaxWalkSteps = 1000000;

std::string Attr(const pugi::xml_node& node, const char* name) { return node.attribute(name).value(); }

bool IsClipElement(const std::string& name) {
    return name == "clip" || name == "ref-clip" || name == "mc-clip" || name == "asset-clip";
}

uint64_t UnsignedValue(const std::string& text) {
    const int64_t v = LongLongValue(text);
    return v < 0 ? 0 : static_cast<uint64_t>(v);
}

uint64_t SaturatingMul(uint64_t a, uint64_t b) {
    uint64_t r;
    return __builtin_mul_overflow(a, b, &r) ? UINT64_MAX : r;
}

uint64_t SaturatingAdd(uint64_t a, uint64_t b) {
    uint64_t r;
    return __builtin_add_overflow(a, b, &r) ? UINT64_MAX : r;
}

uint64_t ToUnsigned(double v) {
    if (!(v > 0)) return 0;
    if (v >= 18446744073709551615.0) return UINT64_MAX;
    return static_cast<uint64_t>(v);
}

uint32_t FramePoint(double v) {
    if (!(v > 0)) return 0;
    return v >= 4294967295.0 ? UINT32_MAX : static_cast<uint32_t>(v);
}

// The path of a file URL, percent escapes decoded; a text without a scheme is a path already.
std::string UrlPath(const std::string& url) {
    std::string path = url;
    const size_t scheme = url.find("://");
    if (scheme != std::string::npos) {
        const size_t slash = url.find('/', scheme + 3);
        path = slash == std::string::npos ? std::string() : url.substr(slash);
    }
    path = path.substr(0, path.find_first_of("?#"));
    return PercentDecoded(path);
}

__extension__ typedef unsigned __int128 Wide;

// Points of a time map by their time, the latest first; times compared exactly.
std::vector<FCPXTimePt> SortedLatestFirst(std::vector<FCPXTimePt> points) {
    const auto key = [](const FCPXTimePt& p) {
        const FcpxTime t = FinalCutXXMLClip::ConvertString(p.time, 360000, false);
        return t.den == 0 ? FcpxTime{0, 1} : t;
    };
    std::stable_sort(points.begin(), points.end(), [&](const FCPXTimePt& a, const FCPXTimePt& b) {
        const FcpxTime x = key(a), y = key(b);
        return static_cast<Wide>(y.num) * x.den < static_cast<Wide>(x.num) * y.den;
    });
    return points;
}

}  // namespace

bool FcpxWalk::Enter(const FCPXResource* r) {
    if (++steps > kMaxWalkSteps || std::find(path.begin(), path.end(), r) != path.end()) return false;
    path.push_back(r);
    return true;
}

void FCPXAsset::WriteDebug() const {
    LogDebug("\nAsset: {}\n\tPath: {}\n\tStart:{}\n\tLength:{}\n", resourceId, posixPath, start, duration);
}

void FCPXAsset::GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk&) const {
    const std::string name = LastPathComponent(posixPath);
    names.push_back(FileParser::IsR3DFile(posixPath) ? name.substr(0, 16) : name);
}

void FCPXFormat::WriteDebug() const { LogDebug("\nFormat: {}\n\tFrame Duration:{}\n", resourceId, frameDuration); }

void FCPXCompoundClip::WriteDebug() const { LogDebug("Compound Clip {}", resourceId); }

void FCPXCompoundClip::CollapseResourcesIntoClips(const FcpxLookup& lookup) {
    for (const auto& clip : spine) clip->Resolve(lookup, false);
}

void FCPXCompoundClip::GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk& walk) const {
    if (!walk.Enter(this)) return;
    for (const auto& clip : spine) clip->GetR3dPrefixList(names, walk);
    walk.Leave();
}

void FCPXCompoundClip::AddMediaSnippetsToFile(FCPFile& file, FcpxWalk& walk) const {
    if (!walk.Enter(this)) return;
    for (const auto& clip : spine)
        if (clip->asset && clip->asset->kind() != Kind::kMultiCam) clip->AddMediaSnippetsToFile(file, walk);
    walk.Leave();
}

void FCPXMultiCam::WriteDebug() const {
    for (const auto& [id, angle] : angles) {
        LogDebug("Angle {}\n", id);
        angle->WriteDebug();
    }
}

void FCPXMultiCam::CollapseResourcesIntoClips(const FcpxLookup& lookup) {
    for (const auto& [id, angle] : angles) angle->CollapseResourcesIntoClips(lookup);
}

void FCPXMultiCam::GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk& walk) const {
    if (!walk.Enter(this)) return;
    for (const auto& [id, angle] : angles) angle->GetR3dPrefixList(names, walk);
    walk.Leave();
}

void FCPXMultiCam::AddMediaSnippetsToFile(FCPFile& file, FcpxWalk& walk) const {
    if (!walk.Enter(this)) return;
    for (const auto& [id, angle] : angles) angle->AddMediaSnippetsToFile(file, walk);
    walk.Leave();
}

FcpxTime FinalCutXXMLClip::ConvertString(const std::string& text, uint64_t defaultDenominator, bool convert) {
    const uint64_t d = defaultDenominator == 0 ? 25000 : defaultDenominator;
    std::string s;
    for (char c : text)
        if (c != 's') s += c;
    const size_t slash = s.find('/');
    if (slash == std::string::npos) return {SaturatingMul(UnsignedValue(s), d), d};
    FcpxTime t{UnsignedValue(s.substr(0, slash)), UnsignedValue(s.substr(slash + 1))};
    if (convert) {
        t.num = t.den == 0 ? 0 : ToUnsigned(static_cast<double>(t.num) * (static_cast<double>(d) / t.den));
        t.den = d;
    }
    return t;
}

FcpxTime FinalCutXXMLClip::InterpolateWithTimePoints(FcpxTime t, const std::vector<FCPXTimePt>& sorted) const {
    for (size_t i = 1; i < sorted.size(); ++i) {
        const FCPXTimePt& hi = sorted[i - 1];
        const FCPXTimePt& lo = sorted[i];
        const FcpxTime hiTime = ConvertString(hi.time, t.den, true), hiValue = ConvertString(hi.value, t.den, true);
        const FcpxTime loTime = ConvertString(lo.time, t.den, true), loValue = ConvertString(lo.value, t.den, true);
        if (loTime.num >= hiTime.num) {
            // Two points of one time, a freeze frame: no line runs between them.
            if (!std::exchange(warnedFreeze_, true))
                LogInfo("Clip {}: time map points at one time ({}) passed over", nameString, hi.time);
            continue;
        }
        if (t.num == loTime.num) return {loValue.num, t.den};
        if (t.num == hiTime.num) return {hiValue.num, t.den};
        if (t.num > loTime.num && t.num < hiTime.num) {
            const double v = static_cast<double>(loValue.num) +
                             static_cast<double>(t.num - loTime.num) *
                                 (static_cast<double>(hiValue.num) - static_cast<double>(loValue.num)) /
                                 static_cast<double>(hiTime.num - loTime.num);
            return {ToUnsigned(v), t.den};
        }
    }
    return t;
}

FCPSnippet FinalCutXXMLClip::GetPullSnippet() const {
    const FcpxTime fd = format ? ConvertString(format->frameDuration, 24000, false) : FcpxTime{};
    if (fd.num == 0 || fd.den == 0) return FCPSnippet(nameString, 0, 0);
    const double rate = static_cast<double>(fd.den) / static_cast<double>(fd.num);
    FcpxTime start = ConvertString(startString, fd.den, true);
    FcpxTime end = ConvertString(durationString, fd.den, true);
    end.num = SaturatingAdd(start.num, end.num);
    if (!timePoints.empty()) {
        const std::vector<FCPXTimePt> sorted = SortedLatestFirst(timePoints);
        start = InterpolateWithTimePoints(start, sorted);
        end = InterpolateWithTimePoints(end, sorted);
    }
    const auto seconds = [](FcpxTime t) { return static_cast<double>(t.num) / static_cast<double>(t.den); };
    return FCPSnippet(nameString, FramePoint(std::floor(seconds(start) * rate)),
                      FramePoint(std::ceil(seconds(end) * rate)));
}

std::string FinalCutXXMLClip::R3dPrefix() const {
    if (!asset || asset->kind() != FCPXResource::Kind::kAsset) return {};
    std::vector<std::string> names;
    FcpxWalk walk;
    asset->GetR3dPrefixList(names, walk);
    return names.empty() ? std::string() : names.front();
}

void FinalCutXXMLClip::GetR3dPrefixList(std::vector<std::string>& names) const {
    FcpxWalk walk;
    GetR3dPrefixList(names, walk);
}

void FinalCutXXMLClip::GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk& walk) const {
    if (asset && asset->kind() != FCPXResource::Kind::kFormat) asset->GetR3dPrefixList(names, walk);
}

void FinalCutXXMLClip::AddMediaSnippetsToFile(FCPFile& file) const {
    FcpxWalk walk;
    AddMediaSnippetsToFile(file, walk);
}

void FinalCutXXMLClip::AddMediaSnippetsToFile(FCPFile& file, FcpxWalk& walk) const {
    if (!asset) return;
    if (asset->kind() == FCPXResource::Kind::kAsset) {
        file.AddSnippet(GetPullSnippet());
    } else if (asset->kind() != FCPXResource::Kind::kFormat) {
        LogInfo("Getting compound clip snippets");
        asset->AddMediaSnippetsToFile(file, walk);
    }
}

void FinalCutXXMLClip::Resolve(const FcpxLookup& lookup, bool deep) {
    if (!videoAssetId.empty()) asset = lookup(videoAssetId);
    if (!formatId.empty()) {
        FCPXResource* r = lookup(formatId);
        format = r && r->kind() == FCPXResource::Kind::kFormat ? static_cast<FCPXFormat*>(r) : nullptr;
    }
    if (!mediaRef.empty()) {
        asset = lookup(mediaRef);
        if (asset && deep) asset->CollapseResourcesIntoClips(lookup);
    }
    WriteDebug();
}

void FinalCutXXMLClip::WriteDebug() const {
    LogDebug("\tkind {}\n\toffsetString {}\n\tstartString {}\n\tdurationString {}\n\tnameString {}\n\tformatId {}\n"
             "\tDF {}\n\tvideoAssetId {}\n\tvideoOffset {}\n\tvideoDuration {}\n\tmediaRef {}\n\tangleId {}\n"
             "\tclipNode {}",
             kind, offsetString, startString, durationString, nameString, formatId, isDropFrame, videoAssetId,
             videoOffset, videoDuration, mediaRef, angleId, clipNode.name());
    if (asset) asset->WriteDebug();
    if (format) format->WriteDebug();
}

bool FinalCutXXML::LoadFCPXXml(const std::string& path) {
    originalPath_ = path;
    clipsToExtract_.clear();
    resourceList_.clear();
    outside_.clear();
    owned_.clear();
    outsideRead_ = outsideUsed_ = false;
    files_.clear();
    // Without escapes: attribute values are kept as the document writes them.
    const unsigned options = (pugi::parse_default & ~pugi::parse_escapes) | pugi::parse_ws_pcdata;
    return LoadEditXml(path, "FCPX XML", options, xmlDoc_, lastError_);
}

void FinalCutXXML::TraverseTree() {
    if (const pugi::xml_node root = xmlDoc_.document_element()) {
        if (std::string_view(root.name()) == "project") {
            TraverseProject(root);
            CollapseResourcesIntoClips();
        } else {
            TraverseRoot(root);
        }
    }
}

void FinalCutXXML::TraverseRoot(const pugi::xml_node& node) {
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() != pugi::node_element) continue;
        if (std::string_view(child.name()) == "project") {
            // The first project of a parent is read; its siblings are not.
            TraverseProject(child);
            CollapseResourcesIntoClips();
            return;
        }
        TraverseRoot(child);
    }
}

void FinalCutXXML::TraverseProject(const pugi::xml_node& node) {
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() != pugi::node_element) continue;
        const std::string_view name = child.name();
        if (name == "resources")
            TraverseResources(child, resourceList_);
        else if (name == "sequence")
            TraverseSequence(child, nullptr);
        else
            TraverseProject(child);
    }
}

template <typename T>
T* FinalCutXXML::Make(Resources& into, const std::string& id, const pugi::xml_node& node) {
    auto made = std::make_unique<T>();
    T* r = made.get();
    r->resourceId = id;
    r->originalFileNode = node;
    // Records replaced under their id stay alive: clips may already point at them.
    owned_.push_back(std::move(made));
    into.insert_or_assign(id, r);
    return r;
}

void FinalCutXXML::TraverseResources(const pugi::xml_node& node, Resources& into) {
    for (const pugi::xml_node& child : node.children()) {
        const std::string_view name = child.name();
        if (name == "format") {
            Make<FCPXFormat>(into, Attr(child, "id"), child)->frameDuration = Attr(child, "frameDuration");
        } else if (name == "asset") {
            TraverseAsset(child, into);
        } else if (name == "media") {
            TraverseMedia(child, into);
        }
    }
}

void FinalCutXXML::TraverseAsset(const pugi::xml_node& node, Resources& into) {
    if (!node.attribute("src")) return;
    const std::string url = Attr(node, "src");
    const std::string path = UrlPath(url);
    const bool clipFile = FileParser::IsR3DFile(path) || FileParser::IsUseableQuicktimeMov(path);
    if (!clipFile || Attr(node, "hasVideo") != "1") return;
    FCPXAsset* asset = Make<FCPXAsset>(into, Attr(node, "id"), node);
    asset->start = Attr(node, "start");
    asset->duration = Attr(node, "duration");
    asset->posixPath = path;
    asset->urlPath = url;
}

void FinalCutXXML::TraverseMedia(const pugi::xml_node& node, Resources& into) {
    const std::string id = Attr(node, "id");
    for (const pugi::xml_node& child : node.children()) {
        const std::string_view name = child.name();
        if (name == "sequence") {
            TraverseSequence(child, Make<FCPXCompoundClip>(into, id, child));
        } else if (name == "multicam") {
            TraverseMulticam(child, *Make<FCPXMultiCam>(into, id, child));
        }
    }
}

void FinalCutXXML::TraverseMulticam(const pugi::xml_node& node, FCPXMultiCam& multicam) {
    multicam.formatId = Attr(node, "format");
    multicam.timecodeFormat = Attr(node, "tcFormat");
    multicam.start = Attr(node, "tcStart");
    for (const pugi::xml_node& angle : node.children("mc-angle")) {
        const std::string id = Attr(angle, "angleID");
        if (id.empty()) continue;
        auto compound = std::make_shared<FCPXCompoundClip>();
        compound->resourceId = id;
        compound->originalFileNode = angle;
        TraverseSpine(angle, multicam.formatId, compound.get());
        multicam.angles.insert_or_assign(id, compound);
    }
}

void FinalCutXXML::TraverseSequence(const pugi::xml_node& node, FCPXResource* media) {
    for (const pugi::xml_node& spine : node.children("spine")) TraverseSpine(spine, Attr(node, "format"), media);
}

void FinalCutXXML::TraverseSpine(const pugi::xml_node& node, const std::string& format, FCPXResource* media) {
    const std::string own = node.attribute("format") ? Attr(node, "format") : format;
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() != pugi::node_element) continue;
        const std::string name = child.name();
        if (IsClipElement(name) || name == "audition")
            TraverseItem(child, own, media);
        else
            TraverseConnected(child, own, media);  // a gap's or a title's
    }
}

void FinalCutXXML::TraverseConnected(const pugi::xml_node& node, const std::string& format, FCPXResource* media) {
    for (const pugi::xml_node& connected : node.children()) {
        const std::string kind = connected.name();
        if (IsClipElement(kind) || kind == "audition") TraverseItem(connected, format, media);
        if (kind == "spine") TraverseSpine(connected, format, media);
    }
}

void FinalCutXXML::TraverseItem(const pugi::xml_node& node, const std::string& format, FCPXResource* media) {
    if (std::string_view(node.name()) == "audition") {
        const std::string own = node.attribute("format") ? Attr(node, "format") : format;
        for (const pugi::xml_node& pick : node.children())
            if (IsClipElement(pick.name())) return TraverseItem(pick, own, media);
        return;
    }
    TraverseClip(node, format, media);
    TraverseConnected(node, format, media);
}

void FinalCutXXML::TraverseClip(const pugi::xml_node& node, const std::string& format, FCPXResource* media) {
    auto clip = std::make_shared<FinalCutXXMLClip>();
    const std::string kind = node.name();
    clip->kind = kind;
    clip->clipNode = node;
    clip->offsetString = Attr(node, "offset");
    clip->startString = Attr(node, "start");
    clip->durationString = Attr(node, "duration");
    clip->nameString = Attr(node, "name");
    if (kind == "clip" || kind == "asset-clip") {
        clip->formatId = node.attribute("format") ? Attr(node, "format") : format;
        clip->isDropFrame = Attr(node, "tcFormat") != "NDF";
    }
    if (kind == "clip") {
        const pugi::xml_node video = node.child("video");
        clip->videoAssetId = Attr(video, "ref");
        clip->videoOffset = Attr(video, "offset");
        clip->videoDuration = Attr(video, "duration");
    }
    if (kind == "asset-clip") clip->videoAssetId = Attr(node, "ref");
    if (kind == "ref-clip" || kind == "mc-clip") clip->mediaRef = Attr(node, "ref");
    if (kind == "mc-clip") clip->angleId = Attr(node.child("mc-source"), "angleID");
    for (const pugi::xml_node& point : node.child("timeMap").children("timept"))
        clip->timePoints.push_back({Attr(point, "time"), Attr(point, "value"), Attr(point, "interp")});
    if (media)
        media->AddClip(clip);
    else
        clipsToExtract_.push_back(clip);
}

FCPXResource* FinalCutXXML::Lookup(const std::string& id) {
    if (FCPXResource** r = resourceList_.find(id)) return *r;
    if (!outsideRead_) {
        outsideRead_ = true;
        for (const pugi::xml_node& resources : xmlDoc_.document_element().children("resources"))
            TraverseResources(resources, outside_);
    }
    FCPXResource** r = outside_.find(id);
    if (!r) return nullptr;
    if (!std::exchange(outsideUsed_, true))
        LogInfo("Resolving clips from the document's resources beside the project, as the project holds none of "
                "theirs");
    return *r;
}

void FinalCutXXML::CollapseResourcesIntoClips() {
    std::string names;
    for (const auto& clip : clipsToExtract_) names += (names.empty() ? "" : ", ") + clip->kind + " " + clip->nameString;
    LogInfo("clipsToExtract: ({})", names);
    const FcpxLookup lookup = [this](const std::string& id) { return Lookup(id); };
    for (const auto& clip : clipsToExtract_) clip->Resolve(lookup, true);
}

void FinalCutXXML::MatchToFileList(const MetaList& fileList) {
    for (const auto& clip : clipsToExtract_) {
        std::vector<std::string> names;
        clip->GetR3dPrefixList(names);
        for (const std::string& name : names) {
            const std::string key = r3dMode_ ? name.substr(0, 16) : name;
            for (const auto& meta : fileList) {
                const std::string file = LastPathComponent(meta->path());
                if (r3dMode_ ? file.size() < 16 || file.compare(0, key.size(), key) != 0 : file != key) continue;
                if (!r3dMode_) RefreshMovieMeta(*meta);
                clip->metaDict.insert_or_assign(key, meta);
                if (!files_.contains(meta->path())) files_.insert_or_assign(meta->path(), FileRecordForMeta(*meta));
                break;
            }
        }
    }
    for (const auto& clip : clipsToExtract_)
        for (const auto& [key, meta] : clip->metaDict)
            if (FCPFile* file = files_.find(meta->path())) clip->AddMediaSnippetsToFile(*file);
    for (auto& [path, file] : files_) file.DumpSummary();
}

std::string FinalCutXXML::WriteFCPXXml(const std::string& path) const {
    return WriteEditXml(xmlDoc_, path, pugi::format_indent | pugi::format_no_escapes);
}

}  // namespace ombrel
