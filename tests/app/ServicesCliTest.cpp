// `ombrel camera fetch` and `ombrel usage` against a server on the loopback.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <random>

#include "CliSupport.h"
#include "support/LoopbackHttp.h"
#include "support/ZipMaker.h"

namespace ombrel::clitest {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

const char* const kList = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>Manufacturer</key><array><dict><key>name</key><string>Generic</string><key>child</key><string>m</string></dict></array>
<key>m</key><array><dict><key>name</key><string>Log camera</string><key>child</key><string>s</string></dict></array>
<key>s</key><array><string>Flat</string></array>
<key>Lookup</key><dict><key>Generic_Log camera_Flat</key><string>LogFlat</string></dict>
<key>Download</key><dict><key>LogFlat</key><string>LogFlat.zip</string></dict>
<key>DownloadLocations</key><dict><key>USA</key><string>packs/</string><key>Gone</key><string>gone/</string>
<key>Slow</key><string>slow/</string></dict>
</dict></plist>)";

class ServicesCli : public ::testing::Test {
protected:
    ServicesCli() {
        fs::create_directories(dir_ / "root/Resources");
        fs::create_directories(dir_ / "root/Profiles");
        test::WriteWholeFile(dir_ / "root/Resources/csource.plist", kList);
        std::mt19937 noise(3);
        std::string table(400000, '\0');
        for (auto& ch : table) ch = static_cast<char>(noise());
        EXPECT_TRUE(test::MakeZip(dir_ / "pack.zip", {{"LogFlat/", "", test::ZipMember::kFolder},
                                                      {"LogFlat/LogFlat_5207.tin", table}}));
        zip_ = test::ReadWholeFile(dir_ / "pack.zip");
        auto& s = http_.server();
        s.Get("/packs/LogFlat.zip", [this](const httplib::Request&, httplib::Response& r) {
            r.set_content(zip_, "application/zip");
        });
        s.Get("/slow/LogFlat.zip", [this](const httplib::Request&, httplib::Response& r) {
            r.set_content_provider(zip_.size(), "application/zip", [this](size_t off, size_t, httplib::DataSink& sink) {
                if (off > 0) {
                    while (!stop_ && sink.is_writable()) std::this_thread::sleep_for(10ms);
                    return false;
                }
                sink.write(zip_.data(), 1000);
                return true;
            });
        });
        s.Post("/version.aspx", [this](const httplib::Request& q, httplib::Response& r) {
            std::lock_guard lock(mutex_);
            bodies_.push_back(q.body);
            r.set_content("<reply><version>9.5</version><user_message>Try it</user_message></reply>", "text/xml");
        });
    }
    ~ServicesCli() override { stop_ = true; }

    test::ShellResult Run(const std::string& args, const std::string& prefix = "timeout 60") {
        return test::RunShell("OMBREL_DATA_DIR=" + Quoted(dir_ / "root") + " OMBREL_SERVER_URL=" + http_.url("/") +
                              " OMBREL_OFFLINE= " + prefix + " " + OMBREL_CLI + " " + args);
    }
    std::vector<std::string> Bodies() {
        std::lock_guard lock(mutex_);
        return std::exchange(bodies_, {});
    }

    test::TempDir dir_;
    std::string zip_;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::vector<std::string> bodies_;
    test::LoopbackHttp http_;
};

