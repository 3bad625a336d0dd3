#include "Desktop/Windows/ResultsView.hpp"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QPainter>
#include <algorithm>
#include <utility>

#include "Desktop/Windows/PanelMetrics.hpp"
#include "Desktop/Windows/RowDelegate.hpp"
#include "Desktop/Windows/RowGestures.hpp"
#include "Desktop/Windows/SlimScrollBar.hpp"
#include "Desktop/Windows/WindowTheme.hpp"

namespace dovra {

namespace {

/// The titles, and an arrow at the one that the rows are sorted by.
class ResultsHeader : public QHeaderView {
public:
    explicit ResultsHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
        setHighlightSections(false);
        setSectionResizeMode(Fixed);
        setMinimumSectionSize(20);
    }

    QSize sizeHint() const override { return {0, fontMetrics().height() + 14}; }

protected:
    void paintSection(QPainter* painter, const QRect& rect, int section) const override {
        const bool isSorted = section == sortIndicatorSection();
        QFont font = this->font();
        font.setWeight(isSorted ? QFont::DemiBold : QFont::Normal);
        painter->setFont(font);
        painter->fillRect(rect, palette().base());
        painter->fillRect(rect.left(), rect.bottom(), rect.width(), 1, palette().mid());
        painter->setPen(palette().color(isSorted ? QPalette::Text : QPalette::PlaceholderText));
        QString title = model()->headerData(section, orientation(), Qt::DisplayRole).toString();
        if (isSorted)
            title += sortIndicatorOrder() == Qt::AscendingOrder ? QStringLiteral(" ↑") : QStringLiteral(" ↓");
        const auto alignment =
            Qt::Alignment(model()->headerData(section, orientation(), Qt::TextAlignmentRole).toInt());
        const int left = section == 0 ? panelMetrics::textEdge(font) : RowDelegate::padding;
        const QRect place =
            QStyle::visualRect(layoutDirection(), rect, rect.adjusted(left, 0, -RowDelegate::padding, 0));
        painter->drawText(place, int(QStyle::visualAlignment(layoutDirection(), alignment)), title);
    }
};

}  // namespace

ResultsView::ResultsView(QWidget* parent) : QTreeView(parent) {
    setModel(&model_);
    setItemDelegate(new RowDelegate(this));
    setAccessibleName(QStringLiteral("Results"));
    setFrameShape(NoFrame);
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setExpandsOnDoubleClick(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setMouseTracking(true);
    setDragEnabled(true);
    setDragDropMode(DragOnly);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBar(new SlimScrollBar(this));
    // Always in its place, so that the columns stay where they are from answer to answer.
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHeader(new ResultsHeader(this));
    header()->setSectionsClickable(true);  // The view has just taken that away.
    connect(header(), &QHeaderView::sectionClicked, this, [this](int column) { sortBy(column); });
    connect(this, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        onAction(RowAction::open, FileRow(model_.row(index.row())));
    });
}

void ResultsView::show(const SearchState& state) {
    isShowing_ = true;
    const int place = verticalScrollBar()->value();
    const bool isOther = model_.show(state);
    if (isOther) hovered_ = -1;
    sortOrder_ = state.sortOrder;
    // Rows of the fuzzy retry come by their score.
    const auto column =
        std::ranges::find(sortColumns, sortOrder_.key, &SortColumn::key) - sortColumns.begin();
    header()->setSortIndicator(state.usedFuzzyFallback ? -1 : int(column),
                               sortOrder_.ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
    const int selected = model_.numberOf(state.selection);
    if (isOther || currentIndex().row() != selected) {
        setCurrentIndex(model_.index(selected, 0));
        // A refresh must not move the rows away from under the pointer.
        if (isOther && selected > 0 && !state.navigating) {
            verticalScrollBar()->setValue(place);
        } else if (selected >= 0) {
            scrollTo(currentIndex());
        }
    }
    isShowing_ = false;
}

void ResultsView::sortBy(int column) const {
    const SortColumn& chosen = sortColumns[static_cast<std::size_t>(column)];
    const bool isAgain = chosen.key == sortOrder_.key;
    onSort({.key = chosen.key, .ascending = isAgain ? !sortOrder_.ascending : chosen.startsAscending});
}

int ResultsView::visibleRows() const {
    return std::max(1, viewport()->height() / std::max(1, sizeHintForRow(0)));
}

void ResultsView::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QTreeView::currentChanged(current, previous);
    if (!isShowing_ && current.isValid()) onSelect(model_.row(current.row()).id);
}

void ResultsView::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const {
    const bool isSelected = index.row() == currentIndex().row();
    if (isSelected || index.row() == hovered_) {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        painter->setBrush(isSelected ? selectionColor(palette()) : palette().midlight().color());
        const QRectF card = QRectF(option.rect).adjusted(4, 0.5, -4, -0.5);
        painter->drawRoundedRect(card, 6, 6);
        if (isSelected && hasFocus()) {
            painter->setPen(palette().highlight().color());
            painter->setBrush(Qt::NoBrush);
            painter->drawRoundedRect(card.adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
        }
        painter->restore();
    }
    for (int column = 0; column < model_.columnCount(); ++column) {
        QStyleOptionViewItem cell = option;
        cell.state.setFlag(QStyle::State_Selected, isSelected);
        cell.rect = QRect(header()->sectionViewportPosition(column), option.rect.top(),
                          header()->sectionSize(column), option.rect.height());
        itemDelegate()->paint(painter, cell, index.siblingAtColumn(column));
    }
}

void ResultsView::setHovered(int row) {
    if (row == hovered_) return;
    updateRow(std::exchange(hovered_, row));
    updateRow(row);
}

void ResultsView::updateRow(int row) {
    QRect place = visualRect(model_.index(row, 0));
    place.setLeft(0);
    place.setWidth(viewport()->width());
    viewport()->update(place);
}

void ResultsView::mouseMoveEvent(QMouseEvent* event) {
    QTreeView::mouseMoveEvent(event);
    setHovered(indexAt(event->pos()).row());
}

void ResultsView::leaveEvent(QEvent* event) {
    QTreeView::leaveEvent(event);
    setHovered(-1);
}

void ResultsView::contextMenuEvent(QContextMenuEvent* event) {
    showActions(indexAt(event->pos()), event->globalPos());
}

void ResultsView::showActions(const QModelIndex& index, const QPoint& place) {
    if (!index.isValid()) return;
    showRowMenu(this, place, model_.row(index.row()), onAction);
}

void ResultsView::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    const QFontMetrics metrics = fontMetrics();
    const int size = metrics.horizontalAdvance(QStringLiteral("999.99 MB")) + 26;
    const bool hasRoomForDate = viewport()->width() > 40 * metrics.averageCharWidth() + 3 * size;
    const int date = !hasRoomForDate ? 0 : metrics.horizontalAdvance(QStringLiteral("Date Modified")) + 46;
    const int left = std::max(100, viewport()->width() - size - date);
    const int name = left * 54 / 100;
    const int widths[] = {name, left - name, size, date};
    for (int column = 0; column < model_.columnCount(); ++column)
        header()->resizeSection(column, widths[column]);
}

void ResultsView::startDrag(Qt::DropActions) {
    if (currentIndex().isValid()) dragRow(this, FileRow(model_.row(currentIndex().row())));
}

}  // namespace dovra
