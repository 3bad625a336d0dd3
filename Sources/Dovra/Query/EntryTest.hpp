#pragma once

#include <stop_token>
#include <string>
#include <string_view>

#include "Index/FileIndex.hpp"
#include "Query/QueryProgram.hpp"
#include "Query/RegexLimits.hpp"

namespace dovra {

/// Judges entries of an index by a query. Keeps the last folder's path at hand, so that a folder's entries,
/// which follow one another, build it once. For one thread; the index's read lock is held for its lifetime.
class EntryTest {
public:
    EntryTest(const FileIndex& index, const QueryProgram& program, const RegexLimits& limits,
              const std::stop_token& stop)
        : index_(index), program_(program), limits_(limits), stop_(stop) {}

    /// Whether the entry, tombstone or not, meets the query. False at once when a stop has been requested.
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
    std::string path_;  ///< the folder's path and a slash, then the last name asked for
    std::size_t folderPathSize_ = 0;
};

}  // namespace dovra
