#include "Diagnostics/SlowSearch.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Base/TextNeedle.hpp"

namespace dovra::slow {

namespace {

constexpr double leastSimilarity = 0.3;

std::string foldedUnless(bool caseSensitive, const std::string& text) {
    return caseSensitive ? text : folded(text);
}

enum class ByteKind : std::uint8_t { whitespace, delimiter, otherAscii, lower, upper, digit, nonAscii };

ByteKind kindOf(char c) {
    if (static_cast<unsigned char>(c) >= 128) return ByteKind::nonAscii;
    if (c == ' ' || c == '\t') return ByteKind::whitespace;
    if (c == ',' || c == '-' || c == '.' || c == '/' || c == ':' || c == ';' || c == '_')
        return ByteKind::delimiter;
    if (c >= 'a' && c <= 'z') return ByteKind::lower;
    if (c >= 'A' && c <= 'Z') return ByteKind::upper;
    if (c >= '0' && c <= '9') return ByteKind::digit;
    return ByteKind::otherAscii;
}

int boundaryBonus(ByteKind previous, ByteKind current) {
    const bool isWordByte = current == ByteKind::lower || current == ByteKind::upper ||
                            current == ByteKind::digit || current == ByteKind::nonAscii;
    if (!isWordByte || previous == ByteKind::nonAscii) return 0;
    if (previous == ByteKind::whitespace) return 10;
    if (previous == ByteKind::delimiter) return 9;
    if (previous == ByteKind::otherAscii) return 8;
    if (previous == ByteKind::lower && (current == ByteKind::upper || current == ByteKind::digit)) return 7;
    if (previous == ByteKind::digit && current != ByteKind::digit) return 7;
    return 0;
}

/// The bonus of a matched byte beside its 16 points. `boundary` is the bonus of the byte's place (0 for
/// none). `runLength` is the length of the run that the byte continues, and `carried` the bonus of that run.
int matchBonus(int boundary, int runLength, int& carried) {
    if (runLength == 0) {
        carried = boundary;
        return boundary;
    }
    if (boundary == 0) return carried < 5 ? 4 : carried;
    if (carried >= boundary) return carried;
    if (boundary != 7) carried = boundary;
    return boundary;
}

std::set<std::string> trigrams(const std::string& text) {
    std::set<std::string> set;
    for (std::size_t i = 0; i + 3 <= text.size(); ++i)
        set.insert(folded(text.substr(i, 3)));
    return set;
}

bool isUpper(char c) {
    return kindOf(c) == ByteKind::upper;
}

bool isLetterOrDigit(char c) {
    return kindOf(c) != ByteKind::whitespace && kindOf(c) != ByteKind::delimiter &&
           kindOf(c) != ByteKind::otherAscii;
}

bool isWordStart(const std::string& name, std::size_t at) {
    if (!isLetterOrDigit(name[at])) return false;
    return !isLetterOrDigit(name[at - 1]) || (isUpper(name[at]) && !isUpper(name[at - 1]));
}

}  // namespace

std::string folded(const std::string& text) {
    std::string result = text;
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

bool contains(const std::string& text, const std::string& needle, bool caseSensitive) {
    return foldedUnless(caseSensitive, text).find(foldedUnless(caseSensitive, needle)) != std::string::npos;
}

bool globMatches(const std::string& rawPattern, const std::string& rawText, bool caseSensitive) {
    const std::string pattern = foldedUnless(caseSensitive, rawPattern);
    const std::string text = foldedUnless(caseSensitive, rawText);
    // matches[t]: whether the part of the pattern read so far matches the first t bytes.
    std::vector<bool> matches(text.size() + 1, false);
    matches[0] = true;
    for (const char p : pattern) {
        std::vector<bool> next(text.size() + 1, false);
        for (std::size_t t = 0; t <= text.size(); ++t) {
            if (p == '*') {
                next[t] = matches[t] || (t > 0 && next[t - 1]);
            } else if (t > 0 && (p == '?' || p == text[t - 1])) {
                next[t] = matches[t - 1];
            }
        }
        matches = next;
    }
    return matches[text.size()];
}

std::string stem(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::optional<std::string> extension(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) return std::nullopt;
    return name.substr(dot + 1);
}

std::optional<std::int32_t> fuzzyScore(const std::string& term, const std::string& name, bool caseSensitive) {
    const std::string pattern = foldedUnless(caseSensitive, term);
    const std::string text = foldedUnless(caseSensitive, name);
    std::size_t matched = 0;
    int score = 0;
    bool inGap = false;
    int runLength = 0;
    int carried = 0;
    ByteKind previous = ByteKind::whitespace;
    for (std::size_t i = 0; i < name.size() && matched < pattern.size(); ++i) {
        const ByteKind current = kindOf(name[i]);
        if (text[i] == pattern[matched]) {
            const int bonus = matchBonus(boundaryBonus(previous, current), runLength, carried);
            score += 16 + (matched == 0 ? 2 * bonus : bonus);
            ++matched;
            ++runLength;
            inGap = false;
        } else {
            if (matched > 0) score -= inGap ? 1 : 3;
            inGap = matched > 0;
            runLength = 0;
        }
        previous = current;
    }
    if (matched < pattern.size()) return std::nullopt;
    return std::max(score, 0);
}

std::optional<std::int32_t> similarScore(const std::string& sample, const std::string& name) {
    const std::set<std::string> wanted = trigrams(sample);
    const std::set<std::string> present = trigrams(name);
    std::size_t shared = 0;
    for (const std::string& trigram : present)
        shared += wanted.count(trigram);
    if (shared == 0) return std::nullopt;
    const std::size_t either = wanted.size() + present.size() - shared;
    const double similarity = static_cast<double>(shared) / static_cast<double>(either);
    if (similarity < leastSimilarity) return std::nullopt;
    return static_cast<std::int32_t>(std::round(similarity * 1000));
}

int matchPlace(const std::string& term, const std::string& name, bool caseSensitive) {
    // No name has a slash, so a slash can mark both ends of a text.
    const auto found = [caseSensitive](const std::string& needle, const std::string& text) {
        return isAscii(needle) ? contains(text, needle, caseSensitive)
                               : UnicodeNeedle(needle, caseSensitive).foundIn(text);
    };
    if (term.empty() || !found(term, name)) return 5;
    if (found(fmt::format("/{}/", term), fmt::format("/{}/", name))) return 0;
    if (found(fmt::format("/{}/", term), fmt::format("/{}/", stem(name)))) return 1;
    if (found(fmt::format("/{}", term), fmt::format("/{}", name))) return 2;
    for (std::size_t at = 1; at < name.size(); ++at) {
        if (isWordStart(name, at) && found(fmt::format("/{}", term), fmt::format("/{}", name.substr(at))))
            return 3;
    }
    return 4;
}

}  // namespace dovra::slow

namespace dovra {

namespace {

using slow::Entry;

std::vector<EntryId> matchingIds(const FileIndex& index, const slow::Query& query) {
    std::vector<EntryId> ids;
    const auto count = static_cast<EntryId>(index.entriesLocked().size());
    for (EntryId id = 0; id < count; ++id) {
        const Entry entry{index, id};
        if (!entry.record().isTombstone() && query.test(entry)) ids.push_back(id);
    }
    return ids;
}

void keepEmptyFolders(const FileIndex& index, std::vector<EntryId>& ids) {
    std::vector<bool> holdsEntries(index.directoriesLocked().count());
    for (const FileEntry& entry : index.entriesLocked()) {
        if (!entry.isTombstone()) holdsEntries[static_cast<std::size_t>(entry.dirIndex)] = true;
    }
    std::erase_if(ids, [&](EntryId id) {
        const Entry entry{index, id};
        if (!entry.record().isFolder()) return true;
        const auto contents = index.directoriesLocked().find(entry.fullPath());
        const bool wasListed = contents && index.entriesByDirLocked().contains(*contents);
        return !wasListed || holdsEntries[static_cast<std::size_t>(*contents)];
    });
}

void keepDuplicates(const FileIndex& index, std::vector<EntryId>& ids) {
    std::unordered_map<std::string, int> counts;
    const auto nameOf = [&](EntryId id) { return lowercased(Entry{index, id}.name()); };
    for (const EntryId id : ids)
        ++counts[nameOf(id)];
    std::erase_if(ids, [&](EntryId id) { return counts[nameOf(id)] < 2; });
}

/// Sorts by a key of any comparable type; equal keys keep their order.
template <typename KeyOf>
void sortBy(std::vector<EntryId>& ids, bool ascending, const KeyOf& keyOf) {
    using Key = decltype(keyOf(EntryId{}));
    std::vector<std::pair<Key, EntryId>> keyed;
    for (const EntryId id : ids)
        keyed.emplace_back(keyOf(id), id);
    std::stable_sort(keyed.begin(), keyed.end(), [ascending](const auto& a, const auto& b) {
        return ascending ? a.first < b.first : b.first < a.first;
    });
    for (std::size_t i = 0; i < ids.size(); ++i)
        ids[i] = keyed[i].second;
}

void sortByScore(const FileIndex& index, std::vector<EntryId>& ids, bool ascending,
                 const slow::Query& query) {
    const auto& score = query.fuzzy ? query.fuzzy : query.similar;
    sortBy(ids, ascending, [&](EntryId id) {
        const std::string name = Entry{index, id}.name();
        return std::tuple(-score(name).value_or(0), name.size(), slow::folded(name));
    });
}

void sortByRelevance(const FileIndex& index, std::vector<EntryId>& ids, bool ascending,
                     const slow::Query& query) {
    sortBy(ids, ascending, [&](EntryId id) {
        const std::string name = Entry{index, id}.name();
        const auto& term = query.plainText;
        const int place = term ? slow::matchPlace(term->text, name, term->caseSensitive) : 0;
        return std::tuple(place, name.size(), slow::folded(name));
    });
}

void sortIds(const FileIndex& index, std::vector<EntryId>& ids, SortSpec sort, const slow::Query& query) {
    const auto entry = [&](EntryId id) { return Entry{index, id}; };
    if (query.fuzzy || query.similar) {
        const bool worstFirst = sort.key == SortSpec::Key::relevance && !sort.ascending;
        return sortByScore(index, ids, !worstFirst, query);
    }
    switch (sort.key) {
        case SortSpec::Key::name:
            return sortBy(ids, sort.ascending, [&](EntryId id) { return slow::folded(entry(id).name()); });
        case SortSpec::Key::path:
            return sortBy(ids, sort.ascending,
                          [&](EntryId id) { return slow::folded(entry(id).fullPath()); });
        case SortSpec::Key::size:
            return sortBy(ids, sort.ascending, [&](EntryId id) { return entry(id).record().size; });
        case SortSpec::Key::modified:
            return sortBy(ids, sort.ascending, [&](EntryId id) { return entry(id).record().modTime; });
        case SortSpec::Key::relevance:
            return sortByRelevance(index, ids, sort.ascending, query);
    }
}

FileRow rowOf(const Entry& entry) {
    return {.id = entry.id,
            .name = entry.name(),
            .path = entry.folder(),
            .size = entry.record().size,
            .modified = entry.record().modTime,
            .isDir = entry.record().isFolder()};
}

}  // namespace

std::optional<SearchResult> slowSearch(const FileIndex& index, std::string_view rawQuery, SortSpec sort,
                                       std::int64_t limit) {
    const slow::Query query = slow::parse(rawQuery);
    if (query.wantsContentDuplicates) return std::nullopt;
    const ReadGuard guard(index.rwlock);
    std::vector<EntryId> ids = matchingIds(index, query);
    if (query.wantsEmptyFolders) keepEmptyFolders(index, ids);
    if (query.wantsDuplicates) keepDuplicates(index, ids);
    SearchResult result;
    result.total = std::ssize(ids);
    if (result.total <= FileIndex::sortCap) sortIds(index, ids, sort, query);
    for (std::size_t i = 0; i < ids.size() && static_cast<std::int64_t>(i) < limit; ++i)
        result.rows.push_back(rowOf(Entry{index, ids[i]}));
    return result;
}

}  // namespace dovra
