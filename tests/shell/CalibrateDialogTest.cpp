#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QLineEdit>


#include "look/AppState.h"
#include "shell/CalibrateDialog.h"
#include "support/OffscreenApp.h"

namespace ombrel {
namespace {

QApplication& App() { return test::OffscreenApp(); }

// The pipeline's view of frame 0 in the grab: each sample point reads its own cell's colour, and
// so do the cell's first and last rows and columns around it.
TEST(CalibrateDialog, SamplePointsFallInsideTheirCellsInAGrabOfTheDialog) {
    App();
    CalibrateGUIController controller(nullptr);
    controller.OpenWindow();
    ASSERT_TRUE(controller.lastError().empty()) << controller.lastError();
    QDialog* dlg = controller.dlgWindow();
    EXPECT_EQ(dlg->findChild<QWidget*>("glView")->mapTo(dlg, QPoint()), QPoint(36, 89));
    EXPECT_EQ(dlg->findChild<QWidget*>("qtView")->mapTo(dlg, QPoint()), QPoint(36, 346));
    const QImage grab = controller.Capture();
    ASSERT_EQ(grab.size(), dlg->size());
    const int cells[][2] = {{0, 0}, {1, 0}, {0, 1}, {31, 17}, {62, 1}, {63, 63}};
    for (const auto& [y, x] : cells) {
        const int row = 91 + 4 * y, column = 44 + 16 * x;
        const QColor s = grab.pixelColor(column, row);
        EXPECT_NEAR(s.red(), y * 255.0 / 63.0, 1.0) << y << "," << x;
        EXPECT_NEAR(s.green(), x * 255.0 / 63.0, 1.0) << y << "," << x;
        EXPECT_EQ(s.blue(), 0);
        for (const auto& [dr, dc] : {std::pair{-2, 0}, {1, 0}, {0, -8}, {0, 7}})
            EXPECT_EQ(grab.pixelColor(column + dc, row + dr), s) << y << "," << x << " " << dr << "," << dc;
    }

    // Fields show the values by "%1.3f"; an emptied one falls back to 1.
    auto* gamma = dlg->findChild<QLineEdit*>("gammaTextField");
    EXPECT_EQ(gamma->text().toStdString(), "1.000");
    gamma->setText("");
    dlg->findChild<QLineEdit*>("contrastTextField")->setText("0.5");
    controller.textChanged();
    EXPECT_EQ(AppState::Instance().csGamma(), 1.0f);
    EXPECT_EQ(AppState::Instance().csContrast(), 0.5f);
    controller.DonePressed();
}

}  // namespace
}  // namespace ombrel
