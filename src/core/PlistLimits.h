#pragma once

namespace ombrel {

// The deepest nesting of containers a property list may have; deeper lists are refused as
// they are read (PlistValue::FromXml, the project check). Ours nest four levels.
inline constexpr int kMaxPlistDepth = 256;

}  // namespace ombrel
