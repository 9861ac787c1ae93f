#include "sources/R3DSource.h"

#include <cstring>

#include "core/Log.h"
#include "sources/SourceFactory.h"

namespace ombrel {

namespace {

constexpr uint32_t kNoKelvin = 5600;

int TwoDigits(const std::string& text, size_t at) {
    if (at + 1 >= text.size() || text[at] < '0' || text[at] > '9' || text[at + 1] < '0' || text[at + 1] > '9') return 0;
    return (text[at] - '0') * 10 + (text[at + 1] - '0');
}

bool IsSeparator(char c) { return c == ':' || c == ';' || c == '.'; }

}  // namespace

std::string R3DSourceTypeFor(int extractType, int cameraModelId, int sensorId) {
    static const char* const kTable[3][3] = {
        {"RedOne", "Red", "EpicM"},
        {"RedOne_RC3RG3", "RedMX_RC3RG3", "EpicX_RC3RG3"},
        {"RedOne_RC3RLF", "RedMX_RC3RLF", "EpicX_RC3RLF"},
    };
    if (extractType < 0 || extractType > 2) return "EpicX_RC3RG3";
    const int column = cameraModelId == 1 && sensorId == 0 ? 0 : cameraModelId == 1 && sensorId == 1 ? 1 : 2;
    return kTable[extractType][column];
}

R3DSource::R3DSource() { setDebayer(4); }

R3DSource::~R3DSource() = default;

bool R3DSource::OpenFileForOutputSizeWithAsyncBuffersWillBlur(const std::string& path, bool forOutputSize,
                                                              int32_t bufferCount, bool willBlur) {
    return OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(path, forOutputSize, bufferCount, true, willBlur);
}

bool R3DSource::OpenFileForOutputSize(const std::string& path, bool forOutputSize) {
    return OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(path, forOutputSize, Debayer() == 1 ? 4 : 8, true,
                                                                  false);
}

bool R3DSource::OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path, bool forOutputSize,
                                                                       int32_t bufferCount, bool useRocket,
                                                                       bool willBlur) {
    RenderSource::OpenFileForOutputSize(path, forOutputSize);
    oldFile_ = std::move(r3dFile_);
    auto file = std::make_unique<R3DFile>(bufferCount);
    const bool loaded = forOutputSize ? file->LoadR3DClip(path, AspectWidth(), AspectHeight(), useRocket, willBlur)
                                      : file->LoadR3DClip(path, Debayer());
    if (!loaded) {
        const R3DSDK::Clip* clip = file->clip();
        const int status = clip ? clip->Status() : R3DSDK::kClipNotLoaded;
        setLastError(path + ": " +
                     (status == R3DSDK::kClipLoaded ? std::string("no memory for its decode buffers")
                                                    : std::string(R3DSDK::ClipStatusText(status))));
        return false;
    }
    const uint32_t w = file->Width(), h = file->Height();
    setImageSize(w, h);
    const size_t bytes = size_t(w) * h * 8;
    resizeBuffer_.reset();
    processedBuffer_ = ZeroedBlock(bytes);
    resizeBuffer_ = ZeroedBlock(bytes);
    if (processedBuffer_.empty() || resizeBuffer_.empty()) {
        LogWarn("Failed to allocate {} bytes of memory for output image", bytes);
        setLastError(path + ": not enough memory for its frame buffers");
        return false;
    }
    bitsPerChannel_ = 16;
    altPlanes_.fill(nullptr);
    if (isPlanar_) {
        bytesPerPlane_ = int32_t(size_t(w) * h * 2);
        bytesPerRow_ = int32_t(w * 2);
        for (size_t i = 0; i < 3; ++i) altPlanes_[i] = processedBuffer_.data() + i * size_t(bytesPerPlane_);
        rep_ = BitmapImage{processedBuffer_.data(), w, h, 3, size_t(bytesPerRow_)};
    } else {
        bytesPerPlane_ = int32_t(size_t(w) * h * 6);
        bytesPerRow_ = int32_t(w * 6);
        altPlanes_[0] = processedBuffer_.data();
        rep_ = BitmapImage{processedBuffer_.data(), w, h, 3, size_t(bytesPerRow_)};
    }
    asycBufferPtr_ = nullptr;
    setUsingPrefetch(false);
    // The size guessed before the open was at the source's own divisor; now the decoded size
    // is known, and a frame of the output size needs no copy.
    if (forOutputSize && OutputWidth() > 0) setNeedsResize(w != OutputWidth() || h != OutputHeight());
    r3dFile_ = std::move(file);
    return true;
}

bool R3DSource::ExposureConsistent() const { return !r3dFile_ || r3dFile_->ExposureConsistent(); }

void R3DSource::CopyInterleavedRawToResized() {
    uint8_t* raw = RawBuffer();
    const size_t bytes = size_t(Width()) * Height() * 6;
    if (!raw || resizeBuffer_.size() < bytes || raw == resizeBuffer_.data()) return;
    std::memcpy(resizeBuffer_.data(), raw, bytes);
}

void R3DSource::DecodeSetup() {
    if (r3dFile_) r3dFile_->PreDecode();
}

bool R3DSource::DecodeFrame(int32_t frame) {
    if (!r3dFile_) return false;
    setUsingPrefetch(false);
    if (!r3dFile_->Decode(frame)) return false;
    CopyInterleavedRawToResized();
    return true;
}

OriginalSize R3DSource::GetOriginalSizeForPath(const std::string& path) {
    R3DFile probe(1);
    if (!probe.LoadR3DClipNoRocket(path, 1)) return {};
    return {float(probe.Width()), float(probe.Height())};
}

