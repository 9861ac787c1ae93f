#pragma once

// The scrambled data container and the plain file helpers around it.
//
// Every helper reports failure by a negative code and by text written into the caller's
// message buffer (kMessageBufferSize bytes; pass nullptr to skip the text). On failure the
// out arguments are left untouched. Out buffers belong to the caller.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

inline constexpr size_t kMessageBufferSize = 2048;

// Layout of a container: payload (n bytes through the forward substitution), then the
// 256-byte inverse substitution, then 173 filler bytes, each in 0..172.
inline constexpr size_t kSubstitutionSize = 256;
inline constexpr size_t kFillerSize = 173;
inline constexpr size_t kContainerTailSize = kSubstitutionSize + kFillerSize;  // 429
inline constexpr uint8_t kFillerLimit = 172;

// Scrambles `length` bytes with a fresh random substitution and writes the container.
// 0, or the codes of WriteDataToFile.
int ScrambleDataToFile(const std::string& path, const void* bytes, size_t length, char* message);

// Writes the bytes to `path` through a temporary file beside it, so a failed write leaves
// whatever was there before. 0; -1 open, -2 flush, -3 close, -4 short write.
int WriteDataToFile(const std::string& path, const void* bytes, size_t length, char* message);

// Reads a whole container and undoes the substitution in place. The buffer keeps the file's
// full length (payload plus the untouched 429-byte tail) and has a NUL behind it that the
// length does not count. Files of 429 bytes or fewer pass through unchanged.
// 0; -1 open; -2 truncated read.
int UnscrambleDataFromFile(const std::string& path, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength,
                           char* message);

// Reads a whole file, with a NUL behind the data that the length does not count.
// 0; -1 open; -2 incomplete read (also for anything that is not a regular file).
int ReadBytesFromFile(const std::string& path, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength, char* message);

// As ReadBytesFromFile; the text stops at the first NUL of the data.
int ReadFile(const std::string& path, std::string& outText, char* message);

// Decompresses one gzip member; whatever follows it (a container's tail) is ignored.
// The result has a NUL behind it that the length does not count.
// 0; -2 the stream cannot be read; -3 the result cannot be fetched.
int UnzipByteArray(const void* bytes, size_t length, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength,
                   char* message);

// Gzip at deflate level 6 with a 2^15 window. 0; -1 load; -2 fetch.
int ZipBytesToArray(const void* bytes, size_t length, std::unique_ptr<uint8_t[]>& outBytes, size_t& outLength,
                    char* message);

// Gzips into a file. 0; -1/-2 compression; -3 open, -4 flush, -5 close, -6 short write.
int ZipBytesToFile(const std::string& path, const void* bytes, size_t length, char* message);

// True when the file can be opened for reading by this user.
bool FileExists(const std::string& path);

// Reads and unscrambles a container (stock tables, grain curves) into a byte vector of the
// file's full length, tail included. A missing file is logged and gives nullopt; a file
// that is there but cannot be read is a broken installation: logged and fatal.
std::optional<std::vector<uint8_t>> GetUnscrambledData(const std::string& path);

}  // namespace ombrel
