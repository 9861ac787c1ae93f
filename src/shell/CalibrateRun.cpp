#include "shell/CalibrateRun.h"

#include <QApplication>
#include <QComboBox>

#include <cstdio>
#include <cstdlib>

#include "core/MainQueue.h"
#include "look/AppState.h"
#include "shell/CalibrateDialog.h"
#include "sources/Calibration.h"

namespace ombrel {

int RunCalibrate(int argc, char** argv, int codecTag) {
    // No display needed: the measurement grabs the dialog, never the screen.
    if (const char* platform = std::getenv("QT_QPA_PLATFORM"); !platform || !*platform)
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
    MainQueue& queue = MainQueue::Instance();
    queue.Reopen();
    queue.AdoptCurrentThread();
    int code = 0;
    {
        CalibrateGUIController controller(nullptr);
        controller.OpenWindow();
        if (!controller.lastError().empty()) {
            std::fprintf(stderr, "ombrel calibrate: %s\n", controller.lastError().c_str());
            code = 1;
        } else if (!controller.SelectCodec(codecTag)) {
            std::fprintf(stderr, "ombrel calibrate: no codec with tag %d in this build\n", codecTag);
            code = 1;
        } else {
            controller.OptionChanged();
            if (!controller.lastError().empty()) {
                std::fprintf(stderr, "ombrel calibrate: %s\n", controller.lastError().c_str());
                code = 1;
            } else {
                std::printf("%s\n%s\n", calibration::MoviePath().c_str(), calibration::LUTPath().c_str());
                std::printf("largest deviation from identity: %.2f/255\n",
                            calibration::LargestDeviation(AppState::GetViewingLUTData()));
            }
        }
        controller.DonePressed();
    }
    queue.Close();
    return code;
}

}  // namespace ombrel
