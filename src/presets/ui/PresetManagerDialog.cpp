#include "presets/ui/PresetManagerDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cmath>

#include "presets/PresetCell.h"
#include "presets/ui/PresetItemCell.h"

namespace ombrel::presets {

namespace {

enum Column { kIcon = 0, kLook = 1, kTick = 2, kName = 3, kTrash = 4 };

QString Q(const std::string& s) { return QString::fromStdString(s); }

void Fill(QComboBox* combo, const PopupModel& model) {
    combo->clear();
    for (int i = 0; i < model.count(); ++i) {
        const PopupItem& item = model.items()[static_cast<size_t>(i)];
        if (item.separator) combo->insertSeparator(i);
        else combo->addItem(Q(item.title), i);
    }
    combo->setCurrentIndex(model.indexOfSelectedItem());
}

// A ball's colour as its wheel shows it: the angle is the hue, the strength the saturation.
QColor Swatch(const float ball[2]) {
    double hue = std::fmod(ball[1] / (2.0 * M_PI), 1.0);
    if (hue < 0) hue += 1.0;
    return QColor::fromHsvF(static_cast<float>(hue), std::clamp(ball[0], 0.0f, 1.0f), 0.9f);
}

QPushButton* Button(const char* title, const char* name, QWidget* parent) {
    auto* b = new QPushButton(title, parent);
    b->setObjectName(name);
    b->setAutoDefault(false);
    return b;
}

}  // namespace

PresetManagerDialog::PresetManagerDialog(QWidget* parent, PathChooser chooseSavePath, PathChooser chooseFile)
    : QDialog(parent), controller_(this), chooseSavePath_(std::move(chooseSavePath)), chooseFile_(std::move(chooseFile)) {
    setObjectName("presetManagerWindow");
    setWindowTitle("Preset Manager");
    setWindowModality(Qt::WindowModal);
    resize(900, 600);

    libraryPopup_ = new QComboBox(this);
    libraryPopup_->setObjectName("libraryPopup");
    libraryPopup_->setMinimumWidth(180);
    auto* rename = Button("Rename...", "renameLibraryButton", this);
    selectAllCheckbox_ = new QCheckBox("Select All", this);
    selectAllCheckbox_->setObjectName("selectAllCheckbox");
    groupNamesPopup_ = new QComboBox(this);
    groupNamesPopup_->setObjectName("groupNamesPopup");
    groupNamesPopup_->hide();

    presetTable_ = new QTableWidget(0, 5, this);
    presetTable_->setObjectName("presetTable");
    presetTable_->setHorizontalHeaderLabels({"", "Look", "", "Name", ""});
    presetTable_->verticalHeader()->hide();
    presetTable_->verticalHeader()->setDefaultSectionSize(PresetItemCell::RowHeight());
    presetTable_->setIconSize(QSize(80, 44));
    presetTable_->setItemDelegateForColumn(kLook, new PresetItemCell(presetTable_));
    presetTable_->setSelectionMode(QAbstractItemView::NoSelection);
    presetTable_->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    auto* header = presetTable_->horizontalHeader();
    header->setSectionResizeMode(kLook, QHeaderView::Stretch);
    presetTable_->setColumnWidth(kIcon, 92);
    presetTable_->setColumnWidth(kTick, 28);
    presetTable_->setColumnWidth(kName, 130);
    presetTable_->setColumnWidth(kTrash, 56);

    targetActionPopup_ = new QComboBox(this);
    targetActionPopup_->setObjectName("targetActionPopup");
    targetLibraryPopup_ = new QComboBox(this);
    targetLibraryPopup_->setObjectName("targetLibraryPopup");
    targetLibraryPopup_->setMinimumWidth(160);
    auto* move = Button("Go", "moveButton", this);
    auto* newLibrary = Button("New Library...", "newLibraryButton", this);
    auto* import = Button("Import...", "importButton", this);
    auto* exportButton = Button("Export...", "exportButton", this);
    auto* done = Button("Done", "doneButton", this);
    done->setDefault(true);

    auto* top = new QHBoxLayout;
    top->addWidget(new QLabel("Library:", this));
    top->addWidget(libraryPopup_);
    top->addWidget(rename);
    top->addStretch();
    top->addWidget(selectAllCheckbox_);
    auto* ticked = new QHBoxLayout;
    ticked->addWidget(new QLabel("Ticked presets:", this));
    ticked->addWidget(targetActionPopup_);
    ticked->addWidget(new QLabel("to", this));
    ticked->addWidget(targetLibraryPopup_);
    ticked->addWidget(move);
    ticked->addWidget(newLibrary);
    ticked->addStretch();
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(import);
    bottom->addWidget(exportButton);
    bottom->addStretch();
    bottom->addWidget(done);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(presetTable_, 1);
    layout->addLayout(ticked);
    layout->addLayout(bottom);
    BuildNameWindow();

    connect(libraryPopup_, &QComboBox::activated, this, [this](int index) {
        if (filling_) return;
        controller_.libraryPopup().selectItemAtIndex(index);
        controller_.LibrarySelected();
    });
    connect(targetLibraryPopup_, &QComboBox::activated, this, [this](int index) {
        if (!filling_) controller_.TargetLibrarySelected(index);
    });
    connect(targetActionPopup_, &QComboBox::activated, this, [this](int index) {
        if (!filling_) controller_.targetActionPopup().selectItemAtIndex(index);
    });
    connect(selectAllCheckbox_, &QCheckBox::clicked, this, [this](bool on) { controller_.SelectAllChecked(on); });
    connect(rename, &QPushButton::clicked, this, [this] { controller_.RenameLibrary(); });
    connect(move, &QPushButton::clicked, this, [this] { controller_.MoveClicked(); });
    connect(newLibrary, &QPushButton::clicked, this, [this] { controller_.NewTargetLibrary(); });
    connect(import, &QPushButton::clicked, this, [this] { controller_.ImportPresets(); });
    connect(exportButton, &QPushButton::clicked, this, [this] { controller_.ExportPresets(); });
    connect(done, &QPushButton::clicked, this, [this] { controller_.DonePressed(); });
    connect(presetTable_, &QTableWidget::cellClicked, this, [this](int row, int column) { CellClicked(row, column); });
    connect(presetTable_, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
        if (filling_ || item->column() != kName) return;
        const auto preset = controller_.dataSource().PresetAt(static_cast<size_t>(item->row()));
        const std::string name = item->text().toStdString();
        if (preset && name != PresetTitle(*preset)) controller_.SetPresetName(static_cast<size_t>(item->row()), name);
    });

