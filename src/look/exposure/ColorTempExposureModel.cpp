#include "look/exposure/ColorTempExposureModel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <new>

#include "core/Log.h"

namespace ombrel {

namespace {

// Limits to lo .. hi; a NaN becomes lo so that it can never index a table.
float Limit(float v, float lo, float hi) {
    if (!(v > lo)) return lo;
    return v < hi ? v : hi;
}

// The entry below `position` in a table of `count` entries, limited to the table.
int EntryBelow(float position, int count) {
    if (!(position > 0.0f)) return 0;
    if (position >= static_cast<float>(count)) return count - 1;
    return std::min(static_cast<int>(position), count - 1);
}

}  // namespace

int colorTempExposureModel::CopyTables(std::array<Table, 3>& tables, int& tableCount, int count,
                                       const float* interleaved, const float* const planes[3]) {
    if (count <= 0) return 0;
    if (!interleaved && !(planes[0] && planes[1] && planes[2])) return 0;
    // All three are made before any is replaced: a failure leaves the tables in force.
    std::array<Table, 3> fresh;
    for (auto& t : fresh) {
        t.reset(new (std::nothrow) float[static_cast<size_t>(count)]);
        if (!t) return 0;
    }
    const size_t n = static_cast<size_t>(count);
    for (size_t c = 0; c < 3; ++c) {
        float* out = fresh[c].get();
        if (interleaved) {
            for (size_t i = 0; i < n; ++i) out[i] = interleaved[3 * i + c];
        } else {
            std::copy(planes[c], planes[c] + n, out);
        }
    }
    tables = std::move(fresh);
    tableCount = count;
    return 1;
}

int colorTempExposureModel::setCVToLogLUT(int count, const float* interleaved) {
    const float* const none[3] = {nullptr, nullptr, nullptr};
    if (!interleaved) return 0;
    return CopyTables(cvToLog, cvToLogCount, count, interleaved, none);
}

int colorTempExposureModel::setCVToLogLUT(int count, const float* r, const float* g, const float* b) {
    const float* const planes[3] = {r, g, b};
    return CopyTables(cvToLog, cvToLogCount, count, nullptr, planes);
}

int colorTempExposureModel::setLogToCVLUT(int count, const float* interleaved) {
    const float* const none[3] = {nullptr, nullptr, nullptr};
    if (!interleaved || !CopyTables(logToCV, logToCVCount, count, interleaved, none)) return 0;
    logToIndexScale = static_cast<float>(count) / (logHigh - logLow);
    return 1;
}

int colorTempExposureModel::setLogToCVLUT(int count, const float* r, const float* g, const float* b) {
    const float* const planes[3] = {r, g, b};
    if (!CopyTables(logToCV, logToCVCount, count, nullptr, planes)) return 0;
    logToIndexScale = static_cast<float>(count) / (logHigh - logLow);
    return 1;
}

void colorTempExposureModel::setExposureAndCT(float exposure, float colorTemp) {
    exposureLog = exposure;
    colorTempOffset = colorTemp * colorTempScale;
}

void colorTempExposureModel::getGLTexture_RGB(float exposure, float colorTemp, int count, float* output) {
    setExposureAndCT(exposure, colorTemp);
    if (!output || count <= 0) return;
    const float last = count > 1 ? static_cast<float>(count - 1) : 1.0f;
    for (int i = 0; i < count; ++i) {
        float r = static_cast<float>(i) / last;
        float g = r, b = r;
        convertPixel3D(r, g, b);
        const size_t at = 3 * static_cast<size_t>(i);
        output[at] = r;
        output[at + 1] = g;
        output[at + 2] = b;
    }
}

void colorTempExposureModel::getLUT(float exposure, float colorTemp, int count, float scale, float* r, float* g,
                                    float* b) {
    setExposureAndCT(exposure, colorTemp);
    if (!r || !g || !b || count <= 0) return;
    const float last = count > 1 ? static_cast<float>(count - 1) : 1.0f;
    for (int i = 0; i < count; ++i) {
        float vr = static_cast<float>(i) / last;
        float vg = vr, vb = vr;
        convertPixel3D(vr, vg, vb);
        r[i] = vr * scale;
        g[i] = vg * scale;
        b[i] = vb * scale;
    }
}

void colorTempExposureModel::convertPixel3D(float& r, float& g, float& b) const {
    applyGainModel(r, g, b);
    convertCVtoBoundedLog(r, g, b);
    // The exposure shift happens in linear light so that the limits bound the log value.
    for (float* c : {&r, &g, &b}) {
        const float linear = std::clamp(std::pow(10.0f, *c + exposureLog), linearLow, linearHigh);
        *c = std::log10(linear);
    }
    convertBoundedLogToCV(r, g, b);
}

void colorTempExposureModel::applyGainModel(float& r, float& g, float& b) const {
    const float t = colorTempOffset;
    float tr, tg, tb, range;
    if (t < 0.0f) {
        tr = 0.5f * r;
        tg = gainCurve(g, kCoolGreen);
        tb = gainCurve(b, kCoolBlue);
        range = coolRange;
    } else {
        tr = gainCurve(r, kWarmRed);
        tg = g;
        tb = 0.7f * b;
        range = warmRange;
    }
    // Beyond the range the mix extrapolates.
    const float w = 1.0f - t / range;
    r = r * w + tr * (1.0f - w);
    g = g * w + tg * (1.0f - w);
    b = b * w + tb * (1.0f - w);
}

void colorTempExposureModel::convertCVtoBoundedLog(float& r, float& g, float& b) const {
    float* channels[3] = {&r, &g, &b};
    const float last = static_cast<float>(cvToLogCount - 1);
    for (size_t c = 0; c < 3; ++c) {
        float& v = *channels[c];
        v = Limit(v, 0.0f, 1.0f);
        if (!cvToLog[c]) continue;  // no table: the channel stays a code value
        v = cvToLog[c][static_cast<size_t>(EntryBelow(last * v, cvToLogCount))];
    }
}

void colorTempExposureModel::convertBoundedLogToCV(float& r, float& g, float& b) const {
    float* channels[3] = {&r, &g, &b};
    for (size_t c = 0; c < 3; ++c) {
        float& v = *channels[c];
        if (logToCV[c]) v = logToCV[c][static_cast<size_t>(EntryBelow((v - logLow) * logToIndexScale, logToCVCount))];
        v = Limit(v, 0.0f, 1.0f);
    }
}

float colorTempExposureModel::softClip(float x, float gain, float headroom) {
    const float knee = (1.0f - headroom) / gain;
    if (x <= knee || headroom <= 0.0f) return x * gain;
    const float a = gain - 1.0f + headroom;
    const float p = gain / a;
    const float q = a / headroom;
    const float u = p * (x - knee);
    const float e = 2.6f / std::pow(q, 1.4f) + 1.0f;
    return 1.0f - headroom + (u * q - (q - 1.0f) * std::pow(u, e)) * headroom;
}

float colorTempExposureModel::gainCurve(float x, const SoftClipCurve& curve) {
    if (x <= curve.knee) return curve.gain * x;
    const float u = (x - curve.knee) * curve.scale;
    return static_cast<float>((curve.rise * u - curve.bend * std::pow(static_cast<double>(u), curve.exponent)) *
                                  kCurveHeadroom +
                              (1.0f - kCurveHeadroom));
}

float colorTempExposureModel::midWeight(float x) {
    const float d = 2.0f * x - 1.0f;
    return 1.0f - d * d;
}

Status ReadLittleEndianFloats(const std::string& path, size_t count, std::vector<float>& out) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) return NotFoundError("cannot open " + path);
    const std::streamoff size = file.tellg();
    const size_t expected = count * 4;
    if (size < 0 || static_cast<size_t>(size) != expected) {
        return InvalidError(path + " holds " + std::to_string(size) + " bytes, not " + std::to_string(expected));
    }
    std::vector<unsigned char> bytes(expected);
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(expected))) {
        return IoError("cannot read " + path);
    }
    out.resize(count);
    for (size_t i = 0; i < count; ++i) {
        uint32_t word = 0;
        for (size_t k = 0; k < 4; ++k) word |= static_cast<uint32_t>(bytes[4 * i + k]) << (8 * k);
        out[i] = std::bit_cast<float>(word);
    }
    return OkStatus();
}

Status LoadExposureTables(colorTempExposureModel& model, const std::string& cvToLogPath,
                          const std::string& logToCVPath) {
    const size_t floats = 3 * static_cast<size_t>(kExposureTableEntries);
    std::vector<float> cvToLog, logToCV;
    // Both are read before either is given, so a bad second file leaves the model as it was.
    if (Status s = ReadLittleEndianFloats(cvToLogPath, floats, cvToLog); !s.ok()) return s;
    if (Status s = ReadLittleEndianFloats(logToCVPath, floats, logToCV); !s.ok()) return s;
    // A table that finds no memory leaves the model as it was; the files themselves are fine.
    if (!model.setCVToLogLUT(kExposureTableEntries, cvToLog.data()) ||
        !model.setLogToCVLUT(kExposureTableEntries, logToCV.data())) {
        LogError("Out of memory for the exposure tables");
    }
    return OkStatus();
}

}  // namespace ombrel
