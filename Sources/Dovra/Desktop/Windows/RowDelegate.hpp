#pragma once

#include <QStyledItemDelegate>

namespace dovra {

/// Draws the cells of a `ResultsModel`; the backgrounds of rows belong to the view.
class RowDelegate : public QStyledItemDelegate {
public:
    /// Left and right of each cell, apart from the names' left.
    static constexpr int padding = 10;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace dovra
