#include "r3d/sdk/R3DSDK.h"

#include "core/Log.h"
#include "r3d/ClipLoader.h"
#include "r3d/ImagePayload.h"
#include "r3d/R3DContainer.h"
#include "r3d/RedFileItems.h"
#include "r3d/sdk/Develop.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <thread>

namespace ombrel::R3DSDK {

const char* ClipStatusText(int status) {
    switch (status) {
        case kClipLoaded: return "the clip is open";
        case kClipNoPath: return "no clip was named";
        case kClipCannotOpen: return "the file cannot be opened";
        case kClipNotAClip: return "the file is not an R3D clip that can be read";
        case kClipFirstFrameUnreadable: return "the clip's first frame cannot be read";
        case kClipOutOfMemory: return "there was not enough memory to open the clip";
        case kClipNotLoaded: return "no clip is open";
    }
    return "unknown clip status";
}

const char* DecodeStatusText(int status) {
    switch (status) {
        case kDecodeOk: return "ok";
        case kDecodeResourceNotAvailable: return "resource not available";
        case kDecodeResourceInUse: return "resource in use";
        case kDecodeResourceNotOpened: return "resource not opened";
        case kDecodeUnknownError: return "unknown error";
        case kDecodeOutOfMemory: return "out of memory";
        case kDecodeInvalidParameter: return "invalid parameter";
        case kDecodeClipNotOpen: return "clip not open";
        case kDecodeOutputBufferInvalid: return "output buffer invalid - null pointer, too small or not aligned";
        case kDecodeInvalidPixelType: return "invalid pixel type - cannot decode to specified pixel type";
        case kDecodePlatformNotSupported: return "platform not supported";
        case kDecodeCannotReadFromFile: return "cannot read from file";
        case kDecodeOldDriverFirmware: return "old driver firmware";
        case kDecodeDroppedFrame: return "the camera dropped this frame: it holds no picture";
        case kDecodeNeedsMakersDecoder: return r3d::ImagePayloadStatusText(r3d::ImagePayloadStatus::kNotOurs);
        case kDecodeDamagedImageData: return r3d::ImagePayloadStatusText(r3d::ImagePayloadStatus::kCorrupt);
    }
    return "unknown decode status";
}

int DivisorForDecodeMode(uint32_t mode) {
    switch (mode) {
        case kDecodeFullResPremium: return 1;
        case kDecodeHalfResGood:
        case kDecodeHalfResPremium: return 2;
        case kDecodeQuarterResGood: return 4;
        case kDecodeEighthResGood: return 8;
        case kDecodeSixteenthResGood: return 16;
    }
    return 0;
}

// ---------------------------------------------------------------------------------------
// The card that is never there

size_t RedRocket::RocketsAvailable() { return 0; }

int RedRocket::Open(size_t /*index*/, RocketInfo* info) {
    if (info) *info = RocketInfo{};
    return kDecodeResourceNotAvailable;
}

void RedRocket::Close() {}

int RedRocket::Decode(RocketDecodeJob* /*job*/, int /*count*/) { return kDecodeResourceNotOpened; }

// ---------------------------------------------------------------------------------------
// Clip

namespace {

// Scratch that a decoding thread keeps from frame to frame, so that no frame allocates.
thread_local std::vector<uint8_t> tRecord;
thread_local std::vector<uint16_t> tPlanar;

int DecodeThreads() {
    const unsigned n = std::thread::hardware_concurrency();
    return int(std::clamp(n, 1u, 4u));
}

}  // namespace

struct Clip::Development {
    int gammaCurve = 0;
    std::array<double, 3> gains{1.0, 1.0, 1.0};
    DevelopTables tables;
};

Clip::Clip() = default;

Clip::Clip(const std::string& path) { LoadFrom(path); }

Clip::~Clip() { Close(); }

void Clip::Close() {
    loader_.reset();
    status_ = kClipNotLoaded;
    std::lock_guard lock(developLock_);
    development_.reset();
}

int Clip::LoadFrom(const std::string& path) {
    Close();
    if (path.empty()) return status_ = kClipNoPath;
    auto loader = std::make_unique<r3d::ClipLoader>();
    switch (loader->OpenClip(path).code()) {
        case ombrel::Status::Code::kOk: break;
        case ombrel::Status::Code::kInvalid: return status_ = kClipFirstFrameUnreadable;  // the name was checked above
        case ombrel::Status::Code::kNoMemory: return status_ = kClipOutOfMemory;
        case ombrel::Status::Code::kNotFound:
        case ombrel::Status::Code::kIo: return status_ = kClipCannotOpen;
        default: return status_ = kClipNotAClip;
    }
    if (loader->Info().width == 0 || loader->Info().height == 0) return status_ = kClipNotAClip;
    loader_ = std::move(loader);
    return status_ = kClipLoaded;
}

size_t Clip::Width() const { return loader_ ? loader_->Info().width : 0; }
size_t Clip::Height() const { return loader_ ? loader_->Info().height : 0; }
size_t Clip::VideoFrameCount() const { return loader_ ? size_t(loader_->VideoFrameCount()) : 0; }
uint32_t Clip::FrameRateNumerator() const { return loader_ ? loader_->Info().rateNumerator : 0; }
uint32_t Clip::FrameRateDenominator() const {
    return loader_ && loader_->Info().rateDenominator ? loader_->Info().rateDenominator : 1;
}

bool Clip::MetadataExists(const std::string& key) const { return loader_ && loader_->Metadata().Has(key); }

int Clip::MetadataItemAsInt(const std::string& key) const {
    if (!loader_) return 0;
    const int64_t v = loader_->Metadata().ItemAsInt(key);
    return int(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX));
}

