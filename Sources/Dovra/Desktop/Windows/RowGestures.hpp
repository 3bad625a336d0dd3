#pragma once

#include <QMimeData>
#include <QWidget>
#include <functional>
#include <vector>

#include "Desktop/Model/RowAction.hpp"
#include "Index/FileRow.hpp"

namespace dovra {

/// The rows' files as other programs take them: URLs of the raw bytes.
QMimeData* filesData(const std::vector<FileRow>& rows);

/// Lets the user drag the row's file from `source`. Returns when it is dropped.
void dragRow(QWidget* source, const FileRow& row);

/// Shows the menu of what can be done with the row. `perform` is called if the user chooses. The menu belongs
/// to `parent`.
void showRowMenu(QWidget* parent, const QPoint& place, const FileRow& row,
                 const std::function<void(RowAction, const FileRow&)>& perform);

/// Gives the window the keys of these actions.
void addRowKeys(QWidget* window, const std::function<void(RowAction)>& perform);

}  // namespace dovra
