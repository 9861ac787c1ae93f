#include "r3d/RedFileParser.h"

#include "core/Log.h"
#include "r3d/CameraTables.h"

#include <algorithm>

namespace ombrel::r3d {

bool RedFileParserProcessor::ProcessHeader(const RedFileHeader& h, uint64_t end) {
    header = h;
    headerEnd = end;
    return true;
}

void RedFileParserProcessor::ProcessFooter(const RedFileFooter& f) {
    footer = f;
    stores[0].video.count = f.videoCount[0];
    stores[1].video.count = f.videoCount[1];
    for (auto& s : stores) {
        s.audio.count = f.audioCount;
        s.aux.count = f.auxCount;
    }
    if (f.videoCount[0] != 0 && f.videoCount[1] != 0 && f.videoCount[0] != f.videoCount[1]) {
        const uint32_t smaller = std::min(f.videoCount[0], f.videoCount[1]);
        stores[0].video.count = smaller;
        stores[1].video.count = smaller;
    }
}

void RedFileParserProcessor::ProcessScan(const TempIndexStore& track0, const TempIndexStore& track1,
                                         const TempIndexStore& audio) {
    ClearStores();
    TempIndexStore primary = header.primaryTrack == 1 ? track1 : track0;
    TempIndexStore second = header.primaryTrack == 1 ? track0 : track1;
    if (primary.Count() && second.Count()) {
        const size_t n = std::min(primary.Count(), second.Count());
        primary.Truncate(n);
        second.Truncate(n);
        second.MoveTo(&stores[1].video);
    }
    primary.MoveTo(&stores[0].video);
    audio.MoveTo(&stores[0].audio);
    scanned = true;
}

void RedFileParserProcessor::ClearStores() {
    for (auto& s : stores) s.Clear();
}

bool RedFileParser::Parse() {
    state_ = State::FindHeader;
    // Each state runs at most once on the way to the end.
    for (int step = 0; step < 8; ++step) {
        switch (state_) {
            case State::FindHeader: state_ = FindHeader(); break;
            case State::FindFooter: state_ = FindFooter(); break;
            case State::FindIndex: state_ = FindIndex(); break;
            case State::FindFrames: state_ = FindFrames(); break;
            case State::Done: return true;
            case State::Failed: return false;
        }
    }
    return state_ == State::Done;
}

RedFileParser::State RedFileParser::FindHeader() {
    const std::string& path = processor_.path;
    tokenizer_.SetCursor(0);
    Token t;
    const TokenResult r = tokenizer_.NextToken(&t);
    if (r != TokenResult::kToken || !IsHeaderToken(t) || t.cut) {
        LogError("R3D file {}: no header atom at the start", path);
        return State::Failed;
    }
    std::vector<uint8_t> payload;
    if (!tokenizer_.ReadPayload(t, &payload)) {
        LogError("R3D file {}: the header cannot be read", path);
        return State::Failed;
    }
    RedFileHeader header;
    if (const Status parsed = header.Parse(payload.data(), payload.size()); !parsed.ok()) {
        LogError("R3D file {}: header refused: {}", path, parsed.message());
        return State::Failed;
    }
    if (!header.damage.empty()) LogWarn("R3D file {}: the header is damaged: {}", path, header.damage);
    if (t.damagedHeaderSize) LogInfo("R3D file {}: the header carries the known damaged size; read as 324 bytes", path);
    tokenizer_.SetCursor(t.End());
    tokenizer_.Align(header.alignmentExponent);
    processor_.ProcessHeader(header, tokenizer_.Cursor());
    return State::FindFooter;
}

RedFileParser::State RedFileParser::FindFooter() {
    const RedFileHeader& h = processor_.header;
    const uint64_t distance = h.IsGeneration5() ? kFooter2Distance : kFooter1Distance;
    Token t;
    std::string why = "no footer atom at the end";
    if (tokenizer_.Size() >= distance && tokenizer_.Size() - distance >= processor_.headerEnd &&
        tokenizer_.LastToken(distance, &t) && IsFooterToken(t, h.VersionWord())) {
        std::vector<uint8_t> payload;
        RedFileFooter footer;
        Status parsed;
        if (tokenizer_.ReadPayload(t, &payload) &&
            (parsed = footer.Parse(payload.data(), payload.size(), h.VersionWord(), t.End())).ok()) {
            processor_.ProcessFooter(footer);
            if (footer.audioCount == 0 && h.audioChannels > 0)
                LogWarn("R3D file {}: the footer counts no audio blocks, though the header names {} channels",
                        processor_.path, h.audioChannels);
            if (footer.audioCount == 0 && footer.videoCount[0] == 0 && footer.videoCount[1] == 0) {
                processor_.footerUsed = true;
                return State::Done;
            }
            return State::FindIndex;
        }
        if (!parsed.ok()) why = parsed.message();
    }
    LogWarn("R3D file {}: {}; scanning the file for frames", processor_.path, why);
    return State::FindFrames;
}

RedFileParser::State RedFileParser::FindIndex() {
    RedFileParserProcessor& p = processor_;
    RedFileFooter& f = p.footer;
    if (p.stores[0].video.count == 0) {
        p.footerUsed = true;
        return State::Done;
    }
    const bool tablesMissing =
        f.generation5 ? !f.video[0].HasBoth() : (f.videoOffsetsPosition == 0 || f.videoSizesPosition == 0);
    if (tablesMissing) {
        LogWarn("R3D file {}: the footer has no frame index; scanning the file for frames", p.path);
        return State::FindFrames;
    }
    // A footer record names its index; an index of another track there is a sign of damage.
    for (int i = 0; i < 2 && f.generation5; ++i) {
        Token t;
        if (f.video[i].HasBoth() && (f.video[i].tag & 0xFFFFFF00u) == kTagRII &&
            tokenizer_.TokenAt(f.video[i].position, &t) == TokenResult::kToken && (t.tag & 0xFFFFFF00u) == kTagRII &&
            t.tag != f.video[i].tag)
            LogWarn("R3D file {}: the footer's record for \"{}\" leads to \"{}\"", p.path, TagText(f.video[i].tag),
                    TagText(t.tag));
    }
    if (f.generation5 && p.header.primaryTrack == 1 && f.video[1].HasBoth()) {
        std::swap(f.video[0], f.video[1]);
        std::swap(p.stores[0].video.count, p.stores[1].video.count);
    }
    Status read = RedFileIndex::Parse(tokenizer_, f, f.video[0], true, p.headerEnd, &p.stores[0]);
    if (read.ok() && f.generation5 && f.videoTrackCount > 1 && f.video[1].HasBoth())
        read = RedFileIndex::Parse(tokenizer_, f, f.video[1], false, p.headerEnd, &p.stores[1]);
    if (!read.ok()) {
        LogWarn("R3D file {}: the index is unusable ({}); scanning the file for frames", p.path, read.message());
        return State::FindFrames;
    }
    for (auto& s : p.stores) {
        if (s.audio.largest == 0) s.audio.count = 0;
        if (s.aux.largest == 0) s.aux.count = 0;
    }
    // The second store shares the primary's audio and auxiliary counts but not its tables.
    p.stores[1].audio.count = 0;
    p.stores[1].aux.count = 0;
    p.footerUsed = true;
    return State::Done;
}

RedFileParser::State RedFileParser::FindFrames() {
    RedFileParserProcessor& p = processor_;
    const std::string& path = p.path;
    p.ClearStores();
    p.footerUsed = false;
    TempIndexStore video[2];
    TempIndexStore audio;
    tokenizer_.SetCursor(p.headerEnd);
    int lastVideoTrack = -1;  // the track of the last atom, when it was a video frame
    const uint64_t limit = tokenizer_.Size() / 8 + 2;
    for (uint64_t guard = 0; guard < limit; ++guard) {
        Token t;
        const TokenResult r = tokenizer_.NextToken(&t);
        if (r == TokenResult::kEnd) break;
        if (r == TokenResult::kMalformed) {
            LogWarn("R3D file {}: a broken atom at {} ends the scan", path, tokenizer_.Cursor());
            break;
        }
        if (t.cut) {
            // Whatever it was, it is not whole; the items before it stand.
            LogWarn("R3D file {}: the atom \"{}\" at {} is cut short by the end of the file", path, TagText(t.tag),
                    t.position);
            lastVideoTrack = -1;
            break;
        }
        if (IsVideoFrameToken(t)) {
            int track = 0;
            if (t.tag != kTagREDV) {
                if (t.TrackByte() != 1 && t.TrackByte() != 2) {
                    LogError("R3D file {}: a frame atom at {} names track {}", path, t.position, int(t.TrackByte()));
                    return State::Failed;
                }
                track = t.TrackByte() - 1;
            }
            video[track].Add(t.position, int64_t(t.size), int64_t(t.size));
            lastVideoTrack = track;
        } else if (IsAudioBlockToken(t)) {
            lastVideoTrack = -1;
            audio.Add(t.position, int64_t(t.size), int64_t(t.size));
        } else {
            lastVideoTrack = -1;
        }
        tokenizer_.Align(p.header.alignmentExponent);
    }
    // A frame that ends the file may be cut short, and nothing after it tells.
    if (lastVideoTrack >= 0) video[lastVideoTrack].RemoveLast();
    p.ProcessScan(video[0], video[1], audio);
    LogInfo("R3D file {}: the scan found {} frames and {} audio blocks", path, p.stores[0].video.count,
            p.stores[0].audio.count);
    return State::Done;
}

}  // namespace ombrel::r3d
