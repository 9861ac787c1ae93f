#include "sources/R3DFile.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>
#include <thread>

#include "core/Log.h"
#include "sources/AuFile.h"

namespace ombrel {

namespace {

// Class-wide state: one card handle for the program, and the choices every clip shares.
// Written while a clip opens, when no decode runs.
R3DSDK::RedRocket gRocket;
R3DSDK::RocketInfo gRocketInfo;
std::atomic<bool> gUsingRocket{false};
std::atomic<bool> gRocketAcquired{false};
std::atomic<int> gExtractType{0};
std::atomic<uint32_t> gLastFrameStatus{0};

const char* CodeLine(int status) {
    switch (status) {
        case 0: return "  CODE: OK";
        case 1: return "  CODE: resource not available";
        case 2: return "  CODE: resource in use";
        case 3: return "  CODE: resource not opened";
        case 4: return "  CODE: unknown error";
        case 5: return "  CODE: out of memory";
        case 6: return "  CODE: invalid parameter";
        case 7: return "  CODE: clip not open - no open R3D clip was passed";
        case 8: return "  CODE: output buffer invalid - null pointer, too small or not aligned";
        case 9: return "  CODE: invalid pixel type - cannot decode to specified pixel type";
        case 10: return "  CODE: platform not supported";
        case 11: return "  CODE: cannot read from file";
        case 12: return "  CODE: old driver firmware";
        case 13: return "  CODE: dropped frame - could not be decoded";
    }
    return "  CODE: unknown error";
}

std::string Version(const std::array<int, 4>& v) {
    return std::to_string(v[0]) + "." + std::to_string(v[1]) + "." + std::to_string(v[2]) + "." + std::to_string(v[3]);
}

// The software mode of a divisor; the card decodes half resolution in premium quality.
uint32_t SoftwareMode(int divisor) {
    switch (divisor) {
        case 2: return R3DSDK::kDecodeHalfResGood;
        case 4: return R3DSDK::kDecodeQuarterResGood;
        case 8: return R3DSDK::kDecodeEighthResGood;
        case 16: return R3DSDK::kDecodeSixteenthResGood;
        default: return R3DSDK::kDecodeFullResPremium;
    }
}

// Gamma curve and colour space of each extract type; any other value takes the plain one.
void ExtractSettings(int type, R3DSDK::ImageProcessingSettings* s) {
    switch (type) {
        case 1:
            s->gammaCurve = R3DSDK::kGammaREDgamma3;
            s->colorSpace = R3DSDK::kColorREDcolor3;
            break;
        case 2:
            s->gammaCurve = R3DSDK::kGammaREDlogFilm;
            s->colorSpace = R3DSDK::kColorREDcolor3;
            break;
        default:
            s->gammaCurve = R3DSDK::kGammaREDgamma;
            s->colorSpace = R3DSDK::kColorREDcolor2;
            break;
    }
}

// A status that a second try cannot change: the consumer is told at once.
bool Permanent(int status) { return status != R3DSDK::kDecodeOutOfMemory; }

}  // namespace

R3DFile::R3DFile(int bufferCount) : bufferCount_(std::clamp(bufferCount, 1, kMaxBuffers)) {}

R3DFile::~R3DFile() {
    // The card is closed by any file that goes, also a temporary one.
    gRocket.Close();
    if (clip_ && clip_->Status() == R3DSDK::kClipLoaded) clip_->Close();
}

void R3DFile::SetExtractType(int type) { gExtractType = type; }
int R3DFile::GetExtractType() { return gExtractType.load(); }
bool R3DFile::UsingRocket() { return gUsingRocket.load(); }

void R3DFile::RocketCallback(R3DSDK::RocketDecodeJob* job, int /*status*/) {
    if (!job || !job->privateData) return;
    const auto* ref = static_cast<const SlotRef*>(job->privateData);
    if (ref->ring) ref->ring->MarkReady(ref->slot);
}

bool R3DFile::Open(const std::string& path) {
    ring_.reset();
    width_ = height_ = 0;
    clip_ = std::make_unique<R3DSDK::Clip>(path);
    if (clip_->Status() != R3DSDK::kClipLoaded) {
        LogWarn("Error loading {}", path);
        LogWarn("{}: {}", path, R3DSDK::ClipStatusText(clip_->Status()));
        return false;
    }
    return true;
}

bool R3DFile::LoadR3DClip(const std::string& path, uint32_t width, uint32_t height, bool useRocket, bool willBlur) {
    if (!Open(path)) return false;
    const size_t cw = clip_->Width(), ch = clip_->Height();
    int divisor = 1;
    for (int shift = 1; shift <= 4; ++shift)
        if ((cw >> shift) >= width && (ch >> shift) >= height) divisor = 1 << shift;
    // A blur wants every pixel it can get, but not beyond 4K.
    if (willBlur && divisor == 1 && cw > 4096) divisor = 2;
    resolution_ = divisor;
    SetDimensionsForRes(divisor);
    RocketStep(useRocket);
    return AllocateBuffers(size_t(width_) * height_ * 12);
}

bool R3DFile::LoadR3DClip(const std::string& path, int resolution) {
    resolution_ = resolution;
    if (!Open(path)) return false;
    SetDimensionsForRes(resolution);
    RocketStep(true);
    return AllocateBuffers(size_t(width_) * height_ * 12);
}

bool R3DFile::LoadR3DClipNoRocket(const std::string& path, int resolution) {
    resolution_ = resolution;
    if (!Open(path)) return false;
    SetDimensionsForRes(resolution);
    return AllocateBuffers(size_t(width_) * height_ * 12);
}

void R3DFile::SetDimensionsForRes(int res) {
    const size_t cw = clip_ ? clip_->Width() : 0, ch = clip_ ? clip_->Height() : 0;
    int shift = 0;
    switch (res) {
        case 2: shift = 1; break;
        case 4: shift = 2; break;
        case 8: shift = 3; break;
        case 16: shift = 4; break;
        default: shift = 0; break;
    }
    width_ = uint32_t(cw >> shift);
    height_ = uint32_t(ch >> shift);
}

void R3DFile::RocketStep(bool useRocket) {
    gUsingRocket = false;
    gRocketAcquired = false;
    if (!useRocket) {
        LogInfo("Red Rocket Disable by User");
        return;
    }
    if (CheckVersionOk()) gUsingRocket = true;
}

bool R3DFile::CheckVersionOk() {
    gRocket.Close();
    if (!preDecoded_) PreDecode();
    const size_t cards = R3DSDK::RedRocket::RocketsAvailable();
    if (cards == 0) return false;
    size_t card = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const int status = gRocket.Open(card, &gRocketInfo);
        if (status == 0) {
            LogInfo("ROCKET Driver version   : {}", Version(gRocketInfo.driverVersion));
            LogInfo("ROCKET Firmware version : {}", Version(gRocketInfo.firmwareVersion));
            LogInfo("ROCKET PCI x8           : {}", gRocketInfo.pciX8 ? "yes" : "NO!");
            gRocketAcquired = true;
            return true;
        }
        LogWarn("Failed to open rocket card:{} - try:{}", card, attempt);
        if (status == 1 || status == 2) {
            LogWarn("{}", CodeLine(status));
            gRocket.Close();
        } else if (status == 3) {
            LogWarn("{}", CodeLine(status));
        } else if (status == 12) {
            LogWarn("{}", CodeLine(status));
            LogWarn("Current Rocket Driver version   : {}", Version(gRocketInfo.driverVersion));
            LogWarn("Current Rocket Firmware version : {}", Version(gRocketInfo.firmwareVersion));
            LogWarn("Current Rocket PCI x8           : {}", gRocketInfo.pciX8 ? "yes" : "NO!");
            LogWarn("Min required Rocket Driver version   : {}", Version(gRocketInfo.minDriverVersion));
            LogWarn("Min required Rocket Firmware version : {}", Version(gRocketInfo.minFirmwareVersion));
            return false;
        }
        card = (card + 1) % cards;
    }
    return false;
}

