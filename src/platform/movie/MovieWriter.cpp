#include "platform/movie/MovieWriter.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "core/Log.h"
#include "platform/movie/FFmpegHandles.h"
#include "platform/movie/FFmpegLog.h"
#include "platform/movie/MovieProbe.h"

namespace ombrel {
namespace fs = std::filesystem;

namespace {

struct OutputCloser {
    void operator()(AVFormatContext* c) const {
        if (!c) return;
        avio_closep(&c->pb);
        avformat_free_context(c);
    }
};

struct SwsFreer {
    void operator()(SwsContext* s) const { sws_freeContext(s); }
};

Status AvError(const std::string& what, int code) { return IoError(what + ": " + FFmpegErrorText(code)); }

// "HH:MM:SS:FF", non-drop, of a frame count at a whole rate; hours wrap at 24.
std::string TimecodeText(int64_t frame, int64_t fps) {
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", static_cast<int>(frame / (3600 * fps) % 24),
                  static_cast<int>(frame / (60 * fps) % 60), static_cast<int>(frame / fps % 60),
                  static_cast<int>(frame % fps));
    return text;
}

// The mov muxer writes a timecode track's flags as 0 and offers no option for them: set the
// 24-hour wrap (2) in the finished file's 'tmcd' sample description.
Status SetTimecodeWrapFlag(const std::string& path) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    auto be32 = [](const unsigned char* p) {
        return static_cast<uint64_t>(p[0]) << 24 | static_cast<uint64_t>(p[1]) << 16 | p[2] << 8 | p[3];
    };
    uint64_t at = 0;
    unsigned char head[16];
    while (file.seekg(static_cast<std::streamoff>(at)) && file.read(reinterpret_cast<char*>(head), 8)) {
        uint64_t size = be32(head), body = 8;
        if (size == 1 && file.read(reinterpret_cast<char*>(head + 8), 8)) {
            size = be32(head + 8) << 32 | be32(head + 12);
            body = 16;
        }
        if (size < body) break;
        if (std::string(reinterpret_cast<char*>(head + 4), 4) == "moov") {
            std::string moov(size - body, '\0');
            if (!file.read(moov.data(), static_cast<std::streamsize>(moov.size()))) break;
            // Sample entry: type, 6 reserved bytes and data reference 1, reserved flags, timecode flags.
            const size_t entry = moov.find(std::string("tmcd\0\0\0\0\0\0\0\1\0\0\0\0", 16));
            if (entry == std::string::npos) break;
            const auto* f = reinterpret_cast<const unsigned char*>(moov.data() + entry + 16);
            const uint32_t flags = static_cast<uint32_t>(be32(f)) | 2;
            const char bytes[4] = {static_cast<char>(flags >> 24), static_cast<char>(flags >> 16),
                                   static_cast<char>(flags >> 8), static_cast<char>(flags)};
            file.seekp(static_cast<std::streamoff>(at + body + entry + 16));
            if (file.write(bytes, 4) && file.flush()) return OkStatus();
            break;
        }
        at += size;
    }
    return IoError("the timecode track of " + path + " cannot be marked for a 24-hour wrap");
}

// One sound stream on its way from its source into a track of the movie. Positions count
// sample frames from the source's first picture.
struct SoundCopy {
    FormatContextPtr input;
    int index = -1;
    AVStream* out = nullptr;
    int rate = 0;
    bool pcm = false;
    int frameBytes = 0;  // linear PCM: one sample of every channel
    int64_t origin = 0;
    int64_t first = 0;  // the part copied
    int64_t end = -1;   // -1: to the end of the stream
    int64_t written = 0;
    PacketPtr pending;  // read, and not yet due
    int64_t pendingAt = 0;
    int64_t pendingSamples = 0;
    int64_t next = AV_NOPTS_VALUE;  // where the packet after the pending one starts
    bool done = false;
};

bool IsLinearPcm(AVCodecID id) {
    return id >= AV_CODEC_ID_PCM_S16LE && id < AV_CODEC_ID_ADPCM_IMA_QT && av_get_exact_bits_per_sample(id) % 8 == 0 &&
           av_get_exact_bits_per_sample(id) > 0;
}

