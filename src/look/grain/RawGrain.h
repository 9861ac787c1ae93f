#pragma once

// One grain scan as loaded from the resources, before any resizing.

#include <memory>
#include <string>

#include "platform/imageio/Bitmap.h"

namespace ombrel {

class RawGrain {
public:
    explicit RawGrain(BitmapRepPtr rep) : rep_(std::move(rep)) {}

    // Loads "<name>.bin" from the resources: a plain image file, not scrambled. Without its
    // scans the pipeline cannot run, so a missing or unreadable scan is fatal.
    static std::shared_ptr<const RawGrain> InitWithName(const std::string& name);

    const BitmapRepPtr& Rep() const { return rep_; }

private:
    BitmapRepPtr rep_;
};

using RawGrainPtr = std::shared_ptr<const RawGrain>;

}  // namespace ombrel
