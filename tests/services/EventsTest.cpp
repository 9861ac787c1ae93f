#include <gtest/gtest.h>

#include "platform/prefs/Preferences.h"
#include "services/Events.h"
#include "services/Server.h"
#include "support/LoopbackHttp.h"
#include "support/TempDir.h"

namespace ombrel::services {
namespace {

using namespace std::chrono_literals;

struct FakeSheet : SheetPort {
    std::string heading, message;
    bool dontShow = false;
    int shown = 0;
    void setHeading(const std::string& t) override { heading = t; }
    void setMessage(const std::string& t) override { message = t; }
    bool checkboxState(int) const override { return dontShow; }
    void setCheckboxState(int, bool) override {}
    void show() override { ++shown; }
    void close() override {}
    void openURL(const std::string&) override {}
};

class Events : public ::testing::Test {
protected:
    Events() {
        platform::Preferences::SetSharedStore(std::make_shared<platform::MemoryPreferencesStore>());
        platform::Preferences::Shared().setObject("CustomerID", PlistValue("c0ffee"));
        platform::Preferences::Shared().setObject("Company", PlistValue("Acme & Co"));
        http_.server().Post("/version.aspx", [this](const httplib::Request& q, httplib::Response& r) {
            std::lock_guard lock(mutex_);
            // Our body as it stands: curl's content type, no "Expect".
            bodies_.push_back(q.body + (q.get_header_value("Content-Type") == "application/x-www-form-urlencoded" &&
                                                !q.has_header("Expect")
                                            ? ""
                                            : "|headers"));
            r.set_content(reply_, "text/html");
        });
        LoadEventChoices();
        vc_.setMacAddress("000027018099115005");
        vc_.setMessageController(&offer_);
    }
    ~Events() override { vc_.setMessageController(nullptr); }

    // The events that reached the server, sorted: they travel side by side.
    std::vector<std::string> Send(const std::vector<std::string>& names) {
        for (const auto& n : names) vc_.SendEventNamedWithData(n, "");
        vc_.WaitForInFlight(5s);
        std::lock_guard lock(mutex_);
        std::vector<std::string> got;
        for (const auto& b : bodies_) got.push_back(b.substr(b.find("event_name=") + 11, b.find("&event_data") - b.find("event_name=") - 11));
        bodies_.clear();
        std::sort(got.begin(), got.end());
        return got;
    }

    std::mutex mutex_;
    std::vector<std::string> bodies_;
    std::string reply_;
    test::LoopbackHttp http_;
    test::ScopedEnv server_{"OMBREL_SERVER_URL", http_.url("/").c_str()};
    test::ScopedEnv offline_{"OMBREL_OFFLINE", nullptr};
    FakeSheet sheet_;
    UserMessageController offer_{&sheet_};
    VersionChecker& vc_ = VersionChecker::Instance();
};

TEST_F(Events, TheBodyLetterForLetter) {
    vc_.SendEventNamedWithData("EDL LOG", "/Clips/A001 caf\xC3\xA9.mov\r\n100% & more=1+2 <ok> \"q\"");
    vc_.WaitForInFlight(5s);
    ASSERT_EQ(bodies_.size(), 1u);
    EXPECT_EQ(bodies_[0], "software_id=1&version_number=" + ApplicationVersion() +
                              "&mac_address=000027018099115005&event_name=EDL%20LOG"
                              "&event_data=/Clips/A001%20caf%C3%A9.mov%0D%0A100%25%20&%20more=1+2%20%3Cok%3E%20%22q%22"
                              "&customer_name=c0ffee-Acme%20&%20Co");
}

TEST_F(Events, WhatLeavesUnderEachChoice) {
    const std::vector<std::string> all = {"BUG", "COMPLETE", "EDL%20LOG", "LAUNCH", "OTHER", "RENDER", "USAGE"};
    const std::vector<std::string> names = {"LAUNCH", "USAGE", "COMPLETE", "RENDER", "BUG", "EDL LOG", "OTHER"};
    EXPECT_EQ(Send(names), (std::vector<std::string>{"EDL%20LOG", "OTHER"}));
    FakeSheet menu;
    UsageStatsController choices(&menu);
    choices.UpdateOptionsUsageBugsUpdates(true, true, false);
    EXPECT_EQ(Send(names), all);
    test::ScopedEnv off("OMBREL_OFFLINE", "1");
    EXPECT_EQ(Send(names), std::vector<std::string>{});
}

TEST_F(Events, VersionOffers) {
    const struct {
        const char* reply;
        bool updates;
        double declined;  // 0: none
        int shown;
    } cases[] = {
        {"<version>9.5</version><user_message>Get it</user_message>", true, 0, 1},
        {"<version>9.5</version><user_message>Get it</user_message>", false, 0, 0},
        {"<version>0.0.9</version><user_message>Old</user_message>", true, 0, 0},
        {"<version>9.5</version>", true, 0, 0},
        {"<user_message>No version</user_message>", true, 0, 0},
        {"<version>0.7</version><user_message>Again?</user_message>", true, 0.7, 0},
        {"<version>0.8</version><user_message>Higher</user_message>", true, 0.7, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reply);
        reply_ = c.reply;
        sheet_.shown = 0;
        vc_.setShouldCheckNewVersion(c.updates);
        offer_.setVersion(c.declined);
        sheet_.dontShow = c.declined > 0;
        platform::Preferences::Shared().removeObjectForKey("AlertVersion");
        if (c.declined > 0) offer_.DoneClicked();
        Send({"OTHER"});
        EXPECT_EQ(sheet_.shown, c.shown);
    }
    EXPECT_EQ(sheet_.heading, "OMBREL - NEW VERSION");
    EXPECT_EQ(sheet_.message, "Higher");
    EXPECT_LT(VersionAsDouble("1.10"), VersionAsDouble("1.9"));
    EXPECT_EQ(VersionAsDouble("beta"), 0);
}

}  // namespace
}  // namespace ombrel::services
