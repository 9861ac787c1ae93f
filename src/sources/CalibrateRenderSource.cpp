#include "sources/CalibrateRenderSource.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "sources/Calibration.h"

namespace ombrel {

using calibration::kSide;

CalibrateRenderSource::CalibrateRenderSource() : buffer_(kBufferBytes, 0) {
    setImageSize(kSide, kSide);
    rep_.data = buffer_.data();
    rep_.width = kSide;
    rep_.height = kSide;
    rep_.samplesPerPixel = 3;
    rep_.bytesPerRow = size_t(kSide) * 6;
    bytesPerRow_ = kSide * 6;
    bytesPerPlane_ = kSide * kSide * 2;
    bitsPerChannel_ = 16;
}

bool CalibrateRenderSource::OpenFileForOutputSize(const std::string& path, bool) {
    SetFilePath(path);
    return true;
}

bool CalibrateRenderSource::OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(const std::string& path,
                                                                                   bool forOutputSize, int32_t,
                                                                                   bool, bool) {
    return OpenFileForOutputSize(path, forOutputSize);
}

OriginalSize CalibrateRenderSource::GetOriginalSizeForPath(const std::string&) {
    return {static_cast<float>(kSide), static_cast<float>(kSide)};
}

uint32_t CalibrateRenderSource::FramesInClip() const { return calibration::kFrames; }
float CalibrateRenderSource::FramesPerSecond() const { return calibration::kFramesPerSecond; }
std::string CalibrateRenderSource::TimecodeString() const { return "00:00:00.00"; }
std::string CalibrateRenderSource::TimecodeString(int32_t) const { return "00:00:00.00"; }
std::string CalibrateRenderSource::EdgecodeString(int32_t) const { return "00:00:00.00"; }

int32_t CalibrateRenderSource::RetrieveBufferForFrame(int32_t frame) {
    std::vector<float> pattern(calibration::kPatternFloats);
    calibration::FillPattern(frame, pattern.data());
    auto* out = reinterpret_cast<uint16_t*>(buffer_.data());
    std::transform(pattern.begin(), pattern.end(), out, calibration::Sample16);
    return kFrameReady;
}

}  // namespace ombrel