bool R3DFile::AllocateBuffers(size_t bytes) {
    ring_ = std::make_unique<DecodeSlotRing>(bufferCount_, bytes);
    if (ring_->count() == 0 || bytes == 0) {
        LogWarn("Failed to allocate {} bytes of memory for output image", bytes);
        ring_.reset();
        return false;
    }
    for (int i = 0; i < bufferCount_; ++i) slotRefs_[size_t(i)] = SlotRef{ring_.get(), i};
    metaKelvin_ = clip_ ? clip_->MetadataItemAsInt("white_balance_kelvin") : 0;
    metaIso_ = clip_ ? clip_->MetadataItemAsInt("iso") : 0;
    userKelvin_ = metaKelvin_;
    userExposure_ = 0.0f;
    return true;
}

void R3DFile::PreDecode() {
    imageSettings_ = R3DSDK::ImageProcessingSettings{};
    imageSettings_.version = 2;
    imageSettings_.kelvin = float(userKelvin_);
    imageSettings_.tint = 0.0f;
    imageSettings_.exposureCompensation = userExposure_;
    imageSettings_.drx = 0.5f;
    imageSettings_.iso = metaIso_;
    imageSettings_.sharpness = 0;
    imageSettings_.denoise = 4;
    ExtractSettings(GetExtractType(), &imageSettings_);

    decodeJob_ = R3DSDK::VideoDecodeJob{};
    decodeJob_.mode = SoftwareMode(resolution_);
    decodeJob_.imageProcessingSettings = &imageSettings_;
    decodeJob_.outputBufferSize = slotBytes();
    decodeJob_.bytesPerRow = size_t(width_) * 6;
    decodeJob_.pixelType = R3DSDK::kPixelRGB16Interleaved;

    rocketJob_ = R3DSDK::RocketDecodeJob{};
    rocketJob_.bytesPerRow = decodeJob_.bytesPerRow;
    rocketJob_.outputBufferSize = decodeJob_.outputBufferSize;
    rocketJob_.imageProcessingSettings = &imageSettings_;
    rocketJob_.pixelType = decodeJob_.pixelType;
    rocketJob_.mode = resolution_ == 2 ? uint32_t(R3DSDK::kDecodeHalfResPremium) : decodeJob_.mode;
    rocketJob_.callback = &R3DFile::RocketCallback;
    rocketJob_.clip = clip_.get();
    preDecoded_ = true;
}

