#include "services/ui/CameraSheets.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QRadioButton>
#include <QVBoxLayout>

#include <cmath>
#include <initializer_list>

namespace ombrel::services {

void ComboPopup::addItemWithTitle(const std::string& title) {
    w_->addItem(QString::fromStdString(title), w_->count());
}

bool ComboPopup::selectItemWithTitle(const std::string& title) {
    const int index = w_->findText(QString::fromStdString(title), Qt::MatchExactly);
    if (index < 0) return false;
    w_->setCurrentIndex(index);
    return true;
}

std::vector<std::string> ComboPopup::itemTitles() const {
    std::vector<std::string> out;
    for (int i = 0; i < w_->count(); ++i) out.push_back(w_->itemText(i).toStdString());
    return out;
}

namespace {

QDialog* Sheet(QWidget* window, const char* name, const char* title) {
    auto* d = new QDialog(window);
    d->setObjectName(name);
    d->setWindowTitle(title);
    d->setWindowModality(Qt::WindowModal);
    d->setMinimumWidth(440);
    return d;
}

QPushButton* Button(const char* name, const char* title, QWidget* parent) {
    auto* b = new QPushButton(title, parent);
    b->setObjectName(name);
    b->setAutoDefault(false);
    return b;
}

// A sheet's buttons at its bottom right; the last one answers Return.
void AddButtonRow(QVBoxLayout* layout, std::initializer_list<QPushButton*> buttons) {
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    for (QPushButton* b : buttons) row->addWidget(b);
    std::data(buttons)[buttons.size() - 1]->setDefault(true);
    layout->addLayout(row);
}

QComboBox* Combo(const char* name, QWidget* parent) {
    auto* c = new QComboBox(parent);
    c->setObjectName(name);
    c->setMinimumWidth(240);
    return c;
}

}  // namespace

CameraSheets::CameraSheets(QWidget* window, QWidget* settingsPanelView, QPushButton* changeCameraButton) {
    BuildChooser(window);
    BuildDownload(window);
    BuildComplete(window);
    BuildArea(changeCameraButton);
    dim_ = new QGraphicsOpacityEffect(settingsPanelView);
    dim_->setOpacity(1.0);
    dim_->setEnabled(false);
    settingsPanelView->setGraphicsEffect(dim_);
}

CameraSheets::~CameraSheets() {
    delete changeCameraWindow_;
    delete downloadCameraWindow_;
    delete downloadCompleteWindow_;
}

void CameraSheets::BuildChooser(QWidget* window) {
    changeCameraWindow_ = Sheet(window, "changeCameraWindow", "Source Camera");
    auto* layout = new QVBoxLayout(changeCameraWindow_);
    auto* heading = new QLabel("Choose the camera and picture style the clips were shot with.", changeCameraWindow_);
    heading->setWordWrap(true);
    layout->addWidget(heading);
    auto* form = new QFormLayout;
    make_ = ComboPopup(Combo("makePopup", changeCameraWindow_));
    model_ = ComboPopup(Combo("modelPopup", changeCameraWindow_));
    style_ = ComboPopup(Combo("pictureStylePopup", changeCameraWindow_));
    form->addRow("Make", make_.widget());
    form->addRow("Model", model_.widget());
    form->addRow("Picture style", style_.widget());
    layout->addLayout(form);
    auto* matrix = new QGroupBox("Apply to", changeCameraWindow_);
    matrix->setObjectName("selectionMatrix");
    auto* rows = new QVBoxLayout(matrix);
    selectionMatrix_ = new QButtonGroup(matrix);
    const char* titles[2] = {"The selected clips", "All clips"};
    for (int i = 0; i < 2; ++i) {
        auto* radio = new QRadioButton(titles[i], matrix);
        radio->setObjectName(i == 0 ? "selectionMatrixRow0" : "selectionMatrixRow1");
        selectionMatrix_->addButton(radio, i);
        rows->addWidget(radio);
    }
    selectionMatrix_->button(0)->setChecked(true);
    layout->addWidget(matrix);
    defaultCameraCheck_ = new QCheckBox("Make this camera the default for new clips", changeCameraWindow_);
    defaultCameraCheck_->setObjectName("defaultCameraCheck");
    layout->addWidget(defaultCameraCheck_);
    cancelChangeCameraButton_ = Button("cancelChangeCameraButton", "Cancel", changeCameraWindow_);
    applyButton_ = Button("applyCameraButton", "Apply", changeCameraWindow_);
    AddButtonRow(layout, {cancelChangeCameraButton_, applyButton_});
}

void CameraSheets::BuildDownload(QWidget* window) {
    downloadCameraWindow_ = Sheet(window, "downloadCameraWindow", "Data Pack");
    auto* layout = new QVBoxLayout(downloadCameraWindow_);
    downloadText_ = new QLabel(downloadCameraWindow_);
    downloadText_->setObjectName("downloadText");
    downloadText_->setWordWrap(true);
    layout->addWidget(downloadText_);
    auto* form = new QFormLayout;
    site_ = ComboPopup(Combo("downloadServerPopup", downloadCameraWindow_));
    form->addRow("Download from", site_.widget());
    layout->addLayout(form);
    cancelDownloadCameraButton_ = Button("cancelDownloadCameraButton", "Cancel", downloadCameraWindow_);
    downloadButton_ = Button("downloadButton", "Download", downloadCameraWindow_);
    AddButtonRow(layout, {cancelDownloadCameraButton_, downloadButton_});
}

void CameraSheets::BuildComplete(QWidget* window) {
    downloadCompleteWindow_ = Sheet(window, "downloadCompleteWindow", "Data Pack Installed");
    auto* layout = new QVBoxLayout(downloadCompleteWindow_);
    auto* text = new QLabel("The data pack is installed.\nApply the camera again to use it.", downloadCompleteWindow_);
    text->setObjectName("downloadCompleteText");
    layout->addWidget(text);
    continueButton_ = Button("downloadContinueButton", "Continue", downloadCompleteWindow_);
    AddButtonRow(layout, {continueButton_});
}

void CameraSheets::BuildArea(QPushButton* changeCameraButton) {
    QWidget* parent = changeCameraButton->parentWidget();
    cameraDownloadTabView_ = new QStackedWidget(parent);
    if (parent->layout()) delete parent->layout()->replaceWidget(changeCameraButton, cameraDownloadTabView_);
    cameraDownloadTabView_->setObjectName("cameraDownloadTabView");
    cameraDownloadTabView_->addWidget(new QWidget(cameraDownloadTabView_));
    auto* page1 = new QWidget(cameraDownloadTabView_);
    auto* l1 = new QVBoxLayout(page1);
    l1->setContentsMargins(0, 0, 0, 0);
    cameraText_ = new QLabel(page1);
    cameraText_->setObjectName("cameraText");
    cameraText_->setWordWrap(true);
    l1->addWidget(cameraText_);
    changeCameraButton_ = changeCameraButton;
    changeCameraButton->setParent(page1);
    l1->addWidget(changeCameraButton);
    cameraDownloadTabView_->addWidget(page1);
    auto* page2 = new QWidget(cameraDownloadTabView_);
    auto* l2 = new QVBoxLayout(page2);
    l2->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel("Downloading the data pack", page2);
    l2->addWidget(label);
    progressBar_ = new QProgressBar(page2);
    progressBar_->setObjectName("progressBar");
    progressBar_->setRange(0, 100);
    l2->addWidget(progressBar_);
    cancelButton_ = Button("cancelButton", "Cancel", page2);
    l2->addWidget(cancelButton_);
    cameraDownloadTabView_->addWidget(page2);
    cameraDownloadTabView_->setFixedHeight(page2->sizeHint().height());
}

void CameraSheets::Wire(SourceCameraContoller* controller, CameraChange* change) {
    controller_ = controller;
    for (ComboPopup* p : {&make_, &model_, &style_})
        QObject::connect(p->widget(), &QComboBox::activated, p->widget(),
                         [controller, p](int) { controller->CameraOptionsChanged(p); });
    QObject::connect(changeCameraButton_, &QPushButton::clicked, changeCameraButton_,
                     [change] { change->ChangeCameraClicked(); });
    QObject::connect(applyButton_, &QPushButton::clicked, applyButton_, [this, change] {
        if (selectionMatrixSelectedRow() == 0)
            change->ApplyCameraChange();
        else
            change->ApplyCameraChangeToAll(true);
    });
    QObject::connect(cancelChangeCameraButton_, &QPushButton::clicked, cancelChangeCameraButton_,
                     [change] { change->CancelCameraChange(true); });
    QObject::connect(changeCameraWindow_, &QDialog::rejected, changeCameraWindow_,
                     [change] { change->CancelCameraChange(true); });
    QObject::connect(downloadButton_, &QPushButton::clicked, downloadButton_, [change] { change->LUTDownload(); });
    QObject::connect(cancelDownloadCameraButton_, &QPushButton::clicked, cancelDownloadCameraButton_,
                     [change] { change->CancelCameraChange(false); });
    QObject::connect(downloadCameraWindow_, &QDialog::rejected, downloadCameraWindow_,
                     [change] { change->CancelCameraChange(false); });
    QObject::connect(continueButton_, &QPushButton::clicked, continueButton_,
                     [change] { change->DownloadFinishedContinue(); });
    QObject::connect(downloadCompleteWindow_, &QDialog::rejected, downloadCompleteWindow_,
                     [change] { change->DownloadFinishedContinue(); });
    QObject::connect(cancelButton_, &QPushButton::clicked, cancelButton_, [change] { change->CancelDownload(); });
}

QDialog* CameraSheets::window(CameraSheet sheet) const {
    switch (sheet) {
        case CameraSheet::kChooser:
            return changeCameraWindow_;
        case CameraSheet::kDownload:
            return downloadCameraWindow_;
        case CameraSheet::kComplete:
            return downloadCompleteWindow_;
    }
    return nullptr;
}

int CameraSheets::selectionMatrixSelectedRow() const { return selectionMatrix_->checkedId(); }

void CameraSheets::setDownloadText(const std::string& text) { downloadText_->setText(QString::fromStdString(text)); }

void CameraSheets::setProgress(double percent) {
    progressBar_->setValue(static_cast<int>(std::lround(std::clamp(percent, 0.0, 100.0))));
}

void CameraSheets::runSheet(CameraSheet sheet) {
    if (sheet == CameraSheet::kDownload && controller_) {
        // The sites of the list, then the maker's page.
        site_.removeAllItems();
        const PlistValue& locations = controller_->listDict()["DownloadLocations"];
        if (locations.isDict())
            for (const auto& [title, prefix] : locations.asDict()) site_.addItemWithTitle(title);
        site_.addItemWithTitle("Website");
        site_.selectItemWithTitle("USA");
    }
    if (sheet != CameraSheet::kDownload) downloadError_.clear();
    QDialog* d = window(sheet);
    if (d->isVisible()) return;
    d->open();
}

void CameraSheets::endSheet(CameraSheet sheet) {
    QDialog* d = window(sheet);
    // done() would send rejected, which is the cancel step itself.
    if (d->isVisible()) d->hide();
}

void CameraSheets::selectCameraTab(int index) {
    cameraDownloadTabView_->setCurrentIndex(index);
    if (index == 1 && controller_) {
        // The camera in use, and why the last download ended, if it did not finish.
        std::string text = controller_->displaySource() + " \u2014 " + controller_->displayPictureStyle();
        if (!downloadError_.empty()) text += "\n" + downloadError_;
        cameraText_->setText(QString::fromStdString(text));
    }
}

void CameraSheets::ShowDownloadError(const std::string& text) {
    downloadError_ = text;
    selectCameraTab(cameraTab() == 0 ? 0 : 1);
}

void CameraSheets::setSettingsAlpha(double alpha) {
    dim_->setOpacity(alpha);
    dim_->setEnabled(alpha < 1.0);
}

}  // namespace ombrel::services
