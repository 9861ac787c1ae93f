#include "editorial/FCPEdlClip.h"

#include "core/Log.h"
#include "library/FileParser.h"

#include <algorithm>
#include <cmath>

namespace ombrel {

bool FCPEdlClip::ConsilidateWithFile(const std::shared_ptr<R3DFileMeta>& file, bool edge) {
    if (!isVideoClip || !file) return false;
    const double start = edge ? file->edgeFrameIn() : file->frameIn();
    const float fps = file->fps();
    frameRate = fps;
    const double speed = m2Used ? m2FrameRate / fps : 1.0;
    const double in = FileParser::GetIntOfTimecode(tcIn, fps) - start;
    const double out = FileParser::GetIntOfTimecode(tcOut, fps) - start;
    const double end = (m2Used && speed < 0) ? out - transDurationOut : out + transDurationOut;
    const double x = speed * (end - in) + in;
    frameIn = x > in ? std::floor(in) : std::ceil(in);
    frameOut = frameIn > x ? std::floor(x) : std::ceil(x);
    const double last = edge ? file->edgeFrameOut() : file->frameOut();
    // A rate of 0 makes the range NaN or endless; such a range fits nowhere.
    const bool finite = std::isfinite(frameIn) && std::isfinite(frameOut);
    if (finite && std::min(frameIn, frameOut) >= 0 && start + std::max(frameIn, frameOut) <= last) {
        filePath = file->path();
        meta = file;
        consolidated = true;
        usedEdgecode = edge;
        return true;
    }
    consolidated = false;
    frameIn = 0;
    frameOut = 0;
    return edge ? false : ConsilidateWithFile(file, true);
}

void FCPEdlClip::AppendClip(const std::shared_ptr<FCPEdlClip>& other) {
    attachment = other;
    other->isAttachment = true;
    if (frameOut > frameIn) {
        frameOut = std::max(frameOut, other->frameOut);
        frameIn = std::min(frameIn, other->frameIn);
    } else {
        frameIn = std::max(frameIn, other->frameIn);
        frameOut = std::min(frameOut, other->frameOut);
    }
}

FCPSnippet FCPEdlClip::GetPullSnippet() const {
    const auto cut = [](double v) { return static_cast<uint32_t>(static_cast<int64_t>(std::trunc(v))); };
    return FCPSnippet(filePath, cut(frameIn), cut(frameOut));
}

std::string FCPEdlClip::DumpSummary() const {
    std::string text = std::to_string(editNumber) + " " + BestReelId() + ", " + tcIn + " - " + tcOut;
    LogInfo("{}", text);
    return text;
}

const std::string& FCPEdlClip::BestReelId() const {
    if (!fcpClip.empty()) return fcpClip;
    if (!replacementClip.empty()) return replacementClip;
    return reelId;
}

}  // namespace ombrel
