#include "Servers/Http/ParameterReader.hpp"

#include <charconv>
#include <fmt/format.h>
#include <system_error>

namespace dovra {

std::string ParameterReader::text(std::string_view name) const {
    const auto given = parameters_.find(name);
    return given == parameters_.end() ? std::string() : given->second;
}

bool ParameterReader::flag(std::string_view name, bool usual) const {
    const auto given = parameters_.find(name);
    return given == parameters_.end() ? usual : given->second != "0" && given->second != "false";
}

std::int64_t ParameterReader::number(std::string_view name, Range range) {
    const std::string given = text(name);
    if (given.empty()) return range.usual;
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), number);
    const bool isWhole = error == std::errc{} && end == given.data() + given.size();
    if (isWhole && number >= range.least && number <= range.most) return number;
    noteFault(fmt::format("\"{}\" is a whole number from {} to {}.", name, range.least, range.most));
    return range.usual;
}

}  // namespace dovra
