#include "services/Events.h"

#include <algorithm>
#include <random>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "library/FileParserHooks.h"
#include "platform/prefs/MachineId.h"
#include "platform/prefs/Preferences.h"
#include "render/RenderManager.h"
#include "services/Server.h"

namespace ombrel::services {

namespace {

// The text between the first `open` and the first `close` after it.
bool Between(const std::string& text, const std::string& open, const std::string& close, std::string* out) {
    const size_t a = text.find(open);
    if (a == std::string::npos) return false;
    const size_t b = text.find(close, a + open.size());
    if (b == std::string::npos) return false;
    *out = text.substr(a + open.size(), b - a - open.size());
    return true;
}

}  // namespace

void UserMessageController::SetMessageString(const std::string& text) {
    sheet_->setHeading("OMBREL - NEW VERSION");
    sheet_->setMessage(text);
}

void UserMessageController::DoneClicked() {
    if (sheet_->checkboxState(0))
        platform::Preferences::Shared().setObject("AlertVersion", PlistValue(static_cast<float>(version_)));
    sheet_->close();
}

void UserMessageController::DownloadClicked() {
    if (const std::string page = DownloadPageURL(true); !page.empty()) sheet_->openURL(page);
}

void UserErrorController::SetMessageStringWithHeading(const std::string& message, const std::string& heading) {
    sheet_->setHeading(heading);
    sheet_->setMessage(message);
}

void UserErrorController::ContinueClicked() {
    didCancel_ = false;
    sheet_->close();
}

void UserErrorController::CancelClicked() {
    didCancel_ = true;
    sheet_->close();
}

void DownloadR3DController::DownloadClicked() {
    if (const std::string page = DownloadPageURL(); !page.empty()) sheet_->openURL(page);
}

std::string VersionChecker::CustomerName() {
    auto prefs = platform::Preferences::Shared();
    std::string id = prefs.stringForKey("CustomerID").value_or("");
    if (id.empty()) {
        std::random_device rd;
        std::uniform_int_distribution<int> hex(0, 15);
        for (int i = 0; i < 16; ++i) id += "0123456789abcdef"[hex(rd)];
        prefs.setObject("CustomerID", PlistValue(id));
        prefs.Synchronize();
    }
    return id + "-" + prefs.stringForKey("Company").value_or("");
}

bool VersionChecker::EventAllowed(const std::string& name) const {
    if (name == "LAUNCH" || name == "USAGE" || name == "COMPLETE" || name == "RENDER") return shouldSendStats_;
    if (name == "BUG") return shouldSendBugs_;
    return true;
}

std::string VersionChecker::FormBody(const std::string& name, const std::string& data) const {
    return "software_id=1&version_number=" + ApplicationVersion() + "&mac_address=" + PercentEscape(macAddress_) +
           "&event_name=" + PercentEscape(name) + "&event_data=" + PercentEscape(data) +
           "&customer_name=" + PercentEscape(CustomerName());
}

bool VersionChecker::SendEventNamedWithData(const std::string& name, const std::string& data) {
    if (!EventAllowed(name)) return false;
    if (Offline()) {
        LogDebug("event {} not sent: offline", name);
        return false;
    }
    const std::string server = ServerURL();
    if (server.empty()) {
        LogDebug("event {} not sent: no server", name);
        return false;
    }
    responseData_.clear();
    const uint64_t gen = ++generation_;
    platform::HttpHandlers h;
    h.didReceiveResponse = [this, gen](const platform::HttpResponse&) { DidReceiveResponse(gen); };
    h.didReceiveData = [this, gen](int64_t, const std::string& bytes) { DidReceiveData(gen, bytes); };
    h.didFail = [this, gen](const std::string& e) { DidFailWithError(gen, e); };
    h.didFinish = [this, gen](const std::string&) { ConnectionDidFinishLoading(gen); };
    // Finished requests go; one still in flight runs on, its reply unread.
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                      [](const auto& c) { return c->finished(); }),
                       connections_.end());
    connections_.push_back(platform::HttpTransfer::Post(server + "version.aspx", FormBody(name, data), std::move(h)));
    return true;
}

void VersionChecker::DidReceiveResponse(uint64_t generation) {
    if (generation == generation_) responseData_.clear();
}

void VersionChecker::DidReceiveData(uint64_t generation, const std::string& bytes) {
    if (generation == generation_) responseData_ += bytes;
}

