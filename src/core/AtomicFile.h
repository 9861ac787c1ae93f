#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/Status.h"

namespace ombrel {

// Puts a file on disk whole or not at all. The bytes go to a temporary name in the target's
// folder (so the final rename stays on one file system); Commit flushes them and renames the
// temporary onto the target. A writer that dies uncommitted (cancel, early return, full disk)
// removes its temporary, and any failed step discards it at once, so the old file, if any,
// stays as it was.
//
//     AtomicFileWriter out;
//     if (Status s = out.Open(path); !s.ok()) return s;
//     ... out.Write(...) as often as needed ...
//     return out.Commit();
class AtomicFileWriter {
public:
    enum class Mode {
        kReplace,       // the new file replaces whatever is at the path
        kKeepExisting,  // an existing file stays and Commit fails with kExists
    };
    struct Options {
        Mode mode = Mode::kReplace;
        // fsync before the rename; without it a crash may leave an empty file under the name.
        bool sync = true;
    };
    // The step that failed, for callers whose own codes tell the steps apart.
    enum class Step { kNone, kCreate, kWrite, kFlush, kClose, kCommit };

    AtomicFileWriter() = default;
    ~AtomicFileWriter();
    AtomicFileWriter(AtomicFileWriter&& other) noexcept;
    AtomicFileWriter& operator=(AtomicFileWriter&& other) noexcept;
    AtomicFileWriter(const AtomicFileWriter&) = delete;
    AtomicFileWriter& operator=(const AtomicFileWriter&) = delete;

    // Creates the temporary file; a writer still open from before is cancelled first.
    Status Open(const std::string& path, Options options);
    Status Open(const std::string& path) { return Open(path, Options{}); }
    // Appends bytes. Small writes are gathered and go to disk in larger pieces.
    Status Write(const void* bytes, size_t size);
    Status Write(std::string_view bytes) { return Write(bytes.data(), bytes.size()); }
    // Flushes, closes and renames onto the path. The writer is closed afterwards either way.
    Status Commit();
    // Drops the temporary file; the path is left as it was. Harmless when not open.
    void Cancel();

    bool isOpen() const { return fd_ >= 0; }
    const std::string& path() const { return path_; }
    const std::string& temporaryPath() const { return tmp_; }
    uint64_t bytesWritten() const { return written_; }
    Step failedStep() const { return failedStep_; }
    int failedErrno() const { return failedErrno_; }

private:
    Status Fail(Step step, const char* what, int err);
    int Drain();

    int fd_ = -1;
    Options options_;
    std::string path_;
    std::string tmp_;
    std::unique_ptr<char[]> buffer_;
    size_t buffered_ = 0;
    uint64_t written_ = 0;
    Step failedStep_ = Step::kNone;
    int failedErrno_ = 0;
};

// One AtomicFileWriter pass over bytes held in memory.
Status WriteFileAtomically(const std::string& path, std::string_view bytes,
                           AtomicFileWriter::Options options = AtomicFileWriter::Options{});

// A fresh temporary name beside `path`: hidden, and unique to this process and call.
std::string TemporaryPathFor(const std::string& path);

namespace detail {
// Renames `from` onto `to` unless `to` exists (then -1 with errno EEXIST). Where the file system
// refuses the exclusive rename, or `exclusiveRename` is false, a hard link stands in for it.
int RenameNoReplace(const std::string& from, const std::string& to, bool exclusiveRename = true);
}  // namespace detail

}  // namespace ombrel
