#include "platform/movie/MovieReader.h"

#include "platform/movie/FFmpegHandles.h"
#include "platform/movie/FFmpegLog.h"
#include "platform/movie/MovieProbe.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libavutil/timecode.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <fstream>
#include <limits>

namespace ombrel {
namespace {

struct SwsFreer {
    void operator()(SwsContext* c) const { sws_freeContext(c); }
};

// How far a seek that landed past its target steps back before the next try: one second
// at first, doubled each time; after the last the demuxer starts over from the file's head.
constexpr int kSeekRetries = 4;

// A key frame's time stamp and where its packet starts in the file.
struct KeyFrame {
    int64_t pts;
    int64_t pos;
};

int64_t TimeOf(const AVFrame* f) { return f->pts != AV_NOPTS_VALUE ? f->pts : f->best_effort_timestamp; }

bool IsYuvJ(int format) {
    return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P ||
           format == AV_PIX_FMT_YUVJ440P || format == AV_PIX_FMT_YUVJ411P;
}

// The tmcd sample is the frame number of the first frame, big-endian, at the timecode's rate.
bool ReadTimecodeSample(const std::string& path, const AVStream* st, int64_t* out) {
    if (avformat_index_get_entries_count(st) < 1) return false;
    const AVIndexEntry* e = avformat_index_get_entry(const_cast<AVStream*>(st), 0);
    if (!e || e->size < 4) return false;
    std::ifstream in(path, std::ios::binary);
    in.seekg(e->pos);
    unsigned char b[4] = {};
    if (!in.read(reinterpret_cast<char*>(b), 4)) return false;
    *out = (int64_t{b[0]} << 24) | (int64_t{b[1]} << 16) | (int64_t{b[2]} << 8) | int64_t{b[3]};
    return true;
}

void Reduce(int64_t num, int64_t den, int64_t* outNum, int64_t* outDen) {
    int n = 0;
    int d = 1;
    av_reduce(&n, &d, num, den, INT32_MAX);
    *outNum = n;
    *outDen = d;
}

const char* TimecodeText(const AVDictionary* d) {
    const AVDictionaryEntry* e = av_dict_get(d, "timecode", nullptr, 0);
    return e ? e->value : nullptr;
}

bool TimecodeFromText(const char* text, int64_t roundedRate, int64_t* out) {
    if (!text || roundedRate <= 0) return false;
    AVTimecode tc;
    if (av_timecode_init_from_string(&tc, AVRational{static_cast<int>(roundedRate), 1}, text, nullptr) < 0) {
        return false;
    }
    *out = tc.start;
    return true;
}

}  // namespace

struct MovieReader::State {
    std::string path;
    std::unique_ptr<MovieProbe> probe;
    int streamIndex = -1;
    AVRational timeBase{0, 1};
    CodecContextPtr decoder;
    PacketPtr packet{av_packet_alloc()};
    FramePtr frame{av_frame_alloc()};
    std::unique_ptr<SwsContext, SwsFreer> sws;

    // Constant rate: frame f at startPts + f x frameDuration. Otherwise `table`.
    bool constantRate = false;
    int64_t startPts = 0;
    int64_t frameDuration = 0;
    std::vector<int64_t> table;
    // MPEG streams: a seek by time lands on any packet, so seeks go to a key frame's bytes.
    std::vector<KeyFrame> keys;

    StaticFrameRate rate;
    int64_t frameCount = 0;
    int64_t timecodeStart = 0;

    int64_t nextFrame = 0;  // what a read without a seek yields; -1 after a failure
    bool draining = false;  // the demuxer ran dry; the decoder gives what it holds
    bool pending = false;   // `frame` holds a picture not handed out yet
    int64_t seeks = 0;