    // A first run that cannot make the root leaves the lists empty; the window has logged why.
    (void)controller_.AwakeFromNib();
}

PresetManagerDialog::~PresetManagerDialog() = default;

void PresetManagerDialog::BuildNameWindow() {
    libraryNameWindow_ = new QDialog(this);
    libraryNameWindow_->setObjectName("libraryNameWindow");
    libraryNameWindow_->setWindowTitle("Library Name");
    libraryNameWindow_->setWindowModality(Qt::WindowModal);
    newLibraryName_ = new QLineEdit(libraryNameWindow_);
    newLibraryName_->setObjectName("newLibraryName");
    newLibraryName_->setPlaceholderText("Up to 15 letters, digits and blanks");
    createLibraryGoButton_ = Button("CREATE", "createLibraryGoButton", libraryNameWindow_);
    auto* cancel = Button("Cancel", "cancelCreateLibraryButton", libraryNameWindow_);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(createLibraryGoButton_);
    auto* layout = new QVBoxLayout(libraryNameWindow_);
    layout->addWidget(new QLabel("Library name:", libraryNameWindow_));
    layout->addWidget(newLibraryName_);
    layout->addLayout(buttons);

    connect(newLibraryName_, &QLineEdit::textEdited, this, [this](const QString& text) {
        const QString kept = Q(controller_.ControlTextDidChange(text.toStdString()));
        if (kept != text) newLibraryName_->setText(kept);
    });
    connect(newLibraryName_, &QLineEdit::returnPressed, this, [this] { controller_.CreateLibrary(); });
    connect(createLibraryGoButton_, &QPushButton::clicked, this, [this] { controller_.CreateLibrary(); });
    connect(cancel, &QPushButton::clicked, this, [this] { controller_.CancelCreateLibrary(); });
    connect(libraryNameWindow_, &QDialog::rejected, this, [this] {
        if (libraryNameWindow_->isVisible()) controller_.CancelCreateLibrary();
    });
}

