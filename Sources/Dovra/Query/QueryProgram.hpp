#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Query/QueryNode.hpp"
#include "Query/RegexLimits.hpp"

namespace dovra {

/// A query tree as a list of tests with two exits each. An entry is judged without recursion, and operators
/// cost nothing: AND, OR and NOT only decide to which test an outcome leads. (The classic translation of
/// Boolean expressions into jumps; Aho, Sethi, Ullman, "Compilers", 8.4.)
class QueryProgram {
public:
    /// Translates the tree, which must outlive the program. The node `assumedTrue`, if given, is a test or an
    /// alternative by which the caller has selected the entries. It is not tested.
    explicit QueryProgram(const QueryTree& tree, std::optional<NodeIndex> assumedTrue = std::nullopt);

    /// Judges an entry. `test` is called with the leaves that matter, in order, until the outcome is known.
    template <typename Test>
    bool run(Test&& test) const {
        std::int32_t at = start_;
        while (at >= 0) {
            const Step& step = steps_[static_cast<std::size_t>(at)];
            at = test(*step.leaf) ? step.whenTrue : step.whenFalse;
        }
        return at == accept;
    }

    /// Whether every entry is accepted without a test.
    bool acceptsAll() const { return start_ == accept; }

private:
    static constexpr std::int32_t accept = -1;
    static constexpr std::int32_t reject = -2;

    struct Step {
        const QueryNode* leaf;
        std::int32_t whenTrue;
        std::int32_t whenFalse;
    };

    friend class QueryTranslation;

    std::vector<Step> steps_;
    std::int32_t start_ = accept;
};

/// Judges entries of an index by a query. The last folder's path is kept, because a folder's entries follow
/// one another. For one thread; the index's read lock is held for the object's life.
class EntryMatcher {
public:
    EntryMatcher(const FileIndex& index, const QueryProgram& program, const RegexLimits& limits,
                 const std::stop_token& stop)
        : index_(index), program_(program), limits_(limits), stop_(stop) {}

    /// Whether the entry, tombstone or not, meets the query. False at once after a request to stop.
    bool matches(EntryId id);

private:
    bool test(const QueryNode& leaf, const FileEntry& entry, std::string_view name);
    std::string_view fullPath(const FileEntry& entry, std::string_view name);
    void moveToFolder(DirIndex folder);

    const FileIndex& index_;
    const QueryProgram& program_;
    const RegexLimits& limits_;
    const std::stop_token& stop_;
    DirIndex folder_ = -1;
    std::string path_;  ///< the folder's path and a slash, then the name of the last path built
    std::size_t folderPathSize_ = 0;
};

}  // namespace dovra
