#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "model/ClipSettings.h"

namespace ombrel {

// One snippet of a clip that goes to its own folder "S%04i". `end` may be below `start`;
// a job whose ends are equal holds no frame.
struct SnippetJob {
    int start = 0;
    int end = 0;
    int framesWritten = 0;

    bool Holds(int frame) const {
        if (start < end) return start <= frame && frame <= end;
        if (start > end) return end <= frame && frame <= start;
        return false;
    }
    // The first frame of the snippet, from which its files count when named from 0.
    int First() const { return start < end ? start : end; }
};

// The per-clip record of one frame-sequence operation. (The record's own name begins with
// a double underscore, which C++ reserves for the implementation.)
struct RenderSetup {
    // 0: the frames the snippets flag, handles included, as one sequence; 1: the same frames,
    // each snippet without handles into its own folder; 2: the whole range, snippets ignored.
    int edlOptions = 2;
    ClipSettingsPtr clipSettings;
    int jobCount = 0;
    std::vector<SnippetJob> jobs;  // filled only when edlOptions is 1
    std::string destPath;
    std::string filenamePrefix;
    int timecodeBase = 0;
    int firstFrame = 0;  // of the range being rendered
    std::string baseName;
    // The clip's frame flags, copied when the operation starts so that the prefetch
    // thread reads a stable array; empty when flags are not used.
    std::vector<uint8_t> frameFlags;
    bool useFrameFlags = false;

    bool FrameFlagged(int frame) const {
        return frame >= 0 && static_cast<size_t>(frame) < frameFlags.size() && frameFlags[static_cast<size_t>(frame)];
    }
};

// The job of a prefetch thread: made when the thread starts, owned by the renderer.
struct PreFetchData {
    bool useFrameFlags = false;
    const std::vector<uint8_t>* frameFlags = nullptr;  // the setup record's copy; not owned
    int startFrame = 0;
    int endFrame = -1;
    std::atomic<bool> active{false};      // true before the thread starts; its last act clears it
    std::atomic<bool> shouldExit{false};  // the renderer asks the thread to stop
};

}  // namespace ombrel
