#pragma once

#include <QDialog>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QWidget>

#include <memory>
#include <string>
#include <vector>

class QComboBox;
class QLineEdit;
class QPushButton;

namespace ombrel {

class CalibrateGLRender;
class MovieReader;

// A picture of the dialog: what it was last given, drawn at its fixed size.
class CalibratePictureView : public QWidget {
public:
    explicit CalibratePictureView(QWidget* parent);
    void setPicture(QImage picture);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage picture_;
};

// The display calibration: the test cube through the look pipeline (glView) above the same
// cube through the test movie (qtView); a run captures the dialog for each of the 64 frames
// and measures the viewing table from the differences at the cell centres. The geometry of
// the two views is the measurement: the sample rows and columns assume it.
class CalibrateGUIController : public QObject {
public:
    explicit CalibrateGUIController(QWidget* mainWindow);
    ~CalibrateGUIController() override;

    // Opens the dialog over the main window (window-modal, not blocking the caller).
    void OpenWindow();
    void DonePressed();
    // A codec chosen: the measuring run.
    void OptionChanged();
    void textChanged();

    void SetupGLRender();
    void CreateTestBufferForFrame(int frame);
    void DrawTestDataToOpenGLView();
    // False, with the reason in lastError(), when the test movie could not be written.
    bool RenderToQT();
    void OpenResultInQTPlayer();
    void CaptureAndCompare();

    QDialog* dlgWindow() const { return dlgWindow_; }
    QComboBox* codecPopup() const { return codecPopup_; }
    // Picks the codec by tag without running; false when the popup lacks it.
    bool SelectCodec(int tag);
    // The dialog as captured: its client area at device pixel ratio 1, 8-bit RGBA.
    QImage Capture() const;
    const std::string& lastError() const { return lastError_; }

private:
    void BuildDialog();
    void ShowMovieFrame(int frame);
    void Closed();

    QPointer<QWidget> mainWindow_;
    QPointer<QDialog> dlgWindow_;
    QComboBox* codecPopup_ = nullptr;
    QPushButton* doneButton_ = nullptr;
    QLineEdit* gammaTextField_ = nullptr;
    QLineEdit* contrastTextField_ = nullptr;
    CalibratePictureView* glView_ = nullptr;
    CalibratePictureView* qtView_ = nullptr;
    std::unique_ptr<CalibrateGLRender> shader_;
    std::unique_ptr<MovieReader> movie_;
    int movieFrame_ = 0;
    std::vector<float> testPattern_;
    std::string lastError_;
};

}  // namespace ombrel

namespace ombrel {
// The settings menu's "Calibrate Display...": one calibration controller per window, reused.
void OpenCalibrateDialog(QWidget* mainWindow);
}  // namespace ombrel
