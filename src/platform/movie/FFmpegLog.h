#pragma once

#include <string>

namespace ombrel {

// Sends FFmpeg's own messages to the system log: warnings and errors as warning
// lines, everything chattier dropped. Safe to call from any thread, any number of times.
void RouteFFmpegLogging();

// FFmpeg's text for one of its error codes.
std::string FFmpegErrorText(int code);

}  // namespace ombrel
