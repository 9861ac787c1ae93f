#include "editorial/Coverage.h"

#include "core/Paths.h"
#include "library/FileParser.h"

#include <algorithm>
#include <filesystem>

namespace ombrel {

std::vector<SnippetOrder> SweepSnippets(const std::vector<double>& snippets, long maximum) {
    if (snippets.size() < 2) return {};
    std::vector<SnippetOrder> events;
    for (size_t i = 0; i + 1 < snippets.size(); i += 2) {
        events.emplace_back(static_cast<long>(snippets[i]), true);
        events.emplace_back(static_cast<long>(snippets[i + 1]), false);
    }
    std::stable_sort(events.begin(), events.end(), [](const SnippetOrder& a, const SnippetOrder& b) {
        return a.frame != b.frame ? a.frame < b.frame : (a.start && !b.start);
    });
    std::vector<SnippetOrder> out{{0, true}};
    int depth = 0;
    for (const SnippetOrder& e : events) {
        if (depth == 1 && !e.start) {
            out.emplace_back(e.frame, true);
            depth = 0;
        } else if (depth == 0 && e.start) {
            out.emplace_back(e.frame, false);
            depth = 1;
        } else {
            depth += e.start ? 1 : -1;
        }
    }
    out.emplace_back(maximum, false);
    return out;
}

std::vector<std::pair<long, long>> UncoveredSpans(const std::vector<double>& snippets, long maximum) {
    const std::vector<SnippetOrder> events = SweepSnippets(snippets, maximum);
    std::vector<std::pair<long, long>> spans;
    for (size_t i = 0; i + 1 < events.size(); i += 2)
        if (events[i].frame < events[i + 1].frame) spans.emplace_back(events[i].frame, events[i + 1].frame);
    return spans;
}

namespace {

// Folders of a path from the deepest up.
std::vector<std::string> ParentsDeepestFirst(const std::string& path) {
    std::vector<std::string> parts;
    for (const auto& part : std::filesystem::path(path).parent_path())
        if (part != "/" && !part.empty()) parts.push_back(part.string());
    std::reverse(parts.begin(), parts.end());
    return parts;
}

void Score(const std::string& candidate, std::vector<MissingFile>& list) {
    const std::string name = LastPathComponent(candidate);
    const std::vector<std::string> found = ParentsDeepestFirst(candidate);
    for (MissingFile& entry : list) {
        if (LastPathComponent(entry.path) != name) continue;
        const std::vector<std::string> old = ParentsDeepestFirst(entry.path);
        int32_t score = 1;
        for (size_t i = 0; i < found.size() && i < old.size() && found[i] == old[i]; ++i) ++score;
        if (score > entry.matchScore) {
            entry.foundPath = candidate;
            entry.matchScore = score;
        }
    }
}

void Walk(const std::filesystem::path& dir, std::vector<MissingFile>& list) {
    std::error_code ec;
    std::vector<std::filesystem::directory_entry> entries;
    for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
        entries.push_back(*it);
    std::sort(entries.begin(), entries.end());
    for (const auto& entry : entries) {
        // A link to a folder is not followed, so a loop of links ends.
        if (entry.is_directory(ec) && !entry.is_symlink(ec)) {
            Walk(entry.path(), list);
            continue;
        }
        const std::string path = entry.path().string();
        if (FileParser::IsUseableQuicktimeMov(path) || FileParser::IsR3DFile(path)) Score(path, list);
    }
}

}  // namespace

void CheckForMissingFileList(const std::string& directory, std::vector<MissingFile>& list) {
    Walk(directory, list);
}

void Timeline::ResetTimeline() {
    Timeline& t = Instance();
    std::lock_guard lock(t.lock_);
    t.items_.clear();
}

void Timeline::AddItemTimelineFrameFileInFileOut(const std::string& filename, uint32_t timelineIn, uint32_t fileIn,
                                                 uint32_t fileOut) {
    Timeline& t = Instance();
    std::lock_guard lock(t.lock_);
    t.items_.push_back({filename, timelineIn, fileIn, fileOut});
}

void Timeline::SortTimeline() {
    Timeline& t = Instance();
    std::lock_guard lock(t.lock_);
    std::stable_sort(t.items_.begin(), t.items_.end(),
                     [](const TimelineItem& a, const TimelineItem& b) { return a.timelineIn < b.timelineIn; });
}

std::vector<TimelineItem> Timeline::itemList() {
    Timeline& t = Instance();
    std::lock_guard lock(t.lock_);
    return t.items_;
}

}  // namespace ombrel
