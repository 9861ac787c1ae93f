#include "platform/net/HttpClient.h"

#include <curl/curl.h>
#include <zlib.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "core/AtomicFile.h"
#include "core/MainQueue.h"

namespace ombrel::platform {

namespace {

std::once_flag gCurlInit;

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

std::string Trim(const std::string& s) {
    const size_t b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(" \t\r\n") - b + 1);
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

std::string PercentDecode(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size() && HexValue(s[i + 1]) >= 0 && HexValue(s[i + 2]) >= 0) {
            out += static_cast<char>(HexValue(s[i + 1]) * 16 + HexValue(s[i + 2]));
            i += 2;
        } else {
            out += s[i];
        }
    }
    return out;
}

std::string LastUrlComponent(const std::string& url) {
    std::string path = url.substr(0, url.find_first_of("?#"));
    const size_t scheme = path.find("://");
    if (scheme != std::string::npos) {
        const size_t slash = path.find('/', scheme + 3);
        path = slash == std::string::npos ? std::string() : path.substr(slash);
    }
    return PercentDecode(path.substr(path.rfind('/') + 1));
}

}  // namespace

std::string StatusTextFromLine(long status, const std::string& statusLine) {
    // "HTTP/1.1 404 Not Found": the reason is what follows the code.
    std::string reason;
    const size_t first = statusLine.find(' ');
    if (first != std::string::npos) {
        const size_t second = statusLine.find(' ', first + 1);
        if (second != std::string::npos) reason = Trim(statusLine.substr(second + 1));
    }
    return "HTTP " + std::to_string(status) + (reason.empty() ? "" : " " + reason);
}

std::string FilenameFromContentDisposition(const std::string& value) {
    const std::string lower = Lower(value);
    // filename*=UTF-8''name wins over filename="name".
    size_t at = lower.find("filename*=");
    if (at != std::string::npos) {
        std::string v = Trim(value.substr(at + 10, value.find(';', at) - at - 10));
        const size_t quotes = v.find("''");
        if (quotes != std::string::npos) return PercentDecode(v.substr(quotes + 2));
    }
    at = lower.find("filename=");
    if (at == std::string::npos) return {};
    std::string v = value.substr(at + 9);
    if (!v.empty() && v[0] == '"') {
        const size_t end = v.find('"', 1);
        return v.substr(1, end == std::string::npos ? std::string::npos : end - 1);
    }
    return Trim(v.substr(0, v.find(';')));
}

struct HttpTransfer::State {
    std::string url;
    std::string body;
    bool post = false;
    HttpHandlers handlers;
    HttpOptions options;

    std::atomic<bool> cancelled{false};
    std::mutex mutex;
    std::condition_variable ended;
    bool finished = false;

    // Worker thread only from here on.
    CURL* curl = nullptr;
    std::string statusLine;
    std::string contentDisposition;
    std::string contentType;
    bool responded = false;
    std::string error;
    AtomicFileWriter out;
    bool gunzip = false;
    z_stream zs{};
    bool zsOpen = false;
    bool zsEnded = false;

    ~State() {
        if (zsOpen) inflateEnd(&zs);
    }

    // Runs `fn` on the main thread unless the transfer was cancelled by then.
    void ToMain(std::shared_ptr<State> self, std::function<void()> fn) {
        MainQueue::Instance().RunAsync([self = std::move(self), fn = std::move(fn)] {
            if (!self->cancelled.load()) fn();
        });
    }

    bool Respond(const std::shared_ptr<State>& self);
    bool Save(const char* data, size_t size);
    void Run(const std::shared_ptr<State>& self);
};

bool HttpTransfer::State::Respond(const std::shared_ptr<State>& self) {
    responded = true;
    HttpResponse r;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &r.status);
    char* effective = nullptr;
    curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &effective);
    r.url = effective ? effective : url;
    curl_off_t length = -1;
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    r.expectedLength = length;
    r.statusLine = StatusTextFromLine(r.status, statusLine);
    r.contentType = Trim(Lower(contentType.substr(0, contentType.find(';'))));
    if (r.status >= 400) {
        error = r.statusLine;
        return false;
    }
    std::string name = FilenameFromContentDisposition(contentDisposition);
    if (name.empty()) name = LastUrlComponent(r.url);
    gunzip = !post && r.contentType == "application/gzip";
    if (gunzip && name.size() > 3 && Lower(name.substr(name.size() - 3)) == ".gz") name.resize(name.size() - 3);
    r.suggestedFilename = name;
    if (handlers.didReceiveResponse) {
        auto fn = handlers.didReceiveResponse;
        ToMain(self, [fn, r] { fn(r); });
    }
    if (post) return true;
    std::string refusal;
    const std::string path = handlers.decideDestination ? handlers.decideDestination(r, &refusal) : std::string();
    if (path.empty()) {
        error = refusal.empty() ? "no destination for " + r.url : refusal;
        return false;
    }
    if (Status s = out.Open(path); !s.ok()) {
        error = s.message();
        return false;
    }
    if (gunzip) {
        zsOpen = inflateInit2(&zs, 16 + MAX_WBITS) == Z_OK;
        if (!zsOpen) {
            error = "cannot start gunzip";
            return false;
        }
    }
    return true;
}

