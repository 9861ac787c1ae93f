#include "datafile/DataFile.h"

#include <cryptopp/gzip.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <random>

#include "core/AtomicFile.h"
#include "core/Log.h"

namespace ombrel {
namespace {

__attribute__((format(printf, 2, 3))) void Say(char* message, const char* format, ...) {
    if (!message) return;
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, kMessageBufferSize, format, args);
    va_end(args);
}

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};
using UniqueFile = std::unique_ptr<FILE, FileCloser>;

std::unique_ptr<uint8_t[]> Allocate(size_t size) {
    return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[size]);
}

enum class ReadStage { kDone, kOpen, kRead };

// The whole file plus a NUL behind it. Only regular files are read: a directory or a device
// has no size to trust.
ReadStage ReadWhole(const std::string& path, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength, int& err) {
    UniqueFile f(std::fopen(path.c_str(), "rbe"));
    if (!f) {
        err = errno;
        return ReadStage::kOpen;
    }
    struct stat st {};
    if (::fstat(::fileno(f.get()), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0 ||
        static_cast<unsigned long long>(st.st_size) >= std::numeric_limits<size_t>::max()) {
        return ReadStage::kRead;
    }
    const auto size = static_cast<size_t>(st.st_size);
    auto buffer = Allocate(size + 1);
    if (!buffer) return ReadStage::kRead;
    if (size > 0 && std::fread(buffer.get(), 1, size, f.get()) != size) return ReadStage::kRead;
    buffer[size] = 0;
    outBytes = std::move(buffer);
    outLength = size;
    return ReadStage::kDone;
}

enum class WriteStage { kDone, kOpen, kFlush, kClose, kShort };

// Writes beside `path` and renames over it at the end; any failure removes the temporary.
WriteStage WriteWhole(const std::string& path, const void* bytes, size_t length, int& err) {
    // A file the user may not write stays protected even though a rename could replace it.
    if (::access(path.c_str(), F_OK) == 0 && ::access(path.c_str(), W_OK) != 0) {
        err = errno;
        return WriteStage::kOpen;
    }
    AtomicFileWriter out;
    if (out.Open(path).ok() && out.Write(bytes, length).ok() && out.Commit().ok()) return WriteStage::kDone;
    err = out.failedErrno();
    switch (out.failedStep()) {
        case AtomicFileWriter::Step::kFlush: return WriteStage::kFlush;
        case AtomicFileWriter::Step::kClose: return WriteStage::kClose;
        case AtomicFileWriter::Step::kWrite: return WriteStage::kShort;
        default: return WriteStage::kOpen;
    }
}

enum class FilterStage { kDone, kLoad, kFetch };

// One pass through a filter: put everything, end the message, take what the first message
// holds. Reading from the filter's own queue (no sink attached) is what keeps bytes behind a
// gzip member out of the result: they land in a second message that is never fetched.
template <typename Filter>
FilterStage RunFilter(Filter& filter, const void* bytes, size_t length, std::unique_ptr<uint8_t[]>& outBytes,
                      size_t& outLength, bool terminate) {
    try {
        filter.Put(static_cast<const CryptoPP::byte*>(bytes), length);
        filter.MessageEnd();
    } catch (...) { return FilterStage::kLoad; }
    try {
        const CryptoPP::lword ready = filter.MaxRetrievable();
        if (ready >= std::numeric_limits<size_t>::max()) return FilterStage::kFetch;
        const auto size = static_cast<size_t>(ready);
        auto buffer = Allocate(size + 1);
        if (!buffer) return FilterStage::kFetch;
        if (size > 0 && filter.Get(buffer.get(), size) != size) return FilterStage::kFetch;
        if (terminate) buffer[size] = 0;
        outBytes = std::move(buffer);
        outLength = size;
    } catch (...) { return FilterStage::kFetch; }
    return FilterStage::kDone;
}

FilterStage Zip(const void* bytes, size_t length, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength) {
    try {
        CryptoPP::Gzip gzip(nullptr, 6, 15);
        return RunFilter(gzip, bytes, length, outBytes, outLength, false);
    } catch (...) { return FilterStage::kLoad; }
}

// The inverse table travels in the file, so reading needs no key: the scramble only keeps the
// tables from being read as plain text.
void Unscramble(uint8_t* buffer, size_t size) {
    if (size <= kContainerTailSize) return;
    const size_t n = size - kContainerTailSize;
    const uint8_t* inverse = buffer + n;
    for (size_t i = 0; i < n; ++i) buffer[i] = inverse[buffer[i]];
}

uint32_t FreshSeed() {
    try {
        return std::random_device{}();
    } catch (...) { return static_cast<uint32_t>(std::chrono::steady_clock::now().time_since_epoch().count()); }
}

}  // namespace

int ScrambleDataToFile(const std::string& path, const void* bytes, size_t length, char* message) {
    // The file format does not care about the generator; a per-call seed keeps two files
    // written within the same second different.
    std::mt19937 rng(FreshSeed());
    uint8_t forward[kSubstitutionSize];
    for (size_t k = 0; k < kSubstitutionSize; ++k) forward[k] = static_cast<uint8_t>(k);
    for (size_t i = 0; i < kSubstitutionSize; ++i) {
        std::uniform_int_distribution<size_t> pick(i, kSubstitutionSize - 1);
        std::swap(forward[i], forward[pick(rng)]);
    }

    const size_t total = length + kContainerTailSize;
    auto out = length < std::numeric_limits<size_t>::max() - kContainerTailSize ? Allocate(total) : nullptr;
    if (!out) {
        Say(message, "Failed to write zip file %s", path.c_str());
        return -4;
    }
    const auto* in = static_cast<const uint8_t*>(bytes);
    for (size_t i = 0; i < length; ++i) out[i] = forward[in[i]];
    for (size_t k = 0; k < kSubstitutionSize; ++k) out[length + forward[k]] = static_cast<uint8_t>(k);
    std::uniform_int_distribution<int> filler(0, kFillerLimit);
    for (size_t k = 0; k < kFillerSize; ++k) out[length + kSubstitutionSize + k] = static_cast<uint8_t>(filler(rng));
    return WriteDataToFile(path, out.get(), total, message);
}

