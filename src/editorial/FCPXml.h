#pragma once

#include "editorial/ReaderRules.h"

#include "editorial/EditXml.h"
#include "library/FCPFile.h"

#include <pugixml.hpp>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The time remap effect of a clip: what its parameters said.
struct FcpTimeRemap {
    std::optional<bool> reverse;
    std::optional<double> speed;
    // From the keyframes of the time graph; -1, -1 and 0 when it has none of a kind.
    std::optional<double> speedkfin, speedkfout, anchorOffset;
};

// The dictionary the walk keeps for a clip or file node: leaf element texts by name beside
// the reader's own keys ("NodeType", "NodeId", "isVideo", "file", ...).
struct FcpNode {
    std::map<std::string, std::string> values;
    std::optional<FcpTimeRemap> timeremap;

    bool has(const std::string& key) const { return values.count(key) != 0; }
    std::string get(const std::string& key) const;
    void setBool(const std::string& key, bool v) { values.insert_or_assign(key, std::string(1, v ? '1' : '0')); }
    // "key=value" pairs, sorted, for the log.
    std::string Describe() const;
};

// A clip of a Final Cut 7 document and the frame range it uses of its file.
class FCPClip {
public:
    explicit FCPClip(const FcpNode& node);

    // The range of the file's frames, or none when in and out meet.
    std::optional<FCPSnippet> GetPullSnippet() const;
    // The first frame shown, through a remap and a master clip's own in point.
    double InFrame() const;
    // Empty for a clip of no length or no picture; else one line, also logged.
    std::string DumpSummary() const;

    std::string clipId, masterClipId, subClipMasterId, fileId;
    double inFrame = 0, outFrame = 0, startOffset = 0, endOffset = 0, duration = 0;
    bool isNtsc = false;
    double fps = 0;
    FcpNode clipInfo;
    bool hasTimeRemap = false, timeRemapReverse = false;
    double timeRemapSpeed = 0, timeRemapIn = 0, timeRemapOut = 0, timeRemapOffset = 0;
    double mediaDelay = 0;
    std::weak_ptr<FCPClip> parentClip;
    bool isVideo = true, isMulticlipAngle = false, multiclipAngleIsActive = false;

private:
    bool Remapped() const { return hasTimeRemap && timeRemapSpeed != 100; }
    double OwnInFrame() const;
};

// Reads a Final Cut 7 interchange document: one walk copies leaf elements into a dictionary
// per clip or file node, and clips and files are made of those; files get their clips' ranges.
class FCPXml : public EditDocument {
public:
    using FileMap = OrderedMap<std::string, FCPFile>;

    // Parses the document and forgets earlier clips and files; false with lastError() when the
    // parser refuses it.
    bool LoadFcpXml(const std::string& path);
    // Walks the document, links subclips to their masters and gives each file its ranges.
    void TraverseTree();

    // Files by file node id, clips by clip node id, both in document order.
    const FileMap& Files() const { return files_; }
    FileMap& Files() { return files_; }
    std::vector<std::shared_ptr<FCPClip>> Clips() const;
    size_t ClipCount() const { return clips_.size(); }


private:
    void TraverseNode(const pugi::xml_node& node, FcpNode& d, int level);
    void TraverseChildren(const pugi::xml_node& node, FcpNode& d, int level);
    void MakeFile(const pugi::xml_node& node, const FcpNode& fresh, FcpNode& d);
    void LinkParentClips();
    void LinkSnippets();

    pugi::xml_document xmlDoc_;
    FileMap files_;
    OrderedMap<std::string, std::shared_ptr<FCPClip>> clips_;
};

}  // namespace ombrel
