#include "shell/CalibrateDialog.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "look/AppState.h"
#include "platform/movie/CodecPreset.h"
#include "platform/movie/MovieReader.h"
#include "sources/CalibrateGLRender.h"
#include "sources/Calibration.h"

namespace ombrel {

namespace cal = calibration;

namespace {

// The views' places in the client area, which put the sample rows and columns at cell centres.
constexpr int kViewLeft = 36;
constexpr int kGlTop = 89;
constexpr int kQtTop = 346;
constexpr int kDialogWidth = kViewLeft + cal::kViewWidth + kViewLeft;
constexpr int kDialogHeight = kQtTop + cal::kViewHeight + 64;

QString Field(float v) { return QString::asprintf("%1.3f", double(v)); }

// An empty or unreadable field reads as 0, which stands for 1.
float FieldValue(const QLineEdit* field) {
    const float v = field->text().toFloat();
    return v == 0.0f ? 1.0f : v;
}

}  // namespace

CalibratePictureView::CalibratePictureView(QWidget* parent) : QWidget(parent) {
    setFixedSize(cal::kViewWidth, cal::kViewHeight);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void CalibratePictureView::setPicture(QImage picture) {
    picture_ = std::move(picture);
    update();
}

void CalibratePictureView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), Qt::black);
    if (!picture_.isNull()) p.drawImage(QRect(0, 0, cal::kViewWidth, cal::kViewHeight), picture_);
}

CalibrateGUIController::CalibrateGUIController(QWidget* mainWindow) : mainWindow_(mainWindow) {}

CalibrateGUIController::~CalibrateGUIController() {
    delete dlgWindow_.data();
}

void CalibrateGUIController::BuildDialog() {
    auto* dlg = new QDialog(mainWindow_);
    dlg->setObjectName("dlgWindow");
    dlg->setWindowTitle("Calibrate Display");
    dlg->setFixedSize(kDialogWidth, kDialogHeight);
    QPalette palette = dlg->palette();
    palette.setColor(QPalette::Window, QColor(0, 0, 0, 128));
    dlg->setPalette(palette);
    dlg->setAutoFillBackground(true);

    auto* codecLabel = new QLabel("Codec:", dlg);
    codecLabel->setGeometry(kViewLeft, 24, 50, 26);
    codecPopup_ = new QComboBox(dlg);
    codecPopup_->setObjectName("codecPopup");
    for (int tag = 0; tag < kFactoryCodecTags; ++tag) {
        CodecPreset preset;
        if (LoadCodecPreset(tag, &preset).ok() && !preset.encoder.empty())
            codecPopup_->addItem(QString::fromStdString(preset.title), tag);
    }
    codecPopup_->setCurrentIndex(-1);
    codecPopup_->setGeometry(kViewLeft + 56, 24, 300, 26);
    connect(codecPopup_, &QComboBox::activated, this, [this] { OptionChanged(); });

    auto* gammaLabel = new QLabel("Gamma:", dlg);
    gammaLabel->setGeometry(kViewLeft + 400, 24, 60, 26);
    gammaTextField_ = new QLineEdit(dlg);
    gammaTextField_->setObjectName("gammaTextField");
    gammaTextField_->setGeometry(kViewLeft + 460, 24, 80, 26);
    auto* contrastLabel = new QLabel("Contrast:", dlg);
    contrastLabel->setGeometry(kViewLeft + 570, 24, 70, 26);
    contrastTextField_ = new QLineEdit(dlg);
    contrastTextField_->setObjectName("contrastTextField");
    contrastTextField_->setGeometry(kViewLeft + 640, 24, 80, 26);
    connect(gammaTextField_, &QLineEdit::textEdited, this, [this] { textChanged(); });
    connect(contrastTextField_, &QLineEdit::textEdited, this, [this] { textChanged(); });

    auto* upper = new QLabel("Look pipeline (above), test movie (below)", dlg);
    upper->setGeometry(kViewLeft, 60, 400, 24);
    glView_ = new CalibratePictureView(dlg);
    glView_->setObjectName("glView");
    glView_->move(kViewLeft, kGlTop);
    qtView_ = new CalibratePictureView(dlg);
    qtView_->setObjectName("qtView");
    qtView_->move(kViewLeft, kQtTop);

    doneButton_ = new QPushButton("Done", dlg);
    doneButton_->setObjectName("doneButton");
    doneButton_->setGeometry(kDialogWidth - kViewLeft - 100, kQtTop + cal::kViewHeight + 20, 100, 28);
    connect(doneButton_, &QPushButton::clicked, this, [this] { DonePressed(); });
    connect(dlg, &QDialog::finished, this, [this] { Closed(); });
    dlgWindow_ = dlg;
}

