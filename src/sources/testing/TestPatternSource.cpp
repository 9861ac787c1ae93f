#include "sources/testing/TestPatternSource.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "core/MainQueue.h"
#include "library/FileParser.h"
#include "sources/SourceFactory.h"

namespace ombrel::test {

namespace {

int32_t FrameBase(float fps) {
    const auto n = static_cast<int32_t>(fps);
    return fps > static_cast<float>(n) + 0.01f ? n + 1 : n;
}

void PutBig32(std::string& out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>((v >> shift) & 0xFF));
}

}  // namespace

TestPatternSource::TestPatternSource(TestPatternConfig config, std::shared_ptr<TestPatternLog> log)
    : config_(std::move(config)), log_(log ? std::move(log) : std::make_shared<TestPatternLog>()) {
    std::lock_guard lock(log_->lock);
    ++log_->sourcesMade;
}

TestPatternSource::~TestPatternSource() {
    std::lock_guard lock(log_->lock);
    ++log_->sourcesDestroyed;
}

uint16_t TestPatternSource::SampleAt(int32_t frame, uint32_t x, uint32_t y, int channel, uint32_t width,
                                     uint32_t height) {
    switch (channel) {
        case 0: return static_cast<uint16_t>(uint64_t{x} * 65535 / std::max<uint32_t>(width - 1, 1));
        case 1: return static_cast<uint16_t>(uint64_t{y} * 65535 / std::max<uint32_t>(height - 1, 1));
        default: return static_cast<uint16_t>((static_cast<uint32_t>(frame) * 131u + x * 3u + y * 5u) & 0xFFFFu);
    }
}

std::vector<uint16_t> TestPatternSource::FramePixels(int32_t frame, uint32_t width, uint32_t height) {
    std::vector<uint16_t> px(static_cast<size_t>(width) * height * 3);
    size_t i = 0;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c) px[i++] = SampleAt(frame, x, y, c, width, height);
    return px;
}

void TestPatternSource::DecodeSetup() {
    std::lock_guard lock(log_->lock);
    ++log_->decodeSetups;
}

bool TestPatternSource::FrameDecodes(int32_t frame) const {
    return frame >= 0 && frame < config_.frames && frame != config_.failFrame;
}

bool TestPatternSource::FillFrame(int32_t frame, uint8_t* dest) {
    const auto px = FramePixels(frame, config_.width, config_.height);
    if (!diskRenderer_) {
        std::memcpy(dest, px.data(), px.size() * sizeof(uint16_t));
        return true;
    }
    FramePlacement place{config_.width, config_.height, OutputWidth(), OutputHeight(), 0,
                         AspectWidth(), AspectHeight()};
    return PlaceFrame(px.data(), place, reinterpret_cast<uint16_t*>(dest), withAlpha_);
}

bool TestPatternSource::DecodeFrame(int32_t frame) {
    if (!HasOpenFile() || !FrameDecodes(frame)) return false;
    decodeBuffer_.resize(static_cast<size_t>(config_.width) * config_.height * 6);
    const bool wasDisk = diskRenderer_;
    diskRenderer_ = false;
    const bool ok = FillFrame(frame, decodeBuffer_.data());
    diskRenderer_ = wasDisk;
    setUsingPrefetch(false);
    return ok;
}

bool TestPatternSource::OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path,
                                                                               bool forOutputSize, int32_t bufferCount,
                                                                               bool useRocket, bool willBlur) {
    {
        std::lock_guard lock(log_->lock);
        log_->bufferCount = bufferCount;
        log_->useRocket = useRocket;
        log_->willBlur = willBlur;
    }
    slotCount_ = bufferCount;
    return OpenFileForOutputSize(path, forOutputSize);
}

bool TestPatternSource::OpenFileForOutputSize(const std::string& path, bool forOutputSize) {
    {
        std::lock_guard lock(log_->lock);
        ++log_->opens;
        log_->debayer = Debayer();
    }
    if (config_.failOpen) {
        setLastError("The test pattern refuses to open " + path);
        return false;
    }
    RenderSource::OpenFileForOutputSize(path, forOutputSize);
    sourceType_ = !config_.sourceType.empty()   ? config_.sourceType
                  : FileParser::IsR3DFile(path) ? std::string("EpicM")
                                                : std::string("5D");
    if (Width() == 0) setImageSize(config_.width, config_.height);
    const int slots = slotCount_ > 0 ? slotCount_ : config_.slots;
    ring_ = std::make_unique<DecodeSlotRing>(slots, static_cast<size_t>(config_.width) * config_.height * 6);
    if (ring_->count() == 0) {
        setLastError("No memory for the decode slots of " + path);
        return false;
    }
    return true;
}

