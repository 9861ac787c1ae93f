#pragma once

#include "editorial/ReaderRules.h"

#include "editorial/EditXml.h"
#include "library/FCPFile.h"
#include "library/R3DFileMeta.h"

#include <pugixml.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ombrel {

// A time of the document: numerator over denominator seconds, kept exact until a frame
// number is wanted.
struct FcpxTime {
    uint64_t num = 0;
    uint64_t den = 0;
};

struct FCPXTimePt {
    std::string time, value, interpType;
};

class FinalCutXXMLClip;
class FCPXResource;
// Finds a resource by id for a clip's references.
using FcpxLookup = std::function<FCPXResource*(const std::string& id)>;

// One walk down resources and clips: resources already on the way are not entered again, and
// a walk that has made too many steps stops, so a compound that holds itself ends.
struct FcpxWalk {
    std::vector<const FCPXResource*> path;
    size_t steps = 0;
    bool Enter(const FCPXResource* r);
    void Leave() { path.pop_back(); }
};

// Something a clip refers to: an asset (a media file), a format, a compound clip or a multicam.
class FCPXResource {
public:
    enum class Kind { kAsset, kFormat, kCompound, kMultiCam };
    virtual ~FCPXResource() = default;
    virtual Kind kind() const = 0;
    virtual void WriteDebug() const = 0;
    virtual void AddClip(const std::shared_ptr<FinalCutXXMLClip>&) {}
    virtual void CollapseResourcesIntoClips(const FcpxLookup&) {}
    virtual void GetR3dPrefixList(std::vector<std::string>&, FcpxWalk&) const {}
    virtual void AddMediaSnippetsToFile(FCPFile&, FcpxWalk&) const {}

    std::string resourceId;
    pugi::xml_node originalFileNode;
};

class FCPXAsset : public FCPXResource {
public:
    Kind kind() const override { return Kind::kAsset; }
    void WriteDebug() const override;
    void GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk&) const override;
    std::string start, duration, posixPath, urlPath;
};

class FCPXFormat : public FCPXResource {
public:
    Kind kind() const override { return Kind::kFormat; }
    void WriteDebug() const override;
    std::string frameDuration;
};

class FCPXCompoundClip : public FCPXResource {
public:
    Kind kind() const override { return Kind::kCompound; }
    void WriteDebug() const override;
    void AddClip(const std::shared_ptr<FinalCutXXMLClip>& clip) override { spine.push_back(clip); }
    // Resolves the references of its own clips, not of what they hold.
    void CollapseResourcesIntoClips(const FcpxLookup& lookup) override;
    void GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk& walk) const override;
    void AddMediaSnippetsToFile(FCPFile& file, FcpxWalk& walk) const override;
    std::vector<std::shared_ptr<FinalCutXXMLClip>> spine;
};

class FCPXMultiCam : public FCPXResource {
public:
    Kind kind() const override { return Kind::kMultiCam; }
    void WriteDebug() const override;
    void CollapseResourcesIntoClips(const FcpxLookup& lookup) override;
    void GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk& walk) const override;
    // Every angle gives its ranges, whichever the clip shows.
    void AddMediaSnippetsToFile(FCPFile& file, FcpxWalk& walk) const override;
    std::string formatId, timecodeFormat, start, activeAngle;
    OrderedMap<std::string, std::shared_ptr<FCPXCompoundClip>> angles;
};

// A clip of a spine: its times as the document writes them and the resources it refers to.
class FinalCutXXMLClip {
public:
    // Names to look for on disk: an R3D asset's first 16 characters, a movie's file name; a
    // compound or multicam gives those of every clip inside.
    void GetR3dPrefixList(std::vector<std::string>& names) const;
    void GetR3dPrefixList(std::vector<std::string>& names, FcpxWalk& walk) const;
    // The clip's frames, or those of every clip its compound or multicam holds, to `file`.
    void AddMediaSnippetsToFile(FCPFile& file) const;
    void AddMediaSnippetsToFile(FCPFile& file, FcpxWalk& walk) const;
    // Frames from media time zero at the format's rate, through the time map; 0 to 0 without
    // an asset's format.
    FCPSnippet GetPullSnippet() const;
    // The asset's name for an asset clip, else empty.
    std::string R3dPrefix() const;
    // Resolves the clip's references; with `deep`, a compound or multicam resolves its own.
    void Resolve(const FcpxLookup& lookup, bool deep);
    void WriteDebug() const;

