#pragma once

#include <string_view>
#include <vector>

#include "Query/QueryParser.hpp"
#include "Query/TextRange.hpp"

namespace dovra {

/// Where the query's terms stand in a name that it found, for whoever shows it: ascending, apart from one
/// another, never within a character. Terms on paths, contents and attributes have no place in a name, nor
/// have those that must not match.
std::vector<TextRange> nameMarks(const CompiledQuery& query, std::string_view name);

}  // namespace dovra
