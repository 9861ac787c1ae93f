#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "core/MainQueue.h"
#include "look/LutManager.h"
#include "services/DownloadManager.h"
#include "support/LoopbackHttp.h"
#include "support/TempDir.h"
#include "support/ZipMaker.h"

namespace ombrel::services {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

struct Client : LutDownloader {
    std::vector<double> progress;
    std::vector<std::string> errors;
    int complete = 0;
    void setProgress(double p) override { progress.push_back(p); }
    void setError(const std::string& e) override { errors.push_back(e); }
    void setComplete() override { ++complete; }
    void SetDownloadMessage(const std::string&) override {}
};

class Download : public ::testing::Test {
protected:
    Download() {
        std::mt19937 noise(7);
        std::string table(300000, '\0');
        for (auto& ch : table) ch = static_cast<char>(noise());
        EXPECT_TRUE(test::MakeZip(dir_ / "pack.zip", {{"LogFlat/", "", test::ZipMember::kFolder},
                                                      {"LogFlat/LogFlat_5207.tin", table},
                                                      {"LogFlat/LogFlat_5203.TIN", "t"}}));
        zip_ = test::ReadWholeFile(dir_ / "pack.zip");
        auto& s = http_.server();
        s.Get("/packs/LogFlat.zip", [this](const httplib::Request&, httplib::Response& r) {
            r.set_content(zip_, "application/zip");
        });
        s.Get("/notzip/LogFlat.zip", [](const httplib::Request&, httplib::Response& r) {
            r.set_content("<html>maintenance</html>", "application/zip");
        });
        // Without a length, and as slow as the test likes.
        s.Get("/chunked/LogFlat.zip", [this](const httplib::Request&, httplib::Response& r) {
            r.set_chunked_content_provider("application/zip", [this](size_t off, httplib::DataSink& sink) {
                for (int i = 0; i < 300 && slow_ && !stop_; ++i) std::this_thread::sleep_for(10ms);
                if (!sink.is_writable()) return false;
                const size_t n = std::min<size_t>(65536, zip_.size() - off);
                sink.write(zip_.data() + off, n);
                if (off + n == zip_.size()) sink.done();
                return true;
            });
        });
        fs::create_directories(root_ / "Profiles");
    }
    ~Download() override { stop_ = true; }

    void Run(const std::string& path) {
        d_.setClient(&client_);
        d_.setIdleLimit(5s);
        d_.startDownloadingURL(http_.url(path));
        MainQueue::Instance().ServeUntil([this] { return !d_.downloadActive(); }, 1ms);
    }

    test::TempDir dir_, root_;
    test::ScopedDataRoot scope_{root_.path()};
    std::string zip_;
    std::atomic<bool> slow_{false}, stop_{false};
    Client client_;
    // The server goes before what its handlers read, the manager before the client it calls.
    test::LoopbackHttp http_;
    DownloadManager d_;
};

TEST_F(Download, APackWithALengthRisesToAHundredAndInstalls) {
    Run("/packs/LogFlat.zip");
    ASSERT_GE(client_.progress.size(), 3u);
    EXPECT_TRUE(std::is_sorted(client_.progress.begin(), client_.progress.end()));
    EXPECT_EQ(client_.progress.back(), 100);
    EXPECT_EQ(client_.complete, 1);
    EXPECT_TRUE(LutManager::LutAvailable("LogFlat"));
    EXPECT_FALSE(fs::exists(root_ / "Profiles/LogFlat.zip"));
    for (const char* p : {"Profiles/LogFlat", "Profiles/LogFlat/LogFlat_5207.tin", "Profiles/LogFlat/LogFlat_5203.TIN"})
        EXPECT_EQ(fs::status(root_ / p).permissions(), fs::perms(0775)) << p;
}

TEST_F(Download, OutcomesOfOtherServers) {
    const struct {
        const char* path;
        std::vector<double> progress;
        std::vector<std::string> errors;
        int complete;
        bool installed;
    } cases[] = {
        {"/chunked/LogFlat.zip", {100}, {}, 1, true},
        // An archive that does not unpack is still removed and still completes; the folder it
        // should have made is missing.
        {"/notzip/LogFlat.zip", {100, 100}, {"No such file or directory"}, 1, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        client_ = Client();
        Run(c.path);
        EXPECT_EQ(client_.progress, c.progress);
        EXPECT_EQ(client_.errors, c.errors);
        EXPECT_EQ(client_.complete, c.complete);
        EXPECT_EQ(LutManager::LutAvailable("LogFlat"), c.installed);
        EXPECT_FALSE(fs::exists(root_ / "Profiles/LogFlat.zip"));
        fs::remove_all(root_ / "Profiles/LogFlat");
    }
}

TEST_F(Download, CancelAndASecondStart) {
    slow_ = true;
    d_.setClient(&client_);
    d_.startDownloadingURL(http_.url("/chunked/LogFlat.zip"));
    d_.startDownloadingURL(http_.url("/missing.zip"));  // changes nothing
    MainQueue::Instance().ServeFor(200ms);
    d_.CancelDownload();
    MainQueue::Instance().ServeFor(100ms);
    EXPECT_FALSE(d_.downloadActive());
    EXPECT_EQ(client_.errors, std::vector<std::string>{"Download cancelled"});
    EXPECT_EQ(client_.complete, 0);
    EXPECT_TRUE(fs::is_empty(root_ / "Profiles"));
}

}  // namespace
}  // namespace ombrel::services