bool HttpTransfer::State::Save(const char* data, size_t size) {
    if (!gunzip) {
        if (Status s = out.Write(data, size); !s.ok()) {
            error = s.message();
            return false;
        }
        return true;
    }
    zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
    zs.avail_in = static_cast<uInt>(size);
    char buffer[64 * 1024];
    while (zs.avail_in > 0 && !zsEnded) {
        zs.next_out = reinterpret_cast<Bytef*>(buffer);
        zs.avail_out = sizeof buffer;
        const int rc = inflate(&zs, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END) {
            error = "the gzip body is damaged";
            return false;
        }
        if (Status s = out.Write(buffer, sizeof buffer - zs.avail_out); !s.ok()) {
            error = s.message();
            return false;
        }
        zsEnded = rc == Z_STREAM_END;
    }
    return true;
}

void HttpTransfer::State::Run(const std::shared_ptr<State>& self) {
    std::call_once(gCurlInit, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    curl = curl_easy_init();
    char errbuf[CURL_ERROR_SIZE] = {0};
    curl_slist* headers = curl_slist_append(nullptr, "Expect:");
    auto header = +[](char* data, size_t, size_t n, void* p) -> size_t {
        auto* s = static_cast<State*>(p);
        const std::string line(data, n);
        if (line.rfind("HTTP/", 0) == 0) {
            // A new response (after a redirect): forget the last one's fields.
            s->statusLine = Trim(line);
            s->contentDisposition.clear();
            s->contentType.clear();
        } else if (const size_t colon = line.find(':'); colon != std::string::npos) {
            const std::string key = Lower(line.substr(0, colon));
            if (key == "content-disposition") s->contentDisposition = Trim(line.substr(colon + 1));
            if (key == "content-type") s->contentType = Trim(line.substr(colon + 1));
        }
        return n;
    };
    struct Ctx {
        State* s;
        std::shared_ptr<State> self;
    } ctx{this, self};
    auto write = +[](char* data, size_t, size_t n, void* p) -> size_t {
        auto* c = static_cast<Ctx*>(p);
        State* s = c->s;
        if (s->cancelled.load()) return 0;
        if (!s->responded && !s->Respond(c->self)) return 0;
        if (!s->post && !s->Save(data, n)) return 0;
        if (s->handlers.didReceiveData) {
            auto fn = s->handlers.didReceiveData;
            std::string bytes = s->post ? std::string(data, n) : std::string();
            s->ToMain(c->self, [fn, n, bytes = std::move(bytes)] { fn(static_cast<int64_t>(n), bytes); });
        }
        return n;
    };
    auto progress = +[](void* p, curl_off_t, curl_off_t, curl_off_t, curl_off_t) -> int {
        return static_cast<State*>(p)->cancelled.load() ? 1 : 0;
    };
    const long idle = static_cast<long>(std::max<int64_t>(1, options.idleLimit.count()));
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errbuf);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, options.maxRedirects);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, idle);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, idle);
    // Our own machine is never reached through a proxy.
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "localhost,127.0.0.1,::1");
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, header);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, write);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &ctx);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, progress);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
    if (post) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    }
    const CURLcode rc = curl_easy_perform(curl);
    if (!cancelled.load() && rc == CURLE_OK && !responded) Respond(self);
    if (!cancelled.load() && error.empty() && rc != CURLE_OK)
        error = errbuf[0] ? std::string(errbuf) : std::string(curl_easy_strerror(rc));
    if (error.empty() && gunzip && !zsEnded) error = "the gzip body ends early";
    std::string path;
    if (!cancelled.load() && error.empty() && !post) {
        if (Status s = out.Commit(); !s.ok())
            error = s.message();
        else
            path = out.path();
    }
    out.Cancel();
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    curl = nullptr;
    if (!cancelled.load()) {
        if (!error.empty()) {
            if (handlers.didFail) ToMain(self, [fn = handlers.didFail, e = error] { fn(e); });
        } else if (handlers.didFinish) {
            ToMain(self, [fn = handlers.didFinish, path] { fn(path); });
        }
    }
    std::lock_guard lock(mutex);
    finished = true;
    ended.notify_all();
}

HttpTransfer::HttpTransfer(std::shared_ptr<State> state) : state_(std::move(state)) {
    worker_ = std::thread([s = state_] { s->Run(s); });
}

std::unique_ptr<HttpTransfer> HttpTransfer::Get(const std::string& url, HttpHandlers handlers, HttpOptions options) {
    auto s = std::make_shared<State>();
    s->url = url;
    s->handlers = std::move(handlers);
    s->options = options;
    return std::unique_ptr<HttpTransfer>(new HttpTransfer(std::move(s)));
}

std::unique_ptr<HttpTransfer> HttpTransfer::Post(const std::string& url, std::string body, HttpHandlers handlers,
                                                 HttpOptions options) {
    auto s = std::make_shared<State>();
    s->url = url;
    s->body = std::move(body);
    s->post = true;
    s->handlers = std::move(handlers);
    s->options = options;
    return std::unique_ptr<HttpTransfer>(new HttpTransfer(std::move(s)));
}

HttpTransfer::~HttpTransfer() {
    Cancel();
    if (worker_.joinable()) worker_.join();
}

void HttpTransfer::Cancel() { state_->cancelled.store(true); }

bool HttpTransfer::finished() const {
    std::lock_guard lock(state_->mutex);
    return state_->finished;
}

bool HttpTransfer::WaitFinished(std::chrono::milliseconds limit) {
    std::unique_lock lock(state_->mutex);
    return state_->ended.wait_for(lock, limit, [&] { return state_->finished; });
}

}  // namespace ombrel::platform
