#pragma once

#include "model/ClipSettings.h"
#include "services/SourceCameraContoller.h"

namespace ombrel::services {

// What the camera change needs of the window: the open clip's settings, the film strip and
// the look.
class CameraClipPort {
public:
    virtual ~CameraClipPort() = default;
    // The model's settings of the open clip; null without one.
    virtual ClipSettingsPtr clipSettings() = 0;
    // The film strip pushes the camera to its movie clips: all, or the selected ones.
    virtual void ApplyCameraChoiceToAll(const ClipSettings& settings, bool toAll) = 0;
    virtual void StockChanged() = 0;
};

// The window controller's side of the camera panels: change, apply, cancel, fetch a pack,
// finish. A modal run is a sheet shown through the port; the step after it runs when the
// sheet's button ends the run. Main thread.
class CameraChange {
public:
    CameraChange(SourceCameraContoller* controller, DownloadManager* downloads, CameraClipPort* clip);

    static constexpr const char* kDownloadText =
        "A new data pack for your camera is available.\nYou will need to download and install this\n"
        "before you can use the selected profile.";

    void ChangeCameraClicked();
    void ApplyCameraChange() { ApplyCameraChangeToAll(false); }
    void ApplyCameraChangeToAll(bool toAll);
    // `fromChooser`: the chooser's own cancel button, else the download sheet's.
    void CancelCameraChange(bool fromChooser);
    void LUTDownload();
    void CancelDownload();
    void DownloadFinished();
    void DownloadFinishedContinue();
    // A clip was opened: the panel follows its camera, or the defaults.
    void ClipLoaded(const ClipSettings& settings, bool movie);

    // A download sheet is up, waiting for its button to end the modal run.
    bool awaitingDownloadSheet() const { return pendingApply_; }

private:
    // The steps after the download sheet's modal run ended.
    void FinishApply();

    SourceCameraContoller* c_;
    DownloadManager* downloads_;
    CameraClipPort* clip_;
    bool pendingApply_ = false;
    bool pendingToAll_ = false;
};

}  // namespace ombrel::services
