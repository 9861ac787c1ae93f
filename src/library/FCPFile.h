#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/PlistValue.h"

namespace ombrel {

// One range of frames of one media file, as an edit uses it. The out point may lie before the
// in point (a clip played in reverse); whether it is inclusive is the source format's business.
class FCPSnippet {
public:
    FCPSnippet() = default;
    // The first argument names the file or clip the range came from; it is not kept.
    FCPSnippet(const std::string& /*id*/, uint32_t in, uint32_t out) : inPoint_(in), outPoint_(out) {}
    FCPSnippet(const std::string& /*id*/, uint32_t in, uint32_t out, uint32_t timelineIn)
        : inPoint_(in), outPoint_(out), timelineIn_(timelineIn) {}

    uint32_t inPoint() const { return inPoint_; }
    void setInPoint(uint32_t v) { inPoint_ = v; }
    uint32_t outPoint() const { return outPoint_; }
    void setOutPoint(uint32_t v) { outPoint_ = v; }
    uint32_t timelineIn() const { return timelineIn_; }
    void setTimelineIn(uint32_t v) { timelineIn_ = v; }

    // "IN:<in>\tOut:<out>"
    std::string DumpSummary() const;

private:
    uint32_t inPoint_ = 0;
    uint32_t outPoint_ = 0;
    uint32_t timelineIn_ = 0;
};

// One source media file of an edit: the ranges the edit uses and a flag per frame they cover.
// Every editorial reader produces these; the shot list keeps them by key and the project file
// stores them through KVCDictionary.
class FCPFile {
public:
    // Frame flags are not made for a longer file: a corrupt length must not take the memory.
    static constexpr int64_t kMaxFlaggedFrames = int64_t{1} << 26;

    // No path, no length and no flags.
    FCPFile() = default;
    // Flags for `duration` + 1 frames, all clear.
    FCPFile(const std::string& path, int64_t duration, const std::string& reference);

    // Appends the range, its ends clamped to `duration`, and flags the frames it covers.
    void AddSnippet(FCPSnippet snippet);
    const std::vector<FCPSnippet>& GetSnippets() const { return snippetList_; }
    // The ranges flat, in, out, in, out, as the project file and a clip's snippets hold them.
    PlistValue KVCSnippetList() const;
    PlistValue KVCDictionary() const;
    // Fields from a dictionary of KVCDictionary's form; new flags all clear, not set from the ranges.
    void LoadFromKVCDictionary(const PlistValue& dict);

    // The first 16 characters of the file's name: reel, clip and date of an R3D clip.
    std::optional<std::string> R3dPrefix() const;
    // The file's name without its extension.
    std::string shortName() const;
    // One line per range (or one for the file when it has none), logged and returned.
    std::string DumpSummary() const;

    // Percent escapes are decoded when the path is set and again when it is read.
    std::string sourcePath() const;
    void setSourcePath(const std::string& v);
    std::string reference() const { return reference_.value_or(""); }
    void setReference(const std::string& v) { reference_ = v; }
    std::string name() const { return name_.value_or(""); }
    void setName(const std::string& v) { name_ = v; }
    std::string timecode() const { return timecode_.value_or(""); }
    void setTimecode(const std::string& v) { timecode_ = v; }
    int64_t timecodeFrame() const { return timecodeFrame_; }
    void setTimecodeFrame(int64_t v) { timecodeFrame_ = v; }
    int64_t duration() const { return duration_; }
    void setDuration(int64_t v) { duration_ = v; }
    // One byte per frame, 1 where a range covers it; empty when the record has no flags.
    const std::vector<uint8_t>& frameFlags() const { return frameFlags_; }
    float baseFps() const { return baseFps_; }
    void setBaseFps(float v) { baseFps_ = v; }
    bool isNtsc() const { return isNtsc_; }
    void setIsNtsc(bool v) { isNtsc_ = v; }
    bool isNeeded() const { return isNeeded_; }
    void setIsNeeded(bool v) { isNeeded_ = v; }
    std::vector<FCPSnippet>& snippetList() { return snippetList_; }
    // The rate its timecodes count in: baseFps, over 1.001 for NTSC.
    float TimecodeRate() const;

private:
    void MakeFlags(int64_t count);

    std::optional<std::string> sourcePath_;
    std::optional<std::string> reference_;
    std::optional<std::string> name_;
    std::optional<std::string> timecode_;
    int64_t timecodeFrame_ = 0;
    int64_t duration_ = 0;
    std::vector<uint8_t> frameFlags_;
    float baseFps_ = 0.0f;
    bool isNtsc_ = false;
    bool isNeeded_ = false;
    std::vector<FCPSnippet> snippetList_;
};

// Decodes %XX escapes to their bytes; a "%" not followed by two hexadecimal digits stays.
std::string PercentDecoded(const std::string& text);

}  // namespace ombrel
