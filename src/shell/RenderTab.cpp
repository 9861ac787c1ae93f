#include "shell/RenderTab.h"

#include <QEvent>
#include <QFileDialog>
#include <QGraphicsOpacityEffect>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QVBoxLayout>

#include <cstdio>

#include "core/Log.h"
#include "library/FileParserHooks.h"
#include "model/SettingsManager.h"
#include "platform/movie/CodecPreset.h"
#include "shell/logic/RenderPanel.h"

namespace ombrel {

namespace {

class QtLineEdit : public TextFieldPort {
public:
    explicit QtLineEdit(QLineEdit* w) : w_(w) {}
    void setStringValue(const std::string& text) override { w_->setText(QString::fromStdString(text)); }
    std::string stringValue() const override { return w_->text().toStdString(); }

private:
    QLineEdit* w_;
};

class QtButton : public ButtonPort {
public:
    explicit QtButton(QPushButton* w) : w_(w) {}
    void setTitle(const std::string& title) override { w_->setText(QString::fromStdString(title)); }
    std::string title() const override { return w_->text().toStdString(); }
    void setEnabled(bool on) override { w_->setEnabled(on); }
    bool isEnabled() const override { return w_->isEnabled(); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }
    void display() override { w_->repaint(); }

private:
    QPushButton* w_;
};

class QtBox : public BoxPort {
public:
    explicit QtBox(QGroupBox* w) : w_(w), effect_(new QGraphicsOpacityEffect(w)) {
        effect_->setOpacity(1.0);
        w_->setGraphicsEffect(effect_);
    }
    void setAlphaValue(double alpha) override { effect_->setOpacity(alpha); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }
    void display() override { w_->repaint(); }

private:
    QGroupBox* w_;
    QGraphicsOpacityEffect* effect_;
};

class QtProgress : public ProgressPort {
public:
    explicit QtProgress(QProgressBar* w) : w_(w) {}
    void setDoubleValue(double percent) override { w_->setValue(static_cast<int>(percent * 10.0)); }
    void display() override { w_->repaint(); }

private:
    QProgressBar* w_;
};

class QtPushControl : public ControlPort {
public:
    explicit QtPushControl(QWidget* w) : w_(w) {}
    void setEnabled(bool on) override { w_->setEnabled(on); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }

private:
    QWidget* w_;
};

// OK or Cancel. A script answers with "ok" or "cancel".
class QtUserError : public UserErrorPort {
public:
    QtUserError(QtModal& modal, QWidget* parent) : modal_(modal), parent_(parent) {}
    void SetMessageStringWithHeading(const std::string& message, const std::string& heading) override {
        message_ = message;
        heading_ = heading;
    }
    void Show() override {
        Log()->info("modal: {}: {}", heading_, message_);
        std::printf("modal: %s: %s\n", heading_.c_str(), message_.c_str());
        std::fflush(stdout);
        if (auto a = modal_.TakeAnswer()) {
            cancelled_ = *a == "cancel";
            return;
        }
        if (modal_.scripted()) {
            cancelled_ = false;
            return;
        }
        cancelled_ = QMessageBox::warning(parent_, QString::fromStdString(heading_), QString::fromStdString(message_),
                                          QMessageBox::Ok | QMessageBox::Cancel) != QMessageBox::Ok;
    }
    bool didCancel() const override { return cancelled_; }

private:
    QtModal& modal_;
    QWidget* parent_;
    std::string message_, heading_;
    bool cancelled_ = false;
};

template <typename T>
T* Keep(std::vector<std::shared_ptr<void>>& keep, std::shared_ptr<T> p) {
    keep.push_back(p);
    return p.get();
}

}  // namespace

// ---------------------------------------------------------------- the size panel

SizeDialog::SizeDialog(SizeGuiController& logic, QWidget* parent) : QDialog(parent), logic_(logic) {
    setObjectName("sizeWindow");
    setWindowTitle("Custom Size");
    auto* grid = new QGridLayout(this);
    width_ = new QLineEdit(this);
    width_->setObjectName("widthText");
    height_ = new QLineEdit(this);
    height_->setObjectName("heightText");
    grid->addWidget(new QLabel("Width", this), 0, 0);
    grid->addWidget(width_, 0, 1);
    grid->addWidget(new QLabel("Height", this), 1, 0);
    grid->addWidget(height_, 1, 1);
    auto* cancel = new QPushButton("Cancel", this);
    cancel->setObjectName("sizeCancelButton");
    auto* accept = new QPushButton("OK", this);
    accept->setObjectName("sizeAcceptButton");
    accept->setDefault(true);
    grid->addWidget(cancel, 2, 0);
    grid->addWidget(accept, 2, 1);
    widthPort_ = std::make_unique<QtLineEdit>(width_);
    heightPort_ = std::make_unique<QtLineEdit>(height_);
    for (QLineEdit* e : {width_, height_}) {
        e->installEventFilter(this);
        TextFieldPort* port = e == width_ ? widthPort_.get() : heightPort_.get();
        connect(e, &QLineEdit::textEdited, this, [this, port] { logic_.controlTextDidChange(port); });
    }
    connect(accept, &QPushButton::clicked, this, [this] { logic_.AcceptPressed(); });
    connect(cancel, &QPushButton::clicked, this, [this] { logic_.CancelPressed(); });

    error_ = new QDialog(this);
    error_->setObjectName("SizeErrorWindow");
    error_->setWindowTitle("Size Limit");
    auto* l = new QVBoxLayout(error_);
    l->addWidget(new QLabel(QString("The largest output is %1 x %2 pixels.")
                                .arg(SizeGuiController::kMaxWidth)
                                .arg(SizeGuiController::kMaxHeight),
                            error_));
    auto* ok = new QPushButton("OK", error_);
    ok->setObjectName("sizeErrorOkButton");
    l->addWidget(ok);
    connect(ok, &QPushButton::clicked, this, [this] { logic_.ExitSizeError(); });
}

bool SizeDialog::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn)
        logic_.controlTextDidBeginEditing(watched == width_ ? widthPort_.get() : heightPort_.get());
    return QDialog::eventFilter(watched, event);
}

