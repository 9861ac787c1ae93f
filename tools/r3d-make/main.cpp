// r3d-make: writes a synthetic R3D clip with a moving test picture and a tone.
#include "core/Log.h"
#include "core/Paths.h"
#include "r3d/MetadataMapper.h"
#include "r3d/R3DWriter.h"
#include "r3d/TestPattern.h"
#include "r3d/Timecode.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <regex>

using namespace ombrel::r3d;

namespace {

// "24", "23.976", "24000/1001" and the like as a rational.
bool ParseRate(const std::string& text, uint32_t* numerator, uint16_t* denominator) {
    std::smatch m;
    if (std::regex_match(text, m, std::regex(R"((\d+)/(\d+))"))) {
        const unsigned long n = std::stoul(m[1]), d = std::stoul(m[2]);
        if (n == 0 || d == 0 || d > 65535 || n > 0xFFFFFFFFul) return false;
        *numerator = uint32_t(n);
        *denominator = uint16_t(d);
        return true;
    }
    char* end = nullptr;
    const double fps = std::strtod(text.c_str(), &end);
    if (!end || *end || !(fps > 0.5) || fps > 1000) return false;
    // The rates of the 1000/1001 family by their usual short names.
    for (int base : {24, 30, 48, 60, 120}) {
        if (std::fabs(fps - base * 1000.0 / 1001.0) < 0.006) {
            *numerator = uint32_t(base * 1000);
            *denominator = 1001;
            return true;
        }
    }
    if (std::fabs(fps - std::round(fps)) < 1e-9) {
        *numerator = uint32_t(std::lround(fps));
        *denominator = 1;
    } else {
        *numerator = uint32_t(std::lround(fps * 1000));
        *denominator = 1000;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Writes a synthetic R3D clip: colour bars, a grey ramp, chart patches and a moving ball, "
        "with a tone on the first two audio channels."};
    std::string out;
    std::string size = "1920x1080";
    uint64_t frames = 48;
    std::string fps = "24";
    int generation = 5;
    int minor = -1;
    uint32_t files = 1;
    bool noFooter = false, noIndex = false, force = false, plain = false;
    std::string timecode = "01:00:00:00";
    int channels = 2;
    uint32_t sampleRate = 48000;
    int cameraCode = 5;
    std::string reel = "A001", clipId;
    float kelvin = 5600.0f;
    uint16_t iso = 800;
    app.add_option("output", out, "first file of the clip, as A001_C001_0101AB_001.R3D")->required();
    app.add_option("--size", size, "picture size WxH")->capture_default_str();
    app.add_option("--frames", frames, "frame count")->capture_default_str()->check(CLI::Range(1, 1000000));
    app.add_option("--fps", fps, "frame rate: 24, 23.976, 25, 29.97, 48, 24000/1001, ...")->capture_default_str();
    app.add_option("--generation", generation, "3 or 4 for a first-generation clip, 5 for the second")
        ->capture_default_str()
        ->check(CLI::IsMember({3, 4, 5}));
    app.add_option("--minor", minor, "minor version (default 0 for 3 and 4, 2 for 5)")->check(CLI::Range(0, 255));
    app.add_option("--files", files, "number of files to spread the frames over")
        ->capture_default_str()
        ->check(CLI::Range(1, 999));
    app.add_flag("--no-footer", noFooter, "leave the footer out (the reader's scan finds the frames)");
    app.add_flag("--no-index", noIndex, "leave the index tables out as well");
    app.add_option("--timecode", timecode, "start timecode HH:MM:SS:FF")->capture_default_str();
    app.add_option("--audio-channels", channels, "audio channels, 0 for none")
        ->capture_default_str()
        ->check(CLI::Range(0, 8));
    app.add_option("--sample-rate", sampleRate, "audio sample rate")
        ->capture_default_str()
        ->check(CLI::Range(8000, 192000));
    app.add_option("--camera-code", cameraCode, "camera code of a second-generation clip (1 to 7)")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    app.add_option("--reel", reel, "reel name")->capture_default_str();
    app.add_option("--clip-id", clipId, "clip name (default: the file name without number and extension)");
    app.add_option("--kelvin", kelvin, "white balance in metadata")->capture_default_str();
    app.add_option("--iso", iso, "ISO in metadata")->capture_default_str();
    app.add_flag("--plain", plain, "store the pictures without deflating them");
    app.add_flag("--force", force, "replace existing files");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) { return app.exit(e) == 0 ? 0 : 2; }