    AVFormatContext* fmt() const { return probe->context(); }
    // 1 a picture in `frame`, 0 the end of the stream, -1 an error with `error` set.
    int NextPicture(std::string* error);
    bool SeekTo(int64_t target, std::string* error);
    bool Rewind(std::string* error);
    bool Convert(int width, int height, std::vector<uint16_t>& rgb, std::string* error);
    AVStream* stream() const { return fmt()->streams[streamIndex]; }
    int64_t TimeOfFrame(int64_t f) const { return constantRate ? startPts + f * frameDuration : table[f]; }
};

MovieReader::MovieReader() = default;
MovieReader::~MovieReader() = default;

bool MovieReader::Fail(std::string message) {
    lastError_ = std::move(message);
    return false;
}

bool MovieReader::isOpen() const { return state_ != nullptr; }
void MovieReader::Close() { state_.reset(); }
int MovieReader::width() const { return state_ ? state_->decoder->width : 0; }
int MovieReader::height() const { return state_ ? state_->decoder->height : 0; }
int64_t MovieReader::frameCount() const { return state_ ? state_->frameCount : 0; }
StaticFrameRate MovieReader::staticFrameRate() const { return state_ ? state_->rate : StaticFrameRate{}; }
int64_t MovieReader::timecodeStartFrame() const { return state_ ? state_->timecodeStart : 0; }
int64_t MovieReader::seekCount() const { return state_ ? state_->seeks : 0; }

namespace {

struct PacketStamp {
    int64_t dts;
    int64_t pts;
    int64_t duration;
    int64_t pos;
    bool key;
};

// One pass over the stream's packets. A packet without a presentation time is a reference
// picture (B pictures show as they decode): it shows when the next reference picture decodes.
bool BuildTable(const std::string& path, int index, std::vector<int64_t>* table, std::vector<KeyFrame>* keys,
                int64_t* lastDuration, std::string* error) {
    MovieProbe pass(path);
    if (!pass.ok()) {
        *error = pass.error();
        return false;
    }
    PacketPtr pkt(av_packet_alloc());
    std::vector<PacketStamp> stamps;
    while (av_read_frame(pass.context(), pkt.get()) >= 0) {
        if (pkt->stream_index == index && !(pkt->flags & AV_PKT_FLAG_DISCARD)) {
            stamps.push_back({pkt->dts, pkt->pts, pkt->duration, pkt->pos, (pkt->flags & AV_PKT_FLAG_KEY) != 0});
        }
        av_packet_unref(pkt.get());
    }
    size_t waiting = stamps.size();
    for (size_t i = 0; i < stamps.size(); ++i) {
        PacketStamp& s = stamps[i];
        const bool reference = s.pts == AV_NOPTS_VALUE || (s.dts != AV_NOPTS_VALUE && s.pts > s.dts);
        if (!reference) continue;
        if (waiting < stamps.size() && s.dts != AV_NOPTS_VALUE) stamps[waiting].pts = s.dts;
        waiting = stamps[i].pts == AV_NOPTS_VALUE ? i : stamps.size();
    }
    if (waiting < stamps.size()) {
        int64_t last = std::numeric_limits<int64_t>::min();
        for (const PacketStamp& s : stamps) last = std::max({last, s.pts, s.dts});
        stamps[waiting].pts = last + std::max<int64_t>(stamps[waiting].duration, 0);
    }
    table->clear();
    keys->clear();
    for (const PacketStamp& s : stamps) {
        if (s.pts == AV_NOPTS_VALUE) continue;
        table->push_back(s.pts);
        if (s.key && s.pos >= 0) keys->push_back({s.pts, s.pos});
    }
    std::sort(keys->begin(), keys->end(), [](const KeyFrame& a, const KeyFrame& b) { return a.pts < b.pts; });
    std::sort(table->begin(), table->end());
    table->erase(std::unique(table->begin(), table->end()), table->end());
    *lastDuration = stamps.empty() ? 0 : stamps.back().duration;
    return true;
}

}  // namespace

bool MovieReader::Open(const std::string& path) {
    Close();
    RouteFFmpegLogging();
    auto s = std::make_unique<State>();
    s->path = path;
    s->probe = std::make_unique<MovieProbe>(path);
    if (!s->probe->ok()) return Fail(s->probe->error());
    const MovieInfo& info = s->probe->info();
    const MovieTrack* video = info.FirstVideoTrack();
    if (!video) return Fail("no picture track: " + path);
    s->streamIndex = video->index;
    AVStream* st = s->stream();
    s->timeBase = st->time_base;

    const AVCodec* codec = avcodec_find_decoder(st->codecpar->codec_id);
    if (!codec) return Fail("no decoder for " + video->codecName + " (" + video->FourCC() + "): " + path);
    s->decoder.reset(avcodec_alloc_context3(codec));
    if (!s->decoder || avcodec_parameters_to_context(s->decoder.get(), st->codecpar) < 0) {
        return Fail("cannot set up the decoder: " + path);
    }
    s->decoder->thread_count = 0;
    s->decoder->pkt_timebase = st->time_base;
    if (const int rc = avcodec_open2(s->decoder.get(), codec, nullptr); rc < 0) {
        return Fail("cannot open the decoder (" + FFmpegErrorText(rc) + "): " + path);
    }
    if (s->decoder->width <= 0 || s->decoder->height <= 0) return Fail("the picture has no size: " + path);

    // Ticks per second are the stream's; a time base of n / d counts in d, n ticks a unit.
    const int64_t tbNum = st->time_base.num;
    const int64_t timeScale = st->time_base.den;
    AVRational r = st->r_frame_rate.num > 0 && st->r_frame_rate.den > 0 ? st->r_frame_rate : st->avg_frame_rate;
    const bool mpeg = info.IsMpegMedia();
    // AVI keeps no presentation times: with B pictures its first one is not its first decode time.
    const bool reordered = info.formatName == "avi" && st->codecpar->video_delay > 0;
    const bool steady = r.num > 0 && r.den > 0 && (st->avg_frame_rate.num == 0 || av_cmp_q(st->avg_frame_rate, r) == 0);
    const int64_t ticksNum = timeScale * r.den;
    const int64_t ticksDen = tbNum * r.num;
    int64_t count = st->nb_frames;
    if (count <= 0 && st->duration > 0 && steady && ticksDen > 0 && ticksNum % ticksDen == 0) {
        count = st->duration / (ticksNum / ticksDen);
    }
    // A sample count that does not fill the stream's length (an edit that trims, a gap) is no
    // ground for arithmetic: such a movie gets the table.
    const bool whole = ticksDen > 0 && ticksNum % ticksDen == 0 && count > 0 &&
                       (st->duration <= 0 || st->duration == count * (ticksNum / ticksDen));
    if (!mpeg && !reordered && steady && whole) {
        s->constantRate = true;
        s->frameDuration = ticksNum / ticksDen;
        s->startPts = st->start_time != AV_NOPTS_VALUE ? st->start_time : 0;
        s->frameCount = count;
        s->rate.duration = count * s->frameDuration * tbNum;
        Reduce(timeScale, s->frameDuration * tbNum, &s->rate.fpsNum, &s->rate.fpsDen);
    } else {
        std::string error;
        int64_t lastDuration = 0;
        if (!BuildTable(path, s->streamIndex, &s->table, &s->keys, &lastDuration, &error)) return Fail(error);
        if (s->table.empty()) return Fail("no pictures with time stamps: " + path);
        // Only program and transport streams carry time stamps a byte seek lands on.
        if (info.formatName != "mpeg" && info.formatName != "mpegts") s->keys.clear();
        s->frameCount = static_cast<int64_t>(s->table.size());
        if (mpeg && r.num > 0 && r.den > 0) {
            // MPEG media keep the encoded rate.
            s->rate.fpsNum = r.num;
            s->rate.fpsDen = r.den;
            s->rate.duration = (s->frameCount * timeScale * r.den + r.num / 2) / r.num;
        } else {
            int64_t span = (s->table.back() - s->table.front()) * tbNum;
            span += s->frameCount > 1 ? span / (s->frameCount - 1) : std::max<int64_t>(lastDuration * tbNum, 1);
            s->rate.duration = span;
            Reduce(s->frameCount * timeScale, std::max<int64_t>(span, 1), &s->rate.fpsNum, &s->rate.fpsDen);
        }
    }
    s->rate.timeScale = timeScale;
    s->rate.frameCount = s->frameCount;

    const int64_t rounded = s->rate.fpsNum > 0 ? (s->rate.fpsNum + s->rate.fpsDen - 1) / s->rate.fpsDen : 0;
    // The first timecode track's sample; else the text FFmpeg made of it, or of another source.
    bool haveTimecode = false;
    for (unsigned i = 0; i < s->fmt()->nb_streams && !haveTimecode; ++i) {
        const AVStream* t = s->fmt()->streams[i];
        if (t->codecpar->codec_tag != MKTAG('t', 'm', 'c', 'd')) continue;
        haveTimecode = ReadTimecodeSample(path, t, &s->timecodeStart) ||
                       TimecodeFromText(TimecodeText(t->metadata), rounded, &s->timecodeStart);
    }
    if (!haveTimecode && !TimecodeFromText(TimecodeText(st->metadata), rounded, &s->timecodeStart)) {
        TimecodeFromText(TimecodeText(s->fmt()->metadata), rounded, &s->timecodeStart);
    }
    state_ = std::move(s);
    lastError_.clear();
    return true;
}

int MovieReader::State::NextPicture(std::string* error) {
    if (pending) {
        pending = false;
        return 1;
    }
    for (;;) {
        av_frame_unref(frame.get());
        int rc = avcodec_receive_frame(decoder.get(), frame.get());
        if (rc == 0) return 1;
        if (rc == AVERROR_EOF) return 0;
        if (rc != AVERROR(EAGAIN)) {
            *error = "cannot decode (" + FFmpegErrorText(rc) + ")";
            return -1;
        }
        if (draining) return 0;
        rc = av_read_frame(fmt(), packet.get());
        if (rc < 0) {
            // The end of the file, or of what can be read of it: the decoder gives up what it holds.
            draining = true;
            avcodec_send_packet(decoder.get(), nullptr);
            continue;
        }
        if (packet->stream_index == streamIndex) {
            // A broken packet is passed over; the frame it held is then missing, not hung on.
            avcodec_send_packet(decoder.get(), packet.get());
        }
        av_packet_unref(packet.get());
    }
}

bool MovieReader::State::Rewind(std::string* error) {
    auto fresh = std::make_unique<MovieProbe>(path);
    if (!fresh->ok()) {
        *error = fresh->error();
        return false;
    }
    probe = std::move(fresh);
    return true;
}

bool MovieReader::State::SeekTo(int64_t target, std::string* error) {
    const int64_t second = timeBase.num > 0 ? std::max<int64_t>(timeBase.den / timeBase.num, 1) : 1;
    const auto key =
        std::upper_bound(keys.begin(), keys.end(), target, [](int64_t t, const KeyFrame& k) { return t < k.pts; });
    for (int attempt = 0; attempt <= kSeekRetries; ++attempt) {
        const int64_t at = attempt == 0 ? target : target - (second << (attempt - 1));
        const bool last = attempt == kSeekRetries;
        int rc = -1;
        if (!last && attempt == 0 && key != keys.begin()) {
            const int64_t pos = std::prev(key)->pos;
            rc = avformat_seek_file(fmt(), streamIndex, pos, pos, pos, AVSEEK_FLAG_BYTE);
        } else if (!last) {
            rc = avformat_seek_file(fmt(), streamIndex, std::numeric_limits<int64_t>::min(), at, at, 0);
        }
        if (rc < 0 && !Rewind(error)) return false;
        avcodec_flush_buffers(decoder.get());
        draining = false;
        pending = false;
        const int got = NextPicture(error);
        if (got < 0) return false;
        // No picture, or a key frame that shows after the target (B pictures before it): step back.
        if ((got == 0 || TimeOf(frame.get()) > target) && !last) continue;
        pending = got == 1;
        return true;
    }
    return true;
}

bool MovieReader::State::Convert(int width, int height, std::vector<uint16_t>& rgb, std::string* error) {
    const AVFrame* f = frame.get();
    SwsContext* ctx = sws_getCachedContext(
        sws.release(), f->width, f->height, static_cast<AVPixelFormat>(f->format), width, height, AV_PIX_FMT_RGB48,
        SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr);
    sws.reset(ctx);
    if (!ctx) {
        *error =
            std::string("cannot convert pictures of ") + av_get_pix_fmt_name(static_cast<AVPixelFormat>(f->format));
        return false;
    }
    int space = f->colorspace != AVCOL_SPC_UNSPECIFIED ? f->colorspace : stream()->codecpar->color_space;
    if (space == AVCOL_SPC_UNSPECIFIED || space == AVCOL_SPC_RESERVED || space == AVCOL_SPC_RGB) {
        space = f->height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    }
    const int range = f->color_range != AVCOL_RANGE_UNSPECIFIED ? f->color_range : stream()->codecpar->color_range;
    const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(f->format));
    const bool rgbSource = desc && (desc->flags & AV_PIX_FMT_FLAG_RGB);
    const bool greySource = desc && desc->nb_components <= 2;
    // RGB needs no matrix; grey without a range tag keeps FFmpeg's full range. Set on every picture:
    // a cached context that had to be made anew starts at the defaults.
    if (!rgbSource && !(greySource && range == AVCOL_RANGE_UNSPECIFIED)) {
        const int full = range == AVCOL_RANGE_JPEG || IsYuvJ(f->format) ? 1 : 0;
        sws_setColorspaceDetails(ctx, sws_getCoefficients(space), full, sws_getCoefficients(SWS_CS_DEFAULT), 1, 0,
                                 1 << 16, 1 << 16);
    }
    rgb.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
    uint8_t* dst[4] = {reinterpret_cast<uint8_t*>(rgb.data()), nullptr, nullptr, nullptr};
    const int dstStride[4] = {width * 6, 0, 0, 0};
    if (sws_scale(ctx, f->data, f->linesize, 0, f->height, dst, dstStride) != height) {
        *error = "cannot convert the picture";
        return false;
    }
    return true;
}

