#pragma once

#include "core/Singleton.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ombrel {

// One event of the coverage sweep: a range begins or ends at a frame.
struct SnippetOrder {
    SnippetOrder(long f, bool s) : frame(f), start(s) {}
    long frame = 0;
    bool start = false;
};

// The sweep behind the scrubber's shading. `snippets` is a clip's flat in, out, in, out list;
// with fewer than two numbers there is nothing to sweep and the answer is empty. Otherwise the
// answer, read two at a time from the front, is the frames the edit does not use, ending at
// `maximum`. Where a range starts on the frame another ends, the start counts first, so
// touching ranges leave no gap.
std::vector<SnippetOrder> SweepSnippets(const std::vector<double>& snippets, long maximum);
// The spans of that answer worth drawing: those whose first frame is below their second.
std::vector<std::pair<long, long>> UncoveredSpans(const std::vector<double>& snippets, long maximum);

// A shot-list clip whose file has gone, and the best candidate found for it so far.
struct MissingFile {
    std::string path;
    std::string foundPath;
    // The shot list's own entry; the caller knows its type.
    std::shared_ptr<void> fsItem;
    int32_t matchScore = 0;
};

// Walks `directory` (names in byte order) for clips with a missing file's name. A candidate
// scores 1 plus one for each parent folder it shares with the old path, from the deepest up;
// a strictly higher score replaces the entry's foundPath, so the first of equals stays.
void CheckForMissingFileList(const std::string& directory, std::vector<MissingFile>& list);

struct TimelineItem {
    std::string filename;
    uint32_t timelineIn = 0;
    uint32_t fileIn = 0;
    uint32_t fileOut = 0;
};

// The edit's entries by place on its timeline, for the whole process.
class Timeline : public Singleton<Timeline> {
public:
    static constexpr const char* kClassName = "Timeline";

    static void ResetTimeline();
    static void AddItemTimelineFrameFileInFileOut(const std::string& filename, uint32_t timelineIn, uint32_t fileIn,
                                                  uint32_t fileOut);
    // By timelineIn, ascending; equal places keep their order.
    static void SortTimeline();
    static std::vector<TimelineItem> itemList();

private:
    friend class Singleton<Timeline>;
    Timeline() { items_.reserve(100); }

    std::mutex lock_;
    std::vector<TimelineItem> items_;
};

}  // namespace ombrel
