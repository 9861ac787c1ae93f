#include "r3d/R3DContainer.h"

#include "core/Log.h"
#include "r3d/CameraTables.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace ombrel::r3d {

bool ContainerInfo::SameClipAs(const ContainerInfo& o) const {
    return major == o.major && versionWord == o.versionWord && cameraCode == o.cameraCode && width == o.width &&
           height == o.height && rateNumerator == o.rateNumerator && rateDenominator == o.rateDenominator &&
           firstWord == o.firstWord && audioChannels == o.audioChannels;
}

double ContainerInfo::FrameRate() const {
    return rateDenominator ? double(rateNumerator) / double(rateDenominator) : 0.0;
}

R3DContainer::~R3DContainer() { CloseFile(); }

int R3DContainer::OpenFile(const std::string& path, ContainerInfo* info) {
    CloseFile();
    if (path.empty()) {
        LogError("R3D: no file named to open");
        return kNoPath;
    }
    std::lock_guard lock(mutex_);
    std::string error;
    if (!file_.Open(path, &error)) {
        LogError("R3D file {}: cannot be opened: {}", path, error);
        return kCannotOpen;
    }
    path_ = path;
    fileSize_ = file_.Size();
    processor_ = RedFileParserProcessor(path);
    bool parsed = false;
    // Counts in a hostile header can ask for any amount of memory; that is a bad file, not a crash.
    try {
        FileTokenStream stream(file_);
        RedFileTokenizer tokenizer(stream);
        RedFileParser parser(tokenizer, processor_);
        parsed = parser.Parse();
    } catch (const std::bad_alloc&) {
        LogError("R3D file {}: out of memory while reading its tables", path);
        parsed = false;
    }
    if (!parsed) {
        processor_ = RedFileParserProcessor();
        file_.Close();
        path_.clear();
        return kParseFailed;
    }
    const RedFileHeader& h = processor_.header;
    const IndexStore& s0 = processor_.stores[0];
    const IndexStore& s1 = processor_.stores[1];
    info_ = ContainerInfo{};
    info_.major = h.major;
    info_.versionWord = h.VersionWord();
    info_.cameraCode = h.cameraCode;
    info_.width = h.width;
    info_.height = h.height;
    info_.rateNumerator = h.rateNumerator;
    info_.rateDenominator = h.rateDenominator;
    info_.firstWord = h.firstWord;
    info_.audioChannels = static_cast<uint32_t>(h.audioChannels);
    info_.videoFrames = s0.video.count;
    info_.audioBlocks = s0.audio.count;
    info_.auxBlocks = s0.aux.count;
    info_.fileName = h.fileName;
    info_.identity = h.firstBlock;
    info_.secondWord = h.secondWord;
    info_.hdrSingleTrack = h.hdrSingleTrack;
    info_.hdrTwoTrack = h.hdrTwoTrack;
    info_.largestVideoSize = std::max(s0.video.largest, s1.video.largest);
    info_.largestAudioSize = s0.audio.largest;
    info_.largestAuxSize = s0.aux.largest;
    info_.auxValue = h.auxValue;
    info_.firmwareRevision = h.firmwareRevision;
    info_.littleEndianAudio = h.littleEndianAudio;
    info_.identifier = h.identifier;
    info_.minor = h.minor;
    info_.videoTrackCount = h.videoTrackCount;
    info_.primaryTrack = h.primaryTrack;
    info_.secondTrackFrames = s1.video.count;
    info_.recovered = processor_.scanned;
    if (h.auxValue != 0) processor_.metadata[0].SetInt("auxiliary_value", h.auxValue);
    processor_.metadata[0].SetInt("video_frame_count", int64_t(info_.videoFrames));
    processor_.metadata[0].SetInt("audio_block_count", int64_t(info_.audioBlocks));
    open_ = true;
    FixAudioBlockSizes();
    if (info) *info = info_;
    return kOpened;
}

