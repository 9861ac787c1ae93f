#pragma once

#include <spdlog/spdlog.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ombrel {

// The system log: plain lines to stderr and to syslog. Every subsystem logs through it.
std::shared_ptr<spdlog::logger> Log();

// Prefixes that mark errors of memory and colour code, and lines of the shader layer.
inline constexpr const char* kErrorPrefix = ">> ERROR: ";
inline constexpr const char* kShaderKitPrefix = ">> [OpenGL Shader Kit] ";

// Internal traces: off at the default level.
template <typename... Args>
void LogDebug(fmt::format_string<Args...> f, Args&&... args) {
    Log()->debug(f, std::forward<Args>(args)...);
}
template <typename... Args>
void LogInfo(fmt::format_string<Args...> f, Args&&... args) {
    Log()->info(f, std::forward<Args>(args)...);
}
template <typename... Args>
void LogWarn(fmt::format_string<Args...> f, Args&&... args) {
    Log()->warn(f, std::forward<Args>(args)...);
}
// Error lines carry the ">> ERROR: " prefix.
template <typename... Args>
void LogError(fmt::format_string<Args...> f, Args&&... args) {
    Log()->error("{}{}", kErrorPrefix, fmt::format(f, std::forward<Args>(args)...));
}

// A programming or installation error the process cannot go on from: the line is logged
// and flushed, then the process aborts.
[[noreturn]] void LogFatal(const std::string& line);

// Turns off the stderr sink (the CLI's --quiet) or the syslog sink (tests).
void SetLogToStderr(bool on);
void SetLogToSyslog(bool on);

// Collects log lines while alive, for tests that check what was said.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> Lines() const;
    bool Contains(const std::string& text) const;
    size_t Count(const std::string& text) const;
    void Clear();

private:
    struct Sink;
    std::shared_ptr<Sink> sink_;
};

}  // namespace ombrel
