#include "shell/PresetBarView.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QTimer>

#include <cstring>

#include "look/LutManager.h"
#include "model/SettingsManager.h"

namespace ombrel {

namespace {

constexpr int kW = PresetBar::kThumbWidth;
constexpr int kH = PresetBar::kThumbHeight;

// The preset's icon, or a dark frame with its stock's name where it has none.
QPixmap Thumbnail(const RenderPreset& preset) {
    if (const ImagePtr& icon = preset.icon(); icon && !icon->empty()) {
        const QImage image(icon->rgba.data(), icon->width, icon->height, icon->width * 4, QImage::Format_RGBA8888);
        return QPixmap::fromImage(image.scaled(kW, kH, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    }
    QPixmap blank(kW, kH);
    blank.fill(QColor(20, 20, 22));
    QPainter p(&blank);
    p.setPen(QColor(120, 120, 124));
    p.drawRect(0, 0, kW - 1, kH - 1);
    p.drawText(QRect(0, 0, kW, kH), Qt::AlignCenter,
               QString::fromStdString(LutManager::DisplayNameForStockName(preset.Settings()->stockName())));
    return blank;
}

}  // namespace

ImagePtr PresetIconFromPreview(const PreviewImage* preview) {
    if (!preview || preview->width <= 0 || preview->height <= 0) return nullptr;
    const QImage frame(preview->rgba.data(), preview->width, preview->height, preview->width * 4,
                       QImage::Format_RGBA8888);
    const QImage small =
        frame.scaled(kW, kH, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).convertToFormat(QImage::Format_RGBA8888);
    auto icon = std::make_shared<Image>(kW, kH);
    for (int y = 0; y < kH; ++y) std::memcpy(icon->pixel(0, y), small.constScanLine(y), static_cast<size_t>(kW) * 4);
    return icon;
}

PresetStrip::PresetStrip(QWidget* parent) : QListWidget(parent) {
    setViewMode(QListView::IconMode);
    setFlow(QListView::LeftToRight);
    setWrapping(false);
    setMovement(QListView::Static);
    setIconSize(QSize(kW, kH));
    setGridSize(QSize(kW + 12, kH + 22));
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFixedHeight(kH + 40);
    setStyleSheet("QListWidget { background: #141416; border: 1px solid #38383c; }"
                  "QListWidget::item { color: #c0c0c4; }"
                  "QListWidget::item:selected { background: #5a3c14; }");
}

void PresetStrip::ReloadData() {
    const QSignalBlocker quiet(this);
    clear();
    for (const RenderPresetPtr& preset : SettingsManager::Instance().factoryPresetList().presetList()) {
        auto* item = new QListWidgetItem(QIcon(Thumbnail(*preset)), QString::fromStdString(preset->presetName()), this);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        item->setToolTip(QString::fromStdString(preset->presetName()));
    }
}

std::vector<size_t> PresetStrip::SelectedRowIndexes() const {
    std::vector<size_t> rows;
    for (const QModelIndex& index : selectionModel()->selectedIndexes()) rows.push_back(static_cast<size_t>(index.row()));
    return rows;
}

void PresetStrip::SelectRowIndexes(const std::vector<size_t>& rows) {
    clearSelection();
    for (size_t row : rows)
        if (QListWidgetItem* i = item(static_cast<int>(row))) i->setSelected(true);
}

void PresetStrip::keyPressEvent(QKeyEvent* event) {
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && state() != EditingState) {
        if (onDelete_) onDelete_();
        return;
    }
    QListWidget::keyPressEvent(event);
}

PresetBarView::PresetBarView(GuiController& controller, QWidget* parent)
    : QWidget(parent), bar_(std::make_unique<PresetBar>(controller)) {
    setObjectName("presetBar");
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 2, 0, 2);
    auto* side = new QVBoxLayout;
    groups_ = new TagPopup(this);
    groups_->setObjectName("presetGroupPopup");
    groups_->setFocusPolicy(Qt::NoFocus);
    groups_->setMinimumWidth(150);
    save_ = new QPushButton("Save Preset", this);
    save_->setObjectName("savePresetButton");
    save_->setFocusPolicy(Qt::NoFocus);
    side->addWidget(groups_);
    side->addWidget(save_);
    side->addStretch(1);
    row->addLayout(side);
    strip_ = new PresetStrip(this);
    strip_->setObjectName("factoryPresetView");
    row->addWidget(strip_, 1);

    connect(groups_, &QComboBox::activated, this, [this] { bar_->PresetTabChanged(); });
    connect(save_, &QPushButton::clicked, this, [this] {
        if (const RenderPresetPtr preset = bar_->SavePreset()) {
            const auto& list = SettingsManager::Instance().factoryPresetList().presetList();
            for (size_t i = 0; i < list.size(); ++i)
                if (list[i] == preset) strip_->SelectRowIndexes({i});
        }
    });
    connect(strip_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        const auto& list = SettingsManager::Instance().factoryPresetList().presetList();
        const int row = strip_->row(item);
        if (row >= 0 && static_cast<size_t>(row) < list.size()) bar_->LoadPreset(list[static_cast<size_t>(row)]);
    });
    connect(strip_, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        SettingsManager& settings = SettingsManager::Instance();
        const auto& list = settings.factoryPresetList().presetList();
        const int row = strip_->row(item);
        const std::string name = item->text().trimmed().toStdString();
        if (row < 0 || static_cast<size_t>(row) >= list.size()) return;
        const RenderPresetPtr preset = list[static_cast<size_t>(row)];
        // After the editor has let go of the item: a rename reloads the strip.
        QTimer::singleShot(0, this, [this, preset, name] {
            SettingsManager& sm = SettingsManager::Instance();
            if (!name.empty() && name != preset->presetName()) {
                preset->setPresetName(name);
                sm.AddPresetsToLibrary({preset}, sm.currentPresetLibrary());
                sm.PresetRenamed(*preset);
            }
            bar_->PresetRenamed(*preset);
        });
    });
    strip_->onDelete([this] { bar_->DeletePresets(strip_->SelectedRowIndexes()); });
}

void PresetBarView::Wire(ListView* shotListTable, std::function<ImagePtr()> thumbnail) {
    bar_->setControls(groups_, strip_, shotListTable);
    bar_->setThumbnailer(std::move(thumbnail));
    bar_->RefreshPresetGroups();
    SettingsManager::Instance().LoadFactoryPresets();
    strip_->ReloadData();
}

}  // namespace ombrel
