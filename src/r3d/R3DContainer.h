#pragma once

#include "r3d/RedFileParser.h"
#include "r3d/Stores.h"
#include "r3d/TokenStream.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ombrel::r3d {

// What opening a file tells. The first nine fields must agree between the files of one clip.
struct ContainerInfo {
    uint32_t major = 0;
    uint32_t versionWord = 0;
    uint32_t cameraCode = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t rateNumerator = 0;
    uint32_t rateDenominator = 1;
    uint32_t firstWord = 0;
    uint32_t audioChannels = 0;

    uint64_t videoFrames = 0;
    uint64_t audioBlocks = 0;
    uint64_t auxBlocks = 0;
    uint64_t audioSampleFrames = 0;
    std::string fileName;
    std::array<uint8_t, 16> identity{};
    uint32_t secondWord = 0;
    bool hdrSingleTrack = false;
    bool hdrTwoTrack = false;
    int64_t largestVideoSize = 0;
    int64_t largestAudioSize = 0;
    int64_t largestAuxSize = 0;
    uint32_t auxValue = 0;
    uint32_t firmwareRevision = 0xFFFFFFFFu;
    bool littleEndianAudio = false;

    // Beyond the record above, for the layers on top.
    uint16_t identifier = 0;
    uint32_t minor = 0;
    int videoTrackCount = 1;
    int primaryTrack = 0;
    uint64_t secondTrackFrames = 0;
    bool recovered = false;  // the tables came from the recovery scan

    bool SameClipAs(const ContainerInfo& other) const;
    double FrameRate() const;  // from the rational, never a rounded value
};

// One open R3D file: its header and tables; frames and audio are read on demand.
// Frame and block numbers count from 1. Reads are safe from several threads.
class R3DContainer {
public:
    enum OpenResult { kOpened = 0, kNoPath = 1, kCannotOpen = 2, kParseFailed = 3 };

    R3DContainer() = default;
    ~R3DContainer();
    R3DContainer(const R3DContainer&) = delete;
    R3DContainer& operator=(const R3DContainer&) = delete;

    int OpenFile(const std::string& path, ContainerInfo* info);

    // Copies the record of a frame (from its position plus 8, size minus 8 bytes) into
    // *destination; gives the byte count, 0 when nothing was copied.
    uint64_t GetVideoFrameData(uint64_t frame, std::vector<uint8_t>* destination);
    uint64_t GetVideoFrame2Data(uint64_t frame, std::vector<uint8_t>* destination);
    // The whole payload of an audio block.
    uint64_t GetAudioBlock(uint64_t block, std::vector<uint8_t>* destination);
    // The samples of a block, behind its header.
    uint64_t GetAudioBlockData(uint64_t block, std::vector<uint8_t>* destination);
    // Part of a block's samples; at most size bytes from offset.
    uint64_t GetAudioBlockDataOffset(uint64_t block, uint64_t offset, uint64_t size, uint8_t* destination);
    uint64_t GetAuxBlockData(uint64_t block, std::vector<uint8_t>* destination);

    bool GetVideoFrameInfo(uint64_t frame, uint64_t* position, int64_t* size) const;
    bool GetVideoFrame2Info(uint64_t frame, uint64_t* position, int64_t* size) const;
    // Position behind the block's header and the byte count of its samples.
    bool GetAudioBlockInfo(uint64_t block, uint64_t* position, uint64_t* size) const;

    // Give up and take up the file handle; the tables stay.
    void CloseHandle();
    bool ReopenHandle();
    bool HandleOpen() const;
    void CloseFile();

    bool IsOpen() const { return open_; }
    const std::string& Path() const { return path_; }
    const ContainerInfo& Info() const { return info_; }
    const RedFileHeader& Header() const { return processor_.header; }
    const IndexStore& Store(int which) const { return processor_.stores[which ? 1 : 0]; }
    const MetadataStore& Metadata(int which) const { return processor_.metadata[which ? 1 : 0]; }
    uint32_t AudioHeaderLength() const { return audioHeaderLength_; }

private:
    uint64_t ReadEntry(uint64_t position, int64_t size, uint64_t skip, std::vector<uint8_t>* destination);
    uint64_t AudioDataBytes(uint64_t block) const;  // 1-based, table already checked
    void FixAudioBlockSizes();
    bool ReadLocked(uint64_t position, void* destination, size_t count);

    mutable std::mutex mutex_;
    std::string path_;
    RandomAccessFile file_;
    uint64_t fileSize_ = 0;
    bool open_ = false;
    RedFileParserProcessor processor_;
    ContainerInfo info_;
    uint32_t audioHeaderLength_ = 0;
    uint64_t firstAudioBytes_ = 0;
    uint64_t lastAudioBytes_ = 0;
};

}  // namespace ombrel::r3d
