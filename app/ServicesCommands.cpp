#include "ServicesCommands.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>

#include "Json.h"
#include "RenderCommand.h"
#include "Signals.h"
#include "core/MainQueue.h"
#include "look/LutManager.h"
#include "platform/prefs/MachineId.h"
#include "platform/prefs/Preferences.h"
#include "services/DownloadManager.h"
#include "services/Events.h"
#include "services/Server.h"
#include "services/SourceCameraContoller.h"
#include "shell/IniPreferencesStore.h"

namespace ombrel::cli {
namespace {

using namespace services;

// The camera panels without a window: progress as "N%" lines on stderr.
class CliCameraPanel : public CameraPanelPort {
public:
    Popup& makePopup() override { return make_; }
    Popup& modelPopup() override { return model_; }
    Popup& pictureStylePopup() override { return style_; }
    Popup& downloadServerPopup() override { return site_; }
    int selectionMatrixSelectedRow() const override { return 0; }
    bool defaultCameraCheckState() const override { return false; }
    void setDownloadText(const std::string&) override {}
    void setProgress(double percent) override {
        const int whole = static_cast<int>(std::floor(percent));
        if (whole == last_) return;
        last_ = whole;
        std::fprintf(stderr, "%d%%\n", whole);
    }
    void runSheet(CameraSheet) override {}
    void endSheet(CameraSheet) override {}
    void selectCameraTab(int index) override { tab_ = index; }
    int cameraTab() const override { return tab_; }
    void setSettingsAlpha(double) override {}
    void openURL(const std::string& url) override { std::printf("%s\n", url.c_str()); }

private:
    MemoryPopup make_, model_, style_, site_;
    int tab_ = 1;
    int last_ = -1;
};

void UseUserPreferences() {
    platform::Preferences::SetSharedStore(std::make_shared<IniPreferencesStore>(IniPreferencesStore::DefaultPath()));
}

int ListCameras(SourceCameraContoller& c, CliCameraPanel& panel, bool json) {
    if (!c.LoadList()) {
        std::fprintf(stderr, "%s\n", c.lastError().c_str());
        return kExitFailed;
    }
    std::string rows;
    if (!json) std::printf("list file: %s\n", c.listPath().c_str());
    for (const auto& make : panel.makePopup().itemTitles()) {
        c.SetSelectionMakeModelPS(make, "", "");
        for (const auto& model : panel.modelPopup().itemTitles()) {
            c.SetSelectionMakeModelPS(make, model, "");
            for (const auto& style : panel.pictureStylePopup().itemTitles()) {
                c.SetSelectionMakeModelPS(make, model, style);
                const std::string lut = c.selectedLut();
                const bool installed = !lut.empty() && LutManager::LutAvailable(lut);
                std::string where = installed ? "installed" : c.listDict()["Download"][lut].asString();
                if (!installed && !where.empty()) {
                    std::string url;
                    if (ResolveLocation(c.DownloadLocationForTitle("USA") + where, &url).ok()) where = url;
                }
                if (json) {
                    rows += std::string(rows.empty() ? "" : ",\n") + "  {\"make\": " + JsonString(make) +
                            ", \"model\": " + JsonString(model) + ", \"style\": " + JsonString(style) +
                            ", \"lut\": " + JsonString(lut) + ", \"installed\": " + (installed ? "true" : "false") +
                            ", \"url\": " + JsonString(installed ? "" : where) + "}";
                } else {
                    std::printf("%s | %s | %s | %s | %s\n", make.c_str(), model.c_str(), style.c_str(),
                                lut.empty() ? "-" : lut.c_str(), where.empty() ? "-" : where.c_str());
                }
            }
        }
    }
    if (json) std::printf("{\"list\": %s, \"cameras\": [\n%s\n]}\n", JsonString(c.listPath()).c_str(), rows.c_str());
    return kExitOk;
}

void WriteDefaults(const SourceCameraContoller& c) {
    auto prefs = platform::Preferences::Shared();
    prefs.setObject("DefaultCamera_SourceCameraChosen", PlistValue(c.selectedLut()));
    prefs.setObject("DefaultCamera_DisplayMake", PlistValue(c.displayMake()));
    prefs.setObject("DefaultCamera_DisplayModel", PlistValue(c.displayModel()));
    prefs.setObject("DefaultCamera_DisplayPictureStyle", PlistValue(c.displayPictureStyle()));
    prefs.Synchronize();
}

int FetchCamera(SourceCameraContoller& c, CliCameraPanel& panel, const CameraOptions& o) {
    if (!c.LoadList()) {
        std::fprintf(stderr, "%s\n", c.lastError().c_str());
        return kExitFailed;
    }
    c.SetSelectionMakeModelPS(o.make, o.model, o.style);
    if (c.displayMake() != o.make || c.displayModel() != o.model || c.displayPictureStyle() != o.style ||
        c.selectedLut().empty()) {
        std::fprintf(stderr, "camera not in the list %s: %s / %s / %s\n", c.listPath().c_str(), o.make.c_str(),
                     o.model.c_str(), o.style.c_str());
        return kExitUsage;
    }
    const std::string lut = c.selectedLut();
    if (!LutManager::LutAvailable(lut)) {
        const std::string title = o.location.empty() ? "USA" : o.location;
        if (!c.listDict()["DownloadLocations"].contains(title)) {
            std::fprintf(stderr, "no download location \"%s\" in %s\n", title.c_str(), c.listPath().c_str());
            return kExitUsage;
        }
        std::string url;
        if (Status s = ResolveLocation(c.DownloadLocationForTitle(title) + c.selectedLutURL(), &url); !s.ok()) {
            std::fprintf(stderr, "%s\n", s.message().c_str());
            return kExitFailed;
        }
        SignalGuard guard;
        DownloadManager downloads;
        downloads.setClient(&c);
        downloads.startDownloadingURL(url);
        MainQueue::Instance().ServeUntil([&] { return !downloads.downloadActive() || SignalGuard::Interrupted(); },
                                         std::chrono::milliseconds(20));
        if (SignalGuard::Interrupted()) {
            downloads.CancelDownload();
            std::fprintf(stderr, "cancelled\n");
            return kExitCancelled;
        }
        if (!LutManager::LutAvailable(lut)) {
            std::fprintf(stderr, "%s\n",
                         (c.lastError().empty() ? "the pack " + lut + " is still missing after the download from " + url
                                                : c.lastError())
                             .c_str());
            return kExitFailed;
        }
    }
    (void)panel;
    std::printf("%s: %s\n", lut.c_str(), LutManager::AltPathForPictureStyleStockNameStatusM(lut, "5207", false).c_str());
    if (o.makeDefault) WriteDefaults(c);
    return kExitOk;
}

// The new-version sheet on a terminal.
class CliSheet : public SheetPort {
public:
    void setHeading(const std::string&) override {}
    void setMessage(const std::string& text) override { message_ = text; }
    bool checkboxState(int) const override { return false; }
    void setCheckboxState(int, bool) override {}
    void show() override { shown_ = true; }
    void close() override {}
    void openURL(const std::string&) override {}
    bool shown_ = false;
    std::string message_;
};

bool OnOff(const std::string& text, const char* what, std::optional<bool>* out) {
    if (text.empty()) return true;
    if (text != "on" && text != "off") {
        std::fprintf(stderr, "%s takes on or off, not \"%s\"\n", what, text.c_str());
        return false;
    }
    *out = text == "on";
    return true;
}

}  // namespace

CLI::App* AddCameraCommand(CLI::App& app, CameraOptions& o) {
    CLI::App* cmd = app.add_subcommand("camera", "The source cameras of movie clips and their data packs");
    cmd->require_subcommand(1);
    CLI::App* list = cmd->add_subcommand("list", "Makes, models and picture styles, with each pack's state");
    list->add_flag("--json", o.json, "JSON output");
    list->callback([&o] { o.action = CameraOptions::Action::kList; });
    CLI::App* fetch = cmd->add_subcommand("fetch", "Fetches and installs the data pack of a camera when missing");
    fetch->add_option("make", o.make)->required();
    fetch->add_option("model", o.model)->required();
    fetch->add_option("style", o.style)->required();
    fetch->add_option("--location", o.location, "A download location of the list (\"USA\" by default)");
    fetch->add_flag("--default", o.makeDefault, "Make this camera the default of new movie clips");
    fetch->callback([&o] { o.action = CameraOptions::Action::kFetch; });
    return cmd;
}

int RunCamera(const CameraOptions& o) {
    UseUserPreferences();
    CliCameraPanel panel;
    SourceCameraContoller c(&panel);
    if (o.action == CameraOptions::Action::kList) return ListCameras(c, panel, o.json);
    return FetchCamera(c, panel, o);
}

CLI::App* AddUsageCommand(CLI::App& app, UsageOptions& o) {
    CLI::App* cmd = app.add_subcommand("usage", "Shows and sets what may leave this machine; sends an event");
    cmd->add_option("--usage", o.usage, "Send usage events: on or off");
    cmd->add_option("--bugs", o.bugs, "Send bug events: on or off");
    cmd->add_option("--updates", o.updates, "Offer new versions: on or off");
    cmd->add_option("--offline", o.offline, "No event and no download at all: on or off");
    cmd->add_option("--dismiss-version", o.dismissVersion, "Offer no version up to this one again");
    CLI::App* send = cmd->add_subcommand("send", "Sends one event under the current choices");
    send->add_option("name", o.eventName)->required();
    send->add_option("text", o.eventText);
    send->callback([&o] { o.send = true; });
    return cmd;
}

int RunUsage(const UsageOptions& o) {
    UseUserPreferences();
    std::optional<bool> usage, bugs, updates, offline;
    if (!OnOff(o.usage, "--usage", &usage) || !OnOff(o.bugs, "--bugs", &bugs) ||
        !OnOff(o.updates, "--updates", &updates) || !OnOff(o.offline, "--offline", &offline))
        return kExitUsage;
    auto prefs = platform::Preferences::Shared();
    CliSheet sheet;
    UsageStatsController choices(&sheet);
    choices.awakeFromNib();
    if (usage || bugs || updates) {
        const auto& m = choices.menuStates();
        choices.UpdateOptionsUsageBugsUpdates(usage.value_or(m[0]), bugs.value_or(m[1]), updates.value_or(m[2]));
    }
    if (offline) prefs.setBool("Offline", *offline);
    if (!o.dismissVersion.empty()) {
        const double v = VersionAsDouble(o.dismissVersion);
        prefs.setObject("AlertVersion", PlistValue(static_cast<float>(v)));
    }
    prefs.Synchronize();
    if (o.send) {
        VersionChecker& vc = VersionChecker::Instance();
        vc.setMacAddress(platform::MachineId());
        UserMessageController offer(&sheet);
        vc.setMessageController(&offer);
        const uint64_t before = vc.repliesRead();
        const bool sent = vc.SendEventNamedWithData(o.eventName, o.eventText);
        if (sent) vc.WaitForInFlight(std::chrono::seconds(10));
        vc.setMessageController(nullptr);
        std::printf("%s\n", sent ? "sent" : "refused");
        if (sent && vc.repliesRead() == before) std::fprintf(stderr, "no reply from %s\n", ServerURL().c_str());
        if (sheet.shown_) std::printf("new version %g: %s\n", offer.version(), sheet.message_.c_str());
        return sent ? kExitOk : kExitFailed;
    }
    const auto on = [](bool b) { return b ? "on" : "off"; };
    const auto& m = choices.menuStates();
    std::printf("usage: %s\nbugs: %s\nupdates: %s\noffline: %s\nserver: %s\n", on(m[0]), on(m[1]), on(m[2]),
                on(Offline()), ServerURL().empty() ? "(none)" : ServerURL().c_str());
    if (const auto a = prefs.objectForKey("AlertVersion"); a && a->isNumber())
        std::printf("dismissed up to version: %g\n", static_cast<float>(a->asReal()));
    return kExitOk;
}

}  // namespace ombrel::cli