void CalibrateGUIController::OpenWindow() {
    AppState::ResetViewingLUTData();
    if (!dlgWindow_) BuildDialog();
    dlgWindow_->setWindowModality(mainWindow_ ? Qt::WindowModal : Qt::ApplicationModal);
    testPattern_.assign(cal::kPatternFloats, 0.0f);
    CreateTestBufferForFrame(0);
    SetupGLRender();
    DrawTestDataToOpenGLView();
    // A movie of an earlier run fills the lower view until the next run replaces it.
    std::error_code ec;
    if (std::filesystem::exists(cal::MoviePath(), ec)) OpenResultInQTPlayer();
    contrastTextField_->setText(Field(AppState::Instance().csContrast()));
    gammaTextField_->setText(Field(AppState::Instance().csGamma()));
    dlgWindow_->show();
}

void CalibrateGUIController::Closed() {
    testPattern_ = {};
    movie_.reset();
}

void CalibrateGUIController::DonePressed() {
    shader_.reset();
    if (dlgWindow_) dlgWindow_->done(QDialog::Accepted);
}

bool CalibrateGUIController::SelectCodec(int tag) {
    const int index = codecPopup_ ? codecPopup_->findData(tag) : -1;
    if (index < 0) return false;
    codecPopup_->setCurrentIndex(index);
    return true;
}

void CalibrateGUIController::OptionChanged() {
    AppState::Instance().setCsGamma(1.0f);
    AppState::Instance().setCsContrast(1.0f);
    if (!RenderToQT()) return;
    DrawTestDataToOpenGLView();
    OpenResultInQTPlayer();
    CaptureAndCompare();
    textChanged();
}

void CalibrateGUIController::textChanged() {
    if (!gammaTextField_) return;
    AppState::Instance().setCsGamma(FieldValue(gammaTextField_));
    AppState::Instance().setCsContrast(FieldValue(contrastTextField_));
    LogInfo("Text Changed");
}

void CalibrateGUIController::SetupGLRender() {
    if (shader_) return;
    auto shader = std::make_unique<CalibrateGLRender>();
    if (!shader->SetupGLRender()) {
        lastError_ = shader->lastError();
        return;
    }
    shader_ = std::move(shader);
}

void CalibrateGUIController::CreateTestBufferForFrame(int frame) {
    if (testPattern_.size() == cal::kPatternFloats) cal::FillPattern(frame, testPattern_.data());
}

void CalibrateGUIController::DrawTestDataToOpenGLView() {
    if (!glView_ || testPattern_.size() != cal::kPatternFloats) return;
    if (!shader_ || !shader_->DrawTestData(testPattern_.data())) {
        if (shader_) lastError_ = shader_->lastError();
        glView_->setPicture({});
        return;
    }
    const auto& rgba = shader_->rgba();
    glView_->setPicture(
        QImage(rgba.data(), cal::kViewWidth, cal::kViewHeight, cal::kViewWidth * 4, QImage::Format_RGBA8888).copy());
    glView_->setFocus();
}

