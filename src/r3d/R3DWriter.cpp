#include "r3d/R3DWriter.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "r3d/Buffer.h"
#include "r3d/RedFileItems.h"
#include "r3d/Sequence.h"
#include "r3d/Timecode.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace ombrel::r3d {

namespace {

// Appends big-endian fields to a byte vector.
class Bytes {
public:
    Bytes& U8(uint32_t v) {
        b.push_back(uint8_t(v));
        return *this;
    }
    Bytes& U16(uint32_t v) {
        b.push_back(uint8_t(v >> 8));
        b.push_back(uint8_t(v));
        return *this;
    }
    Bytes& U32(uint32_t v) {
        for (int s = 24; s >= 0; s -= 8) b.push_back(uint8_t(v >> s));
        return *this;
    }
    Bytes& Zeros(size_t n) {
        b.insert(b.end(), n, 0);
        return *this;
    }
    Bytes& Raw(const uint8_t* p, size_t n) {
        if (n) b.insert(b.end(), p, p + n);
        return *this;
    }
    Bytes& Raw(const std::vector<uint8_t>& v) { return Raw(v.data(), v.size()); }
    Bytes& Text(const std::string& s, size_t width) {
        const size_t n = std::min(s.size(), width);
        Raw(reinterpret_cast<const uint8_t*>(s.data()), n);
        return Zeros(width - n);
    }
    std::vector<uint8_t> b;
};

std::vector<uint8_t> Atom(uint32_t tag, const std::vector<uint8_t>& payload, uint64_t claimedSize = 0) {
    Bytes a;
    a.U32(uint32_t(claimedSize ? claimedSize : payload.size() + 8)).U32(tag).Raw(payload);
    return std::move(a.b);
}

uint64_t RoundUp(uint64_t v, uint64_t unit) { return (v + unit - 1) / unit * unit; }

constexpr size_t kLeastFramePayload = 512;

}  // namespace

MetadataToken MetadataToken::String(uint16_t item, const std::string& text) {
    return {item, std::vector<uint8_t>(text.begin(), text.end())};
}

MetadataToken MetadataToken::Float(uint16_t item, float value) { return Floats(item, {value}); }

MetadataToken MetadataToken::Floats(uint16_t item, std::initializer_list<float> values) {
    MetadataToken t{uint16_t(0x2000 | (item & 0x0FFF)), {}};
    for (float f : values) {
        uint32_t bits;
        std::memcpy(&bits, &f, 4);
        for (int s = 24; s >= 0; s -= 8) t.payload.push_back(uint8_t(bits >> s));
    }
    return t;
}

MetadataToken MetadataToken::U8(uint16_t item, uint8_t value) { return {item, {value}}; }
MetadataToken MetadataToken::U16(uint16_t item, uint16_t value) {
    return {item, {uint8_t(value >> 8), uint8_t(value)}};
}
MetadataToken MetadataToken::U32(uint16_t item, uint32_t value) {
    return {item, {uint8_t(value >> 24), uint8_t(value >> 16), uint8_t(value >> 8), uint8_t(value)}};
}
MetadataToken MetadataToken::Raw(uint16_t id, std::vector<uint8_t> payload) { return {id, std::move(payload)}; }

std::vector<uint8_t> EncodeMetadataTokens(const std::vector<MetadataToken>& tokens, uint16_t versionWord) {
    Bytes out;
    for (const MetadataToken& t : tokens) {
        std::vector<uint8_t> payload = t.payload;
        if (payload.size() > 0xFFFF - 4) payload.resize(0xFFFF - 4);
        if (versionWord == kVersionWordGeneration5 && payload.size() == 4 &&
            (t.id == 8200 || t.id == 8205 || t.id == 8206))
            std::reverse(payload.begin(), payload.end());
        out.U16(uint32_t(payload.size() + 4)).U16(t.id).Raw(payload);
    }
    return std::move(out.b);
}

struct R3DWriter::File {
    struct Closer {
        void operator()(std::FILE* f) const {
            if (f) std::fclose(f);
        }
    };
    std::unique_ptr<std::FILE, Closer> handle;
    std::string path;
    uint64_t position = 0;
    std::vector<Entry> video[2];
    std::vector<Entry> audio;
    std::vector<Entry> aux;
};

R3DWriter::R3DWriter() = default;

R3DWriter::~R3DWriter() {
    if (!finished_) LogWarn("R3D writer: {} was left unfinished", file_ ? file_->path : firstPath_);
}

