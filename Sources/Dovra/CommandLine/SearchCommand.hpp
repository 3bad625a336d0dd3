#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Options.hpp"
#include "CommandLine/Output.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The options of a search from the command line.
struct SearchOptions {
    std::optional<std::string> root = "/";  ///< absent: relative to a deleted current folder
    std::int64_t limit = 100;
    SortSpec sort;
    bool usesTrigram = false;
    PathTerminator terminator = PathTerminator::newline;
};

/// The table of options; they write into `options`.
std::vector<Option> searchOptionTable(SearchOptions& options);

/// Scans, answers the query, and prints the paths and their number. The exit status: 0, or 1 when there is no
/// root or standard output could not be written.
int printSearch(std::string_view text, const SearchOptions& options);

}  // namespace dovra
