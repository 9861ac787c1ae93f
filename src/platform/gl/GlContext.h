#pragma once

// OpenGL contexts for the look pipeline, made through EGL without a window.
//
// A context is a compatibility-profile context (the pipeline uses fixed-function quads,
// rectangle textures and luminance formats), created surfaceless where the driver allows
// and on a 1 x 1 pbuffer otherwise. It is current on one thread at a time: MakeCurrent on a
// second thread fails while the first still holds it. Creation never throws and never
// aborts: a context that cannot be made is a failed Status that says why.

#include <memory>
#include <string>

#include "core/Status.h"

namespace ombrel {

// What the driver said about itself the first time a context was made current.
struct GlDriverInfo {
    std::string vendor;
    std::string renderer;
    std::string version;
    std::string shadingLanguageVersion;
};

class GlContext {
public:
    // A new context. With `shareWith`, textures, programs and buffers are shared with that
    // context (and everything it shares with). *out is null on failure.
    static Status Create(std::shared_ptr<GlContext>* out, const GlContext* shareWith = nullptr);

    ~GlContext();
    GlContext(const GlContext&) = delete;
    GlContext& operator=(const GlContext&) = delete;

    // Makes the context current on the calling thread. False (and a log line) when the
    // context is current on another thread or the driver refuses.
    bool MakeCurrent();
    // Leaves the calling thread with no current context, if this one is current on it.
    void ReleaseCurrent();
    // True when this context is current on the calling thread.
    bool IsCurrent() const;

    // The context current on the calling thread, if it is one of ours.
    static GlContext* Current();

    // True when the GL extension string of this context names `name`. The context must
    // be current.
    bool HasExtension(const char* name) const;
    // The GL version as major * 10 + minor (21 for 2.1). The context must be current.
    int GlVersion() const;
    // Whether the pbuffer fallback was taken instead of a surfaceless context.
    bool UsesPbuffer() const;

    // Filled once per process, on the first successful MakeCurrent; empty before.
    static GlDriverInfo DriverInfo();

    struct Impl;

private:
    explicit GlContext(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

using GlContextPtr = std::shared_ptr<GlContext>;

// Makes a context current for a scope and, when it was not current before, releases it at
// the end. `ok()` tells whether the context is current inside the scope.
class ScopedGlCurrent {
public:
    explicit ScopedGlCurrent(GlContext* context);
    ~ScopedGlCurrent();
    ScopedGlCurrent(const ScopedGlCurrent&) = delete;
    ScopedGlCurrent& operator=(const ScopedGlCurrent&) = delete;
    bool ok() const { return ok_; }

private:
    GlContext* context_;
    GlContext* previous_;
    bool ok_ = false;
};

}  // namespace ombrel