bool R3DWriter::Fail(std::string message) {
    if (error_.empty()) error_ = message;
    LogError("R3D writer: {}", message);
    file_.reset();
    finished_ = true;
    return false;
}

bool R3DWriter::CreateUnguarded(const std::string& firstPath, const R3DClipSpec& spec, bool overwrite) {
    spec_ = spec;
    firstPath_ = firstPath;
    overwrite_ = overwrite;
    error_.clear();
    paths_.clear();
    file_.reset();
    framesWritten_[0] = framesWritten_[1] = 0;
    audioBlocksWritten_ = 0;
    framesInFile_ = 0;
    finished_ = false;
    const bool legacy = spec_.major == 3 || spec_.major == 4;
    if (!legacy && spec_.major != 5) return Fail("the major version must be 3, 4 or 5");
    if (spec_.width == 0 || spec_.height == 0) return Fail("the picture has no size");
    if (spec_.videoTracks < 1 || spec_.videoTracks > 2 || (legacy && spec_.videoTracks != 1))
        return Fail("a clip has one video track, or two in the second generation");
    if (spec_.audioChannels < 0 || spec_.audioChannels > 8) return Fail("a clip has 0 to 8 audio channels");
    if (!legacy && spec_.alignmentExponent < 12) return Fail("the alignment exponent must be 12 or more");
    if (spec_.rateDenominator == 0) spec_.rateDenominator = 1;
    const Sequence seq(firstPath);
    if (spec_.framesPerFile > 0 && !seq.IsNumbered())
        return Fail("a clip of several files needs a numbered first file name, as A001_C001_0101AB_001.R3D");
    firstNumber_ = seq.Number();
    return OpenNextFile();
}

bool R3DWriter::OpenNextFile() {
    const Sequence seq(firstPath_);
    std::string path = firstPath_;
    if (!paths_.empty()) {
        const int64_t number = firstNumber_ + int64_t(paths_.size());
        if (number > seq.Largest()) return Fail("the clip needs more files than its number width allows");
        path = seq.PathForNumber(number);
    }
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (overwrite_ ? O_TRUNC : O_EXCL);
    const int fd = ::open(path.c_str(), flags, 0644);
    if (fd < 0) return Fail(path + ": " + std::strerror(errno));
    std::FILE* f = ::fdopen(fd, "wb");
    if (!f) {
        ::close(fd);
        return Fail(path + ": " + std::strerror(errno));
    }
    file_ = std::make_unique<File>();
    file_->handle.reset(f);
    file_->path = path;
    paths_.push_back(path);
    framesInFile_ = 0;
    return WriteHeader();
}

bool R3DWriter::Write(const std::vector<uint8_t>& bytes) {
    if (!file_) return false;
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file_->handle.get()) != bytes.size())
        return Fail(file_->path + ": " + std::strerror(errno));
    file_->position += bytes.size();
    return true;
}

bool R3DWriter::AlignFile() {
    if (!Generation5()) return true;
    const uint64_t unit = uint64_t(1) << spec_.alignmentExponent;
    const uint64_t target = RoundUp(file_->position, unit);
    return Write(std::vector<uint8_t>(size_t(target - file_->position), 0));
}