bool MovieReader::ReadFrame(int64_t frame, std::vector<uint16_t>& rgb) {
    return ReadFrameScaled(frame, width(), height(), rgb);
}

bool MovieReader::ReadFrameScaled(int64_t f, int w, int h, std::vector<uint16_t>& rgb) {
    if (!state_) return Fail("no movie is open");
    State& s = *state_;
    if (f < 0 || f >= s.frameCount) {
        return Fail("frame " + std::to_string(f) + " is outside the movie's " + std::to_string(s.frameCount) +
                    " frames: " + s.path);
    }
    if (w <= 0 || h <= 0) return Fail("no size to scale to");
    const int64_t target = s.TimeOfFrame(f);
    std::string error;
    if (s.nextFrame != f) {
        ++s.seeks;
        if (!s.SeekTo(target, &error)) {
            s.nextFrame = -1;
            return Fail("frame " + std::to_string(f) + ": " + error + ": " + s.path);
        }
    }
    s.nextFrame = -1;
    for (;;) {
        const int got = s.NextPicture(&error);
        if (got < 0) return Fail("frame " + std::to_string(f) + ": " + error + ": " + s.path);
        if (got == 0) {
            return Fail("frame " + std::to_string(f) +
                        " cannot be read: the movie ends or breaks off before it: " + s.path);
        }
        // Past the target with nothing at it: the next picture stands in.
        if (TimeOf(s.frame.get()) >= target || TimeOf(s.frame.get()) == AV_NOPTS_VALUE) break;
    }
    if (!s.Convert(w, h, rgb, &error)) return Fail("frame " + std::to_string(f) + ": " + error + ": " + s.path);
    s.nextFrame = f + 1;
    return true;
}

}  // namespace ombrel
