#include "look/grain/RawGrain.h"

#include "core/Log.h"
#include "datafile/Resource.h"

namespace ombrel {

std::shared_ptr<const RawGrain> RawGrain::InitWithName(const std::string& name) {
    std::string why;
    const std::string path = FindResource("Resources/" + name + ".bin", &why);
    BitmapRepPtr rep;
    if (!path.empty()) {
        if (const Status decoded = DecodeBitmapFile(path, &rep); !decoded.ok()) why = decoded.message();
    }
    if (!rep || rep->empty()) {
        if (!why.empty()) LogWarn("{}", why);
        LogFatal(fmt::format("Failed to load {} for grain", name));
    }
    return std::make_shared<RawGrain>(std::move(rep));
}

}  // namespace ombrel
