#include "farm/SequenceCheck.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>

namespace ombrel::farm {
namespace {

uint32_t Read32(const unsigned char* p, bool big) {
    return big ? uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]
               : uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

uint16_t Read16(const unsigned char* p, bool big) {
    return static_cast<uint16_t>(big ? p[0] << 8 | p[1] : p[1] << 8 | p[0]);
}

// The end of the last strip of a classic TIFF's first image: the furthest offset plus count of
// its strips. -1 for anything this reader does not follow (tiles, strip tables beyond the
// file's first megabyte).
int64_t TiffEnd(std::ifstream& in, bool big) {
    std::vector<unsigned char> head(1 << 20);
    in.seekg(0);
    in.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    if (head.size() < 8) return -1;
    const uint32_t ifd = Read32(&head[4], big);
    if (size_t(ifd) + 2 > head.size()) return -1;
    const uint16_t entries = Read16(&head[ifd], big);
    uint32_t offsetsAt = 0, countsAt = 0, n = 0;
    uint16_t offsetsType = 4, countsType = 4;
    for (uint16_t e = 0; e < entries; ++e) {
        const size_t at = ifd + 2 + size_t(e) * 12;
        if (at + 12 > head.size()) return -1;
        const uint16_t tag = Read16(&head[at], big), type = Read16(&head[at + 2], big);
        const uint32_t count = Read32(&head[at + 4], big);
        if (tag != 273 && tag != 279) continue;
        const bool fits = count * (type == 3 ? 2u : 4u) <= 4;
        (tag == 273 ? offsetsAt : countsAt) = fits ? uint32_t(at + 8) : Read32(&head[at + 8], big);
        (tag == 273 ? offsetsType : countsType) = type;
        n = count;
    }
    if (n == 0 || offsetsAt == 0 || countsAt == 0) return -1;
    auto value = [&](uint32_t base, uint16_t type, uint32_t i) -> int64_t {
        const size_t at = base + size_t(i) * (type == 3 ? 2 : 4);
        if (at + 4 > head.size()) return -1;
        return type == 3 ? Read16(&head[at], big) : Read32(&head[at], big);
    };
    int64_t end = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const int64_t offset = value(offsetsAt, offsetsType, i), count = value(countsAt, countsType, i);
        if (offset < 0 || count < 0) return -1;
        end = std::max(end, offset + count);
    }
    return end;
}

}  // namespace

int64_t SizeFromHeader(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    unsigned char head[20] = {};
    if (!in.read(reinterpret_cast<char*>(head), sizeof head)) return -1;
    if (std::memcmp(head, "SDPX", 4) == 0 || std::memcmp(head, "XPDS", 4) == 0)
        return Read32(head + 16, head[0] == 'S');
    if (std::memcmp(head, "MM\0*", 4) == 0 || std::memcmp(head, "II*\0", 4) == 0) return TiffEnd(in, head[0] == 'M');
    return -1;
}

JobCheck CheckJob(const FarmJob& job) {
    JobCheck check;
    for (size_t c = 0; c < job.clips.size(); ++c) {
        const FarmClip& clip = job.clips[c];
        ClipTally tally;
        for (int f = clip.first; f <= clip.last; ++f) {
            ++tally.expected;
            const std::string path = clip.naming.FramePath(f);
            struct stat st {};
            GapKind kind;
            if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
                kind = GapKind::kMissing;
                ++tally.missing;
            } else if (const int64_t want = SizeFromHeader(path); st.st_size < want || (want == -1 && st.st_size == 0)) {
                kind = GapKind::kShort;
                ++tally.shortFiles;
            } else {
                ++tally.present;
                continue;
            }
            const int task = job.TaskForFrame(static_cast<int>(c), f);
            FrameGap* last = check.gaps.empty() ? nullptr : &check.gaps.back();
            if (last && last->clip == static_cast<int>(c) && last->last == f - 1 && last->kind == kind &&
                last->task == task)
                last->last = f;
            else
                check.gaps.push_back({static_cast<int>(c), f, f, kind, task});
        }
        check.clips.push_back(tally);
    }
    return check;
}

std::string GapLine(const FarmJob& job, const FrameGap& gap) {
    const FarmClip& clip = job.clips.at(static_cast<size_t>(gap.clip));
    const int64_t a = clip.naming.Number(gap.first), b = clip.naming.Number(gap.last);
    std::string line = clip.name + ": " + (a == b ? "frame " + std::to_string(a) : "frames " + std::to_string(a) + "-" +
                                                                                        std::to_string(b));
    if (gap.kind == GapKind::kMissing)
        line += " missing";
    else
        line += a == b ? " shorter than its header says" : " shorter than their headers say";
    if (gap.task >= 0) line += " (task " + std::to_string(gap.task) + ")";
    return line;
}

std::vector<int> TasksOfGaps(const JobCheck& check) {
    std::set<int> tasks;
    for (const FrameGap& g : check.gaps)
        if (g.task >= 0) tasks.insert(g.task);
    return {tasks.begin(), tasks.end()};
}

}  // namespace ombrel::farm
