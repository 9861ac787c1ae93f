#include "sources/SourceFactory.h"

#include <mutex>

#include "library/FileParser.h"

namespace ombrel {

namespace {

struct Makers {
    std::mutex lock;
    RenderSourceMaker r3d;
    RenderSourceMaker movie;
};

Makers& TheMakers() {
    static Makers makers;
    return makers;
}

}  // namespace

RenderSourceMaker SetRenderSourceMaker(SourceKind kind, RenderSourceMaker maker) {
    auto& m = TheMakers();
    std::lock_guard lock(m.lock);
    RenderSourceMaker& slot = kind == SourceKind::R3D ? m.r3d : m.movie;
    std::swap(slot, maker);
    return maker;
}

SourceKind SourceKindForPath(const std::string& path) {
    return FileParser::IsR3DFile(path) ? SourceKind::R3D : SourceKind::Movie;
}

MadeSource MakeRenderSourceForPath(const std::string& path) {
    const SourceKind kind = SourceKindForPath(path);
    RenderSourceMaker maker;
    {
        auto& m = TheMakers();
        std::lock_guard lock(m.lock);
        maker = kind == SourceKind::R3D ? m.r3d : m.movie;
    }
    const char* what = kind == SourceKind::R3D ? "R3D clips" : "movie files";
    MadeSource made;
    if (!maker) {
        made.error = std::string("This build cannot render ") + what + ": no source reads " + path;
        return made;
    }
    made.source = maker(path);
    if (!made.source) made.error = std::string("No render source could be made for ") + path;
    return made;
}

ScopedRenderSourceMaker::ScopedRenderSourceMaker(SourceKind kind, RenderSourceMaker maker)
    : kind_(kind), previous_(SetRenderSourceMaker(kind, std::move(maker))) {}

ScopedRenderSourceMaker::~ScopedRenderSourceMaker() { SetRenderSourceMaker(kind_, std::move(previous_)); }

}  // namespace ombrel
