#include "presets/ui/PresetItemCell.h"

#include <QApplication>
#include <QPainter>

namespace ombrel::presets {

namespace {

const QColor kFirstLine(255, 255, 255);
const QColor kOtherLines(191, 191, 191);

QFont CellFont(int points, bool bold) {
    QFont font = QApplication::font();
    font.setPointSize(points);
    font.setBold(bold);
    return font;
}

}  // namespace

void PresetItemCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyledItemDelegate::paint(painter, option, QModelIndex());  // background and selection only
    const QStringList lines = index.data(Qt::UserRole).toStringList();
    const QVariantList swatches = index.data(Qt::UserRole + 1).toList();
    if (lines.isEmpty()) return;
    painter->save();
    const QRect r = option.rect.adjusted(6, 3, -4, -3);
    painter->setFont(CellFont(12, true));
    painter->setPen(kFirstLine);
    const int top = QFontMetrics(painter->font()).height();
    painter->drawText(QRect(r.left(), r.top(), r.width(), top), Qt::AlignLeft | Qt::AlignVCenter, lines[0]);

    painter->setFont(CellFont(11, false));
    const int lineHeight = QFontMetrics(painter->font()).height();
    const int columnWidth = r.width() / 3;
    // Lines 1..9 in three columns: amounts and size, the balls row and saturation, the levels.
    for (int i = 1; i < lines.size() && i <= 9; ++i) {
        const int column = (i - 1) / 3, row = (i - 1) % 3;
        QRect cell(r.left() + column * columnWidth, r.top() + top + row * lineHeight, columnWidth - 4, lineHeight);
        if (i == 5 && swatches.size() == 3) {
            // "Lift: a Gamma: b Gain: c" drawn as three numbers, each beside its ball's colour.
            const QStringList words = lines[i].split(' ', Qt::SkipEmptyParts);
            int x = cell.left();
            for (int k = 0; k < 3 && 2 * k + 1 < words.size(); ++k) {
                const int d = lineHeight - 6;
                painter->setBrush(swatches[k].value<QColor>());
                painter->setPen(Qt::NoPen);
                painter->drawEllipse(x, cell.top() + 3, d, d);
                painter->setPen(kOtherLines);
                const QString number = words[2 * k + 1];
                painter->drawText(QRect(x + d + 3, cell.top(), 40, lineHeight), Qt::AlignLeft | Qt::AlignVCenter,
                                  number);
                x += d + 6 + QFontMetrics(painter->font()).horizontalAdvance(number) + 8;
            }
            continue;
        }
        painter->setPen(kOtherLines);
        painter->drawText(cell, Qt::AlignLeft | Qt::AlignVCenter, lines[i]);
    }
    painter->restore();
}

int PresetItemCell::RowHeight() {
    return QFontMetrics(CellFont(12, true)).height() + 3 * QFontMetrics(CellFont(11, false)).height() + 8;
}

QSize PresetItemCell::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const { return {480, RowHeight()}; }

}  // namespace ombrel::presets
