#include "Index/EntryLists.hpp"

#include <algorithm>

namespace dovra {

EntryLists::Run& EntryLists::slot(DirIndex folder) {
    while (runs_.size() <= static_cast<std::size_t>(folder))
        runs_.push_back({notListed, 0});
    return runs_[static_cast<std::size_t>(folder)];
}

void EntryLists::assignRun(DirIndex folder, Run run) {
    Run& stored = slot(folder);
    if (stored.first == isScattered) scattered_.erase(folder);
    stored = run;
}

void EntryLists::assign(DirIndex folder, std::span<const EntryId> ids) {
    const auto isNotNext = [](EntryId a, EntryId b) { return b != a + 1; };
    if (std::ranges::adjacent_find(ids, isNotNext) == ids.end()) {
        assignRun(folder, {ids.empty() ? 0 : ids.front(), static_cast<std::int32_t>(ids.size())});
    } else {
        slot(folder) = {isScattered, 0};
        scattered_[folder].assign(ids.begin(), ids.end());
    }
}

void EntryLists::forget(DirIndex folder) {
    if (contains(folder)) assignRun(folder, {notListed, 0});
}

void EntryLists::append(DirIndex folder, EntryId id) {
    Run& stored = slot(folder);
    if (stored.first == isScattered) {
        scattered_[folder].push_back(id);
    } else if (stored.count == 0) {
        stored = {id, 1};
    } else if (stored.first + stored.count == id) {
        ++stored.count;
    } else {
        std::vector<EntryId>& list = scattered_[folder];
        for (std::int32_t i = 0; i < stored.count; ++i)
            list.push_back(stored.first + i);
        list.push_back(id);
        stored = {isScattered, 0};
    }
}

void EntryLists::assignAll(std::size_t folderCount, std::span<const FileEntry> entries) {
    *this = EntryLists();
    std::fill_n(runs_.extend(folderCount), folderCount, Run{0, 0});
    for (std::size_t id = 0; id < entries.size(); ++id) {
        if (!entries[id].isTombstone()) append(entries[id].dirIndex, static_cast<EntryId>(id));
    }
}

bool EntryLists::contains(DirIndex folder) const {
    const auto position = static_cast<std::size_t>(folder);
    return position < runs_.size() && runs_[position].first != notListed;
}

std::optional<EntryLists::Run> EntryLists::run(DirIndex folder) const {
    if (!contains(folder)) return Run{0, 0};
    const Run& stored = runs_[static_cast<std::size_t>(folder)];
    return stored.first == isScattered ? std::nullopt : std::optional(stored);
}

std::size_t EntryLists::count(DirIndex folder) const {
    const auto listed = run(folder);
    return listed ? static_cast<std::size_t>(listed->count) : scattered_.at(folder).size();
}

std::vector<EntryId> EntryLists::ids(DirIndex folder) const {
    std::vector<EntryId> listed;
    listed.reserve(count(folder));
    forEach(folder, [&](EntryId id) { listed.push_back(id); });
    return listed;
}

std::size_t EntryLists::memoryBytes() const {
    std::size_t bytes = runs_.capacityBytes();
    for (const auto& [folder, list] : scattered_)
        bytes += list.capacity() * sizeof(EntryId) + 64;
    return bytes;
}

}  // namespace dovra