OriginalSize TestPatternSource::GetOriginalSizeForPath(const std::string& /*path*/) {
    std::lock_guard lock(log_->lock);
    ++log_->originalSizeCalls;
    if (!MainQueue::Instance().IsMainThread()) ++log_->originalSizeCallsOffMainThread;
    return {static_cast<float>(config_.width), static_cast<float>(config_.height)};
}

uint32_t TestPatternSource::FramesInClip() const { return static_cast<uint32_t>(std::max(config_.frames, 0)); }

uint32_t TestPatternSource::MetadataKelvin() const { return config_.metadataKelvin; }

uint8_t* TestPatternSource::RawBuffer() {
    if (usingPrefetch()) return asyncBufferPtr_;
    return decodeBuffer_.empty() ? nullptr : decodeBuffer_.data();
}

bool TestPatternSource::SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit) {
    // Like a camera source, the pattern brings its size in before the fit.
    if (Width() == 0) setImageSize(config_.width, config_.height);
    if (!RenderSource::SetOutputWidthHeightFit(width, height, fit)) return false;
    if (config_.zeroAspectWidth) setAspectSize(0, AspectHeight());
    return true;
}

void TestPatternSource::SetExposureKelvin(float exposure, float kelvin) {
    std::lock_guard lock(log_->lock);
    log_->exposure = exposure;
    log_->kelvin = kelvin;
}

bool TestPatternSource::ExtractAudio(const std::string& destinationPath) {
    {
        std::lock_guard lock(log_->lock);
        log_->audioPaths.push_back(destinationPath);
    }
    if (config_.audioChannels <= 0) return true;
    // Sun audio: 16-bit linear big-endian samples, a known ramp per channel.
    const auto channels = static_cast<uint32_t>(config_.audioChannels);
    const auto rate = static_cast<uint32_t>(config_.audioSampleRate);
    const auto samples = static_cast<uint32_t>(std::llround(config_.frames / std::max(config_.fps, 1.0f) * rate));
    std::string out;
    PutBig32(out, 0x2E736E64);
    PutBig32(out, 24);
    PutBig32(out, samples * channels * 2);
    PutBig32(out, 3);
    PutBig32(out, rate);
    PutBig32(out, channels);
    for (uint32_t i = 0; i < samples; ++i)
        for (uint32_t c = 0; c < channels; ++c) {
            const auto v = static_cast<uint16_t>(static_cast<int16_t>((i * 37 + c * 1000) % 20000) - 10000);
            out.push_back(static_cast<char>(v >> 8));
            out.push_back(static_cast<char>(v & 0xFF));
        }
    std::ofstream f(destinationPath, std::ios::binary | std::ios::trunc);
    f.write(out.data(), static_cast<std::streamsize>(out.size()));
    return static_cast<bool>(f);
}

float TestPatternSource::FramesPerSecond() const { return HasOpenFile() ? config_.fps : 0.0f; }

TimecodeValues TestPatternSource::Timecode(int32_t frame) const {
    if (!HasOpenFile()) return {};
    const int32_t base = std::max(FrameBase(config_.fps), 1);
    const auto& t = config_.startTimecode;
    int64_t total = (int64_t{t.hours} * 3600 + t.minutes * 60 + t.seconds) * base + t.frames + frame;
    if (total < 0) total = 0;
    TimecodeValues v;
    v.frames = static_cast<int32_t>(total % base);
    const int64_t secs = total / base;
    v.seconds = static_cast<int32_t>(secs % 60);
    v.minutes = static_cast<int32_t>((secs / 60) % 60);
    v.hours = static_cast<int32_t>((secs / 3600) % 24);
    return v;
}

std::string TestPatternSource::TimecodeString(int32_t frame) const {
    const TimecodeValues v = Timecode(frame);
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02d:%02d:%02d:%02d", v.hours, v.minutes, v.seconds, v.frames);
    return buf;
}