bool R3DWriter::WriteHeader() {
    const std::string name = spec_.originalFileName.empty() ? LastPathComponent(file_->path) : spec_.originalFileName;
    Bytes p;
    if (!Generation5()) {
        p.U8(spec_.major).U8(spec_.minor).U16(kIdentifierR1);
        p.U32(spec_.firstWord).U32(spec_.secondWord).Raw(spec_.identity.data(), 16).Zeros(16);
        p.U32(spec_.width).U32(spec_.height).U32(spec_.rateNumerator).U16(spec_.rateDenominator);
        p.U8(uint32_t(spec_.audioChannels)).Text(name, 255).U16(0);
        return Write(Atom(kTagRED1, p.b, spec_.damagedHeaderSize ? RedFileTokenizer::kDamagedHeaderClaim : 0));
    }
    const bool revision = spec_.firmwareRevision != kNoRevision;
    // The reader swaps the primary track of such clips; write it so that it lands where asked.
    const bool flipped = revision && spec_.videoTracks == 2 && spec_.minor <= 8;
    const int writtenPrimary = flipped ? 1 - spec_.primaryTrack : spec_.primaryTrack;
    const int audioTracks = spec_.audioChannels > 0 ? 1 : 0;
    p.U8(5).U8(spec_.minor).U16(kIdentifierR2);
    p.U8(spec_.cameraCode).U8(0).U8(spec_.alignmentExponent).U8(0);
    p.Raw(spec_.identity.data(), 16).Zeros(16);
    p.U16(spec_.secondWord).Zeros(6).U32(0).U32(0);
    p.U8(uint32_t(spec_.videoTracks)).U8(uint32_t(audioTracks)).U8(spec_.auxTrack ? 1 : 0).U8(0);
    for (int t = 0; t < spec_.videoTracks; ++t) {
        const uint8_t flags = uint8_t((t == 0 ? (spec_.hdrKind & 0xF) : 0) | (t == writtenPrimary ? 0x10 : 0));
        if (t == 0) {
            p.Raw(reinterpret_cast<const uint8_t*>("VID1"), 4).U32(0).U32(spec_.width).U32(spec_.height);
            p.U8(flags).U8(0).U16(spec_.rateDenominator).U32(spec_.rateNumerator);
        } else {
            p.Zeros(16).U8(flags).Zeros(7);
        }
    }
    if (audioTracks) {
        uint32_t mask = spec_.audioChannelMaskOverride;
        if (!mask)
            for (int c = 0; c < spec_.audioChannels; ++c) mask |= 1u << (4 * c);
        p.Raw(reinterpret_cast<const uint8_t*>("AUD1"), 4).U32(0).U32(mask).Zeros(5);
        p.U8(spec_.audioLittleEndian ? 160 : 0).Zeros(2);
    }
    if (spec_.auxTrack) p.Raw(reinterpret_cast<const uint8_t*>("AUX1"), 4).U32(0).U32(0).U32(spec_.auxValue);
    p.U16(0);
    std::vector<MetadataToken> tokens = {MetadataToken::String(kHeaderIdFileName, name)};
    if (revision) tokens.push_back(MetadataToken::U32(kHeaderIdRevision, spec_.firmwareRevision));
    p.Raw(EncodeMetadataTokens(tokens, uint16_t(spec_.major * 256 + spec_.minor)));
    return Write(Atom(kTagRED2, p.b)) && AlignFile();
}

std::vector<uint8_t> R3DWriter::FrameMetadataFor(uint64_t frame) const {
    std::vector<MetadataToken> tokens;
    const int base =
        int((uint64_t(spec_.rateNumerator) * 2 + spec_.rateDenominator) / (2 * uint64_t(spec_.rateDenominator)));
    const bool r1 = !Generation5();
    auto timecodeToken = [&](uint16_t id, const std::string& start) {
        Timecode tc;
        if (!start.empty())
            tokens.push_back(
                MetadataToken::String(id, tc.SetTimecode(start, base, r1) ? tc.CalculateNewTC(frame) : start));
    };
    timecodeToken(0, spec_.edgeTimecode);
    timecodeToken(1, spec_.absoluteTimecode);
    tokens.insert(tokens.end(), spec_.frameMetadata.begin(), spec_.frameMetadata.end());
    return EncodeMetadataTokens(tokens, uint16_t(spec_.major * 256 + spec_.minor));
}

