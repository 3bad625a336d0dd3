#include "Query/PathLiteral.hpp"

#include <algorithm>

namespace dovra {

namespace {

std::vector<std::string_view> splitAtSlashes(std::string_view literal) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t slash = literal.find('/');
        parts.push_back(literal.substr(0, slash));
        if (slash == std::string_view::npos) return parts;
        literal.remove_prefix(slash + 1);
    }
}

}  // namespace

bool PathLiteral::canSearch(std::string_view literal) {
    return !literal.empty() && std::ranges::count(literal, '/') < 63;
}

PathLiteral::PathLiteral(const FileIndex& index, std::string_view literal, bool fold)
    : index_(index), fold_(fold), needle_(literal, !fold), parts_(splitAtSlashes(needle_.bytes())) {
    const std::size_t folders = index.directoriesLocked().count();
    contains_.resize(folders);
    if (parts_.size() == 1) {
        nameNeedle_.emplace(literal, fold, index.namePoolLocked());
        searchFolderNames();
    } else {
        endings_.resize(folders);
        for (std::size_t i = 0; i < folders; ++i)
            judgeFolder(static_cast<DirIndex>(i));
    }
    collectRuns();
}

/// A literal without a slash lies in the folder's own name or in its parent's path. The names of a group are
/// searched as one text, which nearly always rejects them all.
void PathLiteral::searchFolderNames() {
    constexpr DirIndex groupSize = 64;
    const FolderTable& folders = index_.directoriesLocked();
    const auto count = static_cast<DirIndex>(folders.count());
    for (DirIndex first = 0; first < count; first += groupSize) {
        const DirIndex last = std::min(first + groupSize, count);
        const bool mayHold = needle_.foundIn(folders.names(first, last));
        for (DirIndex folder = first; folder < last; ++folder) {
            const auto parent = folders.parent(folder);
            contains_[static_cast<std::size_t>(folder)] =
                (parent && contains_[static_cast<std::size_t>(*parent)] != 0) ||
                (mayHold && needle_.foundIn(folders.name(folder)));
        }
    }
}

bool PathLiteral::startsWithLastPart(std::string_view name) const {
    return equal(name.substr(0, parts_.back().size()), parts_.back());
}

bool PathLiteral::endsWithFirstPart(std::string_view text) const {
    const std::string_view part = parts_.front();
    return text.size() >= part.size() && equal(text.substr(text.size() - part.size()), part);
}

PathLiteral::Endings PathLiteral::endingsBelow(Endings parent, std::string_view name) const {
    Endings endings = 0;
    if (endsWithFirstPart(name)) endings |= Endings{1} << 1;
    for (std::size_t j = 2; j < parts_.size(); ++j) {
        const bool continues = (parent >> (j - 1) & 1) != 0 && equal(name, parts_[j - 1]);
        if (continues) endings |= Endings{1} << j;
    }
    return endings;
}

void PathLiteral::judgeFolder(DirIndex folder) {
    const auto position = static_cast<std::size_t>(folder);
    const auto parent = index_.directoriesLocked().parent(folder);
    if (!parent) return judgeRoot(folder);
    const auto above = static_cast<std::size_t>(*parent);
    const std::string_view name = index_.directoriesLocked().name(folder);
    const Endings parentEndings = endings_[above];
    contains_[position] = contains_[above] != 0 || (endsAtSeam(*parent) && startsWithLastPart(name));
    endings_[position] = endingsBelow(parentEndings, name);
}

void PathLiteral::judgeRoot(DirIndex root) {
    // A root's name is its whole path ("" for "/"), so the literal is compared with that text.
    const std::string text = std::string(index_.directoriesLocked().name(root)) + "/";
    const auto position = static_cast<std::size_t>(root);
    const std::string_view path = std::string_view(text).substr(0, text.size() - 1);
    contains_[position] = needle_.foundIn(path);
    std::size_t length = 0;
    for (std::size_t j = 1; j < parts_.size(); ++j) {
        length += parts_[j - 1].size() + 1;
        if (text.size() < length) break;
        const std::string_view tail = std::string_view(text).substr(text.size() - length);
        if (equal(tail, std::string_view(needle_.bytes()).substr(0, length)))
            endings_[position] |= Endings{1} << j;
    }
}

/// Whether an entry of the folder matches if its name begins with the last part.
bool PathLiteral::endsAtSeam(DirIndex folder) const {
    const std::size_t seams = parts_.size() - 1;
    return seams > 0 && (endings_[static_cast<std::size_t>(folder)] >> seams & 1) != 0;
}

void PathLiteral::collectRuns() {
    const EntryLists& lists = index_.entriesByDirLocked();
    for (std::size_t i = 0; i < contains_.size(); ++i) {
        const auto folder = static_cast<DirIndex>(i);
        if (contains_[i] == 0 && !endsAtSeam(folder)) continue;
        if (const auto run = lists.run(folder)) {
            addRun(folder, {run->first, run->first + run->count});
        } else {
            lists.forEach(folder, [&](EntryId id) { addRun(folder, {id, id + 1}); });
        }
    }
    const auto firstOf = [](const FolderRun& run) { return run.entries.first; };
    if (!std::ranges::is_sorted(runs_, {}, firstOf)) std::ranges::sort(runs_, {}, firstOf);
}

void PathLiteral::addRun(DirIndex folder, EntryRange entries) {
    if (entries.first == entries.last) return;
    const bool takesAll = contains_[static_cast<std::size_t>(folder)] != 0;
    const bool continues =
        !runs_.empty() && runs_.back().takesAll == takesAll && runs_.back().entries.last == entries.first;
    if (continues) {
        runs_.back().entries.last = entries.last;
    } else {
        runs_.push_back({entries, takesAll});
    }
}

void PathLiteral::scan(EntryRange range, EntrySet& hits) const {
    if (nameNeedle_) scanNames(index_, *nameNeedle_, range, hits);
    auto run = std::ranges::upper_bound(runs_, range.first, {},
                                        [](const FolderRun& candidate) { return candidate.entries.last; });
    for (; run != runs_.end() && run->entries.first < range.last; ++run) {
        const EntryRange within{std::max(run->entries.first, range.first),
                                std::min(run->entries.last, range.last)};
        if (run->takesAll) {
            hits.insert(within);
        } else {
            scanSeam(within, hits);
        }
    }
}

void PathLiteral::scanSeam(EntryRange entries, EntrySet& hits) const {
    for (EntryId id = entries.first; id < entries.last; ++id) {
        if (startsWithLastPart(index_.nameLocked(id))) hits.insert(id);
    }
}

}  // namespace dovra
