#include "platform/movie/MovieProbe.h"

#include "platform/movie/FFmpegHandles.h"
#include "platform/movie/FFmpegLog.h"

#include <cctype>
#include <filesystem>
#include <system_error>

namespace ombrel {
namespace {

double RateOf(AVRational r) { return (r.num > 0 && r.den > 0) ? av_q2d(r) : 0.0; }

MovieTrack TrackOf(const AVStream* stream) {
    const AVCodecParameters* par = stream->codecpar;
    MovieTrack t;
    t.index = stream->index;
    if (par->codec_type == AVMEDIA_TYPE_VIDEO && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
        t.kind = MediaKind::Video;
    } else if (par->codec_type == AVMEDIA_TYPE_AUDIO) {
        t.kind = MediaKind::Audio;
    }
    if (par->codec_id != AV_CODEC_ID_NONE) t.codecName = avcodec_get_name(par->codec_id);
    t.codecTag = par->codec_tag;
    t.decoderAvailable = par->codec_id != AV_CODEC_ID_NONE && avcodec_find_decoder(par->codec_id) != nullptr;
    t.sampleCount = stream->nb_frames > 0 ? stream->nb_frames : 0;
    t.timeBaseNum = stream->time_base.num;
    t.timeBaseDen = stream->time_base.den;
    t.duration = (stream->duration != AV_NOPTS_VALUE && stream->duration > 0) ? stream->duration : 0;
    t.averageFrameRate = RateOf(stream->avg_frame_rate);
    t.realFrameRate = RateOf(stream->r_frame_rate);
    t.width = par->width;
    t.height = par->height;
    t.sampleRate = par->sample_rate;
    t.channels = par->ch_layout.nb_channels;
    return t;
}

}  // namespace

std::string MovieTrack::FourCC() const {
    if (codecTag == 0) return "????";
    std::string s(4, '?');
    for (int i = 0; i < 4; ++i) {
        unsigned char c = static_cast<unsigned char>((codecTag >> (8 * i)) & 0xff);
        if (std::isprint(c)) s[i] = static_cast<char>(c);
    }
    return s;
}

const MovieTrack* MovieInfo::FirstVideoTrack() const {
    for (const MovieTrack& t : tracks) {
        if (t.kind == MediaKind::Video) return &t;
    }
    return nullptr;
}

bool MovieInfo::HasAudio() const {
    for (const MovieTrack& t : tracks) {
        if (t.kind == MediaKind::Audio) return true;
    }
    return false;
}

bool MovieInfo::HasDecodableVideo() const {
    for (const MovieTrack& t : tracks) {
        if (t.kind == MediaKind::Video && t.decoderAvailable && t.width > 0 && t.height > 0) return true;
    }
    return false;
}

bool MovieInfo::IsMpegMedia() const {
    // FFmpeg's demuxer names: "mpeg" (program stream), "mpegts", "mpegvideo" (elementary).
    return formatName == "mpeg" || formatName == "mpegts" || formatName == "mpegvideo";
}

MovieProbe::MovieProbe(const std::string& path) {
    RouteFFmpegLogging();
    info_.path = path;
    std::error_code ec;
    if (path.empty()) {
        error_ = "no path given";
        return;
    }
    if (!std::filesystem::is_regular_file(path, ec)) {
        error_ = "no such file: " + path;
        return;
    }
    AVFormatContext* raw = nullptr;
    int rc = avformat_open_input(&raw, path.c_str(), nullptr, nullptr);
    if (rc < 0) {
        error_ = "not a movie (" + FFmpegErrorText(rc) + "): " + path;
        return;
    }
    FormatContextPtr ctx(raw);
    rc = avformat_find_stream_info(ctx.get(), nullptr);
    if (rc < 0) {
        error_ = "cannot read the streams (" + FFmpegErrorText(rc) + "): " + path;
        return;
    }
    info_.formatName = ctx->iformat && ctx->iformat->name ? ctx->iformat->name : "";
    info_.durationMicros = (ctx->duration != AV_NOPTS_VALUE && ctx->duration > 0) ? ctx->duration : 0;
    for (unsigned i = 0; i < ctx->nb_streams; ++i) info_.tracks.push_back(TrackOf(ctx->streams[i]));
    context_ = ctx.release();
    ok_ = true;
}

MovieProbe::~MovieProbe() { FormatContextPtr close(context_); }

Status ProbeMovie(const std::string& path, MovieInfo& out) {
    MovieProbe probe(path);
    if (!probe.ok()) return InvalidError(probe.error());
    out = probe.info();
    return OkStatus();
}

bool IsDecodableMovie(const std::string& path) {
    MovieProbe probe(path);
    return probe.ok() && probe.info().HasDecodableVideo();
}

}  // namespace ombrel
