#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Index/FileEntry.hpp"

namespace dovra {

/// The order of a result.
struct SortSpec {
    enum class Key : std::uint8_t {
        name,
        path,
        size,
        modified,
        relevance,  ///< best first, when ascending
    };

    Key key = Key::name;
    bool ascending = true;
};

/// One entry of a result. Texts are raw bytes; whoever shows them to a person repairs them.
struct FileRow {
    EntryId id = 0;
    std::string name;
    std::string path;  ///< of the folder that holds the entry
    std::uint64_t size = 0;
    double modified = 0;  ///< seconds since 1970
    bool isDir = false;
};

struct SearchResult {
    std::vector<FileRow> rows;
    std::int64_t total = 0;  ///< all matches, before the limit
};

}  // namespace dovra
