#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace ombrel::platform {

// What the server said before the body: the last response after redirects.
struct HttpResponse {
    long status = 0;
    std::string statusLine;         // "HTTP 404 Not Found"
    int64_t expectedLength = -1;    // -1 when the server sent none
    std::string contentType;        // lower case, without parameters
    std::string suggestedFilename;  // Content-Disposition's, else the URL's last component
    std::string url;                // where the redirects ended
};

struct HttpOptions {
    // No byte for this long (connecting included) ends the transfer: an idle limit, never a total time.
    std::chrono::seconds idleLimit{60};
    long maxRedirects = 5;
};

// The callbacks of a transfer. All but `decideDestination` run on the main thread through
// MainQueue::RunAsync, in the order the transfer met them; none runs after Cancel().
struct HttpHandlers {
    // Worker thread, once the response is known: the file the body goes to, or empty to refuse
    // (then `didFail` gets `refusal`). GET only.
    std::function<std::string(const HttpResponse&, std::string* refusal)> decideDestination;
    std::function<void(const HttpResponse&)> didReceiveResponse;
    // A block of the body: its length, and for POST its bytes.
    std::function<void(int64_t length, const std::string& bytes)> didReceiveData;
    // GET: the file, complete and in place. POST: empty.
    std::function<void(const std::string& path)> didFinish;
    std::function<void(const std::string& error)> didFail;
};

// One HTTP transfer on a worker thread of its own. GET streams the body into a file through
// an atomic writer, so a failed, refused or cancelled transfer leaves nothing; a status of 400
// and above is a failure. "application/gzip" bodies are gunzipped as they are saved (a ".gz"
// ending leaves the suggested name). Dropping the object cancels and joins.
class HttpTransfer {
public:
    static std::unique_ptr<HttpTransfer> Get(const std::string& url, HttpHandlers handlers, HttpOptions options = {});
    // Our body as it stands; curl's default content type, an empty "Expect:".
    static std::unique_ptr<HttpTransfer> Post(const std::string& url, std::string body, HttpHandlers handlers,
                                              HttpOptions options = {});
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    // Stops the transfer within about a second; no callback runs after this returns.
    void Cancel();
    // The worker has ended (its last callbacks may still be queued).
    bool finished() const;
    // Waits for the worker, at most `limit`; true when it ended.
    bool WaitFinished(std::chrono::milliseconds limit);

    struct State;

private:
    explicit HttpTransfer(std::shared_ptr<State> state);
    std::shared_ptr<State> state_;
    std::thread worker_;
};

// "HTTP 404 Not Found" from a status line, or "HTTP 404" when it has no reason.
std::string StatusTextFromLine(long status, const std::string& statusLine);
// The file name of a Content-Disposition value, or empty.
std::string FilenameFromContentDisposition(const std::string& value);

}  // namespace ombrel::platform
