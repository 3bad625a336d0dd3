#include "Desktop/Windows/RowDelegate.hpp"

#include <QPainter>
#include <QTextLayout>
#include <algorithm>

#include "Desktop/Windows/PanelMetrics.hpp"
#include "Desktop/Windows/ResultsModel.hpp"
#include "Desktop/Windows/Symbols.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

namespace {

/// A name as one text, and how its pieces look.
struct StyledName {
    QString text;
    QList<QTextLayout::FormatRange> formats = {};
};

StyledName styledName(const std::vector<ShownPiece>& pieces, const QPalette& palette) {
    StyledName name;
    for (const ShownPiece& piece : pieces) {
        const QString text = toolkitText(piece.text);
        QTextCharFormat format;
        if (piece.isMarked) {
            format.setForeground(palette.link());
            format.setFontWeight(QFont::Bold);
        } else if (piece.isEscape) {
            format.setForeground(palette.placeholderText());
        }
        name.formats.append({int(name.text.size()), int(text.size()), format});
        name.text += text;
    }
    return name;
}

/// Lays the name out in one line and returns its width.
qreal layOut(QTextLayout& layout, const QFont& font, const StyledName& name) {
    layout.setText(name.text);
    layout.setFont(font);
    layout.setFormats(name.formats);
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    return layout.lineAt(0).naturalTextWidth();
}

/// The name without its middle, so that it is `count` characters long: beginnings and ends tell files apart.
StyledName withoutMiddle(const StyledName& name, qsizetype count) {
    qsizetype head = (count + 1) / 2;
    qsizetype tail = name.text.size() - (count - head);
    // Two units may be one character.
    if (head > 0 && name.text[head - 1].isHighSurrogate()) --head;
    if (tail < name.text.size() && name.text[tail].isLowSurrogate()) ++tail;
    StyledName shorter{.text = name.text.left(head) + u'…' + name.text.mid(tail)};
    // Where a place in the whole name has come to stand.
    const auto moved = [&](qsizetype place) {
        return int(place <= head ? place : std::max(head, place - tail + head) + 1);
    };
    for (const auto& [start, length, format] : name.formats)
        shorter.formats.append({moved(start), moved(start + length) - moved(start), format});
    return shorter;
}

void paintName(QPainter& painter, const QRect& cell, const QStyleOptionViewItem& option,
               const StyledName& name) {
    QTextLayout layout;
    if (layOut(layout, option.font, name) > cell.width()) {
        qsizetype least = 0;
        qsizetype most = name.text.size();
        while (least < most) {
            const qsizetype count = (least + most + 1) / 2;
            const bool fits = layOut(layout, option.font, withoutMiddle(name, count)) <= cell.width();
            if (fits)
                least = count;
            else
                most = count - 1;
        }
        layOut(layout, option.font, withoutMiddle(name, least));
    }
    const QSizeF size = layout.boundingRect().size();
    const bool isMirrored = option.direction == Qt::RightToLeft;
    const qreal left = isMirrored ? cell.right() - layout.lineAt(0).naturalTextWidth() : cell.left();
    painter.setPen(option.palette.color(QPalette::Text));
    layout.draw(&painter, {left, cell.top() + (cell.height() - size.height()) / 2});
}

}  // namespace

void RowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                        const QModelIndex& index) const {
    const auto& model = static_cast<const ResultsModel&>(*index.model());
    QRect cell = option.rect.adjusted(padding, 0, -padding, 0);
    if (index.column() > 0) {
        painter->setFont(option.font);
        painter->setPen(option.palette.color(QPalette::PlaceholderText));
        // Paths, sizes and dates read from left to right wherever they stand.
        painter->setLayoutDirection(Qt::LeftToRight);
        const QString text = index.data().toString();
        const auto alignment = Qt::Alignment(index.data(Qt::TextAlignmentRole).toInt());
        painter->drawText(cell, int(QStyle::visualAlignment(option.direction, alignment)),
                          option.fontMetrics.elidedText(text, Qt::ElideMiddle, cell.width()));
        return;
    }
    const int iconSize = option.fontMetrics.height() + 4;
    const Symbol symbol = symbolOf(model.row(index.row()));
    const QColor color = symbolColor(symbol, option.palette.color(QPalette::PlaceholderText));
    const QPixmap icon = symbolPixmap(symbol, color, iconSize, painter->device()->devicePixelRatioF());
    // Below the drawing and the text of the search field.
    const int indent = (panelMetrics::searchSymbolSize(option.font) - iconSize) / 2;
    QRect place(option.rect.left() + panelMetrics::edge + indent, cell.center().y() - iconSize / 2, iconSize,
                iconSize);
    place = QStyle::visualRect(option.direction, option.rect, place);
    painter->drawPixmap(place.topLeft(), icon);
    cell.setLeft(option.rect.left() + panelMetrics::textEdge(option.font));
    cell = QStyle::visualRect(option.direction, option.rect, cell);
    paintName(*painter, cell, option, styledName(model.text(index.row()).name, option.palette));
}

QSize RowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    return {0, option.fontMetrics.height() + 14};
}

}  // namespace dovra
