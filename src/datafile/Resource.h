#pragma once

// Application resources (shader sources, exposure tables, grain scans, curves) live under the
// data root, DataRoot(): $OMBREL_DATA_DIR, else the installed share/tessaly, else the build
// tree's data/tessaly. Names are paths relative to that root, e.g. "Resources/Shaders/x.fs".

#include <string>

#include "core/Status.h"

namespace ombrel {

// Where the resource would be, whether or not it is there.
std::string ResourcePath(const std::string& name);

// The resource's path in *path when it is a readable regular file; otherwise kNotFound with
// the same text RequireResource logs before it stops the program.
Status FindResource(const std::string& name, std::string* path);

// The resource's path. A missing resource means a broken installation: the path searched
// is logged and the program aborts.
std::string RequireResource(const std::string& name);

}  // namespace ombrel