float Clip::MetadataItemAsFloat(const std::string& key) const {
    return loader_ ? float(loader_->Metadata().ItemAsFloat(key)) : 0.0f;
}

std::string Clip::MetadataItemAsString(const std::string& key) const {
    return loader_ ? loader_->Metadata().ItemAsString(key) : std::string();
}

std::vector<std::string> Clip::MetadataKeys() const {
    std::vector<std::string> keys;
    if (!loader_) return keys;
    for (const auto& [key, value] : loader_->Metadata().Items()) keys.push_back(key);
    return keys;
}

std::string Clip::EdgeTimecode(size_t frame) const {
    if (!loader_ || frame >= VideoFrameCount() || !loader_->EdgeTimecode().IsSet()) return {};
    return loader_->EdgeTimecode().CalculateNewTC(frame);
}

std::string Clip::AbsoluteTimecode(size_t frame) const {
    if (!loader_ || frame >= VideoFrameCount() || !loader_->AbsoluteTimecode().IsSet()) return {};
    return loader_->AbsoluteTimecode().CalculateNewTC(frame);
}

std::string Clip::Timecode(size_t frame) const {
    if (!loader_) return {};
    const bool edge = MetadataExists("user_timecode_preference") && MetadataItemAsInt("user_timecode_preference") == 0;
    return edge ? EdgeTimecode(frame) : AbsoluteTimecode(frame);
}

float Clip::TimecodeFramerate() const {
    if (!loader_) return 0.0f;
    const double fps = double(FrameRateNumerator()) / double(FrameRateDenominator());
    return float(fps > 30.0 ? fps / 2.0 : fps);
}

// ---------------------------------------------------------------------------------------
// Frames

int Clip::DevelopmentFor(const ImageProcessingSettings* settings,
                         std::shared_ptr<const Development>* development) const {
    development->reset();
    if (!settings) return kDecodeOk;
    // Kelvin and ISO of 0 are the clip's own; exposure is in stops on top.
    const double shotKelvin = MetadataItemAsFloat("white_balance_kelvin");
    const double shotIso = MetadataItemAsFloat("iso");
    double exposure = std::pow(2.0, double(settings->exposureCompensation));
    if (settings->iso > 0 && shotIso > 0.0) exposure *= settings->iso / shotIso;
    std::array<double, 3> gains{exposure, exposure, exposure};
    if (settings->kelvin > 0.0f && shotKelvin > 0.0 && double(settings->kelvin) != shotKelvin) {
        const auto wb = WhiteBalanceGains(shotKelvin, settings->kelvin);
        for (size_t c = 0; c < 3; ++c) gains[c] *= wb[c];
    }
    if (!std::isfinite(gains[0]) || !std::isfinite(gains[1]) || !std::isfinite(gains[2]))
        return kDecodeInvalidParameter;

    std::shared_ptr<const Development> d;
    {
        std::lock_guard lock(developLock_);
        d = development_;
    }
    if (!d || d->gammaCurve != settings->gammaCurve || d->gains != gains) {
        auto fresh = std::make_shared<Development>();
        fresh->gammaCurve = settings->gammaCurve;
        fresh->gains = gains;
        fresh->tables = MakeDevelopTables(settings->gammaCurve, gains);
        d = fresh;
        std::lock_guard lock(developLock_);
        development_ = d;
    }
    if (!d->tables.identity) *development = d;
    return kDecodeOk;
}