// Reads the stream's next packet into `pending`, with where it starts and how many samples it
// holds; false at the end of what can be read.
bool ReadSoundPacket(SoundCopy& c) {
    AVFormatContext* in = c.input.get();
    const AVStream* from = in->streams[c.index];
    AVPacket* p = c.pending.get();
    for (;;) {
        av_packet_unref(p);
        if (av_read_frame(in, p) < 0) return false;
        if (p->stream_index == c.index) break;
    }
    const AVRational perSample{1, c.rate};
    if (c.pcm) {
        c.pendingSamples = p->size / c.frameBytes;
    } else if (p->duration > 0) {
        c.pendingSamples = av_rescale_q(p->duration, from->time_base, perSample);
    } else {
        c.pendingSamples = from->codecpar->frame_size;
    }
    // Linear PCM runs on without gaps from its first packet; others start where they say.
    if (c.next != AV_NOPTS_VALUE && (c.pcm || p->pts == AV_NOPTS_VALUE))
        c.pendingAt = c.next;
    else
        c.pendingAt = p->pts == AV_NOPTS_VALUE ? 0 : av_rescale_q(p->pts, from->time_base, perSample) - c.origin;
    c.next = c.pendingAt + c.pendingSamples;
    return true;
}

}  // namespace

struct MovieWriter::Av {
    std::unique_ptr<AVFormatContext, OutputCloser> format;
    CodecContextPtr codec;
    AVStream* stream = nullptr;
    std::unique_ptr<SwsContext, SwsFreer> sws;
    FramePtr frame;
    PacketPtr packet;
    int width = 0;
    int height = 0;
    AVRational rate{24, 1};
    std::vector<SoundCopy> sound;
};

MovieWriter::MovieWriter() = default;

MovieWriter::~MovieWriter() {
    if (open_) Cancel();
}

std::string MovieWriter::TemporaryPathFor(const std::string& target) {
    const fs::path t(target);
    return (t.parent_path() / ("__" + t.stem().string() + ".mov")).string();
}

bool MovieWriter::Fail(Status error) {
    error_ = std::move(error);
    Discard();
    return false;
}

void MovieWriter::Cancel() {
    if (!open_) return;
    Discard();
    error_ = CancelledError("the movie " + tempPath_ + " was cancelled");
}

void MovieWriter::Discard() {
    av_.reset();
    open_ = false;
    std::error_code ec;
    if (!tempPath_.empty()) fs::remove(tempPath_, ec);
}

