#include "core/Log.h"

#include <cstdlib>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <syslog.h>

#include <algorithm>

namespace ombrel {
namespace {

struct LogState {
    std::shared_ptr<spdlog::sinks::dist_sink_mt> dist = std::make_shared<spdlog::sinks::dist_sink_mt>();
    std::shared_ptr<spdlog::sinks::sink> stderrSink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    std::shared_ptr<spdlog::sinks::sink> syslogSink =
        std::make_shared<spdlog::sinks::syslog_sink_mt>("ombrel", LOG_PID, LOG_USER, false);
    std::shared_ptr<spdlog::logger> logger;

    LogState() {
        stderrSink->set_pattern("%v");
        syslogSink->set_pattern("%v");
        dist->add_sink(stderrSink);
        dist->add_sink(syslogSink);
        logger = std::make_shared<spdlog::logger>("ombrel", dist);
        logger->set_level(spdlog::level::info);
        logger->flush_on(spdlog::level::warn);
    }
};

LogState& State() {
    static LogState state;
    return state;
}

void Toggle(const std::shared_ptr<spdlog::sinks::sink>& sink, bool on) {
    auto& s = State();
    s.dist->remove_sink(sink);
    if (on) s.dist->add_sink(sink);
}

}  // namespace

std::shared_ptr<spdlog::logger> Log() { return State().logger; }

void LogFatal(const std::string& line) {
    Log()->critical("{}", line);
    Log()->flush();
    std::abort();
}

void SetLogToStderr(bool on) { Toggle(State().stderrSink, on); }
void SetLogToSyslog(bool on) { Toggle(State().syslogSink, on); }

struct LogCapture::Sink : spdlog::sinks::base_sink<std::mutex> {
    std::vector<std::string> lines;
    mutable std::mutex linesMutex;

    void sink_it_(const spdlog::details::log_msg& msg) override {
        std::lock_guard lock(linesMutex);
        lines.emplace_back(msg.payload.data(), msg.payload.size());
    }
    void flush_() override {}
};

LogCapture::LogCapture() : sink_(std::make_shared<Sink>()) { State().dist->add_sink(sink_); }

LogCapture::~LogCapture() { State().dist->remove_sink(sink_); }

std::vector<std::string> LogCapture::Lines() const {
    std::lock_guard lock(sink_->linesMutex);
    return sink_->lines;
}

bool LogCapture::Contains(const std::string& text) const { return Count(text) > 0; }

size_t LogCapture::Count(const std::string& text) const {
    std::lock_guard lock(sink_->linesMutex);
    return static_cast<size_t>(std::count_if(sink_->lines.begin(), sink_->lines.end(),
                                             [&](const std::string& l) { return l.find(text) != std::string::npos; }));
}

void LogCapture::Clear() {
    std::lock_guard lock(sink_->linesMutex);
    sink_->lines.clear();
}

}  // namespace ombrel