void VersionChecker::DidFailWithError(uint64_t, const std::string& error) {
    LogWarn("Could not check for new version of Ombrel.\n{}", error);
}

void VersionChecker::ConnectionDidFinishLoading(uint64_t generation) {
    if (generation != generation_) return;
    ++repliesRead_;
    if (!shouldCheckNewVersion_) return;
    const double own = VersionAsDouble(ApplicationVersion());
    std::string text;
    if (!Between(responseData_, "<version>", "</version>", &text)) return;
    const double newer = VersionAsDouble(text);
    if (!(newer > own)) return;
    std::string message;
    if (!Between(responseData_, "<user_message>", "</user_message>", &message)) return;
    if (messageController_) messageController_->setVersion(newer);
    const auto alert = platform::Preferences::Shared().objectForKey("AlertVersion");
    // Both sides as float: a declined 0.7 is stored as 0.7f, below the double 0.7.
    const float declined = alert && alert->isNumber() ? static_cast<float>(alert->asReal()) : 0.0f;
    if (static_cast<float>(newer) > declined && messageController_) {
        messageController_->SetMessageString(message);
        LogInfo("launching new version dialog");
        messageController_->Show();
    }
}

bool VersionChecker::WaitForInFlight(std::chrono::milliseconds limit) {
    auto idle = [this] {
        return std::all_of(connections_.begin(), connections_.end(), [](const auto& c) { return c->finished(); });
    };
    MainQueue::Instance().ServeUntil(
        [&, deadline = std::chrono::steady_clock::now() + limit] {
            return idle() || std::chrono::steady_clock::now() >= deadline;
        },
        std::chrono::milliseconds(5));
    MainQueue::Instance().ServePending();
    return idle();
}

std::array<bool, 3> LoadEventChoices() {
    const auto prefs = platform::Preferences::Shared();
    const std::array<bool, 3> choices{prefs.boolForKey("SendUsage").value_or(false),
                                      prefs.boolForKey("SendBugs").value_or(false),
                                      prefs.boolForKey("CheckForUpdates").value_or(false)};
    VersionChecker& vc = VersionChecker::Instance();
    vc.setShouldSendStats(choices[0]);
    vc.setShouldSendBugs(choices[1]);
    vc.setShouldCheckNewVersion(choices[2]);
    return choices;
}

void UsageStatsController::awakeFromNib() {
    menu_ = LoadEventChoices();
    for (int i = 0; i < 3; ++i) sheet_->setMenuItemState(i, menu_[i]);
}

void UsageStatsController::Show() {
    if (platform::Preferences::Shared().boolForKey("UsagePopupShown").value_or(false)) return;
    sheet_->setCheckboxState(0, menu_[0]);
    sheet_->setCheckboxState(1, menu_[1]);
    sheet_->show();
}

void UsageStatsController::ContinueClicked() {
    sheet_->close();
    platform::Preferences::Shared().setBool("UsagePopupShown", true);
    // Updates on, whatever the third box shows.
    UpdateOptionsUsageBugsUpdates(sheet_->checkboxState(0), sheet_->checkboxState(1), true);
}

void UsageStatsController::UsageStatsOptionsChanged(int item) {
    if (item < 0 || item > 2) return;
    menu_[item] = !menu_[item];
    UpdateOptionsUsageBugsUpdates(menu_[0], menu_[1], menu_[2]);
}

void UsageStatsController::UpdateOptionsUsageBugsUpdates(bool usage, bool bugs, bool updates) {
    auto prefs = platform::Preferences::Shared();
    prefs.setBool("SendUsage", usage);
    prefs.setBool("SendBugs", bugs);
    prefs.setBool("CheckForUpdates", updates);
    prefs.Synchronize();
    VersionChecker& vc = VersionChecker::Instance();
    vc.setShouldSendStats(usage);
    vc.setShouldSendBugs(bugs);
    vc.setShouldCheckNewVersion(updates);
    menu_ = {usage, bugs, updates};
    for (int i = 0; i < 3; ++i) sheet_->setMenuItemState(i, menu_[i]);
}

void WireUsageEvents() {
    VersionChecker::Instance().setMacAddress(platform::MachineId());
    LoadEventChoices();
    auto sink = [](const std::string& name, const std::string& data) {
        MainQueue::Instance().RunAsync([name, data] { VersionChecker::Instance().SendEventNamedWithData(name, data); });
    };
    SetUsageEventSink(sink);
    RenderManager::Instance().setUsageEventSink(sink);
}

}  // namespace ombrel::services