bool R3DWriter::AddVideoFrameUnguarded(const uint8_t* image, size_t size, int track) {
    if (finished_ || !file_) return Fail("the writer is not open");
    if (track < 0 || track >= spec_.videoTracks) return Fail("no such video track");
    if (track == 0 && spec_.framesPerFile > 0 && framesInFile_ >= spec_.framesPerFile) {
        if (!CloseFile() || !OpenNextFile()) return false;
    }
    const uint64_t frame = framesWritten_[track];
    const std::vector<uint8_t> meta = FrameMetadataFor(frame);
    Bytes p;
    uint32_t tag;
    if (Generation5()) {
        if (meta.size() > 0xFFFF) return Fail("the frame metadata is too long");
        tag = kTagRDI | uint32_t(track + 1);
        p.U8(5).U8(spec_.minor).U16(kIdentifierR2).U8(1).U8(0).U8(12).U8(0).Zeros(48);
        p.U32(uint32_t(frame)).U32(uint32_t(frame)).U32(0).U32(uint32_t(track)).U32(0);
        p.U32(spec_.width).U32(spec_.height).U16(0).U16(uint32_t(meta.size()));
        p.Raw(meta).Zeros(RoundUp(meta.size(), 32) - meta.size());
        p.Raw(image, size);
    } else {
        tag = kTagREDV;
        p.U32(uint32_t(frame)).U32(uint32_t(track)).U8(spec_.major).U8(spec_.minor).U16(0);
        if (spec_.major == 4) {
            p.U32(uint32_t(frame)).U32(spec_.width).U32(spec_.height).U32(uint32_t(meta.size())).Raw(meta);
            p.Raw(image, size);
        } else {
            std::vector<uint8_t> m = meta;
            if (16 + m.size() < kUuidBoxMinPayload) {
                // A token that no reader maps keeps the box at its least length.
                const size_t pad = std::max<size_t>(4, kUuidBoxMinPayload - 16 - m.size());
                Bytes filler;
                filler.U16(uint32_t(pad)).U16(0x0FFF).Zeros(pad - 4);
                m.insert(m.end(), filler.b.begin(), filler.b.end());
            }
            p.U32(uint32_t(8 + 16 + m.size())).Raw(reinterpret_cast<const uint8_t*>("uuid"), 4);
            p.Raw(kFrameMetadataUuid.data(), 16).Raw(m);
            Bytes code;
            code.Raw(CodestreamSizeHeader(spec_.width, spec_.height)).Raw(image, size);
            // The codestream box takes up any padding the record needs to reach its least size.
            if (code.b.size() < kJp2cBoxMinPayload) code.Zeros(kJp2cBoxMinPayload - code.b.size());
            const size_t used = p.b.size() + 8 + code.b.size();
            if (used < kLeastFramePayload) code.Zeros(kLeastFramePayload - used);
            p.U32(uint32_t(8 + code.b.size())).Raw(reinterpret_cast<const uint8_t*>("jp2c"), 4).Raw(code.b);
        }
        if (file_->position + p.b.size() + 8 > 0xFFFFFFFFull) return Fail("a first-generation file cannot pass 4 GiB");
    }
    // A frame record below 513 bytes counts as dropped; a real one is never so short.
    if (p.b.size() < kLeastFramePayload) p.Zeros(kLeastFramePayload - p.b.size());
    if (p.b.size() + 8 > 0xFFFFFFFFull) return Fail("the frame is too large for an atom");
    const uint64_t at = file_->position;
    if (!Write(Atom(tag, p.b))) return false;
    file_->video[track].push_back({at, int64_t(p.b.size() + 8)});
    if (!AlignFile()) return false;
    ++framesWritten_[track];
    if (track == 0) ++framesInFile_;
    return true;
}

bool R3DWriter::AddVideoFrameRGBUnguarded(const uint16_t* rgb, const ImagePayloadOptions& options, int track) {
    std::vector<uint8_t> payload;
    if (!EncodeImagePayload(rgb, spec_.width, spec_.height, 0, options, &payload))
        return Fail("the picture cannot be encoded");
    return AddVideoFrame(payload.data(), payload.size(), track);
}

bool R3DWriter::AddDroppedFrameUnguarded(int track) {
    if (finished_ || !file_) return Fail("the writer is not open");
    if (track < 0 || track >= spec_.videoTracks) return Fail("no such video track");
    if (track == 0 && spec_.framesPerFile > 0 && framesInFile_ >= spec_.framesPerFile) {
        if (!CloseFile() || !OpenNextFile()) return false;
    }
    if (Generation5()) {
        file_->video[track].push_back({0, -1});
    } else {
        // The least record a reader takes for a frame: 512 bytes, which counts as dropped.
        Bytes p;
        p.U32(uint32_t(framesWritten_[track])).U32(0).U8(spec_.major).U8(spec_.minor).U16(0);
        p.Zeros(kVideoFrame1MinPayload - p.b.size());
        const uint64_t at = file_->position;
        if (!Write(Atom(kTagREDV, p.b))) return false;
        file_->video[track].push_back({at, int64_t(p.b.size() + 8)});
    }
    ++framesWritten_[track];
    if (track == 0) ++framesInFile_;
    return true;
}

