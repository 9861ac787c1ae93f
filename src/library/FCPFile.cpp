#include "library/FCPFile.h"

#include <algorithm>
#include <cstdio>

#include "core/Log.h"
#include "core/Paths.h"
#include "library/FileParser.h"

namespace ombrel {
namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::optional<std::string> TextAt(const PlistValue& dict, const char* key) {
    const PlistValue& v = dict[key];
    if (!v.isString()) return std::nullopt;
    return v.asString();
}

}  // namespace

std::string PercentDecoded(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const int hi = text[i] == '%' && i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int lo = hi >= 0 ? HexValue(text[i + 2]) : -1;
        if (lo >= 0) {
            out.push_back(static_cast<char>(hi * 16 + lo));
            i += 2;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::string FCPSnippet::DumpSummary() const {
    return "IN:" + std::to_string(static_cast<int32_t>(inPoint_)) +
           "\tOut:" + std::to_string(static_cast<int32_t>(outPoint_));
}

FCPFile::FCPFile(const std::string& path, int64_t duration, const std::string& reference)
    : reference_(reference), duration_(duration) {
    setSourcePath(path);
    MakeFlags(duration + 1);
}

void FCPFile::MakeFlags(int64_t count) {
    frameFlags_.clear();
    if (count > 0 && count <= kMaxFlaggedFrames) frameFlags_.assign(static_cast<size_t>(count), 0);
}

std::string FCPFile::sourcePath() const { return sourcePath_ ? PercentDecoded(*sourcePath_) : std::string(); }

void FCPFile::setSourcePath(const std::string& v) { sourcePath_ = PercentDecoded(v); }

float FCPFile::TimecodeRate() const { return isNtsc_ ? baseFps_ / 1.001f : baseFps_; }

void FCPFile::AddSnippet(FCPSnippet snippet) {
    // Unsigned, as the points are: a negative length clamps nothing.
    const auto limit = static_cast<uint32_t>(duration_);
    if (snippet.inPoint() >= limit) snippet.setInPoint(limit);
    if (snippet.outPoint() >= limit) snippet.setOutPoint(limit);
    snippetList_.push_back(snippet);
    const int64_t first = std::min(snippet.inPoint(), snippet.outPoint());
    const int64_t last = std::min<int64_t>({std::max(snippet.inPoint(), snippet.outPoint()), duration_ - 1,
                                            static_cast<int64_t>(frameFlags_.size()) - 1});
    for (int64_t f = first; f <= last; ++f) frameFlags_[static_cast<size_t>(f)] = 1;
}

PlistValue FCPFile::KVCSnippetList() const {
    PlistValue list = PlistValue::MakeArray();
    for (const auto& s : snippetList_) {
        list.append(static_cast<double>(s.inPoint()));
        list.append(static_cast<double>(s.outPoint()));
    }
    return list;
}

PlistValue FCPFile::KVCDictionary() const {
    PlistValue dict = PlistValue::MakeDict();
    if (sourcePath_) dict.set("sourcePath", *sourcePath_);
    if (reference_) dict.set("reference", *reference_);
    if (name_) dict.set("name", *name_);
    if (timecode_) dict.set("timecode", *timecode_);
    dict.set("timecodeFrame", timecodeFrame_);
    dict.set("duration", duration_);
    dict.set("baseFps", baseFps_);
    dict.set("isNtsc", isNtsc_);
    dict.set("isNeeded", isNeeded_);
    dict.set("KVCSnippetList", KVCSnippetList());
    return dict;
}

void FCPFile::LoadFromKVCDictionary(const PlistValue& dict) {
    sourcePath_.reset();
    if (auto path = TextAt(dict, "sourcePath")) setSourcePath(*path);
    reference_ = TextAt(dict, "reference");
    name_ = TextAt(dict, "name");
    timecode_ = TextAt(dict, "timecode");
    timecodeFrame_ = dict["timecodeFrame"].asInt();
    duration_ = dict["duration"].asInt();
    baseFps_ = static_cast<float>(dict["baseFps"].asReal());
    isNtsc_ = dict["isNtsc"].asBool();
    isNeeded_ = dict["isNeeded"].asBool();
    MakeFlags(duration_);
    snippetList_.clear();
    const PlistValue& flat = dict["KVCSnippetList"];
    for (size_t i = 0; i + 1 < flat.size(); i += 2) {
        snippetList_.emplace_back(std::string(), static_cast<uint32_t>(static_cast<int32_t>(flat.at(i).asInt())),
                                  static_cast<uint32_t>(static_cast<int32_t>(flat.at(i + 1).asInt())));
    }
}

std::optional<std::string> FCPFile::R3dPrefix() const {
    const std::string name = LastPathComponent(sourcePath());
    if (name.size() < 16) return std::nullopt;
    return name.substr(0, 16);
}

std::string FCPFile::shortName() const { return DeletingPathExtension(LastPathComponent(sourcePath())); }

std::string FCPFile::DumpSummary() const {
    const float rate = TimecodeRate();
    char head[512];
    std::snprintf(head, sizeof head, "File: %s Duration:%d FPS:%1.3f Tc:%s", name().c_str(),
                  static_cast<int32_t>(duration_), static_cast<double>(rate), timecode().c_str());
    std::string text;
    if (snippetList_.empty()) {
        LogInfo("{}", head);
        return head;
    }
    for (const auto& s : snippetList_) {
        const auto tc = [&](uint32_t point) {
            return FileParser::GetStringOfTimecodeFPS(static_cast<uint32_t>(point + timecodeFrame_), rate);
        };
        const std::string line = std::string(head) + " (" + std::to_string(static_cast<int32_t>(s.inPoint())) +
                                 " to " + std::to_string(static_cast<int32_t>(s.outPoint())) + ") = (" +
                                 tc(s.inPoint()) + " - " + tc(s.outPoint()) + ")";
        LogInfo("{}", line);
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

}  // namespace ombrel