TEST_F(ServicesCli, CameraFetchInstallsThePackOnceAndSaysWhy) {
    const fs::path profiles = dir_ / "root/Profiles";
    const struct {
        std::string args, prefix;
        int status;
        std::string says;
    } cases[] = {
        {"Generic Nope Flat", "timeout 60", 2, "camera not in the list"},
        {"Generic 'Log camera' Flat --location Nowhere", "timeout 60", 2, "no download location \"Nowhere\""},
        {"Generic 'Log camera' Flat --location Gone", "timeout 60", 1, "HTTP 404"},
        // Interrupted mid-transfer: cancelled, nothing left.
        {"Generic 'Log camera' Flat --location Slow", "timeout --preserve-status -s INT 3", 130, "cancelled"},
        {"Generic 'Log camera' Flat", "timeout 60", 0, "100%"},
        // Installed now: nothing fetched.
        {"Generic 'Log camera' Flat", "timeout 60", 0, "LogFlat: "},
    };
    for (const auto& c : cases) {
        const auto r = Run("camera fetch " + c.args, c.prefix);
        EXPECT_EQ(r.status, c.status) << c.args << "\n" << r.output;
        EXPECT_TRUE(Has(r, c.says)) << c.args << "\n" << r.output;
        std::vector<std::string> left;
        for (const auto& e : fs::directory_iterator(profiles)) left.push_back(e.path().filename());
        EXPECT_EQ(left, c.status == 0 ? std::vector<std::string>{"LogFlat"} : std::vector<std::string>{}) << c.args;
        if (&c == &cases[4]) {
            // Rising percentages that end at 100.
            int last = -1, lines = 0;
            std::istringstream in(r.output);
            for (std::string line; std::getline(in, line);)
                if (!line.empty() && line.back() == '%') {
                    const int p = std::stoi(line);
                    EXPECT_GT(p, last) << r.output;
                    last = p, ++lines;
                }
            EXPECT_EQ(last, 100);
            EXPECT_GT(lines, 2);
        }
        if (&c == &cases[5]) { EXPECT_FALSE(Has(r, "%\n")) << r.output; }
    }
    EXPECT_TRUE(fs::exists(profiles / "LogFlat/LogFlat_5207.tin"));
}

TEST_F(ServicesCli, UsageSendsOnlyWhatTheChoicesAllow) {
    const std::string prefix = "software_id=1&version_number=";
    const struct {
        std::string set, send;
        int status;
        std::vector<std::string> says;
        std::string body;  // what the event's body holds after the customer name; empty: no request
    } cases[] = {
        {"--usage off --bugs off --updates off --offline off", "LAUNCH", 1, {"refused"}, ""},
        // The conform's log always goes; the text escaped as a URL's, the version unescaped.
        {"", "'EDL LOG' 'a b/\xC3\xBC&c'", 0, {"sent"}, "&event_name=EDL%20LOG&event_data=a%20b/%C3%BC&c&customer_name="},
        {"--usage on --updates on", "LAUNCH", 0, {"sent", "new version 9.5: Try it"},
         "&event_name=LAUNCH&event_data=&customer_name="},
        {"--dismiss-version 9.5", "LAUNCH", 0, {"sent"}, "&event_name=LAUNCH&event_data=&customer_name="},
        {"--offline on", "'EDL LOG' x", 1, {"refused"}, ""},
    };
    for (const auto& c : cases) {
        if (!c.set.empty()) { ASSERT_EQ(Run("usage " + c.set).status, 0) << c.set; }
        const auto r = Run("usage send " + c.send);
        EXPECT_EQ(r.status, c.status) << c.send << "\n" << r.output;
        for (const auto& s : c.says) EXPECT_TRUE(Has(r, s)) << c.send << "\n" << r.output;
        if (&c == &cases[3]) { EXPECT_FALSE(Has(r, "new version")) << r.output; }
        const auto bodies = Bodies();
        if (c.body.empty()) {
            EXPECT_TRUE(bodies.empty()) << c.send;
            continue;
        }
        ASSERT_EQ(bodies.size(), 1u) << c.send;
        EXPECT_EQ(bodies[0].rfind(prefix, 0), 0u) << bodies[0];
        EXPECT_NE(bodies[0].find(c.body), std::string::npos) << bodies[0];
    }
    EXPECT_EQ(Run("usage --usage maybe").status, 2);
    EXPECT_TRUE(Has(Run("usage"), "offline: on"));
}

}  // namespace
}  // namespace ombrel::clitest
