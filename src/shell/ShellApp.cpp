#include "shell/ShellApp.h"

#include <QApplication>
#include <QPalette>
#include <QScreen>
#include <QStyleFactory>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "platform/prefs/MachineId.h"
#include "platform/prefs/Preferences.h"
#include "render/FrameProcessor.h"
#include "render/LookPipeline.h"
#include "shell/IniPreferencesStore.h"
#include "shell/MainWindow.h"
#include "shell/ScriptRunner.h"

namespace ombrel {

const char* const kNoDisplayMessage = "ombrel: no display to open the window on (set DISPLAY, or run under xvfb-run)";

bool HaveDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char* v = std::getenv(name);
        if (v && *v) return true;
    }
    return false;
}

namespace {

QPalette DarkPalette() {
    const QColor ground(0x11, 0x11, 0x11);
    const QColor base(0x1c, 0x1c, 0x1c);
    const QColor button(0x2a, 0x2a, 0x2a);
    const QColor text(0xd0, 0xd0, 0xd0);
    QPalette p;
    p.setColor(QPalette::Window, ground);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, ground);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, button);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::Highlight, QColor(0xe6, 0xa0, 0x28));
    p.setColor(QPalette::HighlightedText, Qt::black);
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::Disabled, QPalette::Text, QColor(0x66, 0x66, 0x66));
    p.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x66, 0x66, 0x66));
    p.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x66, 0x66, 0x66));
    return p;
}

}  // namespace

int RunGui(int argc, char** argv, const GuiOptions& options) {
    if (!HaveDisplay()) {
        std::fprintf(stderr, "%s\n", kNoDisplayMessage);
        return 2;
    }
    const std::string machineId = platform::MachineId();
    Log()->debug("machine id {}", machineId.empty() ? "(none)" : machineId);

    QApplication app(argc, argv);
    QApplication::setApplicationName("Ombrel");
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(DarkPalette());
    app.setStyleSheet("QPushButton:checked { background-color: #3a3a3a; color: #e6a028; border: 1px solid #e6a028; }");

    MainQueue& queue = MainQueue::Instance();
    queue.Reopen();
    queue.AdoptCurrentThread();
    // A hop to the main thread wakes the Qt loop, which then serves the queue.
    queue.SetWakeHandler([&app] {
        QMetaObject::invokeMethod(&app, [] { MainQueue::Instance().ServePending(); }, Qt::QueuedConnection);
    });

    platform::Preferences::SetSharedStore(std::make_shared<IniPreferencesStore>(IniPreferencesStore::DefaultPath()));
    // The render tab's runs grade as the command line's do, movies included.
    InstallLookPipeline(LookPipeline::OpenGL);
    RenderHooks hooks = GetRenderHooks();
    hooks.useRocketPreference = [] { return platform::Preferences::Shared().boolForKey("useRocket"); };
    SetRenderHooks(hooks);

    int code = 0;
    {
        MainWindow window(options.version);
        QPalette palette = window.palette();
        palette.setColor(QPalette::Window, QColor(0x11, 0x11, 0x11));
        window.setPalette(palette);
        window.setAutoFillBackground(true);
        // No window manager under a virtual display: the window takes the screen itself.
        if (QScreen* screen = QGuiApplication::primaryScreen()) {
            window.setGeometry(screen->geometry());
            // The display link ticks at the screen's rate; the view keeps 60 Hz when it is unknown.
            window.view().setRefreshRate(screen->refreshRate());
        }
        window.controller().applicationDidFinishLaunching();
        window.show();
        std::unique_ptr<ScriptRunner> runner;
        // The first key: a virtual display may never activate the window, so a zero-delay
        // timer after the first show stands in for it.
        QTimer::singleShot(0, &window, [&] {
            if (options.project) window.controller().setStartProject(*options.project);
            window.controller().windowDidBecomeKey();
            if (options.script) {
                runner = std::make_unique<ScriptRunner>(window, *options.script, options.shotsDir.value_or("."));
                runner->Start();
            }
        });
        code = QApplication::exec();
        if (runner && runner->failed()) code = 1;
    }
    queue.Close();
    queue.SetWakeHandler({});
    platform::Preferences::Shared().Synchronize();
    return code;
}

}  // namespace ombrel
