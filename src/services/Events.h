#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/Singleton.h"
#include "platform/net/HttpClient.h"

namespace ombrel::services {

// A modal sheet over the main window (a black veil at alpha 0.5 behind it): the new-version
// sheet, the error sheet, the first-run usage sheet and the data pack prompt.
class SheetPort {
public:
    virtual ~SheetPort() = default;
    virtual void setHeading(const std::string& text) = 0;
    virtual void setMessage(const std::string& text) = 0;
    // Check boxes by index: the new-version sheet's 0 is "don't show"; the usage sheet's are
    // 0 usage, 1 bugs, 2 updates.
    virtual bool checkboxState(int index) const = 0;
    virtual void setCheckboxState(int index, bool on) = 0;
    virtual void show() = 0;
    virtual void close() = 0;
    virtual void openURL(const std::string& url) = 0;
    // The window's menu items of the three choices (usage, bugs, updates).
    virtual void setMenuItemState(int index, bool on) { (void)index, (void)on; }
};

// The new-version sheet.
class UserMessageController {
public:
    explicit UserMessageController(SheetPort* sheet) : sheet_(sheet) {}
    void Show() { sheet_->show(); }
    void SetMessageString(const std::string& text);
    // Declining with "don't show" silences this version and every lower one.
    void DoneClicked();
    void DownloadClicked();
    void setVersion(double version) { version_ = version; }
    double version() const { return version_; }

private:
    SheetPort* sheet_;
    double version_ = 0;
};

// A sheet that asks to continue or cancel; the caller asks, then reads didCancel.
class UserErrorController {
public:
    explicit UserErrorController(SheetPort* sheet) : sheet_(sheet) {}
    void SetMessageStringWithHeading(const std::string& message, const std::string& heading);
    void Show() { sheet_->show(); }
    void ContinueClicked();
    void CancelClicked();
    bool didCancel() const { return didCancel_; }

private:
    SheetPort* sheet_;
    bool didCancel_ = false;
};

// The prompt when the default R3D pack is missing: it points at the maker's page, fetches nothing.
class DownloadR3DController {
public:
    explicit DownloadR3DController(SheetPort* sheet) : sheet_(sheet) {}
    void OpenWindow() { sheet_->show(); }
    void DoneClicked() { sheet_->close(); }
    void DownloadClicked();

private:
    SheetPort* sheet_;
};

// Sends named events to the maker's server as a form; every reply may carry the offer of a
// newer version. Nothing is sent offline or without a server. Main thread.
class VersionChecker : public Singleton<VersionChecker> {
public:
    static constexpr const char* kClassName = "VersionChecker";

    // True when the request went out; false when the event was refused (its choice is off,
    // offline, no server).
    bool SendEventNamedWithData(const std::string& name, const std::string& data);
    // The form body of an event, letter for letter.
    std::string FormBody(const std::string& name, const std::string& data) const;
    // Whether the table lets the event through under the current choices.
    bool EventAllowed(const std::string& name) const;

    const std::string& macAddress() const { return macAddress_; }
    void setMacAddress(const std::string& id) { macAddress_ = id; }
    UserMessageController* messageController() const { return messageController_; }
    void setMessageController(UserMessageController* c) { messageController_ = c; }
    bool shouldCheckNewVersion() const { return shouldCheckNewVersion_; }
    void setShouldCheckNewVersion(bool v) { shouldCheckNewVersion_ = v; }
    bool shouldSendBugs() const { return shouldSendBugs_; }
    void setShouldSendBugs(bool v) { shouldSendBugs_ = v; }
    bool shouldSendStats() const { return shouldSendStats_; }
    void setShouldSendStats(bool v) { shouldSendStats_ = v; }
    const std::string& responseData() const { return responseData_; }
    // Replies that were read to the end, for the command line's wait.
    uint64_t repliesRead() const { return repliesRead_; }

    // Serves the main queue until no request is in flight or the limit passed; true when none is.
    bool WaitForInFlight(std::chrono::milliseconds limit);
    // A random per-user id, made once and kept in the preferences, "-", the "Company" preference.
    static std::string CustomerName();

private:
    friend class Singleton<VersionChecker>;
    VersionChecker() = default;
    void DidReceiveResponse(uint64_t generation);
    void DidReceiveData(uint64_t generation, const std::string& bytes);
    void DidFailWithError(uint64_t generation, const std::string& error);
    void ConnectionDidFinishLoading(uint64_t generation);

    std::string responseData_;
    std::string macAddress_;
    UserMessageController* messageController_ = nullptr;
    bool shouldCheckNewVersion_ = false;
    bool shouldSendBugs_ = false;
    bool shouldSendStats_ = false;
    std::vector<std::unique_ptr<platform::HttpTransfer>> connections_;
    uint64_t generation_ = 0;
    uint64_t repliesRead_ = 0;
};

// The user's three choices about this traffic, their menu items and the first-run sheet.
class UsageStatsController {
public:
    explicit UsageStatsController(SheetPort* sheet) : sheet_(sheet) {}
    // Reads the three preferences (absent reads false) into the checker and the menu items.
    void awakeFromNib();
    // At first run only: the sheet with its boxes for usage and bugs.
    void Show();
    // Ends the sheet: its two boxes, with updates on, become the choices.
    void ContinueClicked();
    // A menu item (0 usage, 1 bugs, 2 updates) flips.
    void UsageStatsOptionsChanged(int item);
    void UpdateOptionsUsageBugsUpdates(bool usage, bool bugs, bool updates);
    const std::array<bool, 3>& menuStates() const { return menu_; }

private:
    SheetPort* sheet_;
    std::array<bool, 3> menu_{false, false, false};
};

// Reads "SendUsage", "SendBugs" and "CheckForUpdates" (absent reads false) into the checker.
std::array<bool, 3> LoadEventChoices();
// Sends the render queue's and the file rules' events (from any thread) through the checker,
// with this machine's identifier and the user's choices.
void WireUsageEvents();

}  // namespace ombrel::services
