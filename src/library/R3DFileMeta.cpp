#include "library/R3DFileMeta.h"

#include "core/Paths.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"
#include "r3d/sdk/R3DSDK.h"

namespace ombrel {
namespace {

// Media without a timecode start here; the full stop before the frames is deliberate.
constexpr const char* kNoTimecode = "00:00:00.00";

}  // namespace

bool R3DFileMeta::LoadMetadataFromPathIsR3d(const std::string& path, bool isR3d) {
    return isR3d ? LoadR3D(path) : LoadMovie(path);
}

bool R3DFileMeta::LoadR3D(const std::string& path) {
    const R3DSDK::Clip clip(path);
    if (clip.Status() != R3DSDK::kClipLoaded) return false;
    reel_ = clip.MetadataItemAsString("reel_id");
    clip_ = clip.MetadataItemAsString("clip_id");
    path_ = path;
    frameCount_ = static_cast<int32_t>(clip.VideoFrameCount());
    timecodeIn_ = clip.AbsoluteTimecode(0);
    edgecodeIn_ = clip.EdgeTimecode(0);
    if (frameCount_ < 1) {
        timecodeOut_ = timecodeIn_;
        edgecodeOut_ = edgecodeIn_;
    } else {
        timecodeOut_ = clip.AbsoluteTimecode(frameCount_ - 1);
        edgecodeOut_ = clip.EdgeTimecode(frameCount_ - 1);
    }
    fps_ = clip.TimecodeFramerate();
    frameIn_ = FileParser::GetIntOfTimecodeFPS(timecodeIn_, fps_);
    edgeFrameIn_ = FileParser::GetIntOfTimecodeFPS(edgecodeIn_, fps_);
    // One past the last frame, unlike a movie's.
    frameOut_ = frameIn_ + frameCount_;
    edgeFrameOut_ = edgeFrameIn_ + frameCount_;
    return true;
}

bool R3DFileMeta::LoadMovie(const std::string& path) {
    // A movie the cache could not read (junk, no picture) is left out, as a missing file is.
    const std::shared_ptr<ClipMetadata> meta = MetadataCache::Instance().ForceMetadataForPath(path);
    if (!meta || meta->notPlayable() || !meta->hasTimingInfo()) return false;
    frameIn_ = 0;
    edgeFrameIn_ = 0;
    fps_ = static_cast<float>(meta->fps());
    frameCount_ = static_cast<int32_t>(meta->frameCount());
    // The last frame itself, unlike an R3D clip's.
    frameOut_ = frameCount_ - 1;
    edgeFrameOut_ = frameCount_ - 1;
    reel_ = FileParser::DisplayReelNameForPath(path);
    clip_ = FileParser::DisplayClipNameForPath(path);
    path_ = path;
    timecodeOut_ = FileParser::GetStringOfTimecodeFPS(frameOut_ > 0 ? static_cast<uint32_t>(frameOut_) : 0u, fps_);
    timecodeIn_ = kNoTimecode;
    edgecodeIn_ = kNoTimecode;
    edgecodeOut_ = timecodeOut_;
    return true;
}

std::string R3DFileMeta::ShortName() const { return DeletingPathExtension(LastPathComponent(path_)); }

std::string R3DFileMeta::BaseFilename() const {
    const std::string name = LastPathComponent(path_);
    return FileParser::IsR3DFile(path_) ? name.substr(0, 16) : name;
}

std::string R3DFileMeta::R3dPrefix() const {
    const std::string name = LastPathComponent(path_);
    return name.size() < 16 ? std::string() : name.substr(0, 16);
}

}  // namespace ombrel
