#include "r3d/RedFileItems.h"

#include "r3d/CameraTables.h"

#include <fmt/format.h>
#include <algorithm>
#include <bit>
#include <cstring>

namespace ombrel::r3d {

namespace {

uint64_t RoundUp(uint64_t v, uint64_t unit) { return (v + unit - 1) / unit * unit; }

std::string ZeroEnded(const uint8_t* p, size_t n) {
    if (n == 0) return {};
    const auto* end = static_cast<const uint8_t*>(std::memchr(p, 0, n));
    return std::string(reinterpret_cast<const char*>(p), end ? size_t(end - p) : n);
}

}  // namespace

bool IsHeaderToken(const Token& t) {
    return TokenIs(t, kTagRED1, kHeader1Payload) || (t.damagedHeaderSize && t.tag == kTagRED1) ||
           TokenIsAtLeast(t, kTagRED2, kHeader2MinPayload);
}

bool IsFooterToken(const Token& t, uint16_t versionWord) {
    if (versionWord < kVersionWordGeneration5)
        return TokenIs(t, kTagREOS, kFooter1Payload) || TokenIs(t, kTagREOB, kFooter1Payload) ||
               TokenIs(t, kTagREOF, kFooter1Payload);
    return TokenIsAtLeast(t, kTagREOC, kFooter2MinPayload) || TokenIsAtLeast(t, kTagREOB, kFooter2MinPayload) ||
           TokenIsAtLeast(t, kTagREOF, kFooter2MinPayload);
}

bool IsVideoFrameToken(const Token& t) {
    return TokenIsAtLeast(t, kTagREDV, kVideoFrame1MinPayload) ||
           TrackTokenIsAtLeast(t, kTagRDI, kVideoFrame2MinPayload);
}

bool IsAudioBlockToken(const Token& t) { return TokenIsAtLeast(t, kTagREDA, kAudioBlockMinPayload); }

int ChannelsOfNibbleMask(uint32_t* mask, uint32_t revision) {
    int count = 0;
    for (int i = 0; i < 8; ++i)
        if ((*mask >> (4 * i)) & 0xF) ++count;
    if (count % 2 == 1 && IsEvenAudioRevision(revision)) {
        for (int i = 0; i < 8; ++i) {
            if (((*mask >> (4 * i)) & 0xF) == 0) {
                *mask |= 0xFu << (4 * i);
                ++count;
                break;
            }
        }
    }
    return count;
}

float RedFileHeader::FrameRate() const {
    const float numerator = float(rateNumerator >> 16) * 65536.0f + float(rateNumerator & 0xFFFF);
    return numerator / float(rateDenominator ? rateDenominator : 1);
}

Status RedFileHeader::Parse(const uint8_t* payload, size_t size) {
    *this = RedFileHeader{};
    Buffer b(payload, size);
    major = b.ReadUint8();
    minor = b.ReadUint8();
    identifier = b.ReadUint16();
    if (!b.ok()) return InvalidError("the header is too short");
    if (identifier == kIdentifierR1) {
        if (major != 3 && major != 4)
            return UnsupportedError(fmt::format("an \"R1\" header of version {} is not known", major));
        firstWord = b.ReadUint32();
        secondWord = b.ReadUint32();
        b.ReadBytes(firstBlock.data(), firstBlock.size());
        b.ReadBytes(secondBlock.data(), secondBlock.size());
        width = b.ReadUint32();
        height = b.ReadUint32();
        rateNumerator = b.ReadUint32();
        rateDenominator = b.ReadUint16();
        audioChannels = b.ReadUint8();
        uint8_t name[256] = {};
        b.ReadBytes(name, 255);
        b.ReadUint16();
        if (!b.ok()) return InvalidError("the header is too short");
        fileName = ZeroEnded(name, 255);
        if (rateDenominator == 0) rateDenominator = 1;
        cameraCode = identifier;
        alignmentExponent = 0;
        videoTrackCount = 1;
        videoTrackFlags = {1};
        return OkStatus();
    }
    if (identifier != kIdentifierR2)
        return UnsupportedError(fmt::format("the header identifier {} is not known", identifier));
    if (major != 5) return UnsupportedError(fmt::format("an \"R2\" header of version {} is not known", major));
    firstWord = 0;
    cameraCode = b.ReadUint8();
    b.ReadUint8();
    alignmentExponent = b.ReadUint8();
    b.ReadUint8();
    b.ReadBytes(firstBlock.data(), firstBlock.size());
    b.ReadBytes(secondBlock.data(), secondBlock.size());
    secondWord = b.ReadUint16();
    b.SkipBytes(6);
    b.ReadUint32();
    b.ReadUint32();
    videoTrackCount = b.ReadUint8();
    audioTrackCount = b.ReadUint8();
    auxTrackCount = b.ReadUint8();
    b.ReadUint8();
    if (!b.ok()) return InvalidError("the header is too short");
    if (alignmentExponent < 12)
        return InvalidError(fmt::format("an alignment exponent of {} is below 12", alignmentExponent));
    if (videoTrackCount == 0) return InvalidError("the header names no video track");
    bool primaryFound = false;
    for (int i = 0; i < videoTrackCount; ++i) {
        uint8_t flags;
        if (i == 0) {
            b.SkipBytes(8);
            width = b.ReadUint32();
            height = b.ReadUint32();
            flags = b.ReadUint8();
            b.ReadUint8();
            rateDenominator = b.ReadUint16();
            rateNumerator = b.ReadUint32();
        } else {
            b.SkipBytes(16);
            flags = b.ReadUint8();
            b.SkipBytes(7);
        }
        videoTrackFlags.push_back(flags);
        // Bit 4 marks the primary track; the low four bits of the first track tell the HDR kind.
        if (!primaryFound && (flags & 0x10)) {
            primaryTrack = i;
            primaryFound = true;
        }
    }
    if (rateDenominator == 0) rateDenominator = 1;
    const int hdrKind = videoTrackFlags.empty() ? 0 : videoTrackFlags[0] & 0xF;
    hdrSingleTrack = hdrKind == 2;
    hdrTwoTrack = hdrKind == 3 && videoTrackCount == 2;
    for (int i = 0; i < audioTrackCount; ++i) {
        if (i == 0) {
            b.SkipBytes(8);
            audioChannelMask = b.ReadUint32();
            b.SkipBytes(5);
            audioFormat = b.ReadUint8();
            b.SkipBytes(2);
        } else {
            b.SkipBytes(20);
        }
    }
    for (int i = 0; i < auxTrackCount; ++i) {
        if (i == 0) {
            b.SkipBytes(8);
            b.ReadUint32();
            auxValue = b.ReadUint32();
        } else {
            b.SkipBytes(16);
        }
    }
    b.ReadUint16();
    if (!b.ok()) return InvalidError("the header's track records run past its end");
    MemoryTokenStream stream(payload, size);
    RedMetadataTokenizer tokens(stream, b.Position(), size);
    MetadataTokenView t;
    for (size_t guard = 0; guard < size; ++guard) {
        const TokenResult r = tokens.NextToken(&t);
        if (r == TokenResult::kMalformed) damage = "its metadata breaks off";
        if (r != TokenResult::kToken) break;
        if (t.cut) damage = "its last metadata token is cut short";
        if (t.Item() == kHeaderIdFileName) {
            fileName =
                t.payloadSize == 0 ? std::string("n\\a") : ZeroEnded(t.payload, std::min<size_t>(t.payloadSize, 255));
        } else if (t.Item() == kHeaderIdRevision && t.payloadSize == 4) {
            firmwareRevision = LoadBE32(t.payload);
            revisionRead = true;
        }
    }
    // Files up to 5.8 that carry a revision token flag the other of their two tracks as primary.
    if (revisionRead && videoTrackCount == 2 && major == 5 && minor <= 8) primaryTrack ^= 1;
    // The format byte is 160 only where the camera wrote its samples little-endian.
    littleEndianAudio = audioFormat == 160;
    audioChannels = ChannelsOfNibbleMask(&audioChannelMask, firmwareRevision);
    return OkStatus();
}

Status RedFileFooter::Parse(const uint8_t* payload, size_t size, uint16_t versionWord, uint64_t footerEnd) {
    *this = RedFileFooter{};
    Buffer b(payload, size);
    if (versionWord < kVersionWordGeneration5) {
        videoOffsetsPosition = b.ReadUint32();
        videoSizesPosition = b.ReadUint32();
        audioOffsetsPosition = b.ReadUint32();
        audioSizesPosition = b.ReadUint32();
        videoCount[0] = b.ReadUint32();
        audioCount = b.ReadUint32();
        b.ReadUint32();
        b.SkipBytes(20);
        if (!b.ok()) return InvalidError("the footer is too short");
        return OkStatus();
    }
    generation5 = true;
    b.SkipBytes(60 + 4 + 4);
    videoTrackCount = b.ReadUint8();
    audioTrackCount = b.ReadUint8();
    auxTrackCount = b.ReadUint8();
    b.ReadUint8();
    if (b.ok() && videoTrackCount == 0) return InvalidError("the footer names no video track");
    for (int i = 0; i < videoTrackCount; ++i) {
        if (i < 2) {
            TrackIndexRef& r = video[i];
            r.tag = b.ReadUint32();
            r.position = uint64_t(b.ReadUint32()) * kIndex2Unit;
            r.extent = b.ReadUint32();
            r.count = b.ReadUint32();
            b.SkipBytes(4);
            b.ReadUint32();
        } else {
            b.SkipBytes(24);
        }
    }
    for (int i = 0; i < audioTrackCount; ++i) {
        if (i == 0) {
            audio.tag = b.ReadUint32();
            audio.position = uint64_t(b.ReadUint32()) * kIndex2Unit;
            audio.extent = b.ReadUint32();
            audio.count = b.ReadUint32();
            b.SkipBytes(24);
        } else {
            b.SkipBytes(40);
        }
    }
    for (int i = 0; i < auxTrackCount; ++i) {
        if (i == 0) {
            aux.tag = b.ReadUint32();
            aux.position = uint64_t(b.ReadUint32()) * kIndex2Unit;
            aux.extent = b.ReadUint32();
            aux.count = b.ReadUint32();
            b.SkipBytes(8);
        } else {
            b.SkipBytes(24);
        }
    }
    const uint16_t n = b.ReadUint16();
    b.SkipBytes(n);
    if (!b.ok()) return InvalidError("the footer's track records run past its end");
    const uint64_t lastBlock = RoundUp(footerEnd, kIndex2Unit) - kIndex2Unit;
    if (aux.position >= lastBlock) aux = TrackIndexRef{};
    videoCount[0] = video[0].count;
    videoCount[1] = videoTrackCount > 1 ? video[1].count : 0;
    audioCount = audio.count;
    auxCount = aux.count;
    return OkStatus();
}

namespace {

Status ReadLegacyTable(RedFileTokenizer& tk, uint32_t position, uint32_t tag, std::vector<uint32_t>* words) {
    Token t;
    if (tk.TokenAt(position, &t) != TokenResult::kToken || !TokenIsAtLeast(t, tag, kLegacyTableMinPayload))
        return InvalidError(fmt::format("no \"{}\" table at {}", TagText(tag), position));
    if (t.PayloadSize() % 4 != 0)
        return InvalidError(fmt::format("the \"{}\" table's length is not a multiple of 4", TagText(tag)));
    std::vector<uint8_t> payload;
    if (!tk.ReadPayload(t, &payload)) return InvalidError(fmt::format("the \"{}\" table cannot be read", TagText(tag)));
    words->resize(payload.size() / 4);
    for (size_t i = 0; i < words->size(); ++i) (*words)[i] = LoadBE32(payload.data() + 4 * i);
    return OkStatus();
}

Status ReadLegacyPair(RedFileTokenizer& tk, uint32_t offsetsAt, uint32_t sizesAt, uint32_t offsetsTag,
                      uint32_t sizesTag, IndexStore::Table* table) {
    std::vector<uint32_t> offsets, sizes;
    if (Status read = ReadLegacyTable(tk, offsetsAt, offsetsTag, &offsets); !read.ok()) return read;
    if (Status read = ReadLegacyTable(tk, sizesAt, sizesTag, &sizes); !read.ok()) return read;
    if (offsets.size() != sizes.size())
        return InvalidError(
            fmt::format("the \"{}\" and \"{}\" tables differ in length", TagText(offsetsTag), TagText(sizesTag)));
    table->entries.resize(offsets.size());
    for (size_t i = 0; i < offsets.size(); ++i) table->entries[i] = {offsets[i], int64_t(sizes[i])};
    table->entryWords = 2;
    IndexStore::Settle(table);
    return OkStatus();
}

Status ReadIndex2(RedFileTokenizer& tk, const TrackIndexRef& ref, uint32_t trackTag, bool twoWordSize,
                  IndexStore::Table* table) {
    Token t;
    if (tk.TokenAt(ref.position, &t) != TokenResult::kToken || !TrackTokenIsAtLeast(t, trackTag, kIndex2MinPayload))
        return InvalidError(fmt::format("no \"{}\" index at {}", TagText(trackTag).substr(0, 3), ref.position));
    if (t.PayloadSize() % 4 != 0) return InvalidError("an index's length is not a multiple of 4");
    std::vector<uint8_t> payload;
    if (!tk.ReadPayload(t, &payload)) return InvalidError("an index cannot be read");
    // Byte 56 counts the words behind each entry's position (video 2, audio and aux 1); the
    // entries start at byte 60, positions in 4096-byte units so that 32 bits reach past 4 GiB.
    const unsigned n = payload[56];
    if (n == 0) return InvalidError("an index entry has no size word");
    const size_t entrySize = (n + 1) * 4;
    const size_t count = (payload.size() - 60) / entrySize;
    table->entries.clear();
    table->entries.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const uint8_t* e = payload.data() + 60 + i * entrySize;
        const uint64_t position = uint64_t(LoadBE32(e)) * kIndex2Unit;
        // A negative first word is a dropped frame; otherwise the size is the entry's last word.
        const auto word1 = static_cast<int32_t>(LoadBE32(e + 4));
        int64_t size;
        if (word1 < 0)
            size = word1;
        else
            size = (twoWordSize && n == 1) ? LoadBE32(e + 4) : LoadBE32(e + 4 * n);
        // The payload may run on past the last entry; the first zero size ends the table.
        if (size == 0) break;
        table->entries.push_back({position, size});
    }
    table->entryWords = n + 1;
    IndexStore::Settle(table);
    return OkStatus();
}

// Every counted entry must lie behind the header and inside the file; a negative size marks a
// dropped item and needs no place.
Status TableFits(const IndexStore::Table& table, uint32_t wanted, uint64_t headerEnd, uint64_t fileSize,
                 const char* what) {
    if (wanted > table.entries.size())
        return InvalidError(
            fmt::format("the footer counts {} {} but the index holds {}", wanted, what, table.entries.size()));
    for (size_t i = 0; i < table.count && i < table.entries.size(); ++i) {
        const IndexEntry& e = table.entries[i];
        if (e.size < 0) continue;
        if (e.size < 8 || e.position < headerEnd || e.position > fileSize || uint64_t(e.size) > fileSize - e.position)
            return InvalidError(fmt::format("{} {} of the index lies outside the file", what, i + 1));
    }
    return OkStatus();
}

}  // namespace

