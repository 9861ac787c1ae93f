#pragma once

#include "r3d/CameraTables.h"
#include "r3d/ImagePayload.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace ombrel::r3d {

// One metadata token as the writer puts it: the id (its low 12 bits name the item) and the
// payload, big-endian.
struct MetadataToken {
    uint16_t id = 0;
    std::vector<uint8_t> payload;

    static MetadataToken String(uint16_t item, const std::string& text);
    // Floats carry the type nibble 2 in the top of their id, as cameras write them.
    static MetadataToken Float(uint16_t item, float value);
    static MetadataToken Floats(uint16_t item, std::initializer_list<float> values);
    static MetadataToken U8(uint16_t item, uint8_t value);
    static MetadataToken U16(uint16_t item, uint16_t value);
    static MetadataToken U32(uint16_t item, uint32_t value);
    static MetadataToken Raw(uint16_t id, std::vector<uint8_t> payload);
};

// Tokens as they stand in a record. In a clip of version word 1280 the payloads of ids 8200,
// 8205 and 8206 are written in reverse, as such cameras did.
std::vector<uint8_t> EncodeMetadataTokens(const std::vector<MetadataToken>& tokens, uint16_t versionWord);

// Everything about a clip to write.
struct R3DClipSpec {
    uint8_t major = 5;  // 3 or 4: the first generation ("RED1"); 5: the second ("RED2")
    uint8_t minor = 0;
    uint32_t width = 64;
    uint32_t height = 32;
    uint32_t rateNumerator = 24;
    uint16_t rateDenominator = 1;
    uint8_t cameraCode = 5;  // second generation; first-generation clips are "R1" cameras
    uint8_t alignmentExponent = 12;
    uint32_t firstWord = 0x0000C0DE;  // first generation; the second writes 0
    uint32_t secondWord = 7;
    std::array<uint8_t, 16> identity{};
    std::string originalFileName;             // empty: each file's own name
    uint32_t firmwareRevision = kNoRevision;  // second generation: written as header token 101 when set

    int videoTracks = 1;   // 2 only in the second generation
    int primaryTrack = 0;  // which of the two the reader should take as primary
    uint8_t hdrKind = 0;   // low four bits of the first track's flags: 2 single-track, 3 two-track

    int audioChannels = 0;
    uint32_t audioSampleRate = 48000;
    bool audioLittleEndian = false;         // second generation: samples written little-endian, marked so
    uint32_t audioChannelMaskOverride = 0;  // written instead of the mask worked out from the channels
    bool auxTrack = false;                  // second generation
    uint32_t auxValue = 0;

    bool writeIndex = true;  // the tables in front of the footer
    bool writeFooter = true;
    bool damagedHeaderSize = false;  // first generation: the known damaged header size
    uint32_t footerTag = 0;          // 0: "REOS" for the first generation, "REOC" for the second

    uint32_t framesPerFile = 0;  // 0: one file; else a new numbered file after so many frames

    // Tokens in every frame's metadata.
    std::vector<MetadataToken> frameMetadata;
    // Start timecodes ("HH:MM:SS:FF"); when given, each frame carries its own as tokens 0 and 1.
    std::string edgeTimecode;
    std::string absoluteTimecode;
};

// Writes R3D clips that our reader reads: both generations, one or more numbered files, with
// or without index and footer, frames carrying our image payload, audio blocks and metadata.
class R3DWriter {
public:
    R3DWriter();
    ~R3DWriter();
    R3DWriter(const R3DWriter&) = delete;
    R3DWriter& operator=(const R3DWriter&) = delete;

    // firstPath names the first file; further files count up from its number. Existing files
    // are refused unless overwrite is set.
    bool Create(const std::string& firstPath, const R3DClipSpec& spec, bool overwrite = false);
    // A frame whose image data is given as is (our payload or anything else).
    bool AddVideoFrame(const uint8_t* image, size_t size, int track = 0);
    // A frame from interleaved 16-bit RGB of the clip's size, encoded as our payload.
    bool AddVideoFrameRGB(const uint16_t* rgb, const ImagePayloadOptions& options = {}, int track = 0);
    // A frame the camera dropped: second generation an index entry of negative size, first
    // generation a record too short to hold a picture.
    bool AddDroppedFrame(int track = 0);
    // Interleaved samples, one 32-bit word per channel.
    bool AddAudioBlock(const int32_t* samples, uint32_t sampleFrames);
    bool AddAuxBlock(const uint8_t* data, size_t size);
    // Writes the index and footer of the last file and closes it.
    bool Finish();

    const std::string& Error() const { return error_; }
    const std::vector<std::string>& Paths() const { return paths_; }
    uint64_t FramesWritten() const { return framesWritten_[0]; }

private:
    struct Entry {
        uint64_t position;
        int64_t size;
    };
    struct File;

    bool CreateUnguarded(const std::string& firstPath, const R3DClipSpec& spec, bool overwrite);
    bool AddVideoFrameUnguarded(const uint8_t* image, size_t size, int track);
    bool AddVideoFrameRGBUnguarded(const uint16_t* rgb, const ImagePayloadOptions& options, int track);
    bool AddDroppedFrameUnguarded(int track);
    bool AddAudioBlockUnguarded(const int32_t* samples, uint32_t sampleFrames);
    bool AddAuxBlockUnguarded(const uint8_t* data, size_t size);
    bool FinishUnguarded();
    bool Fail(std::string message);
    bool OpenNextFile();
    bool CloseFile();
    bool WriteHeader();
    bool WriteLegacyTail();
    bool WriteGeneration5Tail();
    bool Write(const std::vector<uint8_t>& bytes);
    bool AlignFile();
    std::vector<uint8_t> FrameMetadataFor(uint64_t frame) const;
    bool Generation5() const { return spec_.major >= 5; }

    R3DClipSpec spec_;
    std::unique_ptr<File> file_;
    std::string firstPath_;
    bool overwrite_ = false;
    bool finished_ = true;
    std::vector<std::string> paths_;
    std::string error_;
    uint64_t framesWritten_[2] = {0, 0};
    uint64_t audioBlocksWritten_ = 0;
    uint32_t framesInFile_ = 0;
    int64_t firstNumber_ = 0;
};

}  // namespace ombrel::r3d
