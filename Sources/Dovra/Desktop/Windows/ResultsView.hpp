#pragma once

#include <QTreeView>
#include <functional>

#include "Desktop/Model/RowAction.hpp"
#include "Desktop/Windows/ResultsModel.hpp"

namespace dovra {

/// The table of results. It shows the state and tells what the user does; it changes nothing by itself.
class ResultsView : public QTreeView {
public:
    explicit ResultsView(QWidget* parent);

    /// What the user asked for.
    std::function<void(EntryId)> onSelect;
    std::function<void(SortSpec)> onSort;
    std::function<void(RowAction, const FileRow&)> onAction;
    std::function<void(const QString&)> onTyped;

    void show(const SearchState& state);

    /// Sorts by a column: in its usual direction, or in the other one when it has that already.
    void sortBy(int column) const;

    int visibleRows() const;

    /// What can be done with the selected row.
    void showActions() {
        showActions(currentIndex(), viewport()->mapToGlobal(visualRect(currentIndex()).center()));
    }

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;
    void keyboardSearch(const QString& text) override { onTyped(text); }
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void startDrag(Qt::DropActions actions) override;

private:
    void showActions(const QModelIndex& index, const QPoint& place);
    void setHovered(int row);
    void updateRow(int row);

    ResultsModel model_;
    SortSpec sortOrder_;
    int hovered_ = -1;
    bool isShowing_ = false;  ///< changes of the selection are not the user's
};

}  // namespace dovra