bool R3DWriter::AddAudioBlockUnguarded(const int32_t* samples, uint32_t sampleFrames) {
    if (finished_ || !file_) return Fail("the writer is not open");
    if (spec_.audioChannels == 0) return Fail("the clip has no audio channels");
    if (!samples && sampleFrames) return Fail("no samples given");
    const uint32_t words = sampleFrames * uint32_t(spec_.audioChannels);
    Bytes p;
    if (Generation5()) {
        uint32_t mask = spec_.audioChannelMaskOverride;
        if (!mask)
            for (int c = 0; c < spec_.audioChannels; ++c) mask |= 1u << (4 * c);
        p.U8(5).U8(spec_.minor).U16(kIdentifierR2).Zeros(52 + 4).U32(uint32_t(audioBlocksWritten_)).Zeros(4);
        p.U32(0).Zeros(4).U32(mask).U32(spec_.audioSampleRate).U8(24).Zeros(3).U32(words).Zeros(26).U16(0);
    } else {
        const uint32_t mask =
            spec_.audioChannelMaskOverride ? spec_.audioChannelMaskOverride : (1u << spec_.audioChannels) - 1;
        p.U32(0).U32(spec_.audioSampleRate).U32(words).U32(0);
        p.U8(mask).U8(24).U8(spec_.major).U8(spec_.minor).U16(0).U16(0);
        if (spec_.major == 4) p.U32(0);
    }
    for (uint32_t i = 0; i < words; ++i) {
        const auto v = static_cast<uint32_t>(samples[i]);
        if (Generation5() && spec_.audioLittleEndian)
            p.U8(v).U8(v >> 8).U8(v >> 16).U8(v >> 24);
        else
            p.U32(v);
    }
    if (p.b.size() < kAudioBlockMinPayload) p.Zeros(kAudioBlockMinPayload - p.b.size());
    if (!Generation5() && file_->position + p.b.size() + 8 > 0xFFFFFFFFull)
        return Fail("a first-generation file cannot pass 4 GiB");
    const uint64_t at = file_->position;
    if (!Write(Atom(kTagREDA, p.b))) return false;
    file_->audio.push_back({at, int64_t(p.b.size() + 8)});
    ++audioBlocksWritten_;
    return AlignFile();
}

bool R3DWriter::AddAuxBlockUnguarded(const uint8_t* data, size_t size) {
    if (finished_ || !file_) return Fail("the writer is not open");
    if (!Generation5() || !spec_.auxTrack) return Fail("the clip has no auxiliary track");
    Bytes p;
    p.Raw(data, size);
    const uint64_t at = file_->position;
    if (!Write(Atom(MakeTag("RDX1"), p.b))) return false;
    file_->aux.push_back({at, int64_t(p.b.size() + 8)});
    return AlignFile();
}

bool R3DWriter::WriteLegacyTail() {
    auto table = [&](uint32_t tag, const std::vector<Entry>& entries, bool offsets) -> uint64_t {
        Bytes p;
        for (const Entry& e : entries) p.U32(offsets ? uint32_t(e.position) : uint32_t(e.size));
        if (p.b.size() < kLegacyTableMinPayload) p.Zeros(kLegacyTableMinPayload - p.b.size());
        const uint64_t at = file_->position;
        return Write(Atom(tag, p.b)) ? at : 0;
    };
    uint64_t vo = 0, vs = 0, ao = 0, as = 0;
    if (spec_.writeIndex) {
        vo = table(kTagRDVO, file_->video[0], true);
        vs = table(kTagRDVS, file_->video[0], false);
        ao = table(kTagRDAO, file_->audio, true);
        as = table(kTagRDAS, file_->audio, false);
        if (!vo || !vs || !ao || !as) return false;
    }
    if (file_->position > 0xFFFFFFFFull - 56) return Fail("a first-generation file cannot pass 4 GiB");
    if (!spec_.writeFooter) return true;
    Bytes f;
    f.U32(uint32_t(vo)).U32(uint32_t(vs)).U32(uint32_t(ao)).U32(uint32_t(as));
    f.U32(uint32_t(file_->video[0].size())).U32(uint32_t(file_->audio.size())).U32(0).Zeros(20);
    return Write(Atom(spec_.footerTag ? spec_.footerTag : kTagREOS, f.b));
}

