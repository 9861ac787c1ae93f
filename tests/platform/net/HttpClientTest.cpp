#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>

#include "core/MainQueue.h"
#include "platform/net/HttpClient.h"
#include "support/LoopbackHttp.h"
#include "support/TempDir.h"

namespace ombrel::platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class HttpClient : public ::testing::Test {
protected:
    HttpClient() {
        gzFile f = gzopen((dir_ / "gz").c_str(), "wb");
        gzwrite(f, std::string(50000, 'g').data(), 50000);
        gzclose(f);
        auto& s = http_.server();
        s.Get("/hop/(\\d+)", [](const httplib::Request& q, httplib::Response& r) {
            if (const int n = std::stoi(q.matches[1]); n > 0) return r.set_redirect("/hop/" + std::to_string(n - 1));
            r.set_header("Content-Disposition", "attachment; filename=\"Pack.zip\"");
            r.set_content(std::string(100000, 'p'), "application/zip");
        });
        s.Get("/missing.zip", [](const httplib::Request&, httplib::Response& r) { r.status = 404; });
        s.Get("/packs/Flat.zip.gz", [this](const httplib::Request&, httplib::Response& r) {
            r.set_content(test::ReadWholeFile(dir_ / "gz"), "application/gzip");
        });
        s.Get("/stall.zip", [this](const httplib::Request&, httplib::Response& r) {
            r.set_chunked_content_provider("application/zip", [this](size_t, httplib::DataSink& sink) {
                sink.write("s", 1);
                for (int i = 0; i < 500 && !stop_.load(); ++i) std::this_thread::sleep_for(10ms);
                sink.done();
                return true;
            });
        });
    }
    ~HttpClient() override { stop_ = true; }

    // What a GET told the main thread, in order (a run of blocks is one "data"), until it ended
    // or `until` said so.
    std::vector<std::string> Get(const std::string& path, const std::string& folder, std::chrono::seconds idle,
                                 const std::function<bool(const std::vector<std::string>&)>& until) {
        std::vector<std::string> events;
        HttpHandlers h;
        h.decideDestination = [folder](const HttpResponse& r, std::string*) { return folder + "/" + r.suggestedFilename; };
        h.didReceiveResponse = [&](const HttpResponse&) { events.push_back("response"); };
        h.didReceiveData = [&](int64_t, const std::string&) {
            if (events.back() != "data") events.push_back("data");
        };
        h.didFinish = [&](const std::string& p) { events.push_back("finish " + fs::path(p).filename().string()); };
        h.didFail = [&](const std::string& e) { events.push_back("fail " + e); };
        auto t = HttpTransfer::Get(http_.url(path), std::move(h), {idle, 5});
        MainQueue::Instance().ServeUntil([&] { return until(events); }, 1ms);
        t->Cancel();
        EXPECT_TRUE(t->WaitFinished(2500ms));
        MainQueue::Instance().ServePending();
        return events;
    }

    test::TempDir dir_;
    std::atomic<bool> stop_{false};
    test::LoopbackHttp http_;  // last: it stops before what its handlers use goes
};

TEST_F(HttpClient, GetOutcomes) {
    // A proxy in the environment must not catch our own machine.
    test::ScopedEnv proxy("http_proxy", "http://127.0.0.1:9");
    const auto ended = [](const std::vector<std::string>& e) { return !e.empty() && e.back().find(' ') != std::string::npos; };
    const auto twoEvents = [](const std::vector<std::string>& e) { return e.size() == 2; };
    const struct {
        const char* path;
        std::vector<std::string> events;
        int64_t saved;  // bytes of the one file left, or -1 for none
        std::chrono::seconds idle = 60s;
        bool cancel = false;
    } cases[] = {
        {"/hop/5", {"response", "data", "finish Pack.zip"}, 100000},
        {"/hop/6", {"fail Maximum (5) redirects followed"}, -1},
        {"/missing.zip", {"fail HTTP 404 Not Found"}, -1},
        {"/packs/Flat.zip.gz", {"response", "data", "finish Flat.zip"}, 50000},
        {"/stall.zip",
         {"response", "data", "fail Operation too slow. Less than 1 bytes/sec transferred the last 1 seconds"},
         -1,
         1s},
        // Cancelled: nothing more is called, nothing is left.
        {"/stall.zip", {"response", "data"}, -1, 60s, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        test::TempDir out;
        EXPECT_EQ(Get(c.path, out.path(), c.idle, c.cancel ? twoEvents : ended), c.events);
        int64_t saved = -1;
        for (const auto& e : fs::directory_iterator(out.path())) saved += 1 + static_cast<int64_t>(e.file_size());
        EXPECT_EQ(saved, c.saved);
    }
}

}  // namespace
}  // namespace ombrel::platform