void SizeDialog::RunSizeWindow() {
    logic_.controlTextDidBeginEditing(widthPort_.get());
    exec();
}

void SizeDialog::RunSizeErrorWindow() {
    Log()->info("modal: Size Limit");
    std::printf("modal: Size Limit\n");
    std::fflush(stdout);
    error_->exec();
}

void SizeDialog::CloseSizeErrorWindow() { error_->done(0); }

// ---------------------------------------------------------------- the tab

QComboBox* RenderTab::Popup(const char* name, std::initializer_list<std::pair<const char*, int>> items) {
    auto* c = new QComboBox(this);
    c->setObjectName(name);
    for (const auto& [title, tag] : items) c->addItem(title, tag);
    c->setMinimumWidth(180);
    return c;
}

RenderTab::RenderTab(GuiController& controller, QWidget* parent) : QWidget(parent), controller_(controller) {
    format_ = Popup("outputFormatPopup", {{"DPX Sequence", kFormatDpx}, {"TIFF Sequence", kFormatTiff}});
    for (int tag = 0; tag < kFactoryCodecTags; ++tag) {
        CodecPreset preset;
        // A codec this build cannot write is left out of the menu.
        if (LoadCodecPreset(tag, &preset).ok() && !preset.encoder.empty())
            format_->addItem(QString::fromStdString("Movie: " + preset.title), tag);
    }
    size_ = Popup("outputSizePopup", {{"Source Size", 0},
                                      {"640 x 480", 1},
                                      {"1024 x 768", 2},
                                      {"1280 x 720", 3},
                                      {"1920 x 1080", 4},
                                      {"2048 x 1152", 5},
                                      {"2048 x 1536", 6},
                                      {"4096 x 2034", 7},
                                      {"Custom Size...", 99}});
    fit_ = Popup("outputFitPopup", {{"Fit Width", 0}, {"Fit Height", 1}, {"Fill", 2}});
    filenames_ = Popup("outputFilenamePopup", {{"Clip Name.Frame", 0}, {"Frame Number Only", 1}});
    edl_ = Popup("outputEdlOptionsPopup",
                 {{"Edit Ranges, One Sequence", 0}, {"Edit Ranges, Folder Each", 1}, {"Whole Clip", 2}});
    folders_ = Popup("outputFolderPopup", {{"Folder per Clip", 0}, {"Reel_Clip", 1}, {"Reel/Clip", 2}});
    timecode_ = Popup("outputTimecodePopup", {{"Number from Timecode", 0}, {"Number from Frame Index", 1}});
    dest_ = Popup("destinationPopup", {});
    dest_->setMinimumWidth(360);
    overwrite_ = new QCheckBox("Overwrite Existing Files", this);
    overwrite_->setObjectName("outputOverwriteCheckbox");
    browse_ = new QPushButton("Browse...", this);
    browse_->setObjectName("browseButton");
    render_ = new QPushButton("Render Clips", this);
    render_->setObjectName("renderButton");
    render_->setMinimumHeight(40);

    auto form = [this](QGroupBox* box, std::initializer_list<std::pair<const char*, QWidget*>> rows) {
        auto* g = new QGridLayout(box);
        int r = 0;
        for (const auto& [label, w] : rows) {
            if (label) g->addWidget(new QLabel(label, box), r, 0);
            g->addWidget(w, r++, 1);
        }
    };
    formatBox_ = new QGroupBox("Output Format", this);
    formatBox_->setObjectName("outputFormatBox");
    form(formatBox_, {{"Format", format_}, {"Size", size_}, {"Fit", fit_}});
    foldersBox_ = new QGroupBox("Frame Sequences", this);
    foldersBox_->setObjectName("outputFoldersBox");
    form(foldersBox_, {{"File Names", filenames_}, {"Edit", edl_}, {"Folders", folders_}, {"Numbering", timecode_}});
    destBox_ = new QGroupBox("Destination", this);
    destBox_->setObjectName("outputDestinationBox");
    form(destBox_, {{"Folder", dest_}, {nullptr, browse_}, {nullptr, overwrite_}});

    progress_ = new QProgressBar(this);
    progress_->setObjectName("progress");
    progress_->setRange(0, 1000);
    progress_->setTextVisible(false);
    auto label = [this](const char* name) {
        auto* l = new QLabel(this);
        l->setObjectName(name);
        l->setMinimumWidth(110);
        return l;
    };
    frames_ = label("renderTxtFrames");
    fps_ = label("renderTxtFPS");
    elapsed_ = label("renderTxtElapsed");
    eta_ = label("renderTxtETA");
    rendered_ = label("framesRenderedLabel");

    renderTable_ = new ShotListTable(&controller_.shotList(), true, this);
    renderTable_->setObjectName("renderTable");

    auto* side = new QVBoxLayout;
    for (QWidget* w : {static_cast<QWidget*>(formatBox_), static_cast<QWidget*>(foldersBox_),
                       static_cast<QWidget*>(destBox_)})
        side->addWidget(w);
    side->addStretch(1);
    side->addWidget(render_);
    auto* numbers = new QGridLayout;
    const std::pair<const char*, QLabel*> rows[] = {
        {"Frames", frames_}, {"FPS", fps_}, {"Elapsed", elapsed_}, {"Remaining", eta_}};
    int r = 0;
    for (const auto& [title, l] : rows) {
        numbers->addWidget(new QLabel(title, this), r, 0);
        numbers->addWidget(l, r++, 1);
    }
    side->addLayout(numbers);
    side->addWidget(rendered_);
    auto* main = new QVBoxLayout;
    main->addWidget(renderTable_, 1);
    main->addWidget(progress_);
    auto* l = new QHBoxLayout(this);
    l->addLayout(main, 1);
    l->addLayout(side);

    sizeDialog_ = new SizeDialog(controller_.renderPanel().customSizeController(), this);

    RenderPanel& panel = controller_.renderPanel();
    connect(browse_, &QPushButton::clicked, this, [&panel] { panel.BrowseDestClicked(); });
    connect(render_, &QPushButton::clicked, this, [&panel] { panel.RenderSequence(); });
    connect(dest_, &QComboBox::activated, this, [&panel] { panel.DestSelectionChanged(); });

}

