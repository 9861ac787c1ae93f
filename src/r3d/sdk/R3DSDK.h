#pragma once

// The camera SDK's clip operations, on top of our R3D container reader: open a clip, read its
// sizes, length, metadata, timecodes and audio, and develop its frames at a decode resolution.
// Frames carrying our own image payload are developed here; a frame that holds the camera
// maker's compressed image data answers kDecodeNeedsMakersDecoder, never a picture. The
// accelerator card API is present and reports that no card is fitted.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ombrel::r3d {
class ClipLoader;
}

namespace ombrel::R3DSDK {

// What Clip::Status answers; 0 means the clip can be used.
enum ClipStatus : int {
    kClipLoaded = 0,
    kClipNoPath = 1,
    kClipCannotOpen = 2,            // missing or unreadable
    kClipNotAClip = 3,              // the file is no R3D clip we can parse
    kClipFirstFrameUnreadable = 4,  // the clip's first frame cannot be read
    kClipOutOfMemory = 5,
    kClipNotLoaded = 6,  // never opened, or closed
};
const char* ClipStatusText(int status);

// Results of a frame decode. 1 to 13 have the meanings of the accelerator card's statuses.
enum DecodeStatus : int {
    kDecodeOk = 0,
    kDecodeResourceNotAvailable = 1,
    kDecodeResourceInUse = 2,
    kDecodeResourceNotOpened = 3,
    kDecodeUnknownError = 4,
    kDecodeOutOfMemory = 5,
    kDecodeInvalidParameter = 6,  // a frame beyond the clip, an unknown decode mode
    kDecodeClipNotOpen = 7,
    kDecodeOutputBufferInvalid = 8,  // null, too small for the rows asked, or not on 16 bytes
    kDecodeInvalidPixelType = 9,
    kDecodePlatformNotSupported = 10,
    kDecodeCannotReadFromFile = 11,
    kDecodeOldDriverFirmware = 12,
    kDecodeDroppedFrame = 13,        // the camera dropped this frame: no picture was recorded
    kDecodeNeedsMakersDecoder = 14,  // the camera maker's compressed image data
    kDecodeDamagedImageData = 15,    // our payload, but it does not hold together
};
// "this frame's image data needs the camera maker's decoder" and the like.
const char* DecodeStatusText(int status);

// Results of DecodeAudioBlock.
enum AudioStatus : int {
    kAudioOk = 0,
    kAudioBadBuffer = 1,  // destination not on 512 bytes, size not a multiple of 512, or too small
    kAudioNoSuchBlock = 3,
    kAudioReadFailed = 6,
    kAudioClipNotOpen = 9,
};
inline constexpr size_t kAudioAlignment = 512;

// Decode modes; the letters are what the code spells from its top byte down.
enum VideoDecodeMode : uint32_t {
    kDecodeFullResPremium = 0x44465250,    // DFRP
    kDecodeHalfResGood = 0x44485247,       // DHRG
    kDecodeHalfResPremium = 0x44485250,    // DHRP
    kDecodeQuarterResGood = 0x44515247,    // DQRG
    kDecodeEighthResGood = 0x44455247,     // DERG
    kDecodeSixteenthResGood = 0x44535247,  // DSRG
};
// 1, 2, 4, 8 or 16; 0 for a code that is no decode mode.
int DivisorForDecodeMode(uint32_t mode);

enum VideoPixelType : uint32_t {
    kPixelRGB16Interleaved = 0x52423649,  // RB6I: R, G, B of 16 bits per pixel, host order
    kPixelRGB16Planar = 0x52423650,       // RB6P: three planes of 16-bit samples
};

// Development curves and colour spaces of the extract types.
enum ImageGammaCurve : int { kGammaREDgamma = 7, kGammaREDlogFilm = 9, kGammaREDgamma3 = 11 };
enum ImageColorSpace : int { kColorREDcolor2 = 6, kColorREDcolor3 = 8 };

// How a frame is developed. Kelvin and ISO of 0 stand for the clip's own values.
struct ImageProcessingSettings {
    int version = 2;
    float kelvin = 0.0f;
    float tint = 0.0f;
    float exposureCompensation = 0.0f;  // stops
    float drx = 0.0f;
    int iso = 0;
    int sharpness = 0;
    int denoise = 0;
    int gammaCurve = kGammaREDgamma;
    int colorSpace = kColorREDcolor2;
};

class Clip;

struct VideoDecodeJob {
    uint32_t mode = kDecodeFullResPremium;
    uint32_t pixelType = kPixelRGB16Interleaved;
    void* outputBuffer = nullptr;
    size_t outputBufferSize = 0;
    // Interleaved: bytes from one row to the next (0: 6 x width). Planar: of one plane's row
    // (0: 2 x width); the planes follow each other, height rows apart.
    size_t bytesPerRow = 0;
    const ImageProcessingSettings* imageProcessingSettings = nullptr;  // null: as shot
};

struct RocketDecodeJob;
using RocketCallback = void (*)(RocketDecodeJob* job, int status);

struct RocketDecodeJob {
    uint32_t mode = kDecodeFullResPremium;
    uint32_t pixelType = kPixelRGB16Interleaved;
    void* outputBuffer = nullptr;
    size_t outputBufferSize = 0;
    size_t bytesPerRow = 0;
    const ImageProcessingSettings* imageProcessingSettings = nullptr;
    size_t frameNumber = 0;
    RocketCallback callback = nullptr;
    void* privateData = nullptr;
    const Clip* clip = nullptr;
};

// Versions of an accelerator card, each as four numbers.
struct RocketInfo {
    std::array<int, 4> driverVersion{};
    std::array<int, 4> firmwareVersion{};
    bool pciX8 = false;
    std::array<int, 4> minDriverVersion{};
    std::array<int, 4> minFirmwareVersion{};
};

// The accelerator card. None can be fitted to this build: no card is available, opening one
// answers 1 (resource not available) and a decode 3 (resource not opened).
class RedRocket {
public:
    static size_t RocketsAvailable();
    int Open(size_t index, RocketInfo* info);
    void Close();
    int Decode(RocketDecodeJob* job, int count);
    bool IsOpen() const { return false; }
};

// One clip, opened by path. Frames and audio blocks count from 0. All reads are safe from
// several threads at once.
class Clip {
public:
    Clip();
    explicit Clip(const std::string& path);
    ~Clip();
    Clip(const Clip&) = delete;
    Clip& operator=(const Clip&) = delete;

