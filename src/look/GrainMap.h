#pragma once

// Grain images and per-stock grain response curves, as the look pipeline uses them.
//
// The scans and curve files arrive with the grain library; until then GrainManager hands out
// neutral maps (every sample 0.5) and zero curves, so grain adds nothing. A map with real
// content can be made from samples directly.

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/Singleton.h"

namespace ombrel {

// One stock's grain strength per level: 256 entries of R, G, B.
class GrainLookup {
public:
    static constexpr int kEntries = 256;
    GrainLookup() { values_.fill(0.0f); }
    explicit GrainLookup(const std::array<float, kEntries * 3>& values) : values_(values) {}
    const float* buffer() const { return values_.data(); }

private:
    std::array<float, kEntries * 3> values_;
};

// One grain image at one size: 3 floats per pixel in 0..1, 0.5 neutral, rows bottom-up as
// GL takes them.
class GrainMap {
public:
    GrainMap(int width, int height, std::vector<float> textureData, std::string stockName = {},
             std::string grainName = {});

    const float* GetTextureData() const { return textureData_.data(); }
    int width() const { return width_; }
    int height() const { return height_; }
    // The real size of the image, which callers must use rather than what they asked for.
    void GetGrainSize(int* width, int* height) const {
        *width = width_;
        *height = height_;
    }
    void SetGrainAmount(double amount);
    double grainAmount() const;

    // The response curve in force; one map serves every stock of its size, so the curve
    // changes while the image stays.
    std::shared_ptr<const GrainLookup> grainCurve() const;
    void setGrainCurve(std::shared_ptr<const GrainLookup> curve);
    const std::string& stockName() const { return stockName_; }
    // The scan it was made from ("CP35", "CP16", "CP8"); empty for a map made from samples.
    const std::string& grainName() const { return grainName_; }

private:
    int width_;
    int height_;
    std::vector<float> textureData_;
    std::string stockName_;
    std::string grainName_;
    mutable std::mutex lock_;
    std::shared_ptr<const GrainLookup> curve_;
    double grainAmount_ = -1.0;
};

using GrainMapPtr = std::shared_ptr<GrainMap>;

class GrainManager : public Singleton<GrainManager> {
public:
    static constexpr const char* kClassName = "GrainManager";

    // The map for a grain name and size, with the curve of the stock. Maps are kept for the
    // life of the process and shared by every user of the same name and size.
    GrainMapPtr GrainMapWithNameSizeStockName(const std::string& grainName, float width, float height,
                                              const std::string& stockName);
    std::shared_ptr<const GrainLookup> GrainLookupForName(const std::string& stockName);
    static std::string GrainKeyForNameSize(const std::string& grainName, float width, float height);

private:
    friend class Singleton<GrainManager>;
    GrainManager() = default;
    std::mutex lock_;
    std::map<std::string, GrainMapPtr> grainCollection_;
    std::map<std::string, std::shared_ptr<const GrainLookup>> grainLookupCollection_;
};

}  // namespace ombrel
