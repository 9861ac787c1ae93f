#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::r3d {

// A read-only file read with positional reads; the descriptor is closed with the object.
class RandomAccessFile {
public:
    RandomAccessFile() = default;
    ~RandomAccessFile();
    RandomAccessFile(const RandomAccessFile&) = delete;
    RandomAccessFile& operator=(const RandomAccessFile&) = delete;
    RandomAccessFile(RandomAccessFile&& other) noexcept;
    RandomAccessFile& operator=(RandomAccessFile&& other) noexcept;

    // Opens a regular file; on failure gives false and a reason in *error.
    bool Open(const std::string& path, std::string* error);
    void Close();
    bool IsOpen() const { return fd_ >= 0; }
    // The size seen when the file was opened.
    uint64_t Size() const { return size_; }
    // Reads exactly count bytes at position; false on a short read or an error.
    bool ReadAt(uint64_t position, void* destination, size_t count) const;

private:
    int fd_ = -1;
    uint64_t size_ = 0;
};

// A byte source that tokenizers walk. Reads are positional and never run past Size().
class TokenStream {
public:
    virtual ~TokenStream() = default;
    virtual uint64_t Size() const = 0;
    virtual bool ReadAt(uint64_t position, void* destination, size_t count) = 0;
};

// Over an open file, with a small window so that walking many atom heads costs few reads.
class FileTokenStream : public TokenStream {
public:
    explicit FileTokenStream(const RandomAccessFile& file) : file_(file) {}
    uint64_t Size() const override { return file_.Size(); }
    bool ReadAt(uint64_t position, void* destination, size_t count) override;

private:
    static constexpr size_t kWindow = 4096;
    const RandomAccessFile& file_;
    std::vector<uint8_t> window_;
    uint64_t windowStart_ = 0;
};

// Over bytes already in memory: a header payload, a frame record.
class MemoryTokenStream : public TokenStream {
public:
    MemoryTokenStream(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    uint64_t Size() const override { return size_; }
    bool ReadAt(uint64_t position, void* destination, size_t count) override;
    const uint8_t* Data() const { return data_; }

private:
    const uint8_t* data_;
    size_t size_;
};

}  // namespace ombrel::r3d
