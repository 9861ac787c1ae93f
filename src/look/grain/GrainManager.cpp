#include "look/grain/GrainManager.h"

#include "fmt/format.h"

namespace ombrel {

namespace {
constexpr size_t kCapacity = 100;
}  // namespace

GrainManager::GrainManager() {
    grainCollection_.reserve(kCapacity);
    grainRawMaps_.reserve(kCapacity);
    grainLookupCollection_.reserve(kCapacity);
}

std::string GrainManager::GrainKeyForNameSize(const std::string& grainName, float width, float height) {
    return fmt::format("{}:{}:{}", grainName, static_cast<int>(width), static_cast<int>(height));
}

float GrainManager::BlurRadiusForTag(int gaugeTag) {
    switch (gaugeTag) {
        case 200: return 0.55f;  // Super 16
        case 243: return 0.67f;  // 16mm
        case 400: return 0.9f;   // Super 8
        case 553: return 1.0f;   // 8mm
        default: return 0.0f;
    }
}

GrainLookupPtr GrainManager::LookupLocked(const std::string& stockName) {
    auto it = grainLookupCollection_.find(stockName);
    if (it != grainLookupCollection_.end()) return it->second;
    GrainLookupPtr curve = GrainLookup::InitWithName(stockName);
    grainLookupCollection_.emplace(stockName, curve);
    return curve;
}

GrainLookupPtr GrainManager::GrainLookupForName(const std::string& stockName) {
    std::lock_guard lock(lock_);
    return LookupLocked(stockName);
}

GrainMapPtr GrainManager::GrainMapWithNameSizeStockName(const std::string& grainName, float width, float height,
                                                        const std::string& stockName) {
    std::lock_guard lock(lock_);
    const std::string key = GrainKeyForNameSize(grainName, width, height);
    if (auto it = grainCollection_.find(key); it != grainCollection_.end()) {
        it->second->setGrainCurve(LookupLocked(stockName));
        return it->second;
    }
    RawGrainPtr raw;
    if (auto it = grainRawMaps_.find(grainName); it != grainRawMaps_.end()) {
        raw = it->second;
    } else {
        raw = RawGrain::InitWithName(grainName);
        grainRawMaps_.emplace(grainName, raw);
    }
    auto map = std::make_shared<GrainMap>(raw->Rep(), width, height);
    map->setStockName(stockName);
    map->setGrainName(grainName);
    grainCollection_.emplace(key, map);
    map->setGrainCurve(LookupLocked(stockName));
    return map;
}

}  // namespace ombrel
