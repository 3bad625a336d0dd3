#pragma once

#include <optional>
#include <string_view>

#include "Query/SearchResult.hpp"

namespace dovra {

/// The order that a client asks for by a key ("name", "path", "size", "date") and a direction ("asc",
/// "desc"). A key or direction that is missing or unknown means by name or ascending.
SortSpec sortSpec(std::optional<std::string_view> key, std::optional<std::string_view> order);

}  // namespace dovra
