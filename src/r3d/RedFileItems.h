#pragma once

#include "core/Status.h"
#include "r3d/Stores.h"
#include "r3d/Tokenizers.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::r3d {

inline constexpr uint32_t kTagRED1 = MakeTag("RED1");
inline constexpr uint32_t kTagRED2 = MakeTag("RED2");
inline constexpr uint32_t kTagREOS = MakeTag("REOS");
inline constexpr uint32_t kTagREOB = MakeTag("REOB");
inline constexpr uint32_t kTagREOF = MakeTag("REOF");
inline constexpr uint32_t kTagREOC = MakeTag("REOC");
inline constexpr uint32_t kTagREDV = MakeTag("REDV");
inline constexpr uint32_t kTagREDA = MakeTag("REDA");
inline constexpr uint32_t kTagRDVO = MakeTag("RDVO");
inline constexpr uint32_t kTagRDVS = MakeTag("RDVS");
inline constexpr uint32_t kTagRDAO = MakeTag("RDAO");
inline constexpr uint32_t kTagRDAS = MakeTag("RDAS");
inline constexpr uint32_t kTagRDI = MakeTrackTag("RDI");
inline constexpr uint32_t kTagRII = MakeTrackTag("RII");
inline constexpr uint32_t kTagRIA = MakeTrackTag("RIA");
inline constexpr uint32_t kTagRIX = MakeTrackTag("RIX");
inline constexpr uint32_t kTagUUID = MakeTag("uuid");
inline constexpr uint32_t kTagJP2C = MakeTag("jp2c");

// Payload sizes of the tag tests.
inline constexpr uint64_t kHeader1Payload = 316;
inline constexpr uint64_t kHeader1DamagedPayload = 16777532;
inline constexpr uint64_t kHeader2MinPayload = 60;
inline constexpr uint64_t kFooter1Payload = 48;
inline constexpr uint64_t kFooter2MinPayload = 72;
inline constexpr uint64_t kVideoFrame1MinPayload = 504;
inline constexpr uint64_t kVideoFrame2MinPayload = 56;
inline constexpr uint64_t kAudioBlockMinPayload = 32;
inline constexpr uint64_t kLegacyTableMinPayload = 504;
inline constexpr uint64_t kIndex2MinPayload = 60;
inline constexpr uint64_t kUuidBoxMinPayload = 29;
inline constexpr uint64_t kJp2cBoxMinPayload = 165;
inline constexpr uint64_t kIndex2Unit = 4096;
// Distance of the footer atom from the end of the file.
inline constexpr uint64_t kFooter1Distance = 56;
inline constexpr uint64_t kFooter2Distance = 4096;
// Audio block header lengths in the file, atom head included.
inline constexpr uint32_t kAudioHeader3 = 32;
inline constexpr uint32_t kAudioHeader4 = 36;
inline constexpr uint32_t kAudioHeader5 = 128;
// The box of a version 3 frame that holds frame metadata.
inline constexpr std::array<uint8_t, 16> kFrameMetadataUuid = {0x35, 0x75, 0xDD, 0xA0, 0x4A, 0x69, 0x11, 0xDB,
                                                               0xBD, 0x87, 0x00, 0x02, 0xA5, 0xD5, 0xC5, 0x1B};
// Metadata ids of the header.
inline constexpr uint16_t kHeaderIdFileName = 86;
inline constexpr uint16_t kHeaderIdRevision = 101;

bool IsHeaderToken(const Token& token);
bool IsFooterToken(const Token& token, uint16_t versionWord);
// A video frame atom: "REDV", or "RDI" with a track byte. Does not judge the track byte.
bool IsVideoFrameToken(const Token& token);
bool IsAudioBlockToken(const Token& token);

// Counts the non-zero 4-bit fields of a channel mask; with an even-audio revision an odd count
// gets its first zero field set to 15 and rises by one.
int ChannelsOfNibbleMask(uint32_t* mask, uint32_t revision);

class RedFileHeader {
public:
    // Parses the payload of a header atom; fails with the reason when the file is refused.
    Status Parse(const uint8_t* payload, size_t size);

    uint16_t VersionWord() const { return static_cast<uint16_t>(major * 256 + minor); }
    bool IsGeneration5() const { return VersionWord() >= 1280; }
    float FrameRate() const;

