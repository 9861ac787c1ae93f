#pragma once

#include "editorial/ReaderRules.h"

#include "editorial/EditXml.h"
#include "library/FCPFile.h"
#include "library/R3DFileMeta.h"

#include <pugixml.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// One cut source of a FilmScribe cut list: its clip name and the source frames it uses.
class AvidXMLClip {
public:
    explicit AvidXMLClip(const pugi::xml_node& node) : clipNode(node) {}

    // The frame setters keep the first value read as the original.
    void SetIn(int32_t frame);
    void SetOut(int32_t frame);
    // Source frames as timecode text at the clip's rate.
    std::string TimecodeIn() const;
    std::string TimecodeOut() const;
    const std::string& R3dPrefix() const { return fileR3dPrefix; }
    float Fps() const { return timebase; }
    // "Filmscribe: <prefix> In:<tc>, Out:<tc> Start:<master tc> End:<master tc> FPS:<rate>"
    std::string Description() const;
    // The source frames counted from the matched file's first frame.
    FCPSnippet GetPullSnippet() const;
    // Names the file in the document: every "ClipName" under the source takes its last path
    // component. The timecodes, handle and rate are logged only.
    void UpdateFile(const std::string& filePath, const std::string& newTcIn, const std::string& newTcOut,
                    int32_t handle, float fps);

    int32_t timecodeIn = 0, timecodeOut = 0;
    int32_t originalTcIn = 0, originalTcOut = 0;
    int32_t originalTcStart = 0, originalTcEnd = 0;
    std::optional<std::string> originalTcInString, originalTcOutString;
    std::string originalTcStartString, originalTcEndString;
    std::string fileR3dPrefix;
    float timebase = 0;
    pugi::xml_node clipNode;
    std::shared_ptr<R3DFileMeta> meta;

private:
    void UpdateNode(const pugi::xml_node& node, const std::string& filePath, const std::string& path);
    bool inRead_ = false, outRead_ = false;
};

// Reads a FilmScribe 1.0 cut list: one walk recognises values by the path of element names
// that leads to them, and each usable "Source" element makes a clip.
class AvidXML : public EditDocument {
public:
    using MetaList = std::vector<std::shared_ptr<R3DFileMeta>>;
    using FileMap = OrderedMap<std::string, FCPFile>;

    // Parses the document and forgets earlier clips and files; false with lastError() when the
    // parser refuses it.
    bool LoadAvidXml(const std::string& path);
    // Walks from the root; false when the walk failed (a version other than 1.0).
    bool TraverseTree();
    // Ties each clip to the first file of its name and gives the files the clips' ranges.
    void MatchToFileList(const MetaList& fileList);

    // The document with its clip names as they are now, beside the input as "..._for_relink.xml"
    // or at `path`; an existing file is kept. Empty on success, else why.
    std::string WriteAvidXml() const { return WriteAvidXml(RelinkPathFor(originalPath_)); }
    std::string WriteAvidXml(const std::string& path) const;

    const std::vector<std::shared_ptr<AvidXMLClip>>& ClipList() const { return clipsToExtract_; }
    // Files by path, in the order they were matched.
    const FileMap& Files() const { return files_; }
    FileMap& Files() { return files_; }
    float timebase() const { return timebase_; }

private:
    bool TraverseNode(const pugi::xml_node& node, const std::string& path, AvidXMLClip* clip);
    void ReadPath(const pugi::xml_node& node, const std::string& path, AvidXMLClip& clip) const;
    bool ValidateSourceNode(const pugi::xml_node& node) const;

    pugi::xml_document xmlDoc_;
    std::vector<std::shared_ptr<AvidXMLClip>> clipsToExtract_;
    FileMap files_;
    float timebase_ = 0;
};

}  // namespace ombrel