int WriteDataToFile(const std::string& path, const void* bytes, size_t length, char* message) {
    int err = 0;
    switch (WriteWhole(path, bytes, length, err)) {
        case WriteStage::kDone: return 0;
        case WriteStage::kOpen: Say(message, "Could not open file %s\n[%i]", path.c_str(), err); return -1;
        case WriteStage::kFlush: Say(message, "Could not flush file %s\n[%i]", path.c_str(), err); return -2;
        case WriteStage::kClose: Say(message, "Could not close file %s\n[%i]", path.c_str(), err); return -3;
        case WriteStage::kShort: Say(message, "Failed to write zip file %s", path.c_str()); return -4;
    }
    return -4;
}

int UnscrambleDataFromFile(const std::string& path, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength,
                           char* message) {
    std::unique_ptr<uint8_t[]> buffer;
    size_t size = 0;
    int err = 0;
    switch (ReadWhole(path, buffer, size, err)) {
        case ReadStage::kDone: break;
        case ReadStage::kOpen: Say(message, "Could not open file %s\n", path.c_str()); return -1;
        case ReadStage::kRead: Say(message, "Truncated read from file %s", path.c_str()); return -2;
    }
    Unscramble(buffer.get(), size);
    outBytes = std::move(buffer);
    outLength = size;
    return 0;
}

int ReadBytesFromFile(const std::string& path, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength, char* message) {
    int err = 0;
    switch (ReadWhole(path, outBytes, outLength, err)) {
        case ReadStage::kDone: return 0;
        case ReadStage::kOpen: Say(message, "Could not open file %s\n[%i]", path.c_str(), err); return -1;
        case ReadStage::kRead: Say(message, "Did not read complete file %s\n", path.c_str()); return -2;
    }
    return -2;
}

int ReadFile(const std::string& path, std::string& outText, char* message) {
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 0;
    if (int rc = ReadBytesFromFile(path, bytes, length, message); rc != 0) return rc;
    outText.assign(reinterpret_cast<const char*>(bytes.get()));
    return 0;
}

int UnzipByteArray(const void* bytes, size_t length, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength,
                   char* message) {
    FilterStage stage = FilterStage::kLoad;
    try {
        CryptoPP::Gunzip gunzip;
        stage = RunFilter(gunzip, bytes, length, outBytes, outLength, true);
    } catch (...) { stage = FilterStage::kLoad; }
    switch (stage) {
        case FilterStage::kDone: return 0;
        case FilterStage::kLoad: Say(message, "Failed to load zipped data\n"); return -2;
        case FilterStage::kFetch: Say(message, "Failed to unzip data\n"); return -3;
    }
    return -3;
}

int ZipBytesToArray(const void* bytes, size_t length, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength,
                    char* message) {
    switch (Zip(bytes, length, outBytes, outLength)) {
        case FilterStage::kDone: return 0;
        case FilterStage::kLoad: Say(message, "Failed to load data for zipping"); return -1;
        case FilterStage::kFetch: Say(message, "Failed to zip data"); return -2;
    }
    return -2;
}

int ZipBytesToFile(const std::string& path, const void* bytes, size_t length, char* message) {
    std::unique_ptr<uint8_t[]> zipped;
    size_t zippedLength = 0;
    switch (Zip(bytes, length, zipped, zippedLength)) {
        case FilterStage::kDone: break;
        case FilterStage::kLoad: Say(message, "Failed to zip data file %s\n", path.c_str()); return -1;
        case FilterStage::kFetch: Say(message, "Failed to zip data file %s\n", path.c_str()); return -2;
    }
    int err = 0;
    switch (WriteWhole(path, zipped.get(), zippedLength, err)) {
        case WriteStage::kDone: return 0;
        case WriteStage::kOpen: Say(message, "Could not open file %s\n[%i]", path.c_str(), err); return -3;
        case WriteStage::kFlush: Say(message, "Could not flush file %s\n[%i]", path.c_str(), err); return -4;
        case WriteStage::kClose: Say(message, "Could not close file %s\n[%i]", path.c_str(), err); return -5;
        case WriteStage::kShort: Say(message, "Failed to write zip file %s", path.c_str()); return -6;
    }
    return -6;
}

bool FileExists(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    ::close(fd);
    return true;
}

std::optional<std::vector<uint8_t>> GetUnscrambledData(const std::string& path) {
    if (!FileExists(path)) {
        Log()->error("Error: File doesn't exist at {}", path);
        return std::nullopt;
    }
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 0;
    char message[kMessageBufferSize] = {};
    if (UnscrambleDataFromFile(path, bytes, length, message) != 0) {
        Log()->error("{}", message);
        LogFatal("Failed to get unscramble at " + path);
    }
    try {
        return std::vector<uint8_t>(bytes.get(), bytes.get() + length);
    } catch (const std::bad_alloc&) { LogFatal("Failed to get unscramble at " + path); }
}

}  // namespace ombrel