bool R3DWriter::WriteGeneration5Tail() {
    auto index = [&](uint32_t tag, const std::vector<Entry>& entries, bool video, TrackIndexRef* ref) -> bool {
        Bytes p;
        p.Zeros(56).U8(video ? 2 : 1).Zeros(3);
        for (const Entry& e : entries) {
            p.U32(uint32_t(e.position / kIndex2Unit));
            if (video)
                p.U32(e.size < 0 ? uint32_t(int32_t(e.size)) : 0).U32(e.size < 0 ? 0 : uint32_t(e.size));
            else
                p.U32(uint32_t(e.size));
        }
        ref->tag = tag;
        ref->position = file_->position;
        ref->extent = uint32_t(p.b.size() + 8);
        ref->count = uint32_t(entries.size());
        return Write(Atom(tag, p.b)) && AlignFile();
    };
    TrackIndexRef refs[2], audio, aux;
    if (spec_.writeIndex) {
        for (int t = 0; t < spec_.videoTracks; ++t)
            if (!index(kTagRII | uint32_t(t + 1), file_->video[t], true, &refs[t])) return false;
        if (spec_.audioChannels > 0 && !index(kTagRIA | 1, file_->audio, false, &audio)) return false;
        if (spec_.auxTrack && !index(kTagRIX | 1, file_->aux, false, &aux)) return false;
    }
    if (!spec_.writeFooter) return true;
    Bytes f;
    f.Zeros(60 + 4 + 4);
    f.U8(uint32_t(spec_.videoTracks)).U8(spec_.audioChannels > 0 ? 1 : 0).U8(spec_.auxTrack ? 1 : 0).U8(0);
    for (int t = 0; t < spec_.videoTracks; ++t)
        f.U32(refs[t].tag)
            .U32(uint32_t(refs[t].position / kIndex2Unit))
            .U32(refs[t].extent)
            .U32(refs[t].count)
            .U32(0)
            .U32(0);
    if (spec_.audioChannels > 0)
        f.U32(audio.tag).U32(uint32_t(audio.position / kIndex2Unit)).U32(audio.extent).U32(audio.count).Zeros(24);
    if (spec_.auxTrack)
        f.U32(aux.tag).U32(uint32_t(aux.position / kIndex2Unit)).U32(aux.extent).U32(aux.count).Zeros(8);
    f.U16(0);
    const std::vector<uint8_t> atom = Atom(spec_.footerTag ? spec_.footerTag : kTagREOC, f.b);
    // The footer fills the last block of the file, where the reader looks for it.
    std::vector<uint8_t> block(kFooter2Distance, 0);
    std::copy(atom.begin(), atom.end(), block.begin());
    return Write(block);
}

bool R3DWriter::CloseFile() {
    if (!file_) return false;
    if (spec_.writeIndex || spec_.writeFooter) {
        if (!(Generation5() ? WriteGeneration5Tail() : WriteLegacyTail())) return false;
    }
    std::FILE* f = file_->handle.release();
    const bool flushed = std::fflush(f) == 0;
    const bool closed = std::fclose(f) == 0;
    if (!flushed || !closed) return Fail(file_->path + ": " + std::strerror(errno));
    file_.reset();
    return true;
}

bool R3DWriter::FinishUnguarded() {
    if (finished_ || !file_) return Fail("the writer is not open");
    if (!CloseFile()) return false;
    finished_ = true;
    return true;
}

// Memory running out while a record is built ends the clip with an error, never an exception.
#define OMBREL_GUARDED(call) \
    try {                    \
        return call;         \
    } catch (const std::bad_alloc&) { return Fail("out of memory"); }

bool R3DWriter::Create(const std::string& firstPath, const R3DClipSpec& spec, bool overwrite) {
    OMBREL_GUARDED(CreateUnguarded(firstPath, spec, overwrite))
}
bool R3DWriter::AddVideoFrame(const uint8_t* image, size_t size, int track) {
    OMBREL_GUARDED(AddVideoFrameUnguarded(image, size, track))
}
bool R3DWriter::AddVideoFrameRGB(const uint16_t* rgb, const ImagePayloadOptions& options, int track) {
    OMBREL_GUARDED(AddVideoFrameRGBUnguarded(rgb, options, track))
}
bool R3DWriter::AddDroppedFrame(int track) { OMBREL_GUARDED(AddDroppedFrameUnguarded(track)) }
bool R3DWriter::AddAudioBlock(const int32_t* samples, uint32_t sampleFrames) {
    OMBREL_GUARDED(AddAudioBlockUnguarded(samples, sampleFrames))
}
bool R3DWriter::AddAuxBlock(const uint8_t* data, size_t size) { OMBREL_GUARDED(AddAuxBlockUnguarded(data, size)) }
bool R3DWriter::Finish() { OMBREL_GUARDED(FinishUnguarded()) }

#undef OMBREL_GUARDED

}  // namespace ombrel::r3d
