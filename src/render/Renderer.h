#pragma once

#include <memory>

#include "render/RenderManagerItem.h"

namespace ombrel {

class RenderManager;

// What the render queue asks of a renderer: one instance per clip, loaded, run once, released.
class Renderer {
public:
    virtual ~Renderer() = default;

    // Opens the clip's source at the output size. False when the clip cannot be rendered;
    // the renderer has then failed the item with a message.
    virtual bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) = 0;
    virtual void setRenderManager(RenderManager* manager) = 0;
    virtual RenderManagerItemPtr currentRenderItem() const = 0;
    // Renders frames first to last, both inclusive; blocks until the clip is done or cancelled.
    virtual void RenderFrameSequenceStartingEnding(int first, int last) = 0;
};

}  // namespace ombrel