Status RedFileIndex::Parse(RedFileTokenizer& tk, const RedFileFooter& footer, const TrackIndexRef& videoRef,
                           bool primary, uint64_t headerEnd, IndexStore* store) {
    const uint64_t fileSize = tk.Size();
    const uint32_t videoWanted = store->video.count;
    const uint32_t audioWanted = primary ? store->audio.count : 0;
    const uint32_t auxWanted = primary ? store->aux.count : 0;
    if (Status read = ParseTables(tk, footer, videoRef, primary, store); !read.ok()) return read;
    if (Status fits = TableFits(store->video, videoWanted, headerEnd, fileSize, "frame"); !fits.ok()) return fits;
    if (Status fits = TableFits(store->audio, audioWanted, headerEnd, fileSize, "audio block"); !fits.ok()) return fits;
    return TableFits(store->aux, auxWanted, headerEnd, fileSize, "auxiliary block");
}

Status RedFileIndex::ParseTables(RedFileTokenizer& tk, const RedFileFooter& footer, const TrackIndexRef& videoRef,
                                 bool primary, IndexStore* store) {
    if (!footer.generation5) {
        if (Status read = ReadLegacyPair(tk, footer.videoOffsetsPosition, footer.videoSizesPosition, kTagRDVO, kTagRDVS,
                                         &store->video);
            !read.ok())
            return read;
        if (!primary || store->audio.count == 0) return OkStatus();
        if (footer.audioOffsetsPosition == 0 || footer.audioSizesPosition == 0)
            return InvalidError("the footer counts audio blocks but has no audio tables");
        return ReadLegacyPair(tk, footer.audioOffsetsPosition, footer.audioSizesPosition, kTagRDAO, kTagRDAS,
                              &store->audio);
    }
    if (Status read = ReadIndex2(tk, videoRef, kTagRII, false, &store->video); !read.ok()) return read;
    if (!primary) return OkStatus();
    if (store->audio.count > 0 && footer.audio.position == 0)
        return InvalidError("the footer counts audio blocks but has no audio index");
    if (store->aux.count > 0 && footer.aux.position == 0)
        return InvalidError("the footer counts auxiliary blocks but has no auxiliary index");
    if (footer.audio.position != 0) {
        if (Status read = ReadIndex2(tk, footer.audio, kTagRIA, true, &store->audio); !read.ok()) return read;
    }
    if (footer.aux.position == 0) return OkStatus();
    return ReadIndex2(tk, footer.aux, kTagRIX, true, &store->aux);
}