    uint8_t major = 0;
    uint8_t minor = 0;
    uint16_t identifier = 0;
    uint32_t cameraCode = 0;
    uint32_t firstWord = 0;
    uint32_t secondWord = 0;
    std::array<uint8_t, 16> firstBlock{};
    std::array<uint8_t, 16> secondBlock{};
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t rateNumerator = 0;
    uint16_t rateDenominator = 1;
    uint8_t alignmentExponent = 0;
    uint8_t videoTrackCount = 1;
    uint8_t audioTrackCount = 0;
    uint8_t auxTrackCount = 0;
    std::vector<uint8_t> videoTrackFlags;
    int primaryTrack = 0;
    bool hdrSingleTrack = false;
    bool hdrTwoTrack = false;
    uint32_t audioChannelMask = 0;
    uint8_t audioFormat = 0;
    bool littleEndianAudio = false;
    int audioChannels = 0;
    uint32_t auxValue = 0;
    std::string fileName;
    uint32_t firmwareRevision = 0xFFFFFFFFu;
    bool revisionRead = false;
    // Set when the header was taken although part of it is damaged.
    std::string damage;
};

// Where a version 5 footer finds a track's index.
struct TrackIndexRef {
    uint32_t tag = 0;
    uint64_t position = 0;  // bytes
    uint32_t extent = 0;
    uint32_t count = 0;
    bool HasBoth() const { return position != 0 && extent != 0; }
};

class RedFileFooter {
public:
    // footerEnd: the file position where the footer atom ends.
    Status Parse(const uint8_t* payload, size_t size, uint16_t versionWord, uint64_t footerEnd);

    bool generation5 = false;
    // Versions below 5.
    uint32_t videoOffsetsPosition = 0;
    uint32_t videoSizesPosition = 0;
    uint32_t audioOffsetsPosition = 0;
    uint32_t audioSizesPosition = 0;
    // Version 5.
    uint8_t videoTrackCount = 0;
    uint8_t audioTrackCount = 0;
    uint8_t auxTrackCount = 0;
    TrackIndexRef video[2];
    TrackIndexRef audio;
    TrackIndexRef aux;
    // Both.
    uint32_t videoCount[2] = {0, 0};
    uint32_t audioCount = 0;
    uint32_t auxCount = 0;
};

class RedFileIndex {
public:
    // Reads the tables of one store: the video track given by ref (or the legacy tables) and, for
    // the primary store, audio and auxiliary data. Counts already in the store are kept as upper
    // bounds. Fails with the reason on any miss.
    // Entries must lie between headerEnd and the end of the file.
    static Status Parse(RedFileTokenizer& tokenizer, const RedFileFooter& footer, const TrackIndexRef& videoRef,
                        bool primary, uint64_t headerEnd, IndexStore* store);

private:
    static Status ParseTables(RedFileTokenizer& tokenizer, const RedFileFooter& footer, const TrackIndexRef& videoRef,
                              bool primary, IndexStore* store);
};

class RedFileVideoFrame {
public:
    // Parses a frame record: the bytes from the frame's position plus 8, size minus 8 long.
    Status Parse(const uint8_t* data, size_t size);

    uint8_t major = 0;
    uint8_t minor = 0;
    uint32_t firstValue = 0;
    uint32_t secondValue = 0;
    uint32_t thirdValue = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    size_t metadataOffset = 0;
    size_t metadataSize = 0;
    // The image data: our own payload, or the camera maker's compressed data. For version 3
    // it is the JPEG 2000 codestream box.
    size_t imageOffset = 0;
    size_t imageSize = 0;
    bool jpeg2000 = false;
};

class RedFileAudioFrame {
public:
    // Parses the payload of an audio block (behind its atom head).
    Status Parse(const uint8_t* payload, size_t size, uint16_t versionWord, int clipChannels, uint32_t revision);

    uint8_t major = 0;
    uint8_t minor = 0;
    uint32_t sampleRate = 0;
    uint32_t sampleCount = 0;
    uint8_t channelMask = 0;
    uint8_t sampleBits = 0;
    uint32_t firstValue = 0;
    uint32_t fourthValue = 0;
    uint32_t headerLength = 0;  // atom head included
    int channels = 0;
};

struct MetadataItem {
    uint16_t id = 0;
    std::vector<uint8_t> payload;
    uint16_t Item() const { return id & 0x0FFF; }
};

class RedFileFrameMetadata {
public:
    // Tokenizes a frame's metadata. A broken token ends the list; what came before stays.
    bool Parse(const uint8_t* data, size_t size, uint16_t versionWord);
    std::vector<MetadataItem> items;
    bool complete = true;
};

}  // namespace ombrel::r3d