bool R3DFile::SoftwareDecodeInto(int32_t frame, int slot) {
    if (!clip_ || !ring_ || frame < 0) {
        lastStatus_ = R3DSDK::kDecodeClipNotOpen;
        return false;
    }
    if (!preDecoded_) PreDecode();
    decodeJob_.outputBuffer = ring_->Data(slot);
    decodeJob_.outputBufferSize = ring_->bytesPerSlot();
    const int status = clip_->DecodeVideoFrame(size_t(frame), decodeJob_);
    lastStatus_ = status;
    if (status != R3DSDK::kDecodeOk) {
        LogWarn("Decode failed {}?", status);
        LogWarn("Frame {}: {}", frame, R3DSDK::DecodeStatusText(status));
        return false;
    }
    return true;
}

bool R3DFile::Decode(int32_t frame) {
    if (gUsingRocket && Decode_RocketStyle(frame, currentBuffer_)) return true;
    imageSettings_.exposureCompensation = userExposure_;
    imageSettings_.kelvin = float(userKelvin_);
    return SoftwareDecodeInto(frame, currentBuffer_);
}

bool R3DFile::Decode_RocketStyle(int32_t frame, int slot) {
    if (!gRocketAcquired || !ring_ || slot < 0 || slot >= bufferCount_) return false;
    R3DSDK::RocketDecodeJob& job = slotJobs_[size_t(slot)];
    job = rocketJob_;
    job.frameNumber = size_t(std::max(frame, 0));
    job.outputBuffer = ring_->Data(slot);
    job.privateData = &slotRefs_[size_t(slot)];
    const int status = gRocket.Decode(&job, 1);
    gLastFrameStatus = uint32_t(status);
    if (status != 0) {
        LogWarn("Decode failed - RRcode: {} ", status);
        LogWarn("{}", CodeLine(status));
        return false;
    }
    return true;
}

bool R3DFile::PreFectchFrame(int32_t frame) {
    if (!ring_) return false;
    const int slot = ring_->Claim(frame);
    if (slot < 0) return false;
    currentBuffer_ = slot;
    if (SoftwareDecodeInto(frame, slot)) {
        ring_->MarkReady(slot);
        return true;
    }
    // A frame that cannot decode now never will: the render loop hears so instead of waiting.
    if (Permanent(lastStatus_)) {
        {
            std::lock_guard lock(failedLock_);
            failedFrames_[frame] = lastStatus_.load();
        }
        ring_->MarkFailed(slot);
        return true;
    }
    ring_->Unclaim(slot);
    return false;
}

bool R3DFile::PreFectchFrame_RocketStyle(int32_t frame) {
    if (!ring_) return false;
    const int slot = ring_->Claim(frame);
    if (slot < 0) return false;
    currentBuffer_ = slot;
    if (Decode_RocketStyle(frame, slot)) return true;
    LogWarn("PreFetchFrame_rocketStyle: Rocket decode failed");
    gUsingRocket = false;
    gRocketAcquired = false;
    if (SoftwareDecodeInto(frame, slot)) {
        ring_->MarkReady(slot);
        return true;
    }
    LogWarn("PreFetchFrame_rocketStyle: Software decode failed {}?", lastStatus_.load());
    if (Permanent(lastStatus_)) {
        {
            std::lock_guard lock(failedLock_);
            failedFrames_[frame] = lastStatus_.load();
        }
        ring_->MarkFailed(slot);
        return true;
    }
    ring_->Unclaim(slot);
    return false;
}