    // "<n>s", "<n>/<d>s" or nothing, over `defaultDenominator` (0 stands for 25000); with
    // `convert` a fraction is brought to that denominator.
    static FcpxTime ConvertString(const std::string& text, uint64_t defaultDenominator, bool convert);
    // `t` through the time map, whose points are sorted latest first; a time outside every
    // pair of points stays.
    FcpxTime InterpolateWithTimePoints(FcpxTime t, const std::vector<FCPXTimePt>& sorted) const;

    std::string kind;  // the element's name
    std::string offsetString, startString, durationString, nameString;
    std::string formatId;
    bool isDropFrame = false;
    std::string videoAssetId, videoOffset, videoDuration;
    pugi::xml_node clipNode;
    OrderedMap<std::string, std::shared_ptr<R3DFileMeta>> metaDict;
    FCPXResource* asset = nullptr;
    FCPXFormat* format = nullptr;
    std::vector<FCPXTimePt> timePoints;
    std::string mediaRef, angleId;

private:
    mutable bool warnedFreeze_ = false;
};

// Reads a Final Cut X project document: resources and the clips of the project's spines,
// resolved into each other, then matched to files by name.
class FinalCutXXML : public EditDocument {
public:
    using MetaList = std::vector<std::shared_ptr<R3DFileMeta>>;
    using FileMap = OrderedMap<std::string, FCPFile>;

    // Parses the document and forgets earlier clips, resources and files; false with
    // lastError() when the parser refuses it. Attribute values stay as written, escapes too.
    bool LoadFCPXXml(const std::string& path);
    // Reads the first project under each parent and resolves the clips' references.
    void TraverseTree();
    // Ties each clip's names to the first file of each, and gives the files the clips' ranges.
    void MatchToFileList(const MetaList& fileList);

    // The document as read, beside the input as "..._for_relink.xml" or at `path`; an existing
    // file is kept. Empty on success, else why.
    std::string WriteFCPXXml() const { return WriteFCPXXml(RelinkPathFor(originalPath_)); }
    std::string WriteFCPXXml(const std::string& path) const;

    const std::vector<std::shared_ptr<FinalCutXXMLClip>>& ClipList() const { return clipsToExtract_; }
    const FileMap& Files() const { return files_; }
    FileMap& Files() { return files_; }
    const OrderedMap<std::string, FCPXResource*>& resourceList() const { return resourceList_; }

private:
    using Resources = OrderedMap<std::string, FCPXResource*>;
    template <typename T>
    T* Make(Resources& into, const std::string& id, const pugi::xml_node& node);
    void TraverseRoot(const pugi::xml_node& node);
    void TraverseProject(const pugi::xml_node& node);
    void TraverseResources(const pugi::xml_node& node, Resources& into);
    void TraverseAsset(const pugi::xml_node& node, Resources& into);
    void TraverseMedia(const pugi::xml_node& node, Resources& into);
    void TraverseMulticam(const pugi::xml_node& node, FCPXMultiCam& multicam);
    void TraverseSequence(const pugi::xml_node& node, FCPXResource* media);
    void TraverseSpine(const pugi::xml_node& node, const std::string& format, FCPXResource* media);
    // A clip, an audition's first pick, and the clips connected to it.
    void TraverseItem(const pugi::xml_node& node, const std::string& format, FCPXResource* media);
    // Clips connected to an element of a spine, and its secondary storylines.
    void TraverseConnected(const pugi::xml_node& node, const std::string& format, FCPXResource* media);
    void TraverseClip(const pugi::xml_node& node, const std::string& format, FCPXResource* media);
    void CollapseResourcesIntoClips();
    FCPXResource* Lookup(const std::string& id);

    pugi::xml_document xmlDoc_;
    std::vector<std::shared_ptr<FinalCutXXMLClip>> clipsToExtract_;
    std::vector<std::unique_ptr<FCPXResource>> owned_;
    Resources resourceList_;
    // The document's top-level resources, for clips the project's own do not resolve.
    Resources outside_;
    bool outsideRead_ = false, outsideUsed_ = false;
    FileMap files_;
};

}  // namespace ombrel
