#include "render/DefaultRenderers.h"

#include <map>
#include <mutex>

#include "render/RenderManager.h"
#include "render/dpx/DpxRenderer.h"
#include "render/tiff/TiffRenderer.h"

namespace ombrel {

namespace {

struct MakerTable {
    std::mutex lock;
    std::map<int, RendererMaker> makers;
};

MakerTable& Table() {
    static MakerTable table;
    return table;
}

}  // namespace

void RegisterRendererMaker(int format, RendererMaker maker) {
    auto& t = Table();
    std::lock_guard lock(t.lock);
    if (maker)
        t.makers[format] = std::move(maker);
    else
        t.makers.erase(format);
}

std::unique_ptr<Renderer> MakeRendererForFormat(int format) {
    RendererMaker maker;
    {
        auto& t = Table();
        std::lock_guard lock(t.lock);
        auto it = t.makers.find(format);
        if (it == t.makers.end()) return nullptr;
        maker = it->second;
    }
    return maker();
}

void RegisterDefaultRenderers() {
    // The format renderers of this build register here, one line each.
    RegisterRendererMaker(kFormatTiff, [] { return std::make_unique<TiffRenderer>(); });
    RegisterRendererMaker(kFormatDpx, [] { return std::make_unique<DpxRenderer>(); });
    RenderManager::Instance().setRendererFactory([](int format) { return MakeRendererForFormat(format); });
}

}  // namespace ombrel