int32_t R3DFile::RetrieveBufferForFrame(int32_t frame, uint8_t** data) {
    return ring_ ? ring_->Retrieve(frame, data) : 0;
}

bool R3DFile::DiscardFrame(int32_t frame) { return ring_ && ring_->Discard(frame); }

void R3DFile::WaitForFrameLanding(int32_t frame, std::chrono::milliseconds longest) {
    if (ring_) {
        ring_->WaitForFrame(frame, longest);
    } else {
        std::this_thread::sleep_for(longest);
    }
}

void R3DFile::WaitForFreeSlot(std::chrono::milliseconds longest) {
    if (ring_ && !ring_->HasFreeSlot()) {
        ring_->WaitForFreeSlot(longest);
    } else {
        std::this_thread::sleep_for(longest);
    }
}

uint8_t* R3DFile::Buffer() const { return ring_ ? ring_->Data(currentBuffer_) : nullptr; }

uint32_t R3DFile::ClipLength() const { return clip_ ? uint32_t(clip_->VideoFrameCount()) : 0; }

float R3DFile::FramesPerSecond() const { return clip_ ? clip_->MetadataItemAsFloat("framerate") : 0.0f; }

int R3DFile::SensorId() const { return clip_ ? clip_->MetadataItemAsInt("sensor_id") : 0; }

int R3DFile::CameraId() const { return clip_ ? clip_->MetadataItemAsInt("camera_model_id") : 0; }

std::string R3DFile::TimecodeForFrame(int32_t frame) const {
    if (!clip_) return {};
    const std::string tc = frame >= 0 ? clip_->Timecode(size_t(frame)) : std::string();
    return tc.empty() ? "00:00:00:00" : tc;
}

std::string R3DFile::StartTimecode() const { return TimecodeForFrame(0); }

std::string R3DFile::EdgecodeForFrame(int32_t frame) const {
    if (!clip_ || frame < 0) return {};
    return clip_->EdgeTimecode(size_t(frame));
}

bool R3DFile::ExposureConsistent() const {
    if (!clip_) return true;
    return imageSettings_.exposureCompensation == userExposure_ && imageSettings_.kelvin == float(userKelvin_);
}

std::string R3DFile::DecodeErrorForFrame(int32_t frame) const {
    std::lock_guard lock(failedLock_);
    const auto it = failedFrames_.find(frame);
    return it == failedFrames_.end() ? std::string() : R3DSDK::DecodeStatusText(it->second);
}

std::string R3DFile::lastDecodeError() const {
    const int status = lastStatus_.load();
    return status == R3DSDK::kDecodeOk ? std::string() : R3DSDK::DecodeStatusText(status);
}

bool R3DFile::ExtractAudio(const std::string& path) const {
    if (!clip_) return false;
    size_t blockSize = 0;
    const size_t blocks = clip_->AudioBlockCountAndSize(&blockSize);
    if (blocks == 0) {
        LogInfo("No Audio is present in clip ");
        return true;
    }
    const auto rate = uint32_t(std::max(clip_->MetadataItemAsInt("samplerate"), 0));
    const auto channels = uint32_t(clip_->AudioChannelCount());
    // The decoder wants its destination on a 512-byte boundary, the stricter of the two bounds.
    struct AlignedFree {
        void operator()(void* p) const { std::free(p); }
    };
    std::unique_ptr<void, AlignedFree> buffer(std::aligned_alloc(R3DSDK::kAudioAlignment, blockSize));
    if (!buffer) {
        LogWarn("Failed to allocate {} bytes of memory for audio", blockSize);
        return false;
    }
    AuFileWriter out;
    if (!out.Open(path, rate, channels).ok()) {
        LogWarn("Error creating output file {}", path);
        return false;
    }
    for (size_t b = 0; b < blocks; ++b) {
        size_t size = blockSize;
        const int status = clip_->DecodeAudioBlock(b, buffer.get(), &size);
        if (status != R3DSDK::kAudioOk) {
            // A hole would shift the sound against the pictures: no file rather than that.
            LogWarn("Audio block {} of the clip could not be read ({}); {} is not written", b, status, path);
            return false;
        }
        if (Status s = out.Append(buffer.get(), size); !s.ok()) {
            LogWarn("Error writing output file {}: {}", path, s.message());
            return false;
        }
    }
    if (Status s = out.Finish(); !s.ok()) {
        LogWarn("Error writing output file {}: {}", path, s.message());
        return false;
    }
    return true;
}

}  // namespace ombrel
