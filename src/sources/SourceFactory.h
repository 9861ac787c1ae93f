#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/Status.h"
#include "sources/RenderSource.h"

namespace ombrel {

// The two kinds of clip a render opens: R3D clips get the R3D source, every other file
// the movie source. FileParser::IsR3DFile decides.
enum class SourceKind { R3D, Movie };

// Makes an unopened source for a path of its kind; null when it cannot.
using RenderSourceMaker = std::function<std::unique_ptr<RenderSource>(const std::string& path)>;

// Installs the maker of a kind (the R3D and movie sources register theirs at start-up)
// and answers the one it replaces. A null maker removes the kind.
RenderSourceMaker SetRenderSourceMaker(SourceKind kind, RenderSourceMaker maker);

SourceKind SourceKindForPath(const std::string& path);

// Puts the source for a clip, not yet opened, in *source; when there is none, *source is null
// and the status says why (kUnsupported: no maker for the kind; kInvalid: the maker refused).
Status MakeRenderSourceForPath(const std::string& path, std::unique_ptr<RenderSource>* source);

// Puts a maker in place for the life of the object and restores the previous one after.
class ScopedRenderSourceMaker {
public:
    ScopedRenderSourceMaker(SourceKind kind, RenderSourceMaker maker);
    ~ScopedRenderSourceMaker();
    ScopedRenderSourceMaker(const ScopedRenderSourceMaker&) = delete;
    ScopedRenderSourceMaker& operator=(const ScopedRenderSourceMaker&) = delete;

private:
    SourceKind kind_;
    RenderSourceMaker previous_;
};

}  // namespace ombrel
