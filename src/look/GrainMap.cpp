#include "look/GrainMap.h"

#include <algorithm>

#include "fmt/format.h"

namespace ombrel {

GrainMap::GrainMap(int width, int height, std::vector<float> textureData, std::string stockName,
                   std::string grainName)
    : width_(std::max(width, 0)), height_(std::max(height, 0)), textureData_(std::move(textureData)),
      stockName_(std::move(stockName)), grainName_(std::move(grainName)), curve_(std::make_shared<GrainLookup>()) {
    textureData_.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_) * 3, 0.5f);
}

void GrainMap::SetGrainAmount(double amount) {
    std::lock_guard lock(lock_);
    grainAmount_ = amount;
}

double GrainMap::grainAmount() const {
    std::lock_guard lock(lock_);
    return grainAmount_;
}

std::shared_ptr<const GrainLookup> GrainMap::grainCurve() const {
    std::lock_guard lock(lock_);
    return curve_;
}

void GrainMap::setGrainCurve(std::shared_ptr<const GrainLookup> curve) {
    std::lock_guard lock(lock_);
    curve_ = curve ? std::move(curve) : std::make_shared<GrainLookup>();
}

std::string GrainManager::GrainKeyForNameSize(const std::string& grainName, float width, float height) {
    return fmt::format("{}:{}:{}", grainName, static_cast<int>(width), static_cast<int>(height));
}

GrainMapPtr GrainManager::GrainMapWithNameSizeStockName(const std::string& grainName, float width, float height,
                                                        const std::string& stockName) {
    auto curve = GrainLookupForName(stockName);
    std::lock_guard lock(lock_);
    const std::string key = GrainKeyForNameSize(grainName, width, height);
    auto it = grainCollection_.find(key);
    if (it == grainCollection_.end()) {
        // Neutral stand-in until the scans arrive: its content adds nothing, so a small tile
        // serves any frame size.
        const int w = std::clamp(static_cast<int>(width), 1, 256);
        const int h = std::clamp(static_cast<int>(height), 1, 256);
        auto map = std::make_shared<GrainMap>(w, h, std::vector<float>(static_cast<size_t>(w * h * 3), 0.5f),
                                              stockName, grainName);
        it = grainCollection_.emplace(key, std::move(map)).first;
    }
    it->second->setGrainCurve(std::move(curve));
    return it->second;
}

std::shared_ptr<const GrainLookup> GrainManager::GrainLookupForName(const std::string& stockName) {
    std::lock_guard lock(lock_);
    auto it = grainLookupCollection_.find(stockName);
    if (it != grainLookupCollection_.end()) return it->second;
    // Zero response until the per-stock curve files arrive.
    auto curve = std::make_shared<const GrainLookup>();
    grainLookupCollection_.emplace(stockName, curve);
    return curve;
}

}  // namespace ombrel
