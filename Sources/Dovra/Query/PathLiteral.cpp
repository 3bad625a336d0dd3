#include "Query/PathLiteral.hpp"

#include <algorithm>

#include "Base/AsciiFold.hpp"
#include "Query/ByteSubstring.hpp"

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
    : index_(index), literal_(fold ? asciiFolded(literal) : std::string(literal)), fold_(fold) {
    parts_ = splitAtSlashes(literal_);
    if (parts_.size() == 1) nameNeedle_.emplace(literal_, fold_, index.namePoolLocked());
    const std::size_t folders = index.directoriesLocked().count();
    endings_.resize(folders);
    contains_.resize(folders);
    for (std::size_t i = 0; i < folders; ++i)
        judgeFolder(static_cast<DirIndex>(i));
}

bool PathLiteral::equal(std::string_view a, std::string_view part) const {
    if (a.size() != part.size()) return false;
    return fold_ ? std::ranges::equal(a, part, {}, [](char c) { return asciiFold(c); }) : a == part;
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
    if (parts_.size() > 1 && endsWithFirstPart(name)) endings |= Endings{1} << 1;
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
    const std::size_t seams = parts_.size() - 1;
    const bool inName = seams == 0 ? ByteSubstring(literal_, fold_).foundIn(name)
                                   : (parentEndings >> seams & 1) != 0 && startsWithLastPart(name);
    contains_[position] = contains_[above] || inName;
    endings_[position] = endingsBelow(parentEndings, name);
}

void PathLiteral::judgeRoot(DirIndex root) {
    // The name of a root is its whole path, "" for "/": here the literal is compared with the text itself.
    const std::string text = std::string(index_.directoriesLocked().name(root)) + "/";
    const auto position = static_cast<std::size_t>(root);
    const std::string_view path = std::string_view(text).substr(0, text.size() - 1);
    contains_[position] = ByteSubstring(literal_, fold_).foundIn(path);
    std::size_t length = 0;
    for (std::size_t j = 1; j < parts_.size(); ++j) {
        length += parts_[j - 1].size() + 1;
        if (text.size() < length) break;
        const std::string_view tail = std::string_view(text).substr(text.size() - length);
        if (equal(tail, std::string_view(literal_).substr(0, length))) endings_[position] |= Endings{1} << j;
    }
}

void PathLiteral::scan(EntryRange range, EntrySet& hits) const {
    if (nameNeedle_) scanNames(index_, *nameNeedle_, range, hits);
    const auto entries = index_.entriesLocked();
    for (EntryId id = range.first; id < range.last;) {
        const EntryRange run = folderRun(id, range);
        scanFolder(entries[static_cast<std::size_t>(id)].dirIndex, run, hits);
        id = run.last;
    }
}

/// The entries from `id` on that are known to lie in the same folder, at least `id` itself.
EntryRange PathLiteral::folderRun(EntryId id, EntryRange within) const {
    const DirIndex folder = index_.entriesLocked()[static_cast<std::size_t>(id)].dirIndex;
    const auto run = index_.entriesByDirLocked().run(folder);
    const bool inRun = run && run->first <= id && id < run->first + run->count;
    return {id, inRun ? std::min(within.last, run->first + run->count) : id + 1};
}

void PathLiteral::scanFolder(DirIndex folder, EntryRange entries, EntrySet& hits) const {
    const auto position = static_cast<std::size_t>(folder);
    const std::size_t seams = parts_.size() - 1;
    if (contains_[position]) {
        hits.insert(entries);
    } else if (seams > 0 && (endings_[position] >> seams & 1) != 0) {
        for (EntryId id = entries.first; id < entries.last; ++id) {
            if (startsWithLastPart(index_.nameLocked(id))) hits.insert(id);
        }
    }
}

}  // namespace dovra
