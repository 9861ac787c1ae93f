#pragma once

#include <QApplication>

#include <cstdlib>

namespace ombrel::test {

// The one application object of the Qt tests, on the offscreen platform.
inline QApplication& OffscreenApp() {
    static int argc = 1;
    static char name[] = "ombrel_tests";
    static char* argv[] = {name, nullptr};
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    // Never destroyed: at exit it would outlive the input devices that test events made, and crash.
    static QApplication* app = new QApplication(argc, argv);
    return *app;
}

}  // namespace ombrel::test