    R3DClipSpec spec;
    unsigned w = 0, h = 0;
    if (std::sscanf(size.c_str(), "%ux%u", &w, &h) != 2 || w == 0 || h == 0 || w > 16384 || h > 16384) {
        std::fprintf(stderr, "r3d-make: a size is written WxH, as 2048x1080\n");
        return 2;
    }
    if (!ParseRate(fps, &spec.rateNumerator, &spec.rateDenominator)) {
        std::fprintf(stderr, "r3d-make: \"%s\" is not a frame rate\n", fps.c_str());
        return 2;
    }
    const int base = int(std::lround(double(spec.rateNumerator) / spec.rateDenominator));
    if (!Timecode::IsValidText(timecode, base, generation < 5)) {
        std::fprintf(stderr, "r3d-make: \"%s\" is not a timecode at %d frames per second\n", timecode.c_str(), base);
        return 2;
    }
    spec.major = uint8_t(generation);
    spec.minor = uint8_t(minor >= 0 ? minor : generation == 5 ? 2 : 0);
    spec.width = w;
    spec.height = h;
    spec.cameraCode = uint8_t(cameraCode);
    spec.audioChannels = channels;
    spec.audioSampleRate = sampleRate;
    spec.writeFooter = !noFooter;
    spec.writeIndex = !noIndex;
    spec.framesPerFile = files > 1 ? uint32_t((frames + files - 1) / files) : 0;
    spec.edgeTimecode = timecode;
    spec.absoluteTimecode = timecode;
    std::string name = ombrel::DeletingPathExtension(ombrel::LastPathComponent(out));
    if (clipId.empty()) {
        clipId = name;
        const size_t cut = clipId.find_last_not_of("0123456789");
        if (cut != std::string::npos && cut + 1 < clipId.size() && clipId[cut] == '_') clipId.resize(cut);
    }
    for (size_t i = 0; i < 16; ++i) spec.identity[i] = uint8_t(std::hash<std::string>{}(clipId) >> (i % 8 * 8));
    spec.frameMetadata = {
        MetadataToken::String(kIdReelId, reel),
        MetadataToken::String(kIdClipId, clipId),
        MetadataToken::String(kIdCameraId, "A"),
        MetadataToken::Float(kIdWhiteBalanceKelvin, kelvin),
        MetadataToken::Float(kIdWhiteBalanceTint, 0.0f),
        MetadataToken::U16(kIdIso, iso),
        MetadataToken::Float(kIdExposureCompensation, 0.0f),
        MetadataToken::U8(kIdUserTimecodePreference, 0),
        MetadataToken::U8(kIdSensorFamily, 4),
        MetadataToken::U32(kIdSensorVariant, 0),
        MetadataToken::String(kIdUserProductionName, "Ombrel test pattern"),
    };

    R3DWriter writer;
    if (!writer.Create(out, spec, force)) {
        std::fprintf(stderr, "r3d-make: %s\n", writer.Error().c_str());
        return 1;
    }
    ImagePayloadOptions payload;
    if (plain) payload.compression = PayloadCompression::kNone;
    std::vector<uint16_t> picture;
    std::vector<int32_t> samples;
    // Audio follows each frame, as many samples as that frame's share of the rational rate.
    const uint64_t perSecond = uint64_t(sampleRate) * spec.rateDenominator;
    uint64_t written = 0;
    for (uint64_t f = 0; f < frames; ++f) {
        RenderTestPattern(w, h, f, &picture);
        if (!writer.AddVideoFrameRGB(picture.data(), payload)) {
            std::fprintf(stderr, "r3d-make: %s\n", writer.Error().c_str());
            return 1;
        }
        if (channels > 0) {
            const uint64_t upTo = (f + 1) * perSecond / spec.rateNumerator;
            const auto count = uint32_t(upTo - written);
            RenderToneBlock(written, count, channels, sampleRate, &samples);
            if (!writer.AddAudioBlock(samples.data(), count)) {
                std::fprintf(stderr, "r3d-make: %s\n", writer.Error().c_str());
                return 1;
            }
            written = upTo;
        }
    }
    if (!writer.Finish()) {
        std::fprintf(stderr, "r3d-make: %s\n", writer.Error().c_str());
        return 1;
    }
    for (const auto& path : writer.Paths()) std::printf("%s\n", path.c_str());
    std::fprintf(stderr, "r3d-make: %llu frames of %ux%u at %u/%u, %d audio channels, %zu file(s)\n",
                 static_cast<unsigned long long>(frames), w, h, spec.rateNumerator, unsigned(spec.rateDenominator),
                 channels, writer.Paths().size());
    return 0;
}