void R3DContainer::FixAudioBlockSizes() {
    const IndexStore& s = processor_.stores[0];
    const RedFileHeader& h = processor_.header;
    firstAudioBytes_ = lastAudioBytes_ = 0;
    audioHeaderLength_ = 0;
    info_.audioSampleFrames = 0;
    const uint32_t n = s.audio.count;
    if (n == 0) return;
    auto clampData = [](int64_t size, uint32_t header) -> uint64_t {
        return size > int64_t(header) ? uint64_t(size - header) : 0;
    };
    // Only the first and last blocks can be partly filled; the blocks between are full.
    if (h.IsGeneration5()) {
        audioHeaderLength_ = kAudioHeader5;
        firstAudioBytes_ = clampData(s.GetAudioSize(0), audioHeaderLength_);
        lastAudioBytes_ = clampData(s.GetAudioSize(n - 1), audioHeaderLength_);
    } else {
        uint64_t bytes[2] = {0, 0};
        uint8_t lastMajor = 3;
        for (int which = 0; which < 2; ++which) {
            const uint32_t i = which == 0 ? 0 : n - 1;
            uint8_t head[12];
            if (s.GetAudioOffset(i) == 0 || !ReadLocked(s.GetAudioOffset(i) + 16, head, sizeof head)) {
                LogWarn("R3D file {}: audio block {} cannot be read", path_, i + 1);
                continue;
            }
            // The block's own header is big-endian, as the atoms are.
            const uint64_t count = LoadBE32(head);
            const uint8_t bits = head[9];
            bytes[which] = count * (bits == 24 ? 4 : bits / 8);  // 24-bit samples travel in 32-bit words
            if (which == 1) lastMajor = head[10];
        }
        audioHeaderLength_ = lastMajor < 4 ? kAudioHeader3 : kAudioHeader4;
        firstAudioBytes_ = std::min(bytes[0], clampData(s.GetAudioSize(0), audioHeaderLength_));
        lastAudioBytes_ = std::min(bytes[1], clampData(s.GetAudioSize(n - 1), audioHeaderLength_));
    }
    const uint64_t channels = info_.audioChannels;
    if (channels == 0) return;
    uint64_t total = 0;
    for (uint32_t i = 1; i <= n; ++i) total += AudioDataBytes(i) / (channels * 4);
    // These revisions wrote twice the channels their header states; 1.9 rather than 2 leaves room for
    // a short last block.
    if (h.IsGeneration5() && IsMoreAudioRevision(h.firmwareRevision) && h.rateNumerator != 0) {
        const double expected =
            std::ceil(48000.0 * h.rateDenominator / h.rateNumerator * double(info_.videoFrames) * 1.9);
        if (expected <= double(total)) {
            info_.audioChannels *= 2;
            total /= 2;
        }
    }
    info_.audioSampleFrames = total;
}

uint64_t R3DContainer::AudioDataBytes(uint64_t block) const {
    const IndexStore& s = processor_.stores[0];
    const uint32_t n = s.audio.count;
    if (block == 1) return firstAudioBytes_;
    if (block == n) return lastAudioBytes_;
    const int64_t size = s.GetAudioSize(uint32_t(block - 1));
    return size > int64_t(audioHeaderLength_) ? uint64_t(size - audioHeaderLength_) : 0;
}

// The handle may have been closed to spare descriptors (many open clips); reopen on demand.
bool R3DContainer::ReadLocked(uint64_t position, void* destination, size_t count) {
    if (!file_.IsOpen()) {
        std::string error;
        if (!file_.Open(path_, &error)) {
            LogError("R3D file {}: cannot be opened again: {}", path_, error);
            return false;
        }
        if (file_.Size() != fileSize_) LogWarn("R3D file {}: its size changed since it was opened", path_);
    }
    return file_.ReadAt(position, destination, count);
}

uint64_t R3DContainer::ReadEntry(uint64_t position, int64_t size, uint64_t skip, std::vector<uint8_t>* destination) {
    if (!destination || position == 0 || size <= 0 || uint64_t(size) <= skip) return 0;
    const uint64_t count = uint64_t(size) - skip;
    // Written so that no sum can wrap: sizes come from the file's tables and may be anything.
    if (position > fileSize_ || skip > fileSize_ - position || count > fileSize_ - position - skip) return 0;
    try {
        destination->resize(static_cast<size_t>(count));
    } catch (const std::bad_alloc&) {
        LogError("R3D file {}: out of memory for an item of {} bytes", path_, count);
        return 0;
    }
    if (!ReadLocked(position + skip, destination->data(), destination->size())) {
        LogError("R3D file {}: the item at {} cannot be read", path_, position);
        destination->clear();
        return 0;
    }
    return count;
}

uint64_t R3DContainer::GetVideoFrameData(uint64_t frame, std::vector<uint8_t>* destination) {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[0];
    if (!open_ || frame == 0 || frame > s.video.count) return 0;
    const auto i = uint32_t(frame - 1);
    return ReadEntry(s.GetVideoOffset(i), s.GetVideoSize(i), 8, destination);  // past the atom's size and tag
}

