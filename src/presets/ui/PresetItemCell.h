#pragma once

#include <QStyledItemDelegate>

namespace ombrel::presets {

// Column 1 of the preset table: a preset's look as text. The stock name in white 12-point bold
// on top, the other lines in light grey 11-point beneath, in three columns of three, with a
// swatch of the colour ball beside each of lift, gamma and gain. The row's data (Qt::UserRole)
// holds the lines; UserRole + 1 the three swatch colours.
class PresetItemCell : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    // Room for the bold line and three lines beneath, in the application font's sizes.
    static int RowHeight();

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace ombrel::presets
