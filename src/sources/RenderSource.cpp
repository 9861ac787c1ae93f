#include "sources/RenderSource.h"

#include <thread>

#include "core/Log.h"

namespace ombrel {

AspectSize AspectSizeForFit(uint32_t imageWidth, uint32_t imageHeight, uint32_t outputWidth, uint32_t outputHeight,
                            int32_t fit) {
    AspectSize size{outputWidth, outputHeight};
    if (imageWidth == 0 || imageHeight == 0) return size;
    if (imageWidth == outputWidth && imageHeight == outputHeight) return size;
    const double r = static_cast<double>(imageWidth) / static_cast<double>(imageHeight);
    if (fit == 0)
        size.height = static_cast<uint32_t>(static_cast<double>(outputWidth) / r);
    else if (fit == 1)
        size.width = static_cast<uint32_t>(static_cast<double>(outputHeight) * r);
    return size;
}

RenderSource::RenderSource() = default;
RenderSource::~RenderSource() = default;

bool RenderSource::HasOpenFile() const {
    std::lock_guard lock(pathLock_);
    return !filePath_.empty();
}

std::string RenderSource::FilePath() const {
    std::lock_guard lock(pathLock_);
    return filePath_;
}

void RenderSource::SetFilePath(const std::string& path) {
    std::lock_guard lock(pathLock_);
    filePath_ = path;
}

std::string RenderSource::lastError() const {
    std::lock_guard lock(pathLock_);
    return lastError_;
}

void RenderSource::setLastError(std::string message) {
    std::lock_guard lock(pathLock_);
    lastError_ = std::move(message);
}

bool RenderSource::Decode(int32_t frame) {
    DecodeSetup();
    return DecodeFrame(frame);
}

bool RenderSource::OpenFileForOutputSize(const std::string& path, bool /*forOutputSize*/) {
    SetFilePath(path);
    setLastError({});
    return true;
}

bool RenderSource::OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path, bool forOutputSize,
                                                                          int32_t /*bufferCount*/, bool /*useRocket*/,
                                                                          bool /*willBlur*/) {
    return OpenFileForOutputSize(path, forOutputSize);
}

OriginalSize RenderSource::GetOriginalSizeForPath(const std::string& /*path*/) { return {}; }

void RenderSource::WaitForFrameLanding(int32_t /*frame*/, std::chrono::milliseconds longest) {
    std::this_thread::sleep_for(longest);
}

void RenderSource::WaitForFreeSlot(std::chrono::milliseconds longest) { std::this_thread::sleep_for(longest); }

bool RenderSource::SetOutputWidthHeightFit(int32_t width, int32_t height, int32_t fit) {
    if (imageWidth_ == 0 || imageHeight_ == 0) {
        LogError("SetOutputWidthHeightFit before the image size of {} is known", FilePath());
        return false;
    }
    if (width <= 0 || height <= 0) {
        LogError("SetOutputWidthHeightFit with an output size of {} x {}", width, height);
        return false;
    }
    const auto w = static_cast<uint32_t>(width);
    const auto h = static_cast<uint32_t>(height);
    outputWidth_ = w;
    outputHeight_ = h;
    needsResize_ = imageWidth_ != w || imageHeight_ != h;
    // The old buffer goes first, so the two sizes never live side by side.
    resizeBuffer_.reset();
    const AspectSize aspect = needsResize_ ? AspectSizeForFit(imageWidth_, imageHeight_, w, h, fit) : AspectSize{w, h};
    aspectWidth_ = aspect.width;
    aspectHeight_ = aspect.height;
    resizeBuffer_ = ZeroedBlock(static_cast<size_t>(w) * h * 8);
    if (resizeBuffer_.empty()) {
        LogError("Failed to allocate {} bytes of memory for a resize buffer", static_cast<size_t>(w) * h * 8);
        return false;
    }
    return true;
}

bool RenderSource::SetupDiskRendererSourceWithAlpha(const ClipSettings& /*settings*/, const std::string& /*sourceType*/,
                                                    bool /*withAlpha*/) {
    return false;
}

int32_t RenderSource::RetrieveBufferForFrameOutputBuffer(int32_t /*frame*/, uint8_t** buffer) {
    if (buffer) *buffer = nullptr;
    return kFrameNotReady;
}

}  // namespace ombrel
