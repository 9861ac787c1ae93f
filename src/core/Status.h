#pragma once

#include <string>
#include <utility>

namespace ombrel {

// What came of an operation that can fail: an outcome and, when it failed, a message for the
// user. Free functions return one; objects with state keep the last one (`lastError()`).
class [[nodiscard]] Status {
public:
    enum class Code { kOk, kInvalid, kNotFound, kExists, kIo, kNoMemory, kUnsupported, kCancelled };

    Status() = default;
    Status(Code code, std::string message) : code_(code), message_(std::move(message)) {}

    bool ok() const { return code_ == Code::kOk; }
    Code code() const { return code_; }
    const std::string& message() const { return message_; }

private:
    Code code_ = Code::kOk;
    std::string message_;
};

inline Status OkStatus() { return {}; }
inline Status InvalidError(std::string message) { return {Status::Code::kInvalid, std::move(message)}; }
inline Status NotFoundError(std::string message) { return {Status::Code::kNotFound, std::move(message)}; }
inline Status IoError(std::string message) { return {Status::Code::kIo, std::move(message)}; }
inline Status NoMemoryError(std::string message) { return {Status::Code::kNoMemory, std::move(message)}; }
inline Status UnsupportedError(std::string message) { return {Status::Code::kUnsupported, std::move(message)}; }
inline Status CancelledError(std::string message) { return {Status::Code::kCancelled, std::move(message)}; }

// "<what> <path>: <the system's text for err>", with the code err stands for (ENOENT is
// kNotFound, EEXIST kExists, anything else kIo).
Status SystemError(const char* what, const std::string& path, int err);

}  // namespace ombrel
