#pragma once

#include <string>

namespace ombrel::cli {

// JSON text of the command line's --json output: a quoted, escaped string; a number (0 for
// one that is not finite, which JSON cannot hold).
std::string JsonString(const std::string& s);
std::string JsonNumber(double v);

}  // namespace ombrel::cli
