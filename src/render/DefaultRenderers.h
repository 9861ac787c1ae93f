#pragma once

#include <functional>
#include <memory>

#include "render/Renderer.h"

namespace ombrel {

// Makes a renderer for one clip.
using RendererMaker = std::function<std::unique_ptr<Renderer>()>;

// The renderer of an output format; a null maker removes the format.
void RegisterRendererMaker(int format, RendererMaker maker);
// The renderer for a format, or null when this build has none.
std::unique_ptr<Renderer> MakeRendererForFormat(int format);

// Registers the renderers this build has and hands RenderManager the factory that picks
// among them. Safe to call more than once.
void RegisterDefaultRenderers();

}  // namespace ombrel
