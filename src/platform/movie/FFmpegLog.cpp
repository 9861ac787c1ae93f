#include "platform/movie/FFmpegLog.h"

#include "core/Log.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <cstdarg>
#include <mutex>

namespace ombrel {
namespace {

void LogCallback(void* avcl, int level, const char* fmt, va_list args) {
    if (level > AV_LOG_WARNING) return;
    // FFmpeg may hand over a line in pieces; each thread gathers its own.
    thread_local std::string pending;
    thread_local int printPrefix = 1;
    char line[1024];
    av_log_format_line2(avcl, level, fmt, args, line, sizeof line, &printPrefix);
    pending += line;
    if (pending.empty() || pending.back() != '\n') return;
    pending.pop_back();
    if (!pending.empty()) LogWarn("[ffmpeg] {}", pending);
    pending.clear();
}

}  // namespace

void RouteFFmpegLogging() {
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_WARNING);
        av_log_set_callback(LogCallback);
    });
}

std::string FFmpegErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

}  // namespace ombrel
