#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// A query that the user gave a name.
struct SavedSearch {
    std::string name;  ///< not empty, no white space at its ends
    std::string query;

    bool operator==(const SavedSearch&) const = default;
};

/// Additions, replacements and removals in their order.
class SavedSearchChanges {
public:
    struct Change {
        std::string name;
        std::optional<std::string> query;  ///< absent: the name is removed
    };

    SavedSearchChanges() = default;
    explicit SavedSearchChanges(Change change) { changes_.push_back(std::move(change)); }

    bool isEmpty() const { return changes_.empty(); }
    const std::vector<Change>& inOrder() const { return changes_; }

    void apply(const SavedSearchChanges& later) {
        changes_.insert(changes_.end(), later.changes_.begin(), later.changes_.end());
    }

private:
    std::vector<Change> changes_;
};

/// Saved searches in the order in which they were first saved. Names are unique, byte for byte.
///
/// As text: a JSON array of objects with "name" and "query" (as `textFromBytes` writes them).
class SavedSearchTable {
public:
    using Changes = SavedSearchChanges;

    struct Decoded;

    /// A name that is there keeps its place.
    void apply(const SavedSearchChanges& changes);

    const std::vector<SavedSearch>& items() const { return items_; }
    std::optional<std::string> query(std::string_view name) const;

    std::string encode() const;

    /// Absent when the text is no JSON array. An element that is not as it should be is left out; of equal
    /// names the first gives the place and the last the query.
    static std::optional<Decoded> decode(std::string_view text);

private:
    void save(const std::string& name, const std::string& query);

    std::vector<SavedSearch> items_;
};

struct SavedSearchTable::Decoded {
    SavedSearchTable table;
    bool isWhole = true;  ///< false when an element was left out
};

}  // namespace dovra
