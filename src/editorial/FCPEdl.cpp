#include "editorial/FCPEdl.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "editorial/ReaderRules.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>

namespace ombrel {
namespace {

// Edit lists are small; a bigger file is no edit list and is refused before it is read.
constexpr std::streamoff kMaxEdlBytes = 256ll << 20;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsSpace(char c) { return IsBlank(c) || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

std::string Trim(std::string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && IsSpace(s[b])) ++b;
    while (e > b && IsSpace(s[e - 1])) --e;
    return std::string(s.substr(b, e - b));
}

bool StartsWith(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

// Every blank splits: two blanks in a row leave an empty part, so columns keep their places.
std::vector<std::string> SplitKeepingEmpty(const std::string& row) {
    std::vector<std::string> parts(1);
    for (char c : row) {
        if (IsBlank(c))
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

std::vector<std::string> SplitWords(const std::string& row) {
    std::vector<std::string> words;
    for (std::string& part : SplitKeepingEmpty(row))
        if (!part.empty()) words.push_back(std::move(part));
    return words;
}

std::string Deleting(std::string s, std::string_view text) {
    for (size_t at = s.find(text); at != std::string::npos; at = s.find(text, at)) s.erase(at, text.size());
    return s;
}

// Leading blanks, a sign and digits, as a text's integer value reads them; saturates.
int64_t IntValue(const std::string& s) {
    return std::strtoll(s.c_str(), nullptr, 10);
}

double DoubleValue(const std::string& s) {
    const double v = std::strtod(s.c_str(), nullptr);
    return std::isfinite(v) ? v : 0.0;
}

bool IsTimecode(const std::string& part) {
    const std::string t = Trim(part);
    return t.size() == 11 && t[2] == ':' && t[5] == ':' && t[8] == ':';
}

bool ValidUtf8(std::string_view s) {
    size_t i = 0;
    while (i < s.size()) {
        const auto c = static_cast<unsigned char>(s[i]);
        size_t n;
        uint32_t cp;
        if (c < 0x80) {
            ++i;
            continue;
        } else if ((c & 0xE0) == 0xC0) {
            n = 1, cp = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            n = 2, cp = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            n = 3, cp = c & 0x07;
        } else {
            return false;
        }
        if (i + n >= s.size()) return false;
        for (size_t k = 1; k <= n; ++k) {
            const auto d = static_cast<unsigned char>(s[i + k]);
            if ((d & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (d & 0x3F);
        }
        const uint32_t least[] = {0, 0x80, 0x800, 0x10000};
        if (cp < least[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        i += n + 1;
    }
    return true;
}

}  // namespace

bool FCPEdl::LoadFcpEdl(const std::string& path) {
    rows_.clear();
    lastError_.clear();
    originalPath_ = path;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        lastError_ = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0 || size > kMaxEdlBytes) {
        lastError_ = path + " is no edit list (" + (size < 0 ? "not a file" : "too big") + ")";
        return false;
    }
    in.seekg(0);
    std::string text(static_cast<size_t>(size), '\0');
    if (!in.read(text.data(), size)) {
        lastError_ = "cannot read " + path;
        return false;
    }
    if (!ValidUtf8(text)) {
        lastError_ = path + " is not UTF-8 text";
        return false;
    }
    std::string row;
    std::istringstream lines(text);
    while (std::getline(lines, row, '\n')) rows_.push_back(row);
    // A text ending in a line feed has one more, empty, row after it.
    if (text.empty() || text.back() == '\n') rows_.emplace_back();
    return !rows_.empty();
}

void FCPEdl::AddFileForMeta(const R3DFileMeta& meta) { ombrel::AddFileForMeta(files_, meta); }

void FCPEdl::TraverseTree() {
    clips_.clear();
    pending_.clear();
    lastEditNumber_ = 0;
    m2Position_ = 0;
    for (const std::string& row : rows_) ParseRow(Trim(row));
    Flush();
    for (const auto& clip : clips_) clip->DumpSummary();
}

void FCPEdl::Flush() {
    for (const auto& clip : pending_)
        if (clip->isVideoClip) clips_.push_back(clip);
    pending_.clear();
    m2Position_ = 0;
}

void FCPEdl::ParseRow(const std::string& row) {
    if (StartsWith(row, "TITLE:")) {
        LogInfo("Title = {}", row.substr(6));
    } else if (StartsWith(row, "FCM: NON-DROP FRAME") || StartsWith(row, "FCM: DROP FRAME") ||
               StartsWith(row, "*FCM:")) {
        // The frame-count mode changes nothing: every timecode counts as non-drop.
    } else if (StartsWith(row, "* FROM CLIP NAME:")) {
        if (pending_.empty()) {
            LogInfo("!! Orphaned FROM CLIP NAME");
            return;
        }
        pending_[0]->replacementClip = Trim(std::string_view(row).substr(17));
        LogInfo("FROM CLIP NAME for {} set to {}", pending_[0]->reelId, pending_[0]->replacementClip);
    } else if (StartsWith(row, "* TO CLIP NAME:")) {
        if (pending_.size() < 2) {
            LogInfo("!! Orphaned TO CLIP NAME");
            return;
        }
        pending_[1]->replacementClip = Trim(std::string_view(row).substr(15));
        LogInfo("TO CLIP NAME for {} set to {}", pending_[1]->reelId, pending_[1]->replacementClip);
    } else if (StartsWith(row, "FINAL CUT PRO REEL:")) {
        const auto parts = SplitWords(Deleting(Deleting(row, "FINAL CUT PRO REEL:"), "REPLACED BY:"));
        if (parts.size() != 2) {
            LogInfo("FINAL CUT PRO REEL replacement had too many parts");
            return;
        }
        for (const auto& clip : pending_)
            if (clip->reelId == parts[1]) clip->fcpClip = parts[0];
    } else if (StartsWith(row, "M2  ")) {
        const auto parts = SplitWords(row);
        if (parts.size() != 4) {
            LogInfo("!! Orphaned M2");
            return;
        }
        while (m2Position_ < pending_.size()) {
            const size_t at = m2Position_++;
            FCPEdlClip& clip = *pending_[at];
            if (clip.reelId != parts[1]) continue;
            clip.m2FrameRate = DoubleValue(parts[2]);
            clip.m2Timecode = parts[3];
            clip.m2Used = true;
            clip.m2Reel = parts[1];
            if (clip.isTransition && at > 0) {
                pending_[at - 1]->nextClipFPS = clip.m2FrameRate;
                pending_[at - 1]->useNextClipFPS = true;
            }
            break;
        }
    } else if (StartsWith(row, "DLEDL:")) {
        const auto parts = SplitWords(Deleting(row, "DLEDL: REEL:"));
        if (parts.size() != 2) return;
        for (const auto* list : {&clips_, &pending_})
            for (const auto& clip : *list)
                if (clip->reelId == parts[0]) clip->replacementClip = parts[1];
    } else {
        ParseEditRow(row);
    }
}

void FCPEdl::ParseEditRow(const std::string& row) {
    const auto parts = SplitKeepingEmpty(row);
    if (parts.size() < 7) return;
    const int64_t n = IntValue(parts[0]);
    if (n < 1 || n > 9999) {
        LogInfo("Unused row\n{}", row);
        return;
    }
    if (n != lastEditNumber_) {
        Flush();
        lastEditNumber_ = static_cast<int32_t>(n);
    }
    size_t i = parts.size() - 1;
    while (i >= 2 && !IsTimecode(parts[i])) --i;
    // Columns before the four timecodes are read down to i - 5; a row without them is no edit.
    if (i < 5) return;

    auto clip = std::make_shared<FCPEdlClip>();
    clip->originalText = row;
    clip->editNumber = static_cast<int32_t>(n);
    clip->reelId = parts[2];
    clip->tcIn = parts[i - 3];
    clip->tcOut = parts[i - 2];
    clip->timelineIn = parts[i - 1];
    clip->timelineOut = parts[i];
    const std::string& transition = parts[i - 4];
    const double length = transition.empty() ? 0.0 : DoubleValue(transition);
    if (length > 0) {
        clip->transDurationIn = length;
        if (!pending_.empty()) {
            clip->isTransition = true;
            pending_.back()->isTransition = true;
            pending_.back()->transDurationOut = length;
        }
    }
    clip->frameRate = 0;
    clip->isVideoClip = parts[3] == "NONE";
    for (size_t k = 3; !clip->isVideoClip && k + 5 <= i; ++k)
        clip->isVideoClip = parts[k].find_first_of("VBK") != std::string::npos;
    pending_.push_back(std::move(clip));
}

void FCPEdl::MatchToFileList(const MetaList& fileList) {
    for (size_t k = 0; k < clips_.size(); ++k) {
        FCPEdlClip& clip = *clips_[k];
        if (clip.reelId == "BL") continue;
        const std::string best = clip.BestReelId();
        std::string used;
        if (r3dMode_) {
            // A name under 16 characters is taken whole, and goes on to the short form.
            const std::string prefix = best.substr(0, 16);
            if (HasRedPrefix(prefix)) {
                used = prefix;
                for (const auto& meta : fileList) {
                    const std::string name = LastPathComponent(meta->path());
                    if (name.size() >= 16 && name.compare(0, 16, prefix) == 0 &&
                        clip.ConsilidateWithFile(meta, false)) {
                        AddFileForMeta(*meta);
                        break;
                    }
                }
            } else {
                used = Deleting(prefix, "_");
                if (used.size() >= 9) used.resize(8);
                for (const auto& meta : fileList) {
                    // An empty key is no prefix of anything.
                    if (used.empty() || !StartsWith(Deleting(LastPathComponent(meta->path()), "_"), used)) continue;
                    if (clip.ConsilidateWithFile(meta, false)) {
                        AddFileForMeta(*meta);
                        break;
                    }
                }
            }
        } else {
            used = best;
            for (const auto& meta : fileList) {
                if (LastPathComponent(meta->path()) != best) continue;
                if (const auto record = MetadataCache::Instance().ForceMetadataForPath(meta->path())) {
                    const auto fps = static_cast<float>(record->fps());
                    const auto count = static_cast<int32_t>(record->frameCount());
                    const int32_t start = record->timecodeStartFrame();
                    const auto text = [&](int64_t frame) {
                        return FileParser::GetStringOfTimecode(static_cast<uint32_t>(frame < 0 ? 0 : frame), fps);
                    };
                    meta->setFps(fps);
                    meta->setFrameCount(count);
                    meta->setFrameIn(start);
                    meta->setFrameOut(start + count - 1);
                    meta->setTimecodeIn(text(start));
                    meta->setTimecodeOut(text(int64_t{start} + count - 1));
                    meta->setEdgeFrameIn(0);
                    meta->setEdgeFrameOut(count - 1);
                    meta->setEdgecodeIn("00:00:00.00");
                    meta->setEdgecodeOut(text(int64_t{count} - 1));
                }
                if (clip.ConsilidateWithFile(meta, false)) {
                    AddFileForMeta(*meta);
                    break;
                }
            }
        }
        if (clip.consolidated && k >= 1 && k + 1 < clips_.size() && clips_[k - 1]->isTransition &&
            clips_[k + 1]->isTransition && clip.tcIn == clip.tcOut && used == clips_[k - 1]->BestReelId())
            clips_[k - 1]->AppendClip(clips_[k]);
    }
    for (const auto& clip : clips_) {
        if (!clip->consolidated || clip->isAttachment) continue;
        const auto file = files_.find(clip->filePath);
        if (file != files_.end()) file->second.AddSnippet(clip->GetPullSnippet());
    }
    for (const auto& [path, file] : files_) file.DumpSummary();
}

}  // namespace ombrel