    // Opens a clip, closing the one held; answers the new status.
    int LoadFrom(const std::string& path);
    int Status() const { return status_; }
    void Close();

    // Full size and length.
    size_t Width() const;
    size_t Height() const;
    size_t VideoFrameCount() const;
    // The rate as the clip records it, a rational.
    uint32_t FrameRateNumerator() const;
    uint32_t FrameRateDenominator() const;

    // Clip metadata by key; a missing key reads as 0, 0.0 or empty text.
    bool MetadataExists(const std::string& key) const;
    int MetadataItemAsInt(const std::string& key) const;
    float MetadataItemAsFloat(const std::string& key) const;
    std::string MetadataItemAsString(const std::string& key) const;
    std::vector<std::string> MetadataKeys() const;

    // "HH:MM:SS:FF" of a frame ("." between the fields of the first frame of a step above 30
    // frames per second); empty for a frame beyond the clip or a clip without timecode.
    // Timecode gives the edge timecode when "user_timecode_preference" is 0, else the absolute.
    std::string Timecode(size_t frame) const;
    std::string EdgeTimecode(size_t frame) const;
    std::string AbsoluteTimecode(size_t frame) const;
    // The rate that timecode counts in: the frame rate, halved above 30.
    float TimecodeFramerate() const;

    // Develops one frame synchronously into the job's buffer.
    int DecodeVideoFrame(size_t frame, const VideoDecodeJob& job) const;

    // Block count; the size tells how many bytes hold any block: its largest record rounded
    // up to a multiple of 512.
    size_t AudioBlockCountAndSize(size_t* maxBlockSize) const;
    size_t AudioChannelCount() const;
    // Samples per channel over the whole clip.
    uint64_t AudioSampleCount() const;
    // 32-bit big-endian samples, channels interleaved. The destination must lie on a 512-byte
    // boundary and *size be a multiple of 512 that holds the block; *size answers the bytes.
    int DecodeAudioBlock(size_t block, void* destination, size_t* size) const;

private:
    struct Development;
    // The development the settings ask for, in *development; null when the decoded samples
    // stand as they are.
    int DevelopmentFor(const ImageProcessingSettings* settings,
                       std::shared_ptr<const Development>* development) const;

    std::unique_ptr<r3d::ClipLoader> loader_;
    int status_ = kClipNotLoaded;
    mutable std::mutex developLock_;
    mutable std::shared_ptr<const Development> development_;  // the tables of the last settings
};

}  // namespace ombrel::R3DSDK
