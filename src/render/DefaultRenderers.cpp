#include "render/DefaultRenderers.h"

#include <utility>

#include "core/Registry.h"
#include "render/FrameSequenceRenderer.h"
#include "render/RenderManager.h"
#include "render/dpx/DpxFile.h"
#include "render/movie/QuicktimeRenderer.h"
#include "render/tiff/TiffFile.h"

namespace ombrel {

namespace {

Registry<int, RendererMaker>& Makers() {
    static Registry<int, RendererMaker> makers;
    return makers;
}

}  // namespace

void RegisterRendererMaker(int format, RendererMaker maker) { Makers().Set(format, std::move(maker)); }

std::unique_ptr<Renderer> MakeRendererForFormat(int format) {
    const RendererMaker maker = Makers().Find(format);
    return maker ? maker() : nullptr;
}

void RegisterDefaultRenderers() {
    // The format renderers of this build register here, one line each.
    RegisterRendererMaker(kFormatTiff, SequenceOf<TiffFormat>);
    RegisterRendererMaker(kFormatDpx, SequenceOf<DpxFormat>);
    RegisterRendererMaker(kFormatMovie, MakeQuicktimeRenderer);
    RegisterCompactTiffWriter();
    RenderManager::Instance().setRendererFactory([](int format) { return MakeRendererForFormat(format); });
}

}  // namespace ombrel
