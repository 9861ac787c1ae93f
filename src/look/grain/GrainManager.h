#pragma once

// The grain cache: maps per scan and size, and response curves per stock. A map lives until
// the process ends and is shared by every user of the same scan and size; resized maps are
// also kept on disk (GrainDiskCache), so a scan is decoded only the first time a size is asked.

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "core/Singleton.h"
#include "look/grain/GrainLookup.h"
#include "look/grain/GrainMap.h"
#include "look/grain/RawGrain.h"

namespace ombrel {

class GrainManager : public Singleton<GrainManager> {
public:
    static constexpr const char* kClassName = "GrainManager";

    // The map for a scan name and size, with the curve of the stock. A map found in the
    // cache takes the stock's curve and keeps the stock it was first made for.
    GrainMapPtr GrainMapWithNameSizeStockName(const std::string& grainName, float width, float height,
                                              const std::string& stockName);
    // The response curve of a stock, loaded once.
    GrainLookupPtr GrainLookupForName(const std::string& stockName);
    // "<name>:<width>:<height>" with the size truncated.
    static std::string GrainKeyForNameSize(const std::string& grainName, float width, float height);

    // The softening that goes with a gauge popup tag: the smaller gauges (Super 16, 16mm,
    // Super 8, 8mm) blur the frame; every other tag gives 0.
    static float BlurRadiusForTag(int gaugeTag);

private:
    friend class Singleton<GrainManager>;
    GrainManager();

    GrainLookupPtr LookupLocked(const std::string& stockName);

    // Two pipelines on two threads may ask at once. One lock for the two dictionaries:
    // a map is made under it, so a scan and size is resized once however many ask.
    std::mutex lock_;
    std::unordered_map<std::string, GrainMapPtr> grainCollection_;
    std::unordered_map<std::string, GrainLookupPtr> grainLookupCollection_;
};

}  // namespace ombrel
