#include "r3d/ClipLoader.h"

#include "core/Log.h"
#include "r3d/CameraTables.h"
#include "r3d/MetadataMapper.h"
#include "r3d/Sequence.h"

#include <unistd.h>
#include <algorithm>
#include <deque>
#include <new>

namespace ombrel::r3d {

ClipLoader::~ClipLoader() { CloseClip(); }

void ClipLoader::CloseClip() {
    std::lock_guard lock(mutex_);
    chunks_.clear();
    openHandles_.clear();
    info_ = ContainerInfo{};
    metadata_.Clear();
    droppedFrames_ = 0;
    sampleRate_ = 0;
    edgeTimecode_ = Timecode{};
    absoluteTimecode_ = Timecode{};
}

const std::string& ClipLoader::ChunkPath(size_t chunk) const {
    static const std::string kNone;
    return chunk < chunks_.size() ? chunks_[chunk].path : kNone;
}

const ContainerInfo& ClipLoader::ChunkInfo(size_t chunk) const {
    static const ContainerInfo kNone;
    return chunk < chunks_.size() ? chunks_[chunk].info : kNone;
}

int ClipLoader::TimecodeBase() const {
    if (info_.rateDenominator == 0) return 0;
    return int((uint64_t(info_.rateNumerator) * 2 + info_.rateDenominator) / (2 * uint64_t(info_.rateDenominator)));
}

Status ClipLoader::OpenChunks(const std::string& path) {
    auto first = std::make_unique<R3DContainer>();
    ContainerInfo model;
    switch (first->OpenFile(path, &model)) {
        case R3DContainer::kOpened: break;
        case R3DContainer::kNoPath: return InvalidError("no clip named to open");
        case R3DContainer::kCannotOpen: return IoError("R3D file " + path + ": cannot be opened");
        default: return UnsupportedError("R3D file " + path + ": no clip that can be read");
    }
    std::deque<Chunk> list;
    list.push_back({path, std::move(first), model});
    const Sequence seq(path);
    if (seq.IsNumbered()) {
        auto tryChunk = [&](int64_t number, Chunk* out) {
            const std::string p = seq.PathForNumber(number);
            auto c = std::make_unique<R3DContainer>();
            ContainerInfo info;
            if (::access(p.c_str(), F_OK) != 0) return false;
            if (c->OpenFile(p, &info) != R3DContainer::kOpened) return false;
            if (!info.SameClipAs(model)) {
                LogWarn("R3D clip {}: {} belongs to another clip; the clip ends before it", path, p);
                return false;
            }
            c->CloseHandle();
            *out = Chunk{p, std::move(c), info};
            return true;
        };
        const int64_t n = seq.Number();
        if (n != 0) {
            const int64_t lowest = n == 1 ? 0 : 1;
            for (int64_t k = n - 1; k >= lowest; --k) {
                Chunk c;
                if (!tryChunk(k, &c)) break;
                list.push_front(std::move(c));
            }
        }
        for (int64_t k = n + 1; k <= seq.Largest(); ++k) {
            Chunk c;
            if (!tryChunk(k, &c)) break;
            list.push_back(std::move(c));
        }
    }
    for (auto& c : list) chunks_.push_back(std::move(c));
    return OkStatus();
}

Status ClipLoader::OpenClip(const std::string& path, MetadataStore* stores) {
    CloseClip();
    if (path.empty()) {
        LogError("R3D: no clip named to open");
        return InvalidError("no clip named to open");
    }
    try {
        std::lock_guard lock(mutex_);
        if (Status opened = OpenChunks(path); !opened.ok()) return opened;
        // The first chunk's handle stays open; the others were given up after their tables.
        for (size_t i = 0; i < chunks_.size(); ++i)
            if (chunks_[i].container->HandleOpen()) openHandles_.push_back(i);
        info_ = chunks_.front().info;
        info_.videoFrames = info_.audioBlocks = info_.auxBlocks = info_.audioSampleFrames = 0;
        info_.secondTrackFrames = 0;
        info_.recovered = false;
        for (const Chunk& c : chunks_) {
            info_.videoFrames += c.info.videoFrames;
            info_.audioBlocks += c.info.audioBlocks;
            info_.auxBlocks += c.info.auxBlocks;
            info_.audioSampleFrames += c.info.audioSampleFrames;
            info_.secondTrackFrames += c.info.secondTrackFrames;
            info_.largestVideoSize = std::max(info_.largestVideoSize, c.info.largestVideoSize);
            info_.largestAudioSize = std::max(info_.largestAudioSize, c.info.largestAudioSize);
            info_.largestAuxSize = std::max(info_.largestAuxSize, c.info.largestAuxSize);
            info_.recovered = info_.recovered || c.info.recovered;
            const IndexStore& s = c.container->Store(0);
            for (uint32_t i = 0; i < s.video.count; ++i)
                if (s.GetVideoSize(i) < 513) ++droppedFrames_;
        }
        const bool fromSecond = info_.hdrTwoTrack && info_.identifier != kIdentifierR1 && info_.secondTrackFrames > 0;
        std::vector<uint8_t> record;
        RedFileVideoFrame frame;
        R3DContainer* c0 = Acquire(0);
        const uint64_t got = !c0          ? 0
                             : fromSecond ? c0->GetVideoFrame2Data(1, &record)
                                          : c0->GetVideoFrameData(1, &record);
        const Status parsed =
            got == 0 ? InvalidError(info_.videoFrames > 0 ? "the first frame cannot be read" : "the clip has no frames")
                     : frame.Parse(record.data(), record.size());
        if (!parsed.ok()) {
            const std::string& why = parsed.message();
            LogError("R3D clip {}: {}", path, why);
            chunks_.clear();
            openHandles_.clear();
            info_ = ContainerInfo{};
            droppedFrames_ = 0;
            return InvalidError("R3D clip " + path + ": " + why);
        }
        FillMetadata(frame, record);
        if (info_.audioBlocks > 0) {
            std::vector<uint8_t> block;
            RedFileAudioFrame audio;
            for (size_t i = 0; i < chunks_.size() && sampleRate_ == 0; ++i) {
                R3DContainer* c = Acquire(i);
                if (c && c->Info().audioBlocks > 0 && c->GetAudioBlock(1, &block) &&
                    audio
                        .Parse(block.data(), block.size(), uint16_t(info_.versionWord), int(info_.audioChannels),
                               info_.firmwareRevision)
                        .ok())
                    sampleRate_ = audio.sampleRate;
            }
            if (sampleRate_) metadata_.SetInt("samplerate", sampleRate_);
        }
        if (stores) *stores = metadata_;
        if (chunks_.size() > 1) LogInfo("R3D clip {}: {} files, {} frames", path, chunks_.size(), info_.videoFrames);
        return OkStatus();
    } catch (const std::bad_alloc&) {
        LogError("R3D clip {}: out of memory", path);
        std::lock_guard lock(mutex_);
        chunks_.clear();
        openHandles_.clear();
        info_ = ContainerInfo{};
        return NoMemoryError("R3D clip " + path + ": out of memory");
    }
}

void ClipLoader::FillMetadata(const RedFileVideoFrame& frame, const std::vector<uint8_t>& record) {
    const Chunk& first = chunks_.front();
    const RedFileHeader& h = first.container->Header();
    RedFileFrameMetadata tokens;
    if (frame.metadataSize > 0 && frame.metadataOffset <= record.size() &&
        frame.metadataSize <= record.size() - frame.metadataOffset) {
        if (!tokens.Parse(record.data() + frame.metadataOffset, frame.metadataSize, h.VersionWord()))
            LogWarn("R3D clip {}: the first frame's metadata breaks off; the rest is passed over", first.path);
    }
    MapperContext ctx;
    ctx.versionWord = h.VersionWord();
    ctx.cameraCode = h.cameraCode;
    ctx.width = h.width;
    ctx.height = h.height;
    ctx.firstGeneration = h.identifier == kIdentifierR1;
    ctx.timecodeBase = TimecodeBase();
    ctx.firmwareRevision = h.firmwareRevision;
    MetadataMapper::MapMetadata(tokens, ctx, &metadata_);

    metadata_.SetInt("image_width", h.width);
    metadata_.SetInt("image_height", h.height);
    metadata_.SetFloat("framerate", h.FrameRate());
    metadata_.SetInt("framerate_numerator", h.rateNumerator);
    metadata_.SetInt("framerate_denominator", h.rateDenominator);
    metadata_.SetString("original_filename", h.fileName);
    if (h.firmwareRevision != 0 && h.firmwareRevision != kNoRevision)
        metadata_.SetInt("camera_firmware_revision", h.firmwareRevision);
    if (h.hdrTwoTrack && !h.hdrSingleTrack) {
        metadata_.SetInt("hdr_mode", 2);
        // The stops of the second exposure are not in any record we know; 0 says so.
        metadata_.SetFloat("hdr_stops_over", 0.0);
    } else if (!h.hdrTwoTrack && !h.hdrSingleTrack) {
        metadata_.SetInt("hdr_mode", 0);
    }
    if (!metadata_.Has("saturation")) metadata_.SetFloat("saturation", 1.0);
    if (!metadata_.Has("contrast")) metadata_.SetFloat("contrast", 0.0);
    if (!metadata_.Has("brightness")) metadata_.SetFloat("brightness", 0.0);
    metadata_.SetInt("dropped_frame_count", int64_t(droppedFrames_));
    metadata_.SetInt("audio_channels", info_.audioChannels);

    const int base = TimecodeBase();
    const bool r1 = h.identifier == kIdentifierR1;
    if (metadata_.Has("start_edge_timecode"))
        edgeTimecode_.SetTimecode(metadata_.ItemAsString("start_edge_timecode"), base, r1);
    if (metadata_.Has("start_absolute_timecode"))
        absoluteTimecode_.SetTimecode(metadata_.ItemAsString("start_absolute_timecode"), base, r1);
}

R3DContainer* ClipLoader::Acquire(size_t chunk) {
    if (chunk >= chunks_.size()) return nullptr;
    R3DContainer* c = chunks_[chunk].container.get();
    auto it = std::find(openHandles_.begin(), openHandles_.end(), chunk);
    if (it != openHandles_.end()) {
        openHandles_.erase(it);
        openHandles_.push_front(chunk);
        return c;
    }
    while (openHandles_.size() >= kMaxOpenHandles) {
        chunks_[openHandles_.back()].container->CloseHandle();
        openHandles_.pop_back();
    }
    if (!c->ReopenHandle()) return nullptr;
    openHandles_.push_front(chunk);
    return c;
}

bool ClipLoader::GetVideoBlock(uint64_t clipFrame, size_t* chunk, uint64_t* frameInChunk) const {
    uint64_t f = clipFrame;
    for (size_t i = 0; i < chunks_.size(); ++i) {
        const uint64_t n = chunks_[i].info.videoFrames;
        if (f < n) {
            if (chunk) *chunk = i;
            if (frameInChunk) *frameInChunk = f + 1;
            return true;
        }
        f -= n;
    }
    return false;
}

bool ClipLoader::GetAudioBlockRef(uint64_t clipBlock, size_t* chunk, uint64_t* blockInChunk) const {
    uint64_t b = clipBlock;
    for (size_t i = 0; i < chunks_.size(); ++i) {
        const uint64_t n = chunks_[i].info.audioBlocks;
        if (b < n) {
            if (chunk) *chunk = i;
            if (blockInChunk) *blockInChunk = b + 1;
            return true;
        }
        b -= n;
    }
    return false;
}

bool ClipLoader::GetVideoFrameSize(uint64_t clipFrame, int64_t* size, int track) const {
    std::lock_guard lock(mutex_);
    size_t chunk;
    uint64_t local;
    if (!GetVideoBlock(clipFrame, &chunk, &local)) return false;
    const R3DContainer& c = *chunks_[chunk].container;
    return track == 0 ? c.GetVideoFrameInfo(local, nullptr, size) : c.GetVideoFrame2Info(local, nullptr, size);
}

bool ClipLoader::GetAudioBlockSize(uint64_t clipBlock, uint64_t* size) const {
    std::lock_guard lock(mutex_);
    size_t chunk;
    uint64_t local;
    if (!GetAudioBlockRef(clipBlock, &chunk, &local)) return false;
    return chunks_[chunk].container->GetAudioBlockInfo(local, nullptr, size);
}

uint64_t ClipLoader::GetVideoFrameData(uint64_t clipFrame, std::vector<uint8_t>* destination, int track) {
    std::lock_guard lock(mutex_);
    size_t chunk;
    uint64_t local;
    if (!destination || !GetVideoBlock(clipFrame, &chunk, &local)) return 0;
    R3DContainer* c = Acquire(chunk);
    if (!c) return 0;
    return track == 0 ? c->GetVideoFrameData(local, destination) : c->GetVideoFrame2Data(local, destination);
}

Status ClipLoader::ReadVideoFrame(uint64_t clipFrame, std::vector<uint8_t>* buffer, RedFileVideoFrame* frame,
                                  int track) {
    if (!buffer || !frame) return InvalidError("no buffer for the frame");
    Status read;
    if (GetVideoFrameData(clipFrame, buffer, track) == 0)
        read = InvalidError(clipFrame < info_.videoFrames ? "the frame cannot be read" : "no such frame");
    else
        read = frame->Parse(buffer->data(), buffer->size());
    if (!read.ok())
        LogWarn("R3D clip {}: frame {}: {}", chunks_.empty() ? std::string() : chunks_.front().path, clipFrame,
                read.message());
    return read;
}

Status ClipLoader::ReadVideoImage(uint64_t clipFrame, std::vector<uint8_t>* image, RedFileVideoFrame* frame,
                                  int track) {
    if (!image) return InvalidError("no buffer for the image");
    RedFileVideoFrame f;
    if (Status read = ReadVideoFrame(clipFrame, image, &f, track); !read.ok()) return read;
    image->erase(image->begin(), image->begin() + static_cast<ptrdiff_t>(f.imageOffset));
    image->resize(f.imageSize);
    if (frame) *frame = f;
    return OkStatus();
}

uint64_t ClipLoader::GetAudioBlockData(uint64_t clipBlock, std::vector<uint8_t>* destination) {
    std::lock_guard lock(mutex_);
    size_t chunk;
    uint64_t local;
    if (!destination || !GetAudioBlockRef(clipBlock, &chunk, &local)) return 0;
    R3DContainer* c = Acquire(chunk);
    return c ? c->GetAudioBlockData(local, destination) : 0;
}

bool ClipLoader::ReadAudioBlockHeader(uint64_t clipBlock, RedFileAudioFrame* block) {
    std::vector<uint8_t> payload;
    {
        std::lock_guard lock(mutex_);
        size_t chunk;
        uint64_t local;
        if (!block || !GetAudioBlockRef(clipBlock, &chunk, &local)) return false;
        R3DContainer* c = Acquire(chunk);
        if (!c || c->GetAudioBlock(local, &payload) == 0) return false;
    }
    return block
        ->Parse(payload.data(), payload.size(), uint16_t(info_.versionWord), int(info_.audioChannels),
                info_.firmwareRevision)
        .ok();
}

}  // namespace ombrel::r3d
