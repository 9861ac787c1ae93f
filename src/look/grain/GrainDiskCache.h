#pragma once

// Resized grain maps kept on disk between runs, under $XDG_CACHE_HOME/ombrel/grain (or
// ~/.cache/ombrel/grain): decoding a scan and resizing it for a frame size costs a render far
// more than the frames it then grains, and the result depends on nothing but the scan and the
// size asked for. A file names its scan and size, records the scan file's length and time, and
// carries a hash of its pixels; anything that does not match is rebuilt, never trusted.

#include <string>

#include "core/Status.h"
#include "platform/imageio/Bitmap.h"

namespace ombrel {

// The folder of the cache files.
std::string GrainCacheFolder();
// The file of a scan ("CP16") at a size asked for (the gauge picks both).
std::string GrainCachePath(const std::string& scanName, int width, int height);

// The resized map of `scanName` at width x height made from the scan file `scanPath`; an error
// when there is none or it does not hold up (the caller rebuilds and stores it).
Status LoadCachedGrain(const std::string& scanName, int width, int height, const std::string& scanPath,
                       BitmapRepPtr* out);
// Writes the resized map whole (atomically), replacing what was there.
Status StoreCachedGrain(const std::string& scanName, int width, int height, const std::string& scanPath,
                        const BitmapRep& map);

}  // namespace ombrel
