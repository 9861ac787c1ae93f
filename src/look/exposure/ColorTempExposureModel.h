#pragma once

// Exposure and colour temperature of movie clips as one RGB table over code values.
//
// A grey ramp of code values goes through a gain model for the colour temperature (in code
// values), then into log10 of scene light through per-channel tables, is shifted there by
// the exposure, and comes back to code values through the inverse tables. The ramp gives
// three independent curves; the core shader reads each channel from its own curve.
//
// Both conversion tables take the entry below (truncation): they are dense enough (65,536
// entries) that the CPU side needs no interpolation. The code-to-log table stands at code
// value n / (count - 1); the log-to-code table at log value logLow + n * (logHigh - logLow)
// / count.

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>
#include "core/Status.h"

namespace ombrel {

class colorTempExposureModel {
public:
    // A gain curve of softClip at headroom 0.08, held as its constants: gain * x up to the
    // knee, then (rise * u - bend * u^exponent) * 0.08 + 0.92 with u = (x - knee) * scale.
    struct SoftClipCurve {
        float gain;
        float knee;
        float scale;
        float rise;
        float bend;
        double exponent;
    };
    static constexpr float kCurveHeadroom = 0.08f;
    // Green and blue of the cool target, red of the warm target.
    static constexpr SoftClipCurve kCoolGreen{1.1f, 0.8363636f, 6.1111107f, 2.2500002f, 1.2500002f, 1.8354448};
    static constexpr SoftClipCurve kCoolBlue{1.8f, 0.51111114f, 2.0454545f, 11.0f, 10.0f, 1.0905782};
    static constexpr SoftClipCurve kWarmRed{1.353f, 0.67997044f, 3.124711f, 5.412501f, 4.4125009f, 1.2444648};

    colorTempExposureModel() = default;
    colorTempExposureModel(const colorTempExposureModel&) = delete;
    colorTempExposureModel& operator=(const colorTempExposureModel&) = delete;

    // The tables, from `count` interleaved RGB triples or from three arrays of `count`. 1 on
    // success; 0 when memory ran out (or the count or an array is unusable), and then the
    // tables and counts in force stay as they were.
    int setCVToLogLUT(int count, const float* interleaved);
    int setCVToLogLUT(int count, const float* r, const float* g, const float* b);
    // Also sets logToIndexScale = count / (logHigh - logLow).
    int setLogToCVLUT(int count, const float* interleaved);
    int setLogToCVLUT(int count, const float* r, const float* g, const float* b);

    // Exposure in decades of the log domain, colour temperature as an offset from 5600 K.
    void setExposureAndCT(float exposure, float colorTemp);
    // `count` interleaved RGB triples, entry i for code value i / (count - 1).
    void getGLTexture_RGB(float exposure, float colorTemp, int count, float* output);
    // The same samples in three arrays, each value times `scale`.
    void getLUT(float exposure, float colorTemp, int count, float scale, float* r, float* g, float* b);

    // One RGB value through the four stages: gain model, to log, exposure, back to code.
    void convertPixel3D(float& r, float& g, float& b) const;
    void applyGainModel(float& r, float& g, float& b) const;
    void convertCVtoBoundedLog(float& r, float& g, float& b) const;
    void convertBoundedLogToCV(float& r, float& g, float& b) const;

    // The soft-clipped gain curve in its general form: gain * x up to the knee
    // (1 - headroom) / gain, then a power curve that bends it to reach 1.0.
    static float softClip(float x, float gain, float headroom);
    // The held form of softClip(x, curve.gain, 0.08).
    static float gainCurve(float x, const SoftClipCurve& curve);
    static float midWeight(float x);

    // The tables in force (null before their setter) and their lengths (0 before).
    const float* cvToLogTable(int channel) const { return cvToLog[static_cast<size_t>(channel)].get(); }
    const float* logToCVTable(int channel) const { return logToCV[static_cast<size_t>(channel)].get(); }
    int cvToLogEntries() const { return cvToLogCount; }
    int logToCVEntries() const { return logToCVCount; }

    // The scalars are plain so that a caller can read and tune them; the tables and their
    // lengths change only through the setters, which keep them consistent.
    float exposureLog = 0.0f;      // decades
    float colorTempOffset = 0.0f;  // Kelvin, 0 at 5600 K
    float logLow = -3.0f;
    float logHigh = 3.0f;
    float linearLow = 0.001f;
    float linearHigh = 1000.0f;
    float logToIndexScale = 0.0f;  // set with the log-to-code tables
    float colorTempScale = 1.0f;
    float warmRange = 6400.0f;   // offset of the full warm gains (12000 K)
    float coolRange = -3900.0f;  // offset of the full cool gains (1700 K)

private:
    using Table = std::unique_ptr<float[]>;
    static int CopyTables(std::array<Table, 3>& tables, int& tableCount, int count, const float* interleaved,
                          const float* const planes[3]);

    std::array<Table, 3> logToCV;
    std::array<Table, 3> cvToLog;
    int logToCVCount = 0;
    int cvToLogCount = 0;
};

// A table file of little-endian float32 values, read the same on any host. Fails when the
// file cannot be read or does not hold exactly `count` floats.
Status ReadLittleEndianFloats(const std::string& path, size_t count, std::vector<float>& out);

// Entries of each conversion table file: RGB float32 triples.
inline constexpr int kExposureTableEntries = 65536;

// Gives the model the code-to-log and log-to-code tables of the two files (each
// kExposureTableEntries interleaved RGB float32 triples). Fails when a file is unreadable or
// has the wrong size; the model then keeps what it had (as it does, with an error logged,
// when the tables find no memory).
Status LoadExposureTables(colorTempExposureModel& model, const std::string& cvToLogPath,
                          const std::string& logToCVPath);

}  // namespace ombrel
