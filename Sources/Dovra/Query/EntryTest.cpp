#include "Query/EntryTest.hpp"

#include "Base/Overloaded.hpp"

namespace dovra {

bool EntryTest::matches(EntryId id) {
    if (stop_.stop_requested()) return false;
    const auto position = static_cast<std::size_t>(id);
    const FileEntry& entry = index_.entriesLocked()[position];
    const NameSignature signature = index_.signaturesLocked()[position];
    const std::string_view name = index_.nameLocked(entry);
    return program_.run([&](const QueryNode& leaf) {
        const auto* text = std::get_if<TextMatcher>(&leaf);
        if (text != nullptr && (signature & text->requiredSignature()) != text->requiredSignature())
            return false;
        return test(leaf, entry, name);
    });
}

bool EntryTest::test(const QueryNode& leaf, const FileEntry& entry, std::string_view name) {
    const auto path = [&] { return fullPath(entry, name); };
    return std::visit(
        Overloaded{
            [&](const TextMatcher& text) { return text.matches(name, path); },
            [&](const ExtensionList& extensions) { return extensions.matches(name); },
            [&](const SizeFilter& size) { return !entry.isFolder() && size.matches(entry.size); },
            [&](const DateNode& date) {
                return date.filter.matches(date.field == DateField::modified ? entry.modTime : entry.crTime);
            },
            [&](TypeFilter type) { return dovra::matches(type, entry.isFolder()); },
            [&](const RegexNode& regex) {
                return regex.expression.foundIn(regex.target == MatchTarget::fullPath ? path() : name,
                                                limits_.of(regex));
            },
            [&](const ContentMatcher& content) {
                return !entry.isFolder() && !entry.isSymbolicLink() &&
                       content.matchesFile(std::string(path()), stop_);
            },
            [&](const FuzzyMatcher& fuzzy) { return fuzzy.score(name).has_value(); },
            [&](const SimilarMatcher& similar) { return similar.score(name).has_value(); },
            [&](const TagMatcher& tag) { return tag.matchesFile(std::string(path())); },
            [](const MatchAllNode&) { return true; },
            [](const auto&) { return false; },  // operators are not leaves
        },
        leaf);
}

std::string_view EntryTest::fullPath(const FileEntry& entry, std::string_view name) {
    if (entry.dirIndex != folder_) moveToFolder(entry.dirIndex);
    path_.resize(folderPathSize_);
    path_ += name;
    return path_;
}

void EntryTest::moveToFolder(DirIndex folder) {
    const DirectoryTable& directories = index_.directoriesLocked();
    if (folder_ >= 0 && directories.parent(folder) == folder_) {
        // The usual step of a walk; rebuilding would make a very deep tree quadratic.
        path_.resize(folderPathSize_);
        path_ += directories.name(folder);
    } else {
        path_ = directories.path(folder);
    }
    if (!path_.ends_with('/')) path_ += '/';
    folderPathSize_ = path_.size();
    folder_ = folder;
}

}  // namespace dovra
