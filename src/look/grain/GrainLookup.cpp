#include "look/grain/GrainLookup.h"

#include <algorithm>
#include <cstring>

#include "datafile/DataFile.h"
#include "datafile/Resource.h"
#include "look/LutManager.h"

namespace ombrel {

namespace {

std::string CurveResource(const std::string& stockName) { return "Resources/" + stockName + ".emoGrain"; }

}  // namespace

std::shared_ptr<const GrainLookup> GrainLookup::InitWithName(const std::string& stockName) {
    std::string path;
    if (!FindResource(CurveResource(stockName), &path).ok()) path = ResourcePath(CurveResource(kFallbackStock));
    auto curve = std::make_shared<GrainLookup>();
    if (const auto bytes = GetUnscrambledData(path)) {
        // The container's tail follows the payload; only the payload holds floats, so a short
        // curve leaves its missing entries at zero rather than reading the tail as numbers.
        const size_t payload = bytes->size() > kContainerTailSize ? bytes->size() - kContainerTailSize : 0;
        std::memcpy(curve->buffer_.data(), bytes->data(), std::min(payload, kBufferBytes));
    }
    if (LutManager::IsStockNamePolaroid(stockName)) {
        for (float& v : curve->buffer_) v *= kPolaroidFactor;
    }
    return curve;
}

}  // namespace ombrel
