#include "Desktop/Windows/ResultsModel.hpp"

#include <QDateTime>
#include <algorithm>

#include "Base/PathText.hpp"
#include "Desktop/Windows/RowGestures.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

namespace {

constexpr int shownColumns = static_cast<int>(
    std::ranges::count_if(sortColumns, [](const SortColumn& column) { return !column.title.empty(); }));

QString nameText(const RowText& text) {
    QString name;
    for (const ShownPiece& piece : text.name)
        name += toolkitText(piece.text);
    return name;
}

QString columnText(const RowText& text, SortSpec::Key key) {
    switch (key) {
        case SortSpec::Key::path:
            return toolkitText(text.path);
        case SortSpec::Key::size:
            return toolkitText(text.size);
        case SortSpec::Key::modified:
            return toolkitText(text.date);
        default:
            return nameText(text);
    }
}

/// In full what the column shows in short.
QString columnToolTip(const FileRow& row, const RowText& text, SortSpec::Key key) {
    switch (key) {
        case SortSpec::Key::size:
            return toolkitText(text.exactSize);
        case SortSpec::Key::modified:
            return toolkitText(text.exactDate);
        default:
            return withoutMarkup(shownText(joinPath(row.path, row.name)));
    }
}

}  // namespace

bool ResultsModel::show(const SearchState& state) {
    auto query = state.answered ? std::optional(state.answeredQuery()) : std::nullopt;
    if (rows_ == state.rows && query_ == query) return false;
    beginResetModel();
    rows_ = state.rows;
    query_ = std::move(query);
    texts_.emplace(state);
    made_.first = -1;
    endResetModel();
    return true;
}

const RowText& ResultsModel::text(int number) const {
    if (made_.first != number) {
        const double now = static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000;
        made_ = {number, texts_->of(row(number), now)};
    }
    return made_.second;
}

int ResultsModel::numberOf(std::optional<EntryId> id) const {
    const auto found = id ? std::ranges::find(rows_, *id, &FileRow::id) : rows_.end();
    return found == rows_.end() ? -1 : static_cast<int>(found - rows_.begin());
}

int ResultsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int ResultsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : shownColumns;
}

QVariant ResultsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const SortSpec::Key key = sortColumns[static_cast<std::size_t>(index.column())].key;
    switch (role) {
        case Qt::DisplayRole:
            return columnText(text(index.row()), key);
        case Qt::ToolTipRole:
            return columnToolTip(row(index.row()), text(index.row()), key);
        case Qt::TextAlignmentRole:
            return int((key == SortSpec::Key::size ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
        default:
            return {};
    }
}

QVariant ResultsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= shownColumns) return {};
    const SortColumn& column = sortColumns[static_cast<std::size_t>(section)];
    if (role == Qt::DisplayRole) return toolkitText(column.title);
    if (role == Qt::ToolTipRole) return QStringLiteral("Sort (Ctrl+%1)").arg(section + 1);
    if (role == Qt::TextAlignmentRole)
        return int((column.key == SortSpec::Key::size ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    return {};
}

Qt::ItemFlags ResultsModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}

QStringList ResultsModel::mimeTypes() const {
    return {QStringLiteral("text/uri-list")};
}

QMimeData* ResultsModel::mimeData(const QModelIndexList& indexes) const {
    std::vector<FileRow> rows;
    for (const QModelIndex& index : indexes)
        if (index.column() == 0) rows.push_back(row(index.row()));
    return filesData(rows);
}

}  // namespace dovra
