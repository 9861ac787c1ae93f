#include "look/grain/GrainManager.h"

#include "core/Log.h"
#include "datafile/Resource.h"
#include "fmt/format.h"
#include "look/grain/GrainDiskCache.h"

namespace ombrel {

namespace {
constexpr size_t kCapacity = 100;
}  // namespace

GrainManager::GrainManager() {
    grainCollection_.reserve(kCapacity);
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
    // A map resized before, in this run or an earlier one, saves decoding the scan.
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    std::string scanPath;
    BitmapRepPtr resized;
    const bool installed = FindResource("Resources/" + grainName + ".bin", &scanPath).ok();
    if (installed) {
        if (const Status s = LoadCachedGrain(grainName, w, h, scanPath, &resized);
            !s.ok() && s.code() != Status::Code::kNotFound)
            LogWarn("Grain cache: {}; made again", s.message());
    }
    GrainMapPtr map;
    if (resized) {
        map = GrainMap::FromResized(std::move(resized));
    } else {
        // Scans are kept only while a map is made: at 17 MB each they outweigh the maps.
        const RawGrainPtr raw = RawGrain::InitWithName(grainName);
        map = std::make_shared<GrainMap>(raw->Rep(), width, height);
        if (installed && map->GetGrainBitmapRep() != raw->Rep()) {
            if (const Status s = StoreCachedGrain(grainName, w, h, scanPath, *map->GetGrainBitmapRep()); !s.ok())
                LogWarn("Grain cache: {}", s.message());
        }
    }
    map->setStockName(stockName);
    map->setGrainName(grainName);
    grainCollection_.emplace(key, map);
    map->setGrainCurve(LookupLocked(stockName));
    return map;
}

}  // namespace ombrel