// The folder panels answer through this tab.
RenderTab::~RenderTab() { SetFilePanels({}); }

void RenderTab::Wire(QtModal& modal, QComboBox* colorSpacePopup, QPushButton* const tabButtons[3]) {
    modal_ = &modal;
    // The window's folder panels; a script answers them instead of a person.
    SetFilePanels({[this](const std::string& path, bool needDirectory, bool, const std::string& title) {
                       std::printf("modal: Open: %s\n", title.c_str());
                       std::fflush(stdout);
                       if (auto a = modal_->TakeAnswer()) return *a == "cancel" ? std::string() : *a;
                       if (modal_->scripted()) return std::string();
                       const QString start = QString::fromStdString(path);
                       const QString chosen = needDirectory
                                                  ? QFileDialog::getExistingDirectory(this, QString::fromStdString(title), start)
                                                  : QFileDialog::getOpenFileName(this, QString::fromStdString(title), start);
                       return chosen.toStdString();
                   },
                   [this](const std::string& title) { return modal_->ChooseSavePath(title).value_or(""); }});
    RenderPanelControls c;
    c.outputFormatPopup = Keep(keep_, std::make_shared<QtMenuPopup>(format_));
    c.outputSizePopup = Keep(keep_, std::make_shared<QtMenuPopup>(size_));
    c.outputFitPopup = Keep(keep_, std::make_shared<QtMenuPopup>(fit_));
    c.outputFilenamePopup = Keep(keep_, std::make_shared<QtMenuPopup>(filenames_));
    c.outputEdlOptionsPopup = Keep(keep_, std::make_shared<QtMenuPopup>(edl_));
    c.outputFolderPopup = Keep(keep_, std::make_shared<QtMenuPopup>(folders_));
    c.outputTimecodePopup = Keep(keep_, std::make_shared<QtMenuPopup>(timecode_));
    c.destinationPopup = Keep(keep_, std::make_shared<QtMenuPopup>(dest_));
    c.colorSpacePopup = Keep<PopupPort>(keep_, std::make_shared<QtPopup>(colorSpacePopup));
    c.outputOverwriteCheckbox = Keep<CheckboxPort>(keep_, std::make_shared<QtCheckbox>(overwrite_));
    c.browseButton = Keep<ControlPort>(keep_, std::make_shared<QtPushControl>(browse_));
    c.outputFormatBox = Keep<BoxPort>(keep_, std::make_shared<QtBox>(formatBox_));
    c.outputFoldersBox = Keep<BoxPort>(keep_, std::make_shared<QtBox>(foldersBox_));
    c.outputDestinationBox = Keep<BoxPort>(keep_, std::make_shared<QtBox>(destBox_));
    c.renderButton = Keep<ButtonPort>(keep_, std::make_shared<QtButton>(render_));
    c.progress = Keep<ProgressPort>(keep_, std::make_shared<QtProgress>(progress_));
    c.renderTxtFrames = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(frames_));
    c.renderTxtFPS = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(fps_));
    c.renderTxtElapsed = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(elapsed_));
    c.renderTxtETA = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(eta_));
    c.framesRenderedLabel = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(rendered_));
    c.renderTable = renderTable_;
    for (int i = 0; i < 3; ++i) c.tabButtons[i] = Keep<ControlPort>(keep_, std::make_shared<QtPushControl>(tabButtons[i]));
    c.userErrorController = Keep<UserErrorPort>(keep_, std::make_shared<QtUserError>(modal, this));
    c.sizePanel = sizeDialog_;
    c.widthText = sizeDialog_->widthPort();
    c.heightText = sizeDialog_->heightPort();
    RenderPanel& panel = controller_.renderPanel();
    panel.setControls(c);
    const ControlPort* colorPort = c.colorSpacePopup;
    for (const auto& [box, port] : {std::pair<QComboBox*, const ControlPort*>{format_, c.outputFormatPopup},
                                    {size_, c.outputSizePopup}, {fit_, c.outputFitPopup},
                                    {filenames_, c.outputFilenamePopup}, {edl_, c.outputEdlOptionsPopup},
                                    {folders_, c.outputFolderPopup}, {timecode_, c.outputTimecodePopup},
                                    {colorSpacePopup, colorPort}})
        connect(box, &QComboBox::activated, this, [&panel, port] { panel.OutputSettingChanged(port); });
    connect(overwrite_, &QCheckBox::clicked, this,
            [&panel, port = c.outputOverwriteCheckbox] { panel.OutputSettingChanged(port); });
}

}  // namespace ombrel
