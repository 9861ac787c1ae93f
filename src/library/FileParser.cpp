#include "library/FileParser.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "datafile/DataFile.h"
#include "library/FileParserHooks.h"
#include "platform/movie/MovieProbe.h"

#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

namespace ombrel {
namespace {

std::string Lower(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

bool EndsWith(std::string_view s, std::string_view tail) {
    return s.size() >= tail.size() && s.substr(s.size() - tail.size()) == tail;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string TwoDigits(uint32_t v) { return (v < 10 ? "0" : "") + std::to_string(v); }

// Reads a number the forgiving way: leading blanks, a sign, digits; anything else ends it.
int32_t LeadingInt(std::string_view s) {
    size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
    bool negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
    int32_t v = 0;
    for (; i < s.size() && IsDigit(s[i]); ++i) v = v * 10 + (s[i] - '0');
    return negative ? -v : v;
}

// Nominal rate of 23.976 footage: its timecode counts 24 frames a second.
float NominalForText(float fps) { return (fps >= 23.0f && fps < 24.0f) ? 24.0f : fps; }

}  // namespace

bool FileParser::IsR3DFile(const std::string& path) {
    if (path.empty()) return false;
    const std::string lower = Lower(path);
    const std::string name = LastPathComponent(lower);
    if (name.size() == 20 && EndsWith(name, ".r3d")) return true;
    if (EndsWith(lower, "_001.r3d")) return true;
    if (!EndsWith(lower, ".r3d")) return false;
    const std::string stem = name.substr(0, name.size() - 4);
    if (stem.size() < 4) return true;
    const std::string_view last4 = std::string_view(stem).substr(stem.size() - 4);
    const bool spanNumber = last4[0] == '_' && IsDigit(last4[1]) && IsDigit(last4[2]) && IsDigit(last4[3]);
    return !spanNumber;
}

bool FileParser::IsUseableQuicktimeMov(const std::string& path) {
    if (path.empty()) return false;
    const std::string lower = Lower(path);
    static const char* const kExtensions[] = {".mov", ".mpg", ".avi", ".mpeg", ".mp4", ".m4v"};
    bool known = false;
    for (const char* ext : kExtensions) known = known || EndsWith(lower, ext);
    if (!known) return false;
    struct stat st {};
    // A file we cannot look at is listed; opening it will tell the user what is wrong.
    if (::stat(path.c_str(), &st) != 0) return true;
    return st.st_size > 1000000;
}

std::string FileParser::DisplayNameForPath(const std::string& path) {
    if (path.empty()) return {};
    const std::string name = LastPathComponent(path);
    if (!IsR3DFile(path)) return name;
    // "_001.r3d" is 8 characters; a shorter R3D name just loses its extension.
    if (name.size() < 8) return DeletingPathExtension(name);
    return name.substr(0, name.size() - 8);
}

std::string FileParser::DisplayReelNameForPath(const std::string& path) {
    if (path.empty() || !IsR3DFile(path)) return {};
    return LastPathComponent(path).substr(0, 4);
}

std::string FileParser::DisplayClipNameForPath(const std::string& path) {
    if (path.empty() || !IsR3DFile(path)) return {};
    const std::string name = LastPathComponent(path);
    return name.size() > 6 ? name.substr(6, 3) : std::string();
}

std::string FileParser::PathHashForPath(const std::string& path) {
    std::string out = path;
    for (char& c : out) {
        if (c == '/' || c == '\\' || c == ':') c = '_';
    }
    return out;
}

std::string FileParser::GetStringOfTimecodeFPS(uint32_t frame, float fps) {
    // A rate that cannot count frames gives the zero timecode rather than nonsense.
    if (!(fps > 0.0f) || !std::isfinite(fps)) return "00:00:00:00";
    const float r = NominalForText(fps);
    uint32_t hours, minutes, seconds, frames;
    if (r == 24.0f || r == 25.0f || r == 30.0f) {
        const uint32_t n = static_cast<uint32_t>(r);
        frames = frame % n;
        seconds = (frame / n) % 60;
        minutes = (frame / (60 * n)) % 60;
        hours = frame / (3600 * n);
    } else {
        const float secondsF = static_cast<float>(frame) / r;
        const uint32_t t =
            secondsF >= 4294967295.0f ? std::numeric_limits<uint32_t>::max() : static_cast<uint32_t>(secondsF);
        hours = t / 3600;
        minutes = (t % 3600) / 60;
        seconds = t % 60;
        const double wholeSeconds = std::trunc(static_cast<double>(static_cast<float>(t) * r));
        // Rounding in single precision may put the second's start a frame past the frame.
        frames = wholeSeconds >= static_cast<double>(frame) ? 0u : static_cast<uint32_t>(frame - wholeSeconds);
    }
    return TwoDigits(hours) + ":" + TwoDigits(minutes) + ":" + TwoDigits(seconds) + ":" + TwoDigits(frames);
}

int32_t FileParser::GetIntOfTimecodeFPS(std::string_view timecode, float fps) {
    if (timecode.size() < 11) return 0;
    const int32_t hours = LeadingInt(timecode.substr(0, 2));
    const int32_t minutes = LeadingInt(timecode.substr(3, 2));
    const int32_t seconds = LeadingInt(timecode.substr(6, 2));
    const int32_t frames = LeadingInt(timecode.substr(9, 2));
    float r = NominalForText(fps);
    if (r > 29.0f && r < 30.0f) r = 30.0f;
    const float a = static_cast<float>(minutes * 60) * r;
    const float b = static_cast<float>(seconds) * r;
    const float s = static_cast<float>(frames) + b + a;
    const float result = static_cast<float>(hours * 3600) * r + s;
    if (!std::isfinite(result) || std::fabs(result) >= 2147483647.0f) return 0;
    return static_cast<int32_t>(result);
}

std::string FileParser::GetTimecode(const char* buffer) {
    if (!buffer) return {};
    return std::string(buffer, ::strnlen(buffer, 11));
}

MovieTime FileParser::GetDetailsFromMovieOutFPSOutFrameCount(const MovieInfo& movie, double* outFps,
                                                             double* outFrameCount) {
    MovieTime length{movie.durationMicros, 1000000};
    const MovieTrack* video = movie.FirstVideoTrack();
    if (!video) {
        LogWarn("No picture track in {}", movie.path);
        return length;
    }
    if (video->duration > 0 && video->timeBaseNum > 0 && video->timeBaseDen > 0) {
        length = {video->duration * video->timeBaseNum, video->timeBaseDen};
    }
    if (!video->decoderAvailable) {
        const std::string fourcc = video->FourCC();
        const std::string text = "Error: No Component available to decode this format " + fourcc;
        LogWarn("{}", text);
        if (UsageEventSink sink = GetUsageEventSink()) sink("USAGE", text);
    }
    const double seconds =
        length.timeScale > 0 ? static_cast<double>(length.value) / static_cast<double>(length.timeScale) : 0.0;

    if (movie.IsMpegMedia()) {
        const double encoded = video->averageFrameRate > 0.0 ? video->averageFrameRate : video->realFrameRate;
        const double rate = std::round(encoded);
        if (rate > 0.0 && seconds > 0.0) {
            if (outFps) *outFps = rate;
            if (outFrameCount) *outFrameCount = std::round(seconds * rate);
        }
        return length;
    }
    if (video->sampleCount > 0 && seconds > 0.0) {
        if (outFps) *outFps = static_cast<double>(video->sampleCount) / seconds;
        if (outFrameCount) *outFrameCount = static_cast<double>(video->sampleCount);
    } else if (video->averageFrameRate > 0.0 && seconds > 0.0) {
        // Some containers keep no sample count; their average rate is the next best thing.
        if (outFps) *outFps = video->averageFrameRate;
        if (outFrameCount) *outFrameCount = std::round(seconds * video->averageFrameRate);
    }
    return length;
}

MovieTime FileParser::GetDetailsFromQTMovieOutFPSOutFrameCount(const MovieInfo& movie, double* outFps,
                                                               double* outFrameCount) {
    return GetDetailsFromMovieOutFPSOutFrameCount(movie, outFps, outFrameCount);
}

std::optional<std::vector<uint8_t>> FileParser::GetUnscrambledData(const std::string& path) {
    return ::ombrel::GetUnscrambledData(path);
}

int FileParser::Write16BitTiffOfWidthHeightFromBufferToPath(int width, int height, const uint16_t* buffer,
                                                            const std::string& path, std::string* error) {
    if (const CompactTiffWriter writer = GetCompactTiffWriter()) return writer(width, height, buffer, path, error);
    if (error) *error = path + ": this build has no TIFF writer";
    return 1;
}

bool FileParser::CreateDirectoryWithIntermediaries(const std::string& path) {
    if (path.size() < 2) return false;
    std::error_code ec;
    if (std::filesystem::exists(path, ec)) return true;
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
    const std::string parent = std::filesystem::path(trimmed).parent_path().string();
    if (!parent.empty() && parent != trimmed && !std::filesystem::exists(parent, ec)) {
        if (!CreateDirectoryWithIntermediaries(parent)) return false;
    }
    std::filesystem::create_directory(trimmed, ec);
    if (ec) {
        LogWarn("Cannot create the folder {}: {}", trimmed, ec.message());
        return false;
    }
    return std::filesystem::is_directory(trimmed, ec);
}

std::string FileParser::BrowseFromPathNeedDirectoryNeedFileTitle(const std::string& path, bool needDirectory,
                                                                 bool needFile, const std::string& title) {
    FilePanels panels = GetFilePanels();
    if (!panels.browse) return path;
    return panels.browse(path, needDirectory, needFile, title);
}

std::string FileParser::ChooseSavePath(const std::string& title) {
    FilePanels panels = GetFilePanels();
    if (!panels.chooseSave) return {};
    return panels.chooseSave(title);
}

void FileParser::getSystemVersionMajorminor(int32_t* major, int32_t* minor) {
    struct utsname u {};
    int a = 0, b = 0;
    long code = 0;
    if (::uname(&u) != 0) {
        code = errno;
    } else if (std::sscanf(u.release, "%d.%d", &a, &b) != 2) {
        code = -1;
    }
    if (code != 0) {
        LogWarn("Unable to obtain system version: {}", code);
        a = 10;
        b = 0;
    }
    if (major) *major = a;
    if (minor) *minor = b;
}

int64_t FileParser::RamInMegs() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return 0;
    return static_cast<int64_t>(pages) * pageSize / (1024 * 1024);
}

int64_t FileParser::ClockSpeedInMHz() {
    // The rated speed where the kernel knows it, else what the first core reports now.
    {
        std::ifstream in("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq");
        int64_t kHz = 0;
        if (in >> kHz && kHz > 0) return kHz / 1000;
    }
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("cpu MHz", 0) != 0) continue;
        const size_t colon = line.find(':');
        if (colon == std::string::npos) break;
        const double mhz = std::atof(line.c_str() + colon + 1);
        return mhz > 0.0 ? static_cast<int64_t>(mhz) : 0;
    }
    return 0;
}

}  // namespace ombrel