void TestPatternSource::SetPlanar(bool planar) {
    std::lock_guard lock(log_->lock);
    log_->planar = planar;
}

bool TestPatternSource::PreFectchFrame(int32_t frame) {
    if (!ring_) return false;
    const int slot = ring_->Claim(frame);
    if (slot < 0) return false;
    {
        std::lock_guard lock(log_->lock);
        log_->prefetched.push_back(frame);
        log_->maxInFlight = std::max(log_->maxInFlight, ring_->InFlight());
    }
    if (config_.decodeLatency.count() > 0) std::this_thread::sleep_for(config_.decodeLatency);
    if (!FrameDecodes(frame) || !FillFrame(frame, ring_->Data(slot))) {
        // A frame that never decodes is settled at once, so the render loop stops waiting.
        ring_->MarkFailed(slot);
        return true;
    }
    ring_->MarkReady(slot);
    return true;
}

int32_t TestPatternSource::RetrieveBufferForFrame(int32_t frame) {
    if (!ring_) return kFrameNotReady;
    uint8_t* data = nullptr;
    const int32_t state = ring_->Retrieve(frame, &data);
    if (state == kFrameReady) {
        asyncBufferPtr_ = data;
        setUsingPrefetch(true);
    }
    return state;
}

bool TestPatternSource::DiscardFrame(int32_t frame) { return ring_ && ring_->Discard(frame); }

bool TestPatternSource::SetupDiskRendererSourceWithAlpha(const ClipSettings& /*settings*/,
                                                         const std::string& /*sourceType*/, bool withAlpha) {
    if (sourceType_ != "5D" || OutputWidth() == 0) return false;
    {
        std::lock_guard lock(log_->lock);
        log_->diskRendererAlpha = withAlpha;
    }
    diskRenderer_ = true;
    withAlpha_ = withAlpha;
    // A movie source keeps five processed frames at the output size.
    ring_ = std::make_unique<DecodeSlotRing>(5, static_cast<size_t>(OutputWidth()) * OutputHeight() * 8);
    return ring_->count() > 0;
}

int32_t TestPatternSource::RetrieveBufferForFrameOutputBuffer(int32_t frame, uint8_t** buffer) {
    if (buffer) *buffer = nullptr;
    if (!diskRenderer_ || !ring_) return kFrameNotReady;
    return ring_->Retrieve(frame, buffer);
}

void TestPatternSource::EnterPrefetchThread() {
    std::lock_guard lock(log_->lock);
    ++log_->prefetchThreadsEntered;
}

void TestPatternSource::LeavePrefetchThread() {
    std::lock_guard lock(log_->lock);
    ++log_->prefetchThreadsLeft;
}

struct ScopedTestPatternSources::Impl {
    std::unique_ptr<ScopedRenderSourceMaker> r3d;
    std::unique_ptr<ScopedRenderSourceMaker> movie;
};

ScopedTestPatternSources::ScopedTestPatternSources(TestPatternConfig config, std::shared_ptr<TestPatternLog> log)
    : ScopedTestPatternSources({}, std::move(config), std::move(log)) {}

ScopedTestPatternSources::ScopedTestPatternSources(std::vector<std::pair<std::string, TestPatternConfig>> perPath,
                                                   TestPatternConfig fallback, std::shared_ptr<TestPatternLog> log)
    : log_(log ? std::move(log) : std::make_shared<TestPatternLog>()), impl_(std::make_unique<Impl>()) {
    auto maker = [perPath = std::move(perPath), fallback = std::move(fallback),
                  log = log_](const std::string& path) -> std::unique_ptr<RenderSource> {
        for (const auto& [p, config] : perPath)
            if (p == path) return std::make_unique<TestPatternSource>(config, log);
        return std::make_unique<TestPatternSource>(fallback, log);
    };
    impl_->r3d = std::make_unique<ScopedRenderSourceMaker>(SourceKind::R3D, maker);
    impl_->movie = std::make_unique<ScopedRenderSourceMaker>(SourceKind::Movie, maker);
}

ScopedTestPatternSources::~ScopedTestPatternSources() {
    // Restored in the reverse order of installation.
    impl_->movie.reset();
    impl_->r3d.reset();
}

}  // namespace ombrel::test