int Clip::DecodeVideoFrame(size_t frame, const VideoDecodeJob& job) const {
    if (!loader_) return kDecodeClipNotOpen;
    const int divisor = DivisorForDecodeMode(job.mode);
    if (divisor == 0 || frame >= VideoFrameCount()) return kDecodeInvalidParameter;
    const bool planar = job.pixelType == kPixelRGB16Planar;
    if (!planar && job.pixelType != kPixelRGB16Interleaved) return kDecodeInvalidPixelType;

    uint32_t w = 0, h = 0;
    r3d::ScaledSize(uint32_t(Width()), uint32_t(Height()), divisor, &w, &h);
    if (w == 0 || h == 0) return kDecodeInvalidParameter;
    const size_t minRow = planar ? size_t(w) * 2 : size_t(w) * 6;
    const size_t rowBytes = job.bytesPerRow ? job.bytesPerRow : minRow;
    const size_t needed = planar ? rowBytes * h * 3 : rowBytes * (h - 1) + minRow;
    if (!job.outputBuffer || rowBytes < minRow || job.outputBufferSize < needed ||
        reinterpret_cast<uintptr_t>(job.outputBuffer) % 16 != 0)
        return kDecodeOutputBufferInvalid;

    int64_t recordSize = 0;
    if (!loader_->GetVideoFrameSize(frame, &recordSize)) return kDecodeInvalidParameter;
    if (recordSize < 513) return kDecodeDroppedFrame;

    try {
        r3d::RedFileVideoFrame record;
        if (!loader_->ReadVideoFrame(frame, &tRecord, &record).ok()) return kDecodeCannotReadFromFile;
        const uint8_t* image = tRecord.data() + record.imageOffset;
        r3d::ImagePayloadInfo info;
        const r3d::ImagePayloadStatus inspected = r3d::InspectImagePayload(image, record.imageSize, &info);
        if (inspected == r3d::ImagePayloadStatus::kNotOurs) return kDecodeNeedsMakersDecoder;
        if (inspected != r3d::ImagePayloadStatus::kOk) return kDecodeDamagedImageData;
        if (info.width != Width() || info.height != Height()) {
            LogWarn("R3D frame {}: a picture of {} x {} in a clip of {} x {}", frame, info.width, info.height, Width(),
                    Height());
            return kDecodeDamagedImageData;
        }

        // Developed inside the decode, while each row is at hand, not in a pass of its own.
        std::shared_ptr<const Development> development;
        if (const int developed = DevelopmentFor(job.imageProcessingSettings, &development); developed != kDecodeOk)
            return developed;
        r3d::SampleTables tables;
        if (development)
            for (size_t c = 0; c < 3; ++c) tables.channel[c] = development->tables.table[c].data();

        uint16_t* out = static_cast<uint16_t*>(job.outputBuffer);
        size_t outRow = rowBytes;
        size_t capacity = job.outputBufferSize;
        if (planar) {
            tPlanar.resize(size_t(w) * h * 3);
            out = tPlanar.data();
            outRow = size_t(w) * 6;
            capacity = tPlanar.size() * 2;
        }
        const r3d::ImagePayloadStatus decoded =
            r3d::DecodeImagePayload(image, record.imageSize, divisor, out, capacity, outRow, DecodeThreads(),
                                    development ? &tables : nullptr);
        if (decoded == r3d::ImagePayloadStatus::kNotOurs) return kDecodeNeedsMakersDecoder;
        if (decoded != r3d::ImagePayloadStatus::kOk) return kDecodeDamagedImageData;
        if (planar) {
            auto* base = static_cast<uint8_t*>(job.outputBuffer);
            for (size_t c = 0; c < 3; ++c)
                for (size_t y = 0; y < h; ++y) {
                    auto* dst = reinterpret_cast<uint16_t*>(base + (c * h + y) * rowBytes);
                    const uint16_t* src = out + y * size_t(w) * 3 + c;
                    for (size_t x = 0; x < w; ++x) dst[x] = src[x * 3];
                }
        }
        return kDecodeOk;
    } catch (const std::bad_alloc&) { return kDecodeOutOfMemory; }
}

// ---------------------------------------------------------------------------------------
// Audio

size_t Clip::AudioChannelCount() const { return loader_ ? loader_->Info().audioChannels : 0; }

uint64_t Clip::AudioSampleCount() const { return loader_ ? loader_->Info().audioSampleFrames : 0; }

size_t Clip::AudioBlockCountAndSize(size_t* maxBlockSize) const {
    if (maxBlockSize) *maxBlockSize = 0;
    if (!loader_ || AudioChannelCount() == 0) return 0;
    const uint64_t count = loader_->AudioBlockCount();
    uint64_t largest = 0;
    for (uint64_t b = 0; b < count; ++b) {
        uint64_t bytes = 0;
        if (loader_->GetAudioBlockSize(b, &bytes)) largest = std::max(largest, bytes);
    }
    if (maxBlockSize) *maxBlockSize = size_t((largest + kAudioAlignment - 1) / kAudioAlignment * kAudioAlignment);
    return size_t(count);
}

int Clip::DecodeAudioBlock(size_t block, void* destination, size_t* size) const {
    if (!loader_) return kAudioClipNotOpen;
    if (!destination || !size || reinterpret_cast<uintptr_t>(destination) % kAudioAlignment != 0 ||
        *size % kAudioAlignment != 0)
        return kAudioBadBuffer;
    if (block >= loader_->AudioBlockCount()) return kAudioNoSuchBlock;
    try {
        thread_local std::vector<uint8_t> samples;
        const uint64_t got = loader_->GetAudioBlockData(block, &samples);
        if (got == 0) {
            *size = 0;
            return kAudioReadFailed;
        }
        if (got > *size) return kAudioBadBuffer;
        auto* out = static_cast<uint8_t*>(destination);
        std::memcpy(out, samples.data(), size_t(got));
        // Samples always leave big-endian.
        if (loader_->Info().littleEndianAudio)
            for (size_t i = 0; i + 4 <= got; i += 4) {
                std::swap(out[i], out[i + 3]);
                std::swap(out[i + 1], out[i + 2]);
            }
        *size = size_t(got);
        return kAudioOk;
    } catch (const std::bad_alloc&) { return kAudioReadFailed; }
}

}  // namespace ombrel::R3DSDK