void PresetManagerDialog::CellClicked(int row, int column) {
    const auto preset = controller_.dataSource().PresetAt(static_cast<size_t>(row));
    if (!preset) return;
    if (column == kTick) {
        controller_.SetTicked(static_cast<size_t>(row), !preset->isTicked());
        ReloadTable();
    } else if (column == kTrash) {
        controller_.TrashClicked(static_cast<size_t>(row));
    }
}

void PresetManagerDialog::ReloadTable() {
    filling_ = true;
    const auto& presets = controller_.presetList();
    presetTable_->clearContents();
    presetTable_->setRowCount(static_cast<int>(presets.size()));
    for (int row = 0; row < static_cast<int>(presets.size()); ++row) {
        const RenderPreset& p = *presets[static_cast<size_t>(row)];
        auto* icon = new QTableWidgetItem;
        if (const auto& image = p.icon(); image && !image->empty()) {
            const QImage q(image->rgba.data(), image->width, image->height, image->width * 4, QImage::Format_RGBA8888);
            icon->setData(Qt::DecorationRole, QPixmap::fromImage(q.copy()));
        }
        icon->setFlags(Qt::ItemIsEnabled);
        presetTable_->setItem(row, kIcon, icon);

        auto* look = new QTableWidgetItem;
        QStringList lines;
        for (const auto& line : PresetCellLines(*p.Settings())) lines << Q(line);
        look->setData(Qt::UserRole, lines);
        const ColorBallInfo balls = p.Settings()->ballInfo();
        look->setData(Qt::UserRole + 1, QVariantList{Swatch(balls.s), Swatch(balls.m), Swatch(balls.h)});
        look->setFlags(Qt::ItemIsEnabled);
        presetTable_->setItem(row, kLook, look);

        auto* tick = new QTableWidgetItem;
        tick->setFlags(Qt::ItemIsEnabled);
        tick->setData(Qt::CheckStateRole, p.isTicked() ? Qt::Checked : Qt::Unchecked);
        presetTable_->setItem(row, kTick, tick);

        auto* name = new QTableWidgetItem(Q(PresetTitle(p)));
        name->setFlags(Qt::ItemIsEnabled | Qt::ItemIsEditable);
        presetTable_->setItem(row, kName, name);

        auto* trash = new QTableWidgetItem("Trash");
        trash->setFlags(Qt::ItemIsEnabled);
        trash->setTextAlignment(Qt::AlignCenter);
        trash->setToolTip(controller_.libraryPopup().titleOfSelectedItem() == "Trash" ? "Delete for good"
                                                                                       : "Move to the Trash");
        presetTable_->setItem(row, kTrash, trash);
    }
    selectAllCheckbox_->setChecked(controller_.selectAllCheckbox());
    filling_ = false;
}

void PresetManagerDialog::PopupsChanged() {
    filling_ = true;
    Fill(libraryPopup_, controller_.libraryPopup());
    Fill(targetLibraryPopup_, controller_.targetLibraryPopup());
    Fill(targetActionPopup_, controller_.targetActionPopup());
    Fill(groupNamesPopup_, controller_.groupNamesPopup());
    filling_ = false;
}

void PresetManagerDialog::ShowLibraryNameWindow(const std::string& buttonTitle, const std::string& name) {
    createLibraryGoButton_->setText(Q(buttonTitle));
    newLibraryName_->setText(Q(name));
    controller_.ControlTextDidBeginEditing(name);
    libraryNameWindow_->open();
    newLibraryName_->setFocus();
}

void PresetManagerDialog::CloseLibraryNameWindow() {
    if (libraryNameWindow_->isVisible()) libraryNameWindow_->hide();
}

}  // namespace ombrel::presets
