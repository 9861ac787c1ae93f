#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "farm/FarmJob.h"

namespace ombrel::farm {

enum class GapKind { kMissing, kShort };

// Consecutive frames of one clip and one task that are missing, or shorter than their header says.
struct FrameGap {
    int clip = 0;
    int first = 0;
    int last = 0;
    GapKind kind = GapKind::kMissing;
    int task = -1;
};

struct ClipTally {
    int expected = 0;
    int present = 0;  // there and whole
    int missing = 0;
    int shortFiles = 0;
};

struct JobCheck {
    std::vector<ClipTally> clips;
    std::vector<FrameGap> gaps;
    bool Whole() const { return gaps.empty(); }
};

// The size a frame file's header gives the whole file: a DPX file's total size, a TIFF file's
// end of its last strip; -1 when the header cannot tell (then only presence counts).
int64_t SizeFromHeader(const std::string& path);

// Looks at every frame each clip of the job should have.
JobCheck CheckJob(const FarmJob& job);

// "NAME: frames 86412-86423 missing (task 3)": the frames by their numbers in the file names.
std::string GapLine(const FarmJob& job, const FrameGap& gap);

// The task indices that hold the job's gaps, each once, in order.
std::vector<int> TasksOfGaps(const JobCheck& check);

}  // namespace ombrel::farm
