#include "Desktop/Model/FolderPreview.hpp"

#include <algorithm>
#include <tuple>

#include "Base/AsciiFold.hpp"
#include "Base/PathText.hpp"

namespace dovra {

namespace {

/// Whether an entry stands before another one.
bool comesFirstLocked(const FileIndex& index, EntryId a, EntryId b) {
    const auto isFile = [&](EntryId id) {
        return !index.entriesLocked()[static_cast<std::size_t>(id)].isFolder();
    };
    if (isFile(a) != isFile(b)) return isFile(b);
    const int order = compareAsciiFolded(index.nameLocked(a), index.nameLocked(b));
    return std::tuple(order, index.nameLocked(a)) < std::tuple(0, index.nameLocked(b));
}

/// Everything but the sums.
std::optional<FolderPreview> itemsOf(const FileIndex& index, const std::string& path) {
    const ReadGuard guard(index.rwlock);
    const auto folder = index.directoriesLocked().find(path);
    if (!folder || !index.entriesByDirLocked().contains(*folder)) return std::nullopt;
    std::vector<EntryId> ids;
    index.entriesByDirLocked().forEach(*folder, [&](EntryId id) {
        if (!index.entriesLocked()[static_cast<std::size_t>(id)].isTombstone()) ids.push_back(id);
    });
    FolderPreview preview{.items = {}, .count = std::ssize(ids), .sum = {}};
    const auto shown = std::ranges::next(ids.begin(), FolderPreview::mostItems, ids.end());
    std::ranges::partial_sort(ids, shown,
                              [&](EntryId a, EntryId b) { return comesFirstLocked(index, a, b); });
    ids.erase(shown, ids.end());
    for (FileRow& row : rowsLocked(index, ids))
        preview.items.push_back({.row = std::move(row), .bytes = {}});
    return preview;
}

}  // namespace

std::optional<FolderPreview> folderPreview(const FileIndex& index, const FolderUsage& usage,
                                           const std::string& path) {
    auto preview = itemsOf(index, path);
    if (!preview) return std::nullopt;
    std::vector<std::string> paths = {path};
    for (const FolderPreviewItem& item : preview->items)
        paths.push_back(joinPath(path, item.row.name));
    const auto sums = usage.sumsOf(paths);
    preview->sum = sums.front().value_or(FolderSum{});
    for (std::size_t i = 0; i < preview->items.size(); ++i) {
        FolderPreviewItem& item = preview->items[i];
        if (!item.row.isDir)
            item.bytes = item.row.size;
        else if (const auto& sum = sums[i + 1])
            item.bytes = sum->bytes;
    }
    return preview;
}

}  // namespace dovra
