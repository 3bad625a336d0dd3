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

/// What a search from the command line can be told beside its query.
struct SearchOptions {
    std::optional<std::string> root = "/";  ///< absent: relative to a current folder that was deleted
    std::int64_t limit = 100;
    SortSpec sort;
    bool usesTrigram = false;
    PathTerminator terminator = PathTerminator::newline;
};

/// The options by their words; they write into `options`.
std::vector<Option> searchOptionTable(SearchOptions& options);

/// Scans, answers the query and prints paths and count. The exit status: 0, or 1 when there is no root or
/// standard output could not be written.
int printSearch(std::string_view text, const SearchOptions& options);

}  // namespace dovra