Status RedFileVideoFrame::Parse(const uint8_t* data, size_t size) {
    *this = RedFileVideoFrame{};
    Buffer b(data, size);
    const uint32_t w0 = b.ReadUint32();
    const uint32_t w1 = b.ReadUint32();
    if (!b.ok()) return InvalidError("the frame record is too short");
    uint32_t versionWord = 0;
    bool generation5 = false;
    if (w1 == kTagREDV) {
        firstValue = b.ReadUint32();
        secondValue = b.ReadUint32();
    } else if ((w0 >> 24) == 5 && (w0 & 0xFFFF) == kIdentifierR2 && ((w1 >> 8) & 0xFF) == 12 && (w1 >> 24) < 11) {
        generation5 = true;
        versionWord = w0;
    } else if ((w1 & 0xFFFFFF00u) == kTagRDI) {
        generation5 = true;
        versionWord = b.ReadUint32();
        b.ReadUint32();
        if ((versionWord >> 24) != 5) return UnsupportedError("the frame record's version is not 5");
    } else {
        firstValue = w0;
        secondValue = w1;
    }
    if (generation5) {
        major = static_cast<uint8_t>(versionWord >> 24);
        minor = static_cast<uint8_t>(versionWord >> 16);
        b.SkipBytes(48);
        thirdValue = b.ReadUint32();
        firstValue = b.ReadUint32();
        b.SkipBytes(4);
        secondValue = b.ReadUint32();
        b.SkipBytes(4);
        width = b.ReadUint32();
        height = b.ReadUint32();
        b.SkipBytes(2);
        const uint16_t metaSize = b.ReadUint16();
        metadataOffset = b.Position();
        metadataSize = metaSize;
        // The metadata is padded to 32 bytes, so the image behind it starts on that boundary.
        b.SkipBytes(RoundUp(metaSize, 32));
        if (!b.ok()) return InvalidError("the frame record is shorter than its header and metadata");
        imageOffset = b.Position();
        imageSize = b.Remaining();
        return OkStatus();
    }
    major = b.ReadUint8();
    minor = b.ReadUint8();
    b.ReadUint16();
    if (!b.ok()) return InvalidError("the frame record is too short");
    if (major != 3 && major != 4)
        return UnsupportedError(fmt::format("a frame record of version {} is not known", major));
    if (major == 4) {
        thirdValue = b.ReadUint32();
        width = b.ReadUint32();
        height = b.ReadUint32();
        const uint32_t metaSize = b.ReadUint32();
        metadataOffset = b.Position();
        metadataSize = metaSize;
        b.SkipBytes(metaSize);
        if (!b.ok()) return InvalidError("the frame record is shorter than its header and metadata");
        imageOffset = b.Position();
        imageSize = b.Remaining();
        return OkStatus();
    }
    MemoryTokenStream stream(data, size);
    BoxTokenizer boxes(stream, b.Position(), size);
    Token box;
    bool haveImage = false;
    bool haveMetadata = false;
    for (size_t guard = 0; guard < size && boxes.NextToken(&box) == TokenResult::kToken; ++guard) {
        const uint8_t* p = data + box.PayloadPosition();
        if (!haveMetadata && TokenIsAtLeast(box, kTagUUID, kUuidBoxMinPayload) &&
            std::equal(kFrameMetadataUuid.begin(), kFrameMetadataUuid.end(), p)) {
            metadataOffset = static_cast<size_t>(box.PayloadPosition() + 16);
            metadataSize = static_cast<size_t>(box.PayloadSize() - 16);
            haveMetadata = true;
        } else if (!haveImage && TokenIsAtLeast(box, kTagJP2C, kJp2cBoxMinPayload)) {
            if (!(p[0] == 0xFF && p[1] == 0x4F && p[2] == 0xFF && p[3] == 0x51))
                return InvalidError("the frame's codestream does not start with its markers");
            width = LoadBE32(p + 8);
            height = LoadBE32(p + 12);
            imageOffset = static_cast<size_t>(box.PayloadPosition());
            imageSize = static_cast<size_t>(box.PayloadSize());
            jpeg2000 = true;
            haveImage = true;
        }
    }
    if (!haveImage) return InvalidError("the version 3 frame holds no codestream");
    return OkStatus();
}

