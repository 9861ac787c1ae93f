#pragma once

#include "library/FCPFile.h"
#include "library/R3DFileMeta.h"

#include <cstdint>
#include <memory>
#include <string>

namespace ombrel {

// One row of an edit decision list, and what matching made of it.
class FCPEdlClip {
public:
    // Fits the clip's frames into the file's absolute timecode range, or else (edge false)
    // into its edge code range. Answers whether it fits; a clip that does not is left
    // unmatched with a range of 0 to 0.
    bool ConsilidateWithFile(const std::shared_ptr<R3DFileMeta>& meta, bool edge);
    // Takes a zero-length neighbour into this clip: the range grows to hold both.
    void AppendClip(const std::shared_ptr<FCPEdlClip>& other);
    // frameIn and frameOut cut towards zero.
    FCPSnippet GetPullSnippet() const;
    // "%i %@, %@ - %@": edit number, best reel name, source in and out; also logged.
    std::string DumpSummary() const;
    // fcpClip, else replacementClip, else reelId.
    const std::string& BestReelId() const;

    int32_t editNumber = 0;
    int32_t entryPosition = 0;
    std::string reelId;
    std::string replacementClip;
    std::string fcpClip;
    bool isVideoClip = false;
    bool isTransition = false;
    double frameRate = 0;
    double m2FrameRate = 0;
    double transDurationIn = 0;
    double nextClipFPS = 0;
    bool useNextClipFPS = false;
    double transDurationOut = 0;
    std::string m2Reel;
    std::string m2Timecode;
    bool m2Used = false;
    std::string tcIn;
    std::string tcOut;
    std::string timelineIn;
    std::string timelineOut;
    double frameIn = 0;
    double frameOut = 0;
    double timeRemapFrameIn = 0;
    double timeRemapFrameOut = 0;
    std::string editType;
    bool consolidated = false;
    std::shared_ptr<FCPEdlClip> attachment;
    bool isAttachment = false;
    std::string originalText;
    std::string filePath;
    std::shared_ptr<R3DFileMeta> meta;
    bool usedEdgecode = false;
};

}  // namespace ombrel
