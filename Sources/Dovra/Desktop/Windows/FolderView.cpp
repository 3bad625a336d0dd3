#include "Desktop/Windows/FolderView.hpp"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <fmt/format.h>

#include "Base/Format.hpp"
#include "Base/ShownText.hpp"
#include "Desktop/Windows/RowGestures.hpp"
#include "Desktop/Windows/SlimScrollBar.hpp"
#include "Desktop/Windows/Symbols.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

namespace {

constexpr int iconPoints = 18;

}  // namespace

FolderView::FolderView(QWidget* parent) : QTreeWidget(parent) {
    setAccessibleName(QStringLiteral("Contents of the folder"));
    setColumnCount(2);
    setHeaderHidden(true);
    setFrameShape(NoFrame);
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setIndentation(0);
    setVerticalScrollBar(new SlimScrollBar(this));
    setTextElideMode(Qt::ElideMiddle);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);  // so that the sizes keep their place
    setVerticalScrollMode(ScrollPerPixel);
    setSelectionMode(SingleSelection);
    setDragEnabled(true);
    setDragDropMode(DragOnly);
    setFocusPolicy(Qt::ClickFocus);
    setIconSize({iconPoints, iconPoints});
    setStyleSheet(
        QStringLiteral("QTreeView { background: transparent; outline: none; }"
                       "QTreeView::item { padding: 4px 0px; border: none; }"
                       "QTreeView::item:hover, QTreeView::item:selected"
                       "{ background: palette(midlight); color: palette(text); }"));
    header()->setMinimumSectionSize(20);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(QHeaderView::Fixed);
    connect(this, &QTreeWidget::itemDoubleClicked, this, [this](const QTreeWidgetItem* item) {
        if (const FileRow* row = rowOf(item)) onAction(RowAction::open, FileRow(*row));
    });
}

void FolderView::show(FolderPreview folder) {
    folder_ = std::move(folder);
    clear();
    for (const FolderPreviewItem& item : folder_.items)
        addItem(item);
    if (const std::int64_t rest = folder_.count - std::ssize(folder_.items); rest > 0) {
        auto* more = new QTreeWidgetItem(this, {toolkitText(fmt::format("and {} more", grouped(rest)))});
        more->setFlags(Qt::ItemIsEnabled | Qt::ItemNeverHasChildren);
        more->setForeground(0, palette().placeholderText());
    }
    scrollToTop();
}

void FolderView::addItem(const FolderPreviewItem& item) {
    const QString name = toolkitText(shownText(item.row.name));
    auto* line = new QTreeWidgetItem(this, {name, QString()});
    line->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled |
                   Qt::ItemNeverHasChildren);
    const Symbol symbol = symbolOf(item.row);
    line->setIcon(0, symbolPixmap(symbol, symbolColor(symbol, palette().placeholderText().color()),
                                  iconPoints, devicePixelRatioF()));
    line->setToolTip(0, withoutMarkup(shownText(item.row.name)));
    line->setText(1, item.bytes ? toolkitText(byteCountText(*item.bytes)) : QStringLiteral("not indexed"));
    line->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    line->setForeground(1, palette().placeholderText());
}

const FileRow* FolderView::rowOf(const QTreeWidgetItem* item) const {
    const int number = item == nullptr ? -1 : indexFromItem(item).row();
    const bool isItem = number >= 0 && number < std::ssize(folder_.items);
    return isItem ? &folder_.items[static_cast<std::size_t>(number)].row : nullptr;
}

void FolderView::contextMenuEvent(QContextMenuEvent* event) {
    if (const FileRow* row = rowOf(itemAt(viewport()->mapFromGlobal(event->globalPos()))))
        showRowMenu(this, event->globalPos(), *row, onAction);
}

void FolderView::resizeEvent(QResizeEvent* event) {
    QTreeWidget::resizeEvent(event);
    const int size = fontMetrics().horizontalAdvance(QStringLiteral("not indexed")) + 30;
    header()->resizeSection(0, std::max(60, viewport()->width() - size));
    header()->resizeSection(1, size);
}

void FolderView::startDrag(Qt::DropActions) {
    if (const FileRow* row = currentRow()) dragRow(this, FileRow(*row));
}

}  // namespace dovra
