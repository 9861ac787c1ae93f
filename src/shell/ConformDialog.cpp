#include "shell/ConformDialog.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "editorial/EdlGuiController.h"
#include "shell/RenderTab.h"

namespace ombrel {

namespace {

class QtLog : public LogViewPort {
public:
    explicit QtLog(QPlainTextEdit* w) : w_(w) {}
    void appendText(const std::string& text) override {
        w_->moveCursor(QTextCursor::End);
        w_->insertPlainText(QString::fromStdString(text));
        w_->verticalScrollBar()->setValue(w_->verticalScrollBar()->maximum());
    }
    void setText(const std::string& text) override { w_->setPlainText(QString::fromStdString(text)); }

private:
    QPlainTextEdit* w_;
};

class QtField : public TextFieldPort {
public:
    explicit QtField(QLineEdit* w) : w_(w) {}
    void setStringValue(const std::string& text) override { w_->setText(QString::fromStdString(text)); }
    std::string stringValue() const override { return w_->text().toStdString(); }

private:
    QLineEdit* w_;
};

class QtRadio : public CheckboxPort {
public:
    explicit QtRadio(QRadioButton* w) : w_(w) {}
    void setState(bool on) override { w_->setChecked(on); }
    bool state() const override { return w_->isChecked(); }

private:
    QRadioButton* w_;
};

class QtPages : public TabViewPort {
public:
    explicit QtPages(QStackedWidget* w) : w_(w) {}
    void selectTabViewItemAtIndex(int index) override { w_->setCurrentIndex(index); }

private:
    QStackedWidget* w_;
};

class QtStart : public ButtonPort {
public:
    explicit QtStart(QPushButton* w) : w_(w) {}
    void setTitle(const std::string& title) override { w_->setText(QString::fromStdString(title)); }
    std::string title() const override { return w_->text().toStdString(); }
    void setEnabled(bool on) override { w_->setEnabled(on); }

private:
    QPushButton* w_;
};

class QtWidgetControl : public ControlPort {
public:
    explicit QtWidgetControl(QWidget* w) : w_(w) {}
    void setEnabled(bool on) override { w_->setEnabled(on); }

private:
    QWidget* w_;
};

// A row: the label dimmed until its stage begins, the result as a coloured word, a busy mark.
class QtStageRow : public StageRowPort {
public:
    QtStageRow(QLabel* label, QLabel* icon, QLabel* spinner) : label_(label), icon_(icon), spinner_(spinner) {}
    void setLabel(const std::string& text) override { label_->setText(QString::fromStdString(text)); }
    void setAlpha(double alpha) override {
        label_->setStyleSheet(QString("color: rgba(220, 220, 220, %1)").arg(static_cast<int>(alpha * 255)));
    }
    void setIcon(const std::string& name) override {
        static const std::pair<const char*, const char*> colours[] = {
            {"Done", "#5fbf5f"}, {"Failed", "#e05050"}, {"Alert", "#e6a028"}};
        icon_->setText(QString::fromStdString(name));
        for (const auto& [n, colour] : colours)
            if (name == n) icon_->setStyleSheet(QString("color: %1; font-weight: bold").arg(colour));
    }
    void setSpinning(bool on) override { spinner_->setText(on ? "\u25cc" : ""); }

private:
    QLabel *label_, *icon_, *spinner_;
};

template <typename T>
T* Keep(std::vector<std::shared_ptr<void>>& keep, std::shared_ptr<T> p) {
    keep.push_back(p);
    return p.get();
}

QPushButton* Button(const char* name, const char* title, QWidget* parent) {
    auto* b = new QPushButton(title, parent);
    b->setObjectName(name);
    b->setAutoDefault(false);
    return b;
}

}  // namespace

ConformDialog::ConformDialog(GuiController& controller, QWidget* parent) : QDialog(parent) {
    setObjectName("edlWindow");
    setWindowTitle("Load EDL / XML");
    resize(900, 640);
    sheet_ = std::make_unique<ConformSheet>(controller);

    auto* type = new QComboBox(this);
    type->setObjectName("inputType");
    for (const auto& [title, tag] : {std::pair{"FCP XML", kTagFcpXml}, {"EDL", kTagEdl}, {"Avid Filmscribe", kTagAvid},
                                     {"FCP-X XML", kTagFcpxXml}})
        type->addItem(title, tag);
    auto* edlPath = new QLineEdit(this);
    edlPath->setObjectName("edlPath");
    auto* sourcePath = new QLineEdit(this);
    sourcePath->setObjectName("r3dSourcePath");
    auto* browseEdl = Button("browseEdlButton", "Browse...", this);
    auto* browseDir = Button("browseDirButton", "Browse...", this);
    auto* r3d = new QRadioButton("Matching R3D Files", this);
    r3d->setObjectName("R3dRadioCell");
    auto* qt = new QRadioButton("Quicktime MOV Files", this);
    qt->setObjectName("QTRadioCell");
    auto* start = Button("startButton", "LOAD EDL / XML FILE", this);
    auto* close = Button("closeButton", "Done", this);
    auto* details = Button("viewDetailButton", "Details", this);
    auto* summary = Button("viewSummaryButton", "Summary", this);

    auto* grid = new QGridLayout;
    grid->addWidget(new QLabel("Type", this), 0, 0);
    grid->addWidget(type, 0, 1);
    grid->addWidget(new QLabel("EDL / XML file", this), 1, 0);
    grid->addWidget(edlPath, 1, 1);
    grid->addWidget(browseEdl, 1, 2);
    grid->addWidget(new QLabel("Footage folder", this), 2, 0);
    grid->addWidget(sourcePath, 2, 1);
    grid->addWidget(browseDir, 2, 2);
    auto* kinds = new QHBoxLayout;
    kinds->addWidget(r3d);
    kinds->addWidget(qt);
    kinds->addStretch(1);
    grid->addLayout(kinds, 3, 1);

    ConformSheetControls c;
    auto* rows = new QGridLayout;
    for (int i = 0; i < 4; ++i) {
        auto* label = new QLabel(this);
        label->setObjectName(QString("matchStage%1").arg(i + 1));
        auto* icon = new QLabel(this);
        icon->setObjectName(QString("matchStage%1Img").arg(i + 1));
        icon->setMinimumWidth(60);
        auto* spinner = new QLabel(this);
        spinner->setObjectName(QString("matchStage%1Progress").arg(i + 1));
        spinner->setMinimumWidth(20);
        rows->addWidget(spinner, i, 0);
        rows->addWidget(label, i, 1);
        rows->addWidget(icon, i, 2);
        c.matchStage[i] = Keep<StageRowPort>(keep_, std::make_shared<QtStageRow>(label, icon, spinner));
    }
    rows->setColumnStretch(1, 1);

    auto* pages = new QStackedWidget(this);
    pages->setObjectName("edlViewTabs");
    auto* log = new QPlainTextEdit(pages);
    log->setObjectName("edlTextView");
    log->setReadOnly(true);
    log->setStyleSheet("background: rgba(0, 0, 0, 128); font-family: monospace");
    table_ = new ShotListTable(&controller.shotList(), false, pages);
    table_->setObjectName("tableList");
    pages->addWidget(log);
    pages->addWidget(table_);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(details);
    buttons->addWidget(summary);
    buttons->addStretch(1);
    buttons->addWidget(start);
    buttons->addWidget(close);
    auto* l = new QVBoxLayout(this);
    l->addLayout(grid);
    l->addLayout(rows);
    l->addWidget(pages, 1);
    l->addLayout(buttons);

    c.edlWindow = this;
    c.edlTextView = Keep<LogViewPort>(keep_, std::make_shared<QtLog>(log));
    c.edlPath = Keep<TextFieldPort>(keep_, std::make_shared<QtField>(edlPath));
    c.r3dSourcePath = Keep<TextFieldPort>(keep_, std::make_shared<QtField>(sourcePath));
    c.inputType = Keep<MenuPopupPort>(keep_, std::make_shared<QtMenuPopup>(type));
    c.edlViewTabs = Keep<TabViewPort>(keep_, std::make_shared<QtPages>(pages));
    c.R3dRadioCell = Keep<CheckboxPort>(keep_, std::make_shared<QtRadio>(r3d));
    c.QTRadioCell = Keep<CheckboxPort>(keep_, std::make_shared<QtRadio>(qt));
    c.viewDetailButton = Keep<ControlPort>(keep_, std::make_shared<QtWidgetControl>(details));
    c.startButton = Keep<ButtonPort>(keep_, std::make_shared<QtStart>(start));
    c.closeButton = Keep<ControlPort>(keep_, std::make_shared<QtWidgetControl>(close));
    c.browseDirButton = Keep<ControlPort>(keep_, std::make_shared<QtWidgetControl>(browseDir));
    c.browseEdlButton = Keep<ControlPort>(keep_, std::make_shared<QtWidgetControl>(browseEdl));
    sheet_->setControls(c);
    sheet_->awakeFromNib();

    ConformSheet& s = *sheet_;
    connect(start, &QPushButton::clicked, this, [&s] { s.LoadEDL(); });
    connect(close, &QPushButton::clicked, this, [&s] { s.EDLDonePressed(); });
    connect(browseEdl, &QPushButton::clicked, this, [&s] { s.BrowseInputFile(); });
    connect(browseDir, &QPushButton::clicked, this, [&s] { s.BrowseSource(); });
    connect(type, &QComboBox::activated, this, [&s] { s.InputTypeChanged(); });
    connect(details, &QPushButton::clicked, this, [&s] { s.ViewDetails(); });
    connect(summary, &QPushButton::clicked, this, [&s] { s.ViewSummary(); });
}

ConformDialog::~ConformDialog() { sheet_.reset(); }

void ConformDialog::reject() {
    // Escape during a run would leave the worker writing to a hidden sheet.
    if (sheet_->conform().Finished()) sheet_->EDLDonePressed();
}

}  // namespace ombrel