Status RedFileAudioFrame::Parse(const uint8_t* payload, size_t size, uint16_t versionWord, int clipChannels,
                                uint32_t revision) {
    *this = RedFileAudioFrame{};
    Buffer b(payload, size);
    if (versionWord < kVersionWordGeneration5) {
        b.ReadUint32();
        sampleRate = b.ReadUint32();
        sampleCount = b.ReadUint32();
        b.ReadUint32();
        channelMask = b.ReadUint8();
        sampleBits = b.ReadUint8();
        major = b.ReadUint8();
        minor = b.ReadUint8();
        b.ReadUint16();
        b.ReadUint16();
        if (b.ok() && major != 3 && major != 4)
            return UnsupportedError(fmt::format("an audio block of version {} is not known", major));
        if (major == 4) b.ReadUint32();
        if (!b.ok()) return InvalidError("the audio block is too short");
        headerLength = major < 4 ? kAudioHeader3 : kAudioHeader4;
        channels = std::popcount(channelMask);
        return OkStatus();
    }
    major = b.ReadUint8();
    minor = b.ReadUint8();
    const uint16_t id = b.ReadUint16();
    if (b.ok() && (major != 5 || id != kIdentifierR2)) return UnsupportedError("the audio block is not of version 5");
    b.SkipBytes(52 + 4);
    firstValue = b.ReadUint32();
    b.SkipBytes(4);
    fourthValue = b.ReadUint32();
    b.SkipBytes(4);
    uint32_t nibbles = b.ReadUint32();
    sampleRate = b.ReadUint32();
    sampleBits = b.ReadUint8();
    b.SkipBytes(3);
    sampleCount = b.ReadUint32();
    b.SkipBytes(26);
    const uint16_t metaSize = b.ReadUint16();
    b.SkipBytes(RoundUp(metaSize, 32));
    if (!b.ok()) return InvalidError("the audio block is too short");
    ChannelsOfNibbleMask(&nibbles, revision);
    channelMask = 0;
    for (int i = 0; i < 8; ++i)
        if ((nibbles >> (4 * i)) & 0xF) channelMask |= uint8_t(1u << i);
    for (int i = 0; i < 8 && std::popcount(channelMask) < clipChannels; ++i) channelMask |= uint8_t(1u << i);
    channels = std::popcount(channelMask);
    headerLength = kAudioHeader5;
    return OkStatus();
}

bool RedFileFrameMetadata::Parse(const uint8_t* data, size_t size, uint16_t versionWord) {
    items.clear();
    complete = true;
    MemoryTokenStream stream(data, size);
    RedMetadataTokenizer tokens(stream, 0, size);
    MetadataTokenView t;
    for (size_t guard = 0; guard <= size; ++guard) {
        const TokenResult r = tokens.NextToken(&t);
        if (r == TokenResult::kEnd) break;
        if (r == TokenResult::kMalformed) {
            complete = false;
            break;
        }
        MetadataItem item;
        item.id = t.id;
        item.payload.assign(t.payload, t.payload + t.payloadSize);
        // Cameras of version word 1280 wrote these three ids byte-reversed.
        if (versionWord == kVersionWordGeneration5 && item.payload.size() == 4 &&
            (t.id == 8200 || t.id == 8205 || t.id == 8206))
            std::reverse(item.payload.begin(), item.payload.end());
        items.push_back(std::move(item));
    }
    return complete;
}

}  // namespace ombrel::r3d
