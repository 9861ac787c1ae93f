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
    AVStream* audio = nullptr;
    std::ifstream au;
    int auFrameBytes = 0;  // bytes of one sample of every channel
    int auRate = 0;
    int64_t auSamples = 0;  // copied so far
    int64_t auEnd = -1;     // samples to copy; -1: all
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

    if (!s.audioPath.empty()) {
        if (Status a = AddAudioTrack(s.audioPath); !a.ok()) return Fail(a);
        const auto samples = [&](int64_t frames) {
            return av_rescale(frames, int64_t(rate.den) * av_->auRate, rate.num);
        };
        av_->au.seekg(samples(s.audioFirstFrame) * av_->auFrameBytes, std::ios::cur);
        av_->auEnd = s.audioFrames < 0 ? -1 : samples(s.audioFirstFrame + s.audioFrames) - samples(s.audioFirstFrame);
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
    return Encode(false) && WriteAudioUpTo(av_rescale(frames_, int64_t(av_->rate.den) * av_->auRate, av_->rate.num));
}

Status MovieWriter::AddAudioTrack(const std::string& path) {
    Av& a = *av_;
    a.au.open(path, std::ios::binary);
    unsigned char h[24];
    if (!a.au.read(reinterpret_cast<char*>(h), sizeof h) || std::memcmp(h, ".snd", 4) != 0)
        return InvalidError(path + " is not a Sun audio file");
    const auto be32 = [&](int at) {
        return static_cast<uint32_t>(h[at]) << 24 | static_cast<uint32_t>(h[at + 1]) << 16 |
               static_cast<uint32_t>(h[at + 2]) << 8 | h[at + 3];
    };
    const uint32_t offset = be32(4), encoding = be32(12), rate = be32(16), channels = be32(20);
    // Linear PCM of 16, 24 and 32 bits: encodings 3, 4 and 5.
    const AVCodecID codecs[] = {AV_CODEC_ID_PCM_S16BE, AV_CODEC_ID_PCM_S24BE, AV_CODEC_ID_PCM_S32BE};
    if (encoding < 3 || encoding > 5 || rate == 0 || rate > 768000 || channels == 0 || channels > 64)
        return UnsupportedError(path + ": sound of encoding " + std::to_string(encoding) + " is not copied");
    a.au.seekg(offset);
    AVStream* st = avformat_new_stream(a.format.get(), nullptr);
    if (!st) return NoMemoryError("no memory for the sound track");
    const int bytes = static_cast<int>(encoding) - 1;
    st->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    st->codecpar->codec_id = codecs[encoding - 3];
    st->codecpar->sample_rate = static_cast<int>(rate);
    av_channel_layout_default(&st->codecpar->ch_layout, static_cast<int>(channels));
    st->codecpar->bits_per_coded_sample = bytes * 8;
    st->codecpar->block_align = bytes * static_cast<int>(channels);
    st->time_base = AVRational{1, static_cast<int>(rate)};
    a.audio = st;
    a.auFrameBytes = st->codecpar->block_align;
    a.auRate = static_cast<int>(rate);
    return OkStatus();
}

bool MovieWriter::WriteAudioUpTo(int64_t endSample) {
    Av& a = *av_;
    if (!a.audio) return true;
    if (a.auEnd >= 0) endSample = endSample < 0 ? a.auEnd : std::min(endSample, a.auEnd);
    constexpr int64_t kChunk = 4800;
    while ((endSample < 0 || a.auSamples < endSample) && a.au) {
        const int64_t want = endSample < 0 ? kChunk : std::min(kChunk, endSample - a.auSamples);
        PacketPtr pkt(av_packet_alloc());
        if (!pkt || av_new_packet(pkt.get(), static_cast<int>(want * a.auFrameBytes)) < 0)
            return Fail(NoMemoryError("no memory for sound"));
        a.au.read(reinterpret_cast<char*>(pkt->data), want * a.auFrameBytes);
        const int64_t got = a.au.gcount() / a.auFrameBytes;
        if (got <= 0) break;
        av_shrink_packet(pkt.get(), static_cast<int>(got * a.auFrameBytes));
        pkt->pts = pkt->dts = a.auSamples;
        pkt->duration = got;
        pkt->stream_index = a.audio->index;
        a.auSamples += got;
        if (int rc = av_interleaved_write_frame(a.format.get(), pkt.get()); rc < 0)
            return Fail(AvError("writing the sound of " + tempPath_, rc));
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
    if (!Encode(true) || !WriteAudioUpTo(-1)) return false;
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
