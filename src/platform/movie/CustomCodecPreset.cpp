#include "platform/movie/CustomCodecPreset.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cctype>

#include "platform/movie/FFmpegHandles.h"
#include "platform/movie/FFmpegLog.h"
#include "platform/movie/MovieWriter.h"

namespace ombrel {
namespace {

bool HasSpace(const std::string& s) {
    return std::any_of(s.begin(), s.end(), [](unsigned char c) { return std::isspace(c) != 0; });
}

// Formats enough to find one that opens; past that, the encoder wants to be told.
constexpr int kPixelFormatsTried = 8;

}  // namespace

Status MakeCustomCodecPreset(const CustomCodecRequest& request, CodecPreset* preset) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(request.encoder.c_str());
    if (!encoder) return NotFoundError("FFmpeg here has no encoder \"" + request.encoder + "\"");
    if (encoder->type != AVMEDIA_TYPE_VIDEO) return InvalidError("\"" + request.encoder + "\" is no video encoder");

    CodecPreset p;
    p.title = "its settings";  // as the test's messages name it
    p.encoder = request.encoder;
    // One preset line holds the options, space-separated, so a space cannot be part of one.
    for (const std::string& option : request.options) {
        const size_t eq = option.find('=');
        if (eq == 0 || eq == std::string::npos || eq + 1 == option.size() || HasSpace(option))
            return InvalidError("option \"" + option + "\" is not KEY=VALUE without spaces");
        p.options.emplace_back(option.substr(0, eq), option.substr(eq + 1));
    }
    // Each option by itself on an unopened encoder, so that a wrong one is named as such and
    // not hidden behind whatever the open then refuses.
    RouteFFmpegLogging();
    const CodecContextPtr context(avcodec_alloc_context3(encoder));
    if (!context) return NoMemoryError("no memory for the encoder");
    for (const auto& [key, value] : p.options) {
        const int rc = av_opt_set(context.get(), key.c_str(), value.c_str(), AV_OPT_SEARCH_CHILDREN);
        if (rc == AVERROR_OPTION_NOT_FOUND)
            return InvalidError("the encoder " + request.encoder + " has no option \"" + key + "\"");
        if (rc < 0)
            return InvalidError("the encoder " + request.encoder + " refuses " + key + "=" + value + ": " +
                                FFmpegErrorText(rc));
    }

    std::vector<std::string> formats;
    std::string accepted;
    for (const AVPixelFormat* f = encoder->pix_fmts; f && *f != AV_PIX_FMT_NONE; ++f) {
        const char* name = av_get_pix_fmt_name(*f);
        if (!name) continue;
        accepted += (accepted.empty() ? "" : ", ") + std::string(name);
        if (request.pixelFormat.empty() ? static_cast<int>(formats.size()) < kPixelFormatsTried
                                        : av_get_pix_fmt(request.pixelFormat.c_str()) == *f)
            formats.push_back(name);
    }
    if (!request.pixelFormat.empty()) {
        if (av_get_pix_fmt(request.pixelFormat.c_str()) == AV_PIX_FMT_NONE)
            return InvalidError("unknown pixel format \"" + request.pixelFormat + "\"");
        // An encoder without a list takes what it is given, and the test tells.
        if (!encoder->pix_fmts) formats.push_back(request.pixelFormat);
        if (formats.empty())
            return InvalidError("the encoder " + request.encoder + " takes no " + request.pixelFormat + ", only " +
                                accepted);
    } else if (formats.empty()) {
        return InvalidError("the encoder " + request.encoder + " names no pixel format of its own: give one with --pix-fmt");
    }

    Status first;
    for (const std::string& format : formats) {
        p.pixelFormat = format;
        std::string fourCC;
        const Status tested = TestCodecPreset(p, &fourCC);
        if (tested.ok()) {
            if (fourCC.find('?') != std::string::npos)
                return UnsupportedError("the mov muxer gives " + request.encoder + " no four characters of print");
            p.fourCC = fourCC;
            *preset = std::move(p);
            return OkStatus();
        }
        if (first.ok()) first = tested;
    }
    return first;
}

std::string CodecPresetText(const CodecPreset& p) {
    std::string options;
    for (const auto& [key, value] : p.options) options += (options.empty() ? "" : " ") + key + "=" + value;
    const bool quote = !p.fourCC.empty() && (p.fourCC.front() == ' ' || p.fourCC.back() == ' ');
    return "# A codec of the user's own. Lines are key = value; options are encoder options, key=value, "
           "space-separated.\ntitle = " +
           p.title + "\nfourcc = " + (quote ? "'" + p.fourCC + "'" : p.fourCC) + "\nencoder = " + p.encoder +
           "\npixel_format = " + p.pixelFormat + "\noptions = " + options + "\n";
}

}  // namespace ombrel
