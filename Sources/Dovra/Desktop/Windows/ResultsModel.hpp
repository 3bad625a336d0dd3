#pragma once

#include <QAbstractTableModel>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Desktop/Model/RowText.hpp"
#include "Desktop/Model/SearchState.hpp"
#include "Query/SortColumns.hpp"

namespace dovra {

/// The rows of the newest answer as a table with the columns of `sortColumns` that have a title. Rows can be
/// dragged to other programs as files.
class ResultsModel : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;

    /// Takes the rows of the state. Returns whether they are others than before.
    bool show(const SearchState& state);

    const FileRow& row(int number) const { return rows_[static_cast<std::size_t>(number)]; }
    /// The texts of a row, with the parts of the name that met the query. Valid until the next call.
    const RowText& text(int number) const;
    /// The number of the row; -1 when there is none.
    int numberOf(std::optional<EntryId> id) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction | Qt::LinkAction; }

private:
    std::vector<FileRow> rows_;
    std::optional<std::string> query_;  ///< that the rows answer
    std::optional<RowTexts> texts_;
    mutable std::pair<int, RowText> made_{-1, {}};  ///< a row is drawn column by column
};

}  // namespace dovra
