#include "services/CameraChange.h"

#include "core/Log.h"
#include "look/LutManager.h"
#include "platform/prefs/Preferences.h"
#include "services/Server.h"

namespace ombrel::services {

CameraChange::CameraChange(SourceCameraContoller* controller, DownloadManager* downloads, CameraClipPort* clip)
    : c_(controller), downloads_(downloads), clip_(clip) {}

void CameraChange::ChangeCameraClicked() {
    c_->StoreSettings();
    c_->panel()->setSettingsAlpha(0.3);
    c_->panel()->runSheet(CameraSheet::kChooser);
}

void CameraChange::ApplyCameraChangeToAll(bool toAll) {
    CameraPanelPort* p = c_->panel();
    p->endSheet(CameraSheet::kChooser);
    c_->CameraOptionsChanged(nullptr);
    pendingToAll_ = toAll;
    if (!LutManager::LutAvailable(c_->selectedLut())) {
        p->setDownloadText(kDownloadText);
        p->setProgress(0);
        pendingApply_ = true;
        p->runSheet(CameraSheet::kDownload);
        return;
    }
    FinishApply();
}

void CameraChange::FinishApply() {
    pendingApply_ = false;
    const ClipSettingsPtr settings = clip_->clipSettings();
    if (settings && LutManager::LutAvailable(c_->selectedLut())) {
        settings->setSourceCameraChosen(c_->selectedLut());
        settings->setDisplayMake(c_->displayMake());
        settings->setDisplayModel(c_->displayModel());
        settings->setDisplayPictureStyle(c_->displayPictureStyle());
        clip_->ApplyCameraChoiceToAll(*settings, pendingToAll_);
        clip_->StockChanged();
    }
    c_->DefaultTicked();
    if (c_->defaultTicked() && settings) {
        // Written from the clip's settings, so a pack still missing leaves the old camera as default.
        auto prefs = platform::Preferences::Shared();
        prefs.setObject("DefaultCamera_SourceCameraChosen", PlistValue(settings->sourceCameraChosen().value_or("")));
        prefs.setObject("DefaultCamera_DisplayMake", PlistValue(settings->displayMake().value_or("")));
        prefs.setObject("DefaultCamera_DisplayModel", PlistValue(settings->displayModel().value_or("")));
        prefs.setObject("DefaultCamera_DisplayPictureStyle", PlistValue(settings->displayPictureStyle().value_or("")));
    }
    c_->panel()->setSettingsAlpha(1.0);
}

void CameraChange::CancelCameraChange(bool fromChooser) {
    c_->RestoreSettings();
    c_->panel()->endSheet(fromChooser ? CameraSheet::kChooser : CameraSheet::kDownload);
    c_->panel()->setSettingsAlpha(1.0);
    if (pendingApply_) FinishApply();
}

void CameraChange::LUTDownload() {
    CameraPanelPort* p = c_->panel();
    c_->RestoreSettings();
    const std::string site = p->downloadServerPopup().titleOfSelectedItem();
    if (site == "Website") {
        const std::string page = DownloadPageURL();
        if (page.empty())
            c_->setError("No server is configured (preference \"ServerURL\" or OMBREL_SERVER_URL)");
        else
            p->openURL(page);
        p->selectCameraTab(1);
    } else {
        const std::string prefix = c_->DownloadLocationForTitle(site.empty() ? "USA" : site);
        std::string url;
        if (Status s = ResolveLocation(prefix + c_->selectedLutURL(), &url); !s.ok()) {
            LogWarn("{}", s.message());
            c_->setError(s.message());
            p->selectCameraTab(1);
        } else {
            LogInfo("downloading from {} for selected LUT {}", prefix, c_->selectedLutURL());
            p->selectCameraTab(2);
            downloads_->setClient(c_);
            downloads_->startDownloadingURL(url);
            // Refused (offline, or one already running for another client): the button comes back.
            if (!downloads_->downloadActive()) p->selectCameraTab(1);
        }
    }
    p->endSheet(CameraSheet::kDownload);
    if (pendingApply_) FinishApply();
}

void CameraChange::CancelDownload() {
    downloads_->CancelDownload();
    c_->panel()->selectCameraTab(1);
}

void CameraChange::DownloadFinished() {
    CameraPanelPort* p = c_->panel();
    if (p->cameraTab() == 2) p->selectCameraTab(1);
    p->setSettingsAlpha(0.3);
    p->runSheet(CameraSheet::kComplete);
}

void CameraChange::DownloadFinishedContinue() {
    c_->panel()->setSettingsAlpha(1.0);
    c_->panel()->endSheet(CameraSheet::kComplete);
}

void CameraChange::ClipLoaded(const ClipSettings& settings, bool movie) {
    if (settings.displayMake())
        c_->SetSelectionMakeModelPS(*settings.displayMake(), settings.displayModel().value_or(""),
                                    settings.displayPictureStyle().value_or(""));
    else
        c_->LoadDefaults();
    if (movie) c_->panel()->selectCameraTab(downloads_->downloadActive() ? 2 : 1);
}

}  // namespace ombrel::services
