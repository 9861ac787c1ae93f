#include "sources/SourceFactory.h"

#include <utility>

#include "core/Registry.h"
#include "library/FileParser.h"

namespace ombrel {

namespace {

Registry<SourceKind, RenderSourceMaker>& Makers() {
    static Registry<SourceKind, RenderSourceMaker> makers;
    return makers;
}

}  // namespace

RenderSourceMaker SetRenderSourceMaker(SourceKind kind, RenderSourceMaker maker) {
    return Makers().Set(kind, std::move(maker));
}

SourceKind SourceKindForPath(const std::string& path) {
    return FileParser::IsR3DFile(path) ? SourceKind::R3D : SourceKind::Movie;
}

Status MakeRenderSourceForPath(const std::string& path, std::unique_ptr<RenderSource>* source) {
    source->reset();
    const SourceKind kind = SourceKindForPath(path);
    const RenderSourceMaker maker = Makers().Find(kind);
    const char* what = kind == SourceKind::R3D ? "R3D clips" : "movie files";
    if (!maker) return UnsupportedError(std::string("This build cannot render ") + what + ": no source reads " + path);
    *source = maker(path);
    if (!*source) return InvalidError("No render source could be made for " + path);
    return OkStatus();
}

ScopedRenderSourceMaker::ScopedRenderSourceMaker(SourceKind kind, RenderSourceMaker maker)
    : kind_(kind), previous_(SetRenderSourceMaker(kind, std::move(maker))) {}

ScopedRenderSourceMaker::~ScopedRenderSourceMaker() { SetRenderSourceMaker(kind_, std::move(previous_)); }

}  // namespace ombrel
