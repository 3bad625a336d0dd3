#include "Query/NameDuplicates.hpp"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Base/TextNeedle.hpp"

namespace dovra {

namespace {

struct HashedName {
    std::size_t hash;
    EntryId id;
};

/// Erases the names of one hash value that occur once. Equal hashes nearly always mean equal names, so the
/// names are compared only here.
void eraseUnique(const FileIndex& index, std::span<const HashedName> sameHash, EntrySet& matches) {
    if (sameHash.size() == 1) return matches.erase(sameHash.front().id);
    std::vector<std::pair<std::string, EntryId>> names;
    for (const HashedName& hashed : sameHash)
        names.emplace_back(lowercased(index.nameLocked(hashed.id)), hashed.id);
    std::ranges::sort(names);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const bool likePrevious = i > 0 && names[i - 1].first == names[i].first;
        const bool likeNext = i + 1 < names.size() && names[i + 1].first == names[i].first;
        if (!likePrevious && !likeNext) matches.erase(names[i].second);
    }
}

}  // namespace

void filterDuplicatesLocked(const FileIndex& index, EntrySet& matches) {
    std::vector<HashedName> names;
    const auto count = static_cast<EntryId>(index.entriesLocked().size());
    matches.forEach({0, count}, [&](EntryId id) {
        names.push_back({std::hash<std::string>{}(lowercased(index.nameLocked(id))), id});
    });
    std::ranges::sort(names, {}, &HashedName::hash);
    for (std::size_t begin = 0; begin < names.size();) {
        std::size_t end = begin + 1;
        while (end < names.size() && names[end].hash == names[begin].hash)
            ++end;
        eraseUnique(index, std::span(names).subspan(begin, end - begin), matches);
        begin = end;
    }
}

}  // namespace dovra