uint64_t R3DContainer::GetVideoFrame2Data(uint64_t frame, std::vector<uint8_t>* destination) {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[1];
    if (!open_ || frame == 0 || frame > s.video.count) return 0;
    const auto i = uint32_t(frame - 1);
    return ReadEntry(s.GetVideoOffset(i), s.GetVideoSize(i), 8, destination);
}

uint64_t R3DContainer::GetAudioBlock(uint64_t block, std::vector<uint8_t>* destination) {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[0];
    if (!open_ || block == 0 || block > s.audio.count) return 0;
    const auto i = uint32_t(block - 1);
    return ReadEntry(s.GetAudioOffset(i), s.GetAudioSize(i), 8, destination);
}

uint64_t R3DContainer::GetAudioBlockData(uint64_t block, std::vector<uint8_t>* destination) {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[0];
    if (!open_ || block == 0 || block > s.audio.count) return 0;
    const auto i = uint32_t(block - 1);
    const int64_t size = s.GetAudioSize(i);
    const uint64_t bytes = AudioDataBytes(block);
    if (size <= 0 || bytes == 0) return 0;
    return ReadEntry(s.GetAudioOffset(i), int64_t(audioHeaderLength_ + bytes), audioHeaderLength_, destination);
}

uint64_t R3DContainer::GetAudioBlockDataOffset(uint64_t block, uint64_t offset, uint64_t size, uint8_t* destination) {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[0];
    if (!open_ || !destination || block == 0 || block > s.audio.count) return 0;
    const auto i = uint32_t(block - 1);
    const uint64_t position = s.GetAudioOffset(i);
    const uint64_t bytes = AudioDataBytes(block);
    if (position == 0 || s.GetAudioSize(i) <= 0 || offset >= bytes) return 0;
    const uint64_t count = std::min(size, bytes - offset);
    const uint64_t at = position + audioHeaderLength_ + offset;
    if (at > fileSize_ || count > fileSize_ - at) return 0;
    return ReadLocked(at, destination, static_cast<size_t>(count)) ? count : 0;
}

uint64_t R3DContainer::GetAuxBlockData(uint64_t block, std::vector<uint8_t>* destination) {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[0];
    if (!open_ || block == 0 || block > s.aux.count) return 0;
    const auto i = uint32_t(block - 1);
    return ReadEntry(s.GetAuxOffset(i), s.GetAuxSize(i), 8, destination);
}

bool R3DContainer::GetVideoFrameInfo(uint64_t frame, uint64_t* position, int64_t* size) const {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[0];
    if (!open_ || frame == 0 || frame > s.video.count) return false;
    if (position) *position = s.GetVideoOffset(uint32_t(frame - 1));
    if (size) *size = s.GetVideoSize(uint32_t(frame - 1));
    return true;
}

bool R3DContainer::GetVideoFrame2Info(uint64_t frame, uint64_t* position, int64_t* size) const {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[1];
    if (!open_ || frame == 0 || frame > s.video.count) return false;
    if (position) *position = s.GetVideoOffset(uint32_t(frame - 1));
    if (size) *size = s.GetVideoSize(uint32_t(frame - 1));
    return true;
}

bool R3DContainer::GetAudioBlockInfo(uint64_t block, uint64_t* position, uint64_t* size) const {
    std::lock_guard lock(mutex_);
    const IndexStore& s = processor_.stores[0];
    if (!open_ || block == 0 || block > s.audio.count) return false;
    const uint64_t at = s.GetAudioOffset(uint32_t(block - 1));
    if (position) *position = at ? at + audioHeaderLength_ : 0;
    if (size) *size = AudioDataBytes(block);
    return true;
}

void R3DContainer::CloseHandle() {
    std::lock_guard lock(mutex_);
    file_.Close();
}

bool R3DContainer::ReopenHandle() {
    std::lock_guard lock(mutex_);
    if (!open_) return false;
    if (file_.IsOpen()) return true;
    std::string error;
    if (!file_.Open(path_, &error)) {
        LogError("R3D file {}: cannot be opened again: {}", path_, error);
        return false;
    }
    return true;
}

bool R3DContainer::HandleOpen() const {
    std::lock_guard lock(mutex_);
    return file_.IsOpen();
}

void R3DContainer::CloseFile() {
    std::lock_guard lock(mutex_);
    file_.Close();
    open_ = false;
    processor_ = RedFileParserProcessor();
    info_ = ContainerInfo{};
    path_.clear();
    fileSize_ = 0;
    audioHeaderLength_ = 0;
    firstAudioBytes_ = lastAudioBytes_ = 0;
}

}  // namespace ombrel::r3d