bool MovieWriter::Open(const std::string& target, const MovieWriterSettings& s) {
    if (open_) {
        error_ = InvalidError("a movie is open already");
        return false;
    }
    RouteFFmpegLogging();
    error_ = OkStatus();
    frames_ = 0;
    stamps_.clear();
    tempPath_.clear();
    const CodecPreset& p = s.preset;
    if (s.width <= 0 || s.height <= 0 || s.rateNum <= 0 || s.rateDen <= 0 || s.timeScale <= 0)
        return Fail(InvalidError("a movie needs a size, a rate and a time scale above 0"));
    if (p.encoder.empty()) return Fail(UnsupportedError(p.title + " (" + p.fourCC + ") has no encoder here"));
    const AVCodec* encoder = avcodec_find_encoder_by_name(p.encoder.c_str());
    if (!encoder) return Fail(UnsupportedError("FFmpeg has no encoder \"" + p.encoder + "\" for " + p.title));
    const AVPixelFormat pixels = av_get_pix_fmt(p.pixelFormat.c_str());
    if (pixels == AV_PIX_FMT_NONE) return Fail(InvalidError("unknown pixel format \"" + p.pixelFormat + "\""));

    tempPath_ = TemporaryPathFor(target);
    open_ = true;
    av_ = std::make_unique<Av>();
    av_->width = s.width;
    av_->height = s.height;
    AVRational rate{};
    av_reduce(&rate.num, &rate.den, s.rateNum, s.rateDen, INT32_MAX);
    av_->rate = rate;

    AVFormatContext* fc = nullptr;
    if (int rc = avformat_alloc_output_context2(&fc, nullptr, "mov", tempPath_.c_str()); rc < 0)
        return Fail(AvError("the mov muxer", rc));
    av_->format.reset(fc);

    av_->codec.reset(avcodec_alloc_context3(encoder));
    AVCodecContext* c = av_->codec.get();
    if (!c) return Fail(NoMemoryError("no memory for the encoder"));
    c->width = s.width;
    c->height = s.height;
    c->pix_fmt = pixels;
    c->time_base = av_inv_q(rate);
    c->framerate = rate;
    c->thread_count = 0;
    // No four characters of our own: the muxer tags the track as it sees fit.
    c->codec_tag = p.fourCC.size() == 4 ? MKTAG(p.fourCC[0], p.fourCC[1], p.fourCC[2], p.fourCC[3]) : 0;
    c->color_primaries = AVCOL_PRI_BT709;
    c->color_trc = AVCOL_TRC_BT709;
    c->colorspace = AVCOL_SPC_BT709;
    c->color_range = AVCOL_RANGE_MPEG;
    if (fc->oformat->flags & AVFMT_GLOBALHEADER) c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* options = nullptr;
    for (const auto& [key, value] : p.options) av_dict_set(&options, key.c_str(), value.c_str(), 0);
    const int opened = avcodec_open2(c, encoder, &options);
    const AVDictionaryEntry* left = av_dict_get(options, "", nullptr, AV_DICT_IGNORE_SUFFIX);
    const std::string unknown = left ? left->key : "";
    av_dict_free(&options);
    if (opened < 0)
        return Fail(AvError("the encoder " + p.encoder + " refuses " + p.title + " at " + std::to_string(s.width) +
                                " x " + std::to_string(s.height),
                            opened));
    if (!unknown.empty()) return Fail(InvalidError("the encoder " + p.encoder + " has no option \"" + unknown + "\""));

    AVStream* st = avformat_new_stream(fc, nullptr);
    if (!st) return Fail(NoMemoryError("no memory for the video track"));
    av_->stream = st;
    if (int rc = avcodec_parameters_from_context(st->codecpar, c); rc < 0) return Fail(AvError("the video track", rc));
    st->codecpar->codec_tag = c->codec_tag;
    st->time_base = AVRational{1, s.timeScale};
    st->avg_frame_rate = rate;
    const int64_t fps = (rate.num + rate.den - 1) / rate.den;
    av_dict_set(&st->metadata, "timecode", TimecodeText(s.timecodeStart, fps).c_str(), 0);
    if (!s.reelName.empty()) av_dict_set(&st->metadata, "reel_name", s.reelName.c_str(), 0);

    for (const MovieSoundStream& sound : s.sound) {
        // A sound that cannot be copied leaves the movie without it, not without its pictures.
        if (Status a = AddSoundTrack(sound, s.audioFirstFrame, s.audioFrames); !a.ok())
            LogWarn("{}; the movie has no track of it", a.message());
    }
    if (int rc = avio_open(&fc->pb, tempPath_.c_str(), AVIO_FLAG_WRITE); rc < 0)
        return Fail(AvError("cannot write " + tempPath_, rc));
    AVDictionary* muxing = nullptr;
    av_dict_set_int(&muxing, "video_track_timescale", s.timeScale, 0);
    const int rc = avformat_write_header(fc, &muxing);
    av_dict_free(&muxing);
    if (rc < 0) return Fail(AvError("the movie header of " + tempPath_, rc));

    const AVPixelFormat in = s.alpha ? AV_PIX_FMT_RGBA64 : AV_PIX_FMT_RGB48;
    av_->sws.reset(sws_getContext(s.width, s.height, in, s.width, s.height, pixels,
                                  SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP, nullptr, nullptr, nullptr));
    if (!av_->sws) return Fail(UnsupportedError("no conversion to " + p.pixelFormat));
    const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(av_->sws.get(), bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
    av_->frame.reset(av_frame_alloc());
    av_->packet.reset(av_packet_alloc());
    AVFrame* f = av_->frame.get();
    if (!f || !av_->packet) return Fail(NoMemoryError("no memory for a frame"));
    f->format = pixels;
    f->width = s.width;
    f->height = s.height;
    f->color_primaries = c->color_primaries;
    f->color_trc = c->color_trc;
    f->colorspace = c->colorspace;
    f->color_range = c->color_range;
    if (int e = av_frame_get_buffer(f, 0); e < 0) return Fail(AvError("a frame", e));
    return true;
}

bool MovieWriter::WriteFrame(const uint16_t* pixels, size_t rowBytes) {
    if (!open_) return false;
    AVFrame* f = av_->frame.get();
    if (int rc = av_frame_make_writable(f); rc < 0) return Fail(AvError("a frame", rc));
    const uint8_t* src[1] = {reinterpret_cast<const uint8_t*>(pixels)};
    const int stride[1] = {static_cast<int>(rowBytes)};
    sws_scale(av_->sws.get(), src, stride, 0, av_->height, f->data, f->linesize);
    f->pts = frames_++;
    // The sound keeps pace with the pictures, so the muxer interleaves them as they come.
    return Encode(false) && WriteSoundUpTo(frames_);
}

Status MovieWriter::AddSoundTrack(const MovieSoundStream& source, int64_t firstFrame, int64_t frames) {
    const std::string what = "stream " + std::to_string(source.stream) + " of " + source.path;
    SoundCopy c;
    AVFormatContext* in = nullptr;
    if (int rc = avformat_open_input(&in, source.path.c_str(), nullptr, nullptr); rc < 0)
        return AvError("the sound of " + source.path, rc);
    c.input.reset(in);
    if (int rc = avformat_find_stream_info(in, nullptr); rc < 0) return AvError("the sound of " + source.path, rc);
    if (source.stream < 0 || source.stream >= static_cast<int>(in->nb_streams) ||
        in->streams[source.stream]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
        return InvalidError(what + " is not sound");
    const AVStream* from = in->streams[source.stream];
    const AVCodecParameters* par = from->codecpar;
    if (par->sample_rate <= 0) return InvalidError(what + " has no sample rate");
    if (avformat_query_codec(av_->format->oformat, par->codec_id, FF_COMPLIANCE_NORMAL) != 1)
        return UnsupportedError(what + ": " + avcodec_get_name(par->codec_id) + " does not go into a movie");
    for (unsigned i = 0; i < in->nb_streams; ++i)
        if (static_cast<int>(i) != source.stream) in->streams[i]->discard = AVDISCARD_ALL;
    c.index = source.stream;
    c.rate = par->sample_rate;
    c.pcm = IsLinearPcm(par->codec_id);
    c.frameBytes = av_get_exact_bits_per_sample(par->codec_id) / 8 * par->ch_layout.nb_channels;
    if (c.pcm && c.frameBytes <= 0) return InvalidError(what + " has no channels");
    // Frame 0 is the source's first picture, as the reader counts them.
    const int video = av_find_best_stream(in, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (video >= 0 && in->streams[video]->start_time != AV_NOPTS_VALUE)
        c.origin = av_rescale_q(in->streams[video]->start_time, in->streams[video]->time_base, AVRational{1, c.rate});
    const auto samples = [&](int64_t f) { return av_rescale(f, int64_t(av_->rate.den) * c.rate, av_->rate.num); };
    c.first = samples(firstFrame);
    c.end = frames < 0 ? -1 : samples(firstFrame + frames);
    c.pending.reset(av_packet_alloc());
    AVStream* st = avformat_new_stream(av_->format.get(), nullptr);
    if (!st || !c.pending) return NoMemoryError("no memory for the sound track");
    if (int rc = avcodec_parameters_copy(st->codecpar, par); rc < 0) return AvError("the sound track", rc);
    // The source container's tag may mean nothing in a movie: the muxer picks its own.
    st->codecpar->codec_tag = 0;
    st->time_base = AVRational{1, c.rate};
    c.out = st;
    av_->sound.push_back(std::move(c));
    return OkStatus();
}

bool MovieWriter::WriteSoundUpTo(int64_t frames) {
    for (SoundCopy& c : av_->sound) {
        const int64_t due = frames < 0 ? -1 : av_rescale(frames, int64_t(av_->rate.den) * c.rate, av_->rate.num);
        while (!c.done) {
            AVPacket* p = c.pending.get();
            if (!p->data && !ReadSoundPacket(c)) {
                c.done = true;
                break;
            }
            const int64_t at = c.pendingAt, n = c.pendingSamples;
            if (c.end >= 0 && at >= c.end) {
                c.done = true;
                break;
            }
            if (due >= 0 && at - c.first >= due) break;
            if (at + n <= c.first || n <= 0) {
                av_packet_unref(p);
                continue;
            }
            if (c.pcm) {
                const int64_t head = std::max<int64_t>(c.first - at, 0);
                const int64_t tail = c.end >= 0 ? std::max<int64_t>(at + n - c.end, 0) : 0;
                p->data += head * c.frameBytes;
                p->size = static_cast<int>((n - head - tail) * c.frameBytes);
                p->pts = p->dts = c.written;
                p->duration = n - head - tail;
                c.written += p->duration;
            } else {
                // Whole packets: the first may begin before the part, and the muxer's edit list
                // keeps that lead out of the movie's time.
                p->pts = p->dts = at - c.first;
                p->duration = n;
            }
            p->stream_index = c.out->index;
            p->pos = -1;
            if (int rc = av_interleaved_write_frame(av_->format.get(), p); rc < 0)
                return Fail(AvError("writing the sound of " + tempPath_, rc));
        }
    }
    return true;
}

bool MovieWriter::WriteFrameAt(const uint16_t* pixels, size_t rowBytes, int64_t timeStamp, int64_t duration) {
    if (!open_) return false;
    stamps_.emplace_back(timeStamp, duration);
    return WriteFrame(pixels, rowBytes);
}

bool MovieWriter::Encode(bool flush) {
    AVCodecContext* c = av_->codec.get();
    if (int rc = avcodec_send_frame(c, flush ? nullptr : av_->frame.get()); rc < 0)
        return Fail(AvError("the encoder " + std::string(c->codec->name), rc));
    AVPacket* pkt = av_->packet.get();
    const AVRational tb = av_->stream->time_base;
    for (;;) {
        int rc = avcodec_receive_packet(c, pkt);
        if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return true;
        if (rc < 0) return Fail(AvError("the encoder " + std::string(c->codec->name), rc));
        // Each packet is one frame: its duration is where the next frame starts, so that a rate
        // that does not divide the time scale still adds up.
        const int64_t pts = pkt->pts;
        const int64_t frameDts = pkt->dts == AV_NOPTS_VALUE ? pts : pkt->dts;
        pkt->pts = av_rescale_q(pts, c->time_base, tb);
        pkt->dts = av_rescale_q(pkt->dts, c->time_base, tb);
        pkt->duration = av_rescale_q(pts + 1, c->time_base, tb) - pkt->pts;
        if (!stamps_.empty()) {
            // Frame numbers to the caller's stamps; a decode time before frame 0 (B-frames) goes
            // back in steps of the first duration.
            const auto stamp = [this](int64_t n) {
                return n >= 0 && n < static_cast<int64_t>(stamps_.size()) ? stamps_[static_cast<size_t>(n)].first
                                                                          : n * stamps_.front().second;
            };
            pkt->pts = stamp(pts);
            pkt->dts = stamp(frameDts);
            if (pts >= 0 && pts < static_cast<int64_t>(stamps_.size()))
                pkt->duration = stamps_[static_cast<size_t>(pts)].second;
        }
        pkt->stream_index = av_->stream->index;
        rc = av_interleaved_write_frame(av_->format.get(), pkt);
        if (rc < 0) return Fail(AvError("writing " + tempPath_, rc));
    }
}

bool MovieWriter::Close() {
    if (!open_) return false;
    if (!Encode(true) || !WriteSoundUpTo(-1)) return false;
    if (int rc = av_write_trailer(av_->format.get()); rc < 0) return Fail(AvError("finishing " + tempPath_, rc));
    if (int rc = avio_closep(&av_->format->pb); rc < 0) return Fail(AvError("closing " + tempPath_, rc));
    if (Status s = SetTimecodeWrapFlag(tempPath_); !s.ok()) return Fail(s);
    av_.reset();
    open_ = false;
    return true;
}

namespace {

// Encoders that refuse small pictures, with the smallest they take.
struct MinimumSize {
    const char* encoder;
    int width;
    int height;
};
constexpr MinimumSize kMinimumSizes[] = {{"dnxhd", 256, 120}};

}  // namespace

Status TestCodecPreset(const CodecPreset& preset, std::string* writtenFourCC) {
    MovieWriterSettings s;
    s.preset = preset;
    s.width = 100;
    s.height = 50;
    for (const auto& m : kMinimumSizes) {
        if (preset.encoder == m.encoder) {
            s.width = std::max(s.width, m.width);
            s.height = std::max(s.height, m.height);
        }
    }
    std::error_code ec;
    std::string dir = (fs::temp_directory_path(ec) / "ombrel-codec-XXXXXX").string();
    if (ec || !mkdtemp(dir.data())) return IoError("no scratch folder for a codec test");
    Status result;
    {
        MovieWriter writer;
        const std::vector<uint16_t> frame(static_cast<size_t>(s.width * s.height * 3), 0x8000);
        bool ok = writer.Open(dir + "/test.mov", s);
        for (int i = 0; ok && i < 2; ++i) ok = writer.WriteFrame(frame.data(), static_cast<size_t>(s.width) * 6);
        if (!(ok && writer.Close())) result = writer.lastError();
        if (result.ok() && writtenFourCC) {
            MovieProbe probe(writer.temporaryPath());
            const MovieTrack* video = probe.ok() ? probe.info().FirstVideoTrack() : nullptr;
            if (!video) result = IoError("the codec test movie does not read back");
            else *writtenFourCC = video->FourCC();
        }
    }
    fs::remove_all(dir, ec);
    return result;
}

Status TestCodecPreset(int tag) {
    CodecPreset preset;
    if (Status s = LoadCodecPreset(tag, &preset); !s.ok()) return s;
    return TestCodecPreset(preset);
}

std::vector<int> TestCodecs() {
    std::vector<int> failed;
    for (int tag = 0; tag < kFactoryCodecTags; ++tag)
        if (tag != 4 && !TestCodecPreset(tag).ok()) failed.push_back(tag);
    return failed;
}

}  // namespace ombrel
