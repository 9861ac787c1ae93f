#pragma once

#include "core/Status.h"
#include "r3d/R3DContainer.h"
#include "r3d/RedFileItems.h"
#include "r3d/Stores.h"
#include "r3d/Timecode.h"

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ombrel::r3d {

// A clip of one or more numbered files ("chunks"). Clip frames and audio blocks count from 0
// over all chunks. Each chunk's tables are read at the open; file handles are taken up only
// while frames are read, a few at a time. Reads are safe from several threads.
class ClipLoader {
public:
    static constexpr size_t kMaxOpenHandles = 4;

    ClipLoader() = default;
    ~ClipLoader();
    ClipLoader(const ClipLoader&) = delete;
    ClipLoader& operator=(const ClipLoader&) = delete;

    // Fails with kInvalid for an empty name or a first frame that cannot be read or parsed,
    // kIo when the file cannot be opened, kUnsupported when it is no R3D file that parses,
    // kNoMemory when memory runs out. The clip metadata also goes to *stores when given.
    Status OpenClip(const std::string& path, MetadataStore* stores = nullptr);
    void CloseClip();
    bool IsOpen() const { return !chunks_.empty(); }

    // Totals over the chunks; the first chunk's fields otherwise.
    const ContainerInfo& Info() const { return info_; }
    const MetadataStore& Metadata() const { return metadata_; }
    uint64_t VideoFrameCount() const { return info_.videoFrames; }
    uint64_t AudioBlockCount() const { return info_.audioBlocks; }
    uint64_t DroppedFrameCount() const { return droppedFrames_; }

    size_t ChunkCount() const { return chunks_.size(); }
    const std::string& ChunkPath(size_t chunk) const;
    const ContainerInfo& ChunkInfo(size_t chunk) const;

    // The chunk and its frame number (from 1) of a clip frame (from 0).
    bool GetVideoBlock(uint64_t clipFrame, size_t* chunk, uint64_t* frameInChunk) const;
    bool GetAudioBlockRef(uint64_t clipBlock, size_t* chunk, uint64_t* blockInChunk) const;
    // The table size of a clip frame's record (negative or below 513 for a dropped frame) and
    // the sample bytes of a clip audio block; false beyond the clip.
    bool GetVideoFrameSize(uint64_t clipFrame, int64_t* size, int track = 0) const;
    bool GetAudioBlockSize(uint64_t clipBlock, uint64_t* size) const;

    // The frame record of a clip frame; track 0 is the primary video track, 1 the second.
    uint64_t GetVideoFrameData(uint64_t clipFrame, std::vector<uint8_t>* destination, int track = 0);
    // Reads and parses a frame; the frame's offsets point into *buffer. A failure is logged too.
    Status ReadVideoFrame(uint64_t clipFrame, std::vector<uint8_t>* buffer, RedFileVideoFrame* frame, int track = 0);
    // Reads the image data of a frame only (without the record around it).
    Status ReadVideoImage(uint64_t clipFrame, std::vector<uint8_t>* image, RedFileVideoFrame* frame = nullptr,
                          int track = 0);

    // The samples of a clip audio block, behind its header; the byte count, 0 when none.
    uint64_t GetAudioBlockData(uint64_t clipBlock, std::vector<uint8_t>* destination);
    // Parses the header of a clip audio block.
    bool ReadAudioBlockHeader(uint64_t clipBlock, RedFileAudioFrame* block);
    // The sample rate of the clip's audio, from its first block; 0 without audio.
    uint32_t AudioSampleRate() const { return sampleRate_; }

    // The clip's start timecodes, ready for CalculateNewTC.
    const Timecode& EdgeTimecode() const { return edgeTimecode_; }
    const Timecode& AbsoluteTimecode() const { return absoluteTimecode_; }
    // The rate rounded to an integer, from the rational.
    int TimecodeBase() const;

private:
    struct Chunk {
        std::string path;
        std::unique_ptr<R3DContainer> container;
        ContainerInfo info;
    };
    R3DContainer* Acquire(size_t chunk);  // with mutex_ held
    Status OpenChunks(const std::string& path);
    void FillMetadata(const RedFileVideoFrame& frame, const std::vector<uint8_t>& record);

    mutable std::mutex mutex_;
    std::vector<Chunk> chunks_;
    std::list<size_t> openHandles_;  // most recently used first
    ContainerInfo info_;
    MetadataStore metadata_;
    uint64_t droppedFrames_ = 0;
    uint32_t sampleRate_ = 0;
    Timecode edgeTimecode_;
    Timecode absoluteTimecode_;
};

}  // namespace ombrel::r3d
