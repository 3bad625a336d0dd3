#pragma once

#include <optional>
#include <string_view>

#include "Query/SearchResult.hpp"

namespace dovra {

/// The order that a client asks for by a key ("name", "path", "size", "date") and a direction ("asc",
/// "desc"). By name, ascending, where it says nothing or something else.
SortSpec sortSpec(std::optional<std::string_view> key, std::optional<std::string_view> order);

}  // namespace dovra
