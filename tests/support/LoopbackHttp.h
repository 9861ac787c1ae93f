#pragma once

#include <httplib.h>

#include <string>
#include <thread>

namespace ombrel::test {

// An HTTP server on 127.0.0.1 at a free port, serving from a thread of its own while alive.
// Routes are added to server() before the first request.
class LoopbackHttp {
public:
    LoopbackHttp() : port_(server_.bind_to_any_port("127.0.0.1")) {
        thread_ = std::thread([this] { server_.listen_after_bind(); });
    }
    ~LoopbackHttp() {
        server_.stop();
        thread_.join();
    }
    LoopbackHttp(const LoopbackHttp&) = delete;
    LoopbackHttp& operator=(const LoopbackHttp&) = delete;

    httplib::Server& server() { return server_; }
    int port() const { return port_; }
    std::string url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }

private:
    httplib::Server server_;
    int port_;
    std::thread thread_;
};

}  // namespace ombrel::test
