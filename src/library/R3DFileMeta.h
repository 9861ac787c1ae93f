#pragma once

#include <cstdint>
#include <string>

namespace ombrel {

// One candidate clip as the conform sees it: names, timecode and frame range, for R3D
// clips and movies alike.
class R3DFileMeta {
public:
    // Fills the record from the clip at `path`; answers whether that worked. An R3D clip
    // is read through the registered camera SDK reader; a movie through the metadata
    // cache, and a movie the cache cannot read loads no record.
    bool LoadMetadataFromPathIsR3d(const std::string& path, bool isR3d);

    // The last path component without extension.
    std::string ShortName() const;
    // For an R3D file the first 16 characters of its name (reel, clip and date), else the name.
    std::string BaseFilename() const;
    // The first 16 characters of the name, the key of R3D matching; empty when shorter.
    std::string R3dPrefix() const;

    const std::string& path() const { return path_; }
    const std::string& reel() const { return reel_; }
    const std::string& clip() const { return clip_; }
    const std::string& timecodeIn() const { return timecodeIn_; }
    const std::string& timecodeOut() const { return timecodeOut_; }
    const std::string& edgecodeIn() const { return edgecodeIn_; }
    const std::string& edgecodeOut() const { return edgecodeOut_; }
    int32_t frameIn() const { return frameIn_; }
    int32_t frameOut() const { return frameOut_; }
    int32_t edgeFrameIn() const { return edgeFrameIn_; }
    int32_t edgeFrameOut() const { return edgeFrameOut_; }
    int32_t frameCount() const { return frameCount_; }
    float fps() const { return fps_; }

    void setPath(const std::string& v) { path_ = v; }
    void setReel(const std::string& v) { reel_ = v; }
    void setClip(const std::string& v) { clip_ = v; }
    void setTimecodeIn(const std::string& v) { timecodeIn_ = v; }
    void setTimecodeOut(const std::string& v) { timecodeOut_ = v; }
    void setEdgecodeIn(const std::string& v) { edgecodeIn_ = v; }
    void setEdgecodeOut(const std::string& v) { edgecodeOut_ = v; }
    void setFrameIn(int32_t v) { frameIn_ = v; }
    void setFrameOut(int32_t v) { frameOut_ = v; }
    void setEdgeFrameIn(int32_t v) { edgeFrameIn_ = v; }
    void setEdgeFrameOut(int32_t v) { edgeFrameOut_ = v; }
    void setFrameCount(int32_t v) { frameCount_ = v; }
    void setFps(float v) { fps_ = v; }

private:
    bool LoadR3D(const std::string& path);
    bool LoadMovie(const std::string& path);

    std::string path_;
    std::string reel_;
    std::string clip_;
    std::string timecodeIn_;
    std::string timecodeOut_;
    std::string edgecodeIn_;
    std::string edgecodeOut_;
    int32_t frameIn_ = 0;
    int32_t frameOut_ = 0;
    int32_t edgeFrameIn_ = 0;
    int32_t edgeFrameOut_ = 0;
    int32_t frameCount_ = 0;
    float fps_ = 0.0f;
};

}  // namespace ombrel
