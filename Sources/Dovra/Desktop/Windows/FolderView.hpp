#pragma once

#include <QTreeWidget>
#include <functional>

#include "Desktop/Model/FolderPreview.hpp"
#include "Desktop/Model/RowAction.hpp"

namespace dovra {

/// The list of what is in a folder, with sizes. Its files can be dragged, opened and so on like rows.
class FolderView : public QTreeWidget {
public:
    explicit FolderView(QWidget* parent);

    std::function<void(RowAction, const FileRow&)> onAction;

    void show(FolderPreview folder);

    /// Null when there is none.
    const FileRow* currentRow() const { return rowOf(currentItem()); }

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void startDrag(Qt::DropActions actions) override;

private:
    /// The row of an item; null for the one that counts the rest.
    const FileRow* rowOf(const QTreeWidgetItem* item) const;
    void addItem(const FolderPreviewItem& item);

    FolderPreview folder_;
};

}  // namespace dovra
