#pragma once

// The plain text of the factory looks: blocks headed "[<preset id>]" with "key = value" lines.

#include <string>
#include <vector>

#include "model/RenderPreset.h"

namespace ombrel::factory {

// The presets of the file, numbered 1, 2, ... in file order; false with a message naming the
// line when a block or value is not understood.
bool ReadLooks(const std::string& path, std::vector<RenderPresetPtr>* out, std::string* error);

}  // namespace ombrel::factory