bool CalibrateGUIController::RenderToQT() {
    const int tag = codecPopup_ && codecPopup_->currentIndex() >= 0 ? codecPopup_->currentData().toInt() : -1;
    // The reader must let go of the old movie before it is replaced.
    movie_.reset();
    if (qtView_) qtView_->setPicture({});
    if (Status s = cal::RenderMovie(tag, cal::MoviePath()); !s.ok()) {
        lastError_ = "The calibration movie could not be written: " + s.message();
        LogError("{}", lastError_);
        return false;
    }
    return true;
}

void CalibrateGUIController::OpenResultInQTPlayer() {
    movie_ = std::make_unique<MovieReader>();
    movieFrame_ = 0;
    if (!movie_->Open(cal::MoviePath())) {
        LogError("The calibration movie cannot be read: {}", movie_->lastError());
        movie_.reset();
    }
    ShowMovieFrame(movieFrame_);
}

void CalibrateGUIController::ShowMovieFrame(int frame) {
    if (!qtView_) return;
    std::vector<uint16_t> rgb;
    if (!movie_ || !movie_->ReadFrameScaled(frame, cal::kViewWidth, cal::kViewHeight, rgb)) {
        qtView_->setPicture({});
        return;
    }
    QImage picture(cal::kViewWidth, cal::kViewHeight, QImage::Format_RGB888);
    for (int y = 0; y < cal::kViewHeight; ++y) {
        uint8_t* out = picture.scanLine(y);
        const uint16_t* in = &rgb[size_t(y) * cal::kViewWidth * 3];
        for (int i = 0; i < cal::kViewWidth * 3; ++i) out[i] = uint8_t((uint32_t(in[i]) * 255 + 32767) / 65535);
    }
    qtView_->setPicture(std::move(picture));
}

QImage CalibrateGUIController::Capture() const {
    if (!dlgWindow_) return {};
    QImage image = dlgWindow_->grab().toImage();
    // A scaled screen would move every sample point: measure at one pixel per point.
    if (image.size() != dlgWindow_->size()) image = image.scaled(dlgWindow_->size(), Qt::IgnoreAspectRatio);
    image.setDevicePixelRatio(1.0);
    return image.convertToFormat(QImage::Format_RGBA8888);
}

void CalibrateGUIController::CaptureAndCompare() {
    std::vector<float> lut(cal::kLUTFloats, 0.0f);
    for (int z = 0; z < cal::kFrames; ++z) {
        ShowMovieFrame(movieFrame_);
        CreateTestBufferForFrame(z);
        DrawTestDataToOpenGLView();
        const QImage image = Capture();
        cal::Capture c;
        c.data = image.constBits();
        c.width = image.width();
        c.height = image.height();
        c.stride = size_t(image.bytesPerLine());
        if (!cal::CompareFrame(c, z, lut.data())) {
            lastError_ = "The calibration dialog is too small to measure";
            LogError("{}", lastError_);
            return;
        }
        if (z == cal::kFrames - 1) LogInfo("last");
        std::memcpy(AppState::GetViewingLUTData(), lut.data(), cal::kLUTFloats * sizeof(float));
        AppState::Instance().setReloadViewLUT(true);
        ++movieFrame_;
        // The run holds the main thread: let what waits on it through between frames.
        MainQueue::Instance().ServePending();
    }
    if (Status s = cal::WriteLUT(lut.data(), cal::LUTPath()); !s.ok()) {
        lastError_ = "The viewing table could not be written: " + s.message();
        LogError("{}", lastError_);
    }
}

}  // namespace ombrel

namespace ombrel {

void OpenCalibrateDialog(QWidget* mainWindow) {
    auto* controller = mainWindow->findChild<CalibrateGUIController*>("calibrateController", Qt::FindDirectChildrenOnly);
    if (!controller) {
        controller = new CalibrateGUIController(mainWindow);
        controller->setParent(mainWindow);
        controller->setObjectName("calibrateController");
    }
    controller->OpenWindow();
}

}  // namespace ombrel
