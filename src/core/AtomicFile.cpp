#include "core/AtomicFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

namespace ombrel {
namespace {

constexpr size_t kBufferSize = 64 * 1024;

// Writes everything, retrying after signals. 0, or the errno of the failure; a write that
// takes nothing counts as a full disk.
int WriteAll(int fd, const char* p, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd, p + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return n < 0 ? errno : ENOSPC;
        done += static_cast<size_t>(n);
    }
    return 0;
}

}  // namespace

std::string TemporaryPathFor(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    std::filesystem::path p(path);
    std::string name =
        "." + p.filename().string() + ".part" + std::to_string(::getpid()) + "_" + std::to_string(counter.fetch_add(1));
    return (p.parent_path() / name).string();
}

namespace detail {

int RenameNoReplace(const std::string& from, const std::string& to, bool exclusiveRename) {
    if (exclusiveRename) {
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
        if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) return -1;
    }
    // link() refuses an existing target as well; the temporary name then goes.
    if (::link(from.c_str(), to.c_str()) != 0) return -1;
    ::unlink(from.c_str());
    return 0;
}

}  // namespace detail

AtomicFileWriter::~AtomicFileWriter() { Cancel(); }

AtomicFileWriter::AtomicFileWriter(AtomicFileWriter&& other) noexcept { *this = std::move(other); }

AtomicFileWriter& AtomicFileWriter::operator=(AtomicFileWriter&& other) noexcept {
    if (this == &other) return *this;
    Cancel();
    fd_ = std::exchange(other.fd_, -1);
    options_ = other.options_;
    path_ = std::move(other.path_);
    tmp_ = std::move(other.tmp_);
    buffer_ = std::move(other.buffer_);
    buffered_ = std::exchange(other.buffered_, 0);
    written_ = std::exchange(other.written_, 0);
    failedStep_ = std::exchange(other.failedStep_, Step::kNone);
    failedErrno_ = std::exchange(other.failedErrno_, 0);
    return *this;
}

void AtomicFileWriter::Cancel() {
    if (fd_ < 0) return;
    ::close(fd_);
    ::unlink(tmp_.c_str());
    fd_ = -1;
    buffered_ = 0;
}

Status AtomicFileWriter::Fail(Step step, const char* what, int err) {
    Cancel();
    failedStep_ = step;
    failedErrno_ = err;
    return SystemError(what, path_, err);
}

Status AtomicFileWriter::Open(const std::string& path, Options options) {
    Cancel();
    options_ = options;
    path_ = path;
    written_ = 0;
    failedStep_ = Step::kNone;
    failedErrno_ = 0;
    // A temporary left by a crashed process of the same id would block the name: take the next.
    for (int attempt = 0; attempt < 8; ++attempt) {
        tmp_ = TemporaryPathFor(path);
        fd_ = ::open(tmp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd_ >= 0 || errno != EEXIST) break;
    }
    if (fd_ < 0) {
        failedStep_ = Step::kCreate;
        failedErrno_ = errno;
        return SystemError("cannot create", path_, failedErrno_);
    }
    return OkStatus();
}

int AtomicFileWriter::Drain() {
    const int err = WriteAll(fd_, buffer_.get(), buffered_);
    buffered_ = 0;
    return err;
}

Status AtomicFileWriter::Write(const void* bytes, size_t size) {
    if (fd_ < 0) return Fail(Step::kWrite, "cannot write", EBADF);
    if (size == 0) return OkStatus();  // an empty vector's data() may be null, which memcpy may not see
    const auto* p = static_cast<const char*>(bytes);
    if (size > kBufferSize - buffered_) {
        if (int err = Drain()) return Fail(Step::kWrite, "cannot write", err);
    }
    if (size >= kBufferSize) {
        if (int err = WriteAll(fd_, p, size)) return Fail(Step::kWrite, "cannot write", err);
    } else {
        if (!buffer_) buffer_.reset(new (std::nothrow) char[kBufferSize]);
        if (!buffer_) return Fail(Step::kWrite, "cannot write", ENOMEM);
        std::memcpy(buffer_.get() + buffered_, p, size);
        buffered_ += size;
    }
    written_ += size;
    return OkStatus();
}

Status AtomicFileWriter::Commit() {
    if (fd_ < 0) return Fail(Step::kCommit, "cannot write", EBADF);
    if (int err = Drain()) return Fail(Step::kFlush, "cannot write", err);
    if (options_.sync && ::fsync(fd_) != 0) return Fail(Step::kFlush, "cannot flush", errno);
    // Some file systems report a full disk only when the file is closed.
    const int fd = std::exchange(fd_, -1);
    if (::close(fd) != 0) {
        const int err = errno;
        ::unlink(tmp_.c_str());
        return Fail(Step::kClose, "cannot write", err);
    }
    const bool keep = options_.mode == Mode::kKeepExisting;
    if ((keep ? detail::RenameNoReplace(tmp_, path_) : ::rename(tmp_.c_str(), path_.c_str())) != 0) {
        const int err = errno;
        ::unlink(tmp_.c_str());
        return Fail(Step::kCommit, keep ? "cannot put in place" : "cannot replace", err);
    }
    return OkStatus();
}

Status WriteFileAtomically(const std::string& path, std::string_view bytes, AtomicFileWriter::Options options) {
    AtomicFileWriter out;
    if (Status s = out.Open(path, options); !s.ok()) return s;
    if (Status s = out.Write(bytes); !s.ok()) return s;
    return out.Commit();
}

}  // namespace ombrel