bool R3DSource::SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit) {
    const std::string path = FilePath();
    if (path.empty() && width <= 0) return false;
    uint32_t w = 0, h = 0;
    {
        R3DFile probe(1);
        if (probe.LoadR3DClipNoRocket(path, Debayer())) {
            w = probe.Width();
            h = probe.Height();
        }
    }
    if (w > 0 && h > 0) setImageSize(w, h);
    return RenderSource::SetOutputWidthHeightFit(width, height, fit);
}

uint32_t R3DSource::FramesInClip() const { return r3dFile_ ? r3dFile_->ClipLength() : 0; }

uint32_t R3DSource::MetadataKelvin() const {
    const int kelvin = r3dFile_ ? r3dFile_->GetMetaKelvin() : 0;
    return kelvin > 0 ? uint32_t(kelvin) : kNoKelvin;
}

const BitmapImage* R3DSource::ImageRep() const { return r3dFile_ ? &rep_ : nullptr; }

uint8_t* R3DSource::RawBuffer() {
    if (usingPrefetch()) return asycBufferPtr_;
    return r3dFile_ ? r3dFile_->Buffer() : nullptr;
}

uint8_t* R3DSource::ResizeBuffer() {
    if (needsResize() || decodeInterleaved() || blurRadius() > 0.0)
        return resizeBuffer_.empty() ? nullptr : resizeBuffer_.data();
    return RawBuffer();
}

uint8_t* R3DSource::ProcessedBuffer() {
    return r3dFile_ && !processedBuffer_.empty() ? processedBuffer_.data() : nullptr;
}

void R3DSource::SetExposureKelvin(float exposure, float kelvin) {
    if (!r3dFile_) return;
    r3dFile_->SetUserKelvin(int(kelvin));
    r3dFile_->SetUserExposure(exposure);
}

bool R3DSource::ExtractAudio(const std::string& destinationPath) {
    return r3dFile_ && r3dFile_->ExtractAudio(destinationPath);
}

float R3DSource::FramesPerSecond() const { return r3dFile_ ? r3dFile_->FramesPerSecond() : 0.0f; }

TimecodeValues R3DSource::Timecode(int32_t frame) const {
    if (!r3dFile_) return {};
    const R3DSDK::Clip* clip = r3dFile_->clip();
    return R3DTimecodeForText(r3dFile_->TimecodeForFrame(frame), clip ? clip->FrameRateNumerator() : 0,
                              clip ? clip->FrameRateDenominator() : 0);
}

TimecodeValues R3DTimecodeForText(const std::string& text, uint64_t rateNumerator, uint64_t rateDenominator) {
    TimecodeValues v;
    if (text.size() < 11 || !IsSeparator(text[2]) || !IsSeparator(text[5]) || !IsSeparator(text[8])) return v;
    v.hours = TwoDigits(text, 0);
    v.minutes = TwoDigits(text, 3);
    v.seconds = TwoDigits(text, 6);
    v.frames = TwoDigits(text, 9);
    if (rateDenominator > 0) {
        // Whole frames a second from the rational, rounded: 59.94 counts as 60.
        const uint64_t base = (2 * rateNumerator + rateDenominator) / (2 * rateDenominator);
        if (base > 30) v.frames = v.frames * 2 + (text[8] == '.' ? 0 : 1);
    }
    return v;
}

std::string R3DSource::TimecodeString() const { return r3dFile_ ? r3dFile_->StartTimecode() : std::string(); }

std::string R3DSource::TimecodeString(int32_t frame) const {
    return r3dFile_ ? r3dFile_->TimecodeForFrame(frame) : std::string();
}

std::string R3DSource::EdgecodeString(int32_t frame) const {
    return r3dFile_ ? r3dFile_->EdgecodeForFrame(frame) : std::string();
}

void R3DSource::SetPlanar(bool planar) { isPlanar_ = planar; }

std::string R3DSource::SourceType() const {
    if (!r3dFile_) return {};
    sensorId_ = r3dFile_->SensorId();
    cameraId_ = r3dFile_->CameraId();
    return R3DSourceTypeFor(R3DFile::GetExtractType(), cameraId_, sensorId_);
}

bool R3DSource::PreFectchFrame(int32_t frame) {
    if (!r3dFile_) return false;
    return R3DFile::UsingRocket() ? r3dFile_->PreFectchFrame_RocketStyle(frame) : r3dFile_->PreFectchFrame(frame);
}

int32_t R3DSource::RetrieveBufferForFrame(int32_t frame) {
    if (!r3dFile_) return kFrameNotReady;
    uint8_t* data = nullptr;
    const int32_t state = r3dFile_->RetrieveBufferForFrame(frame, &data);
    if (state == kFrameReady) {
        asycBufferPtr_ = data;
        setUsingPrefetch(true);
        // A consumer that reads the slot itself needs no copy.
        if (ResizeBuffer() != RawBuffer()) CopyInterleavedRawToResized();
    } else if (state == kFrameFailed) {
        setLastError(r3dFile_->DecodeErrorForFrame(frame));
    }
    return state;
}

bool R3DSource::DiscardFrame(int32_t frame) { return r3dFile_ && r3dFile_->DiscardFrame(frame); }

void R3DSource::WaitForFrameLanding(int32_t frame, std::chrono::milliseconds longest) {
    if (r3dFile_) r3dFile_->WaitForFrameLanding(frame, longest);
}

void R3DSource::WaitForFreeSlot(std::chrono::milliseconds longest) {
    if (r3dFile_) r3dFile_->WaitForFreeSlot(longest);
}

void RegisterR3DSource() {
    SetRenderSourceMaker(SourceKind::R3D, [](const std::string&) -> std::unique_ptr<RenderSource> {
        return std::make_unique<R3DSource>();
    });
}

}  // namespace ombrel
