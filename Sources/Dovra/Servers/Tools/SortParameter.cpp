#include "Servers/Tools/SortParameter.hpp"

namespace dovra {

namespace {

SortSpec::Key sortKey(std::string_view word) {
    if (word == "path") return SortSpec::Key::path;
    if (word == "size") return SortSpec::Key::size;
    if (word == "date") return SortSpec::Key::modified;
    return SortSpec::Key::name;
}

}  // namespace

SortSpec sortSpec(std::optional<std::string_view> key, std::optional<std::string_view> order) {
    return {.key = sortKey(key.value_or("name")), .ascending = order != "desc"};
}

}  // namespace dovra
