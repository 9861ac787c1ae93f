#include "look/grain/RawGrain.h"

#include "core/Log.h"
#include "datafile/Resource.h"

namespace ombrel {

std::shared_ptr<const RawGrain> RawGrain::InitWithName(const std::string& name) {
    std::string path;
    const Status found = FindResource("Resources/" + name + ".bin", &path);
    std::string why = found.message();
    BitmapRepPtr rep;
    if (found.ok()) {
        if (const Status decoded = DecodeBitmapFile(path, &rep); !decoded.ok()) why = decoded.message();
    }
    if (!rep || rep->empty()) {
        if (!why.empty()) LogWarn("{}", why);
        LogFatal(fmt::format("Failed to load {} for grain", name));
    }
    return std::make_shared<RawGrain>(std::move(rep));
}

}  // namespace ombrel
