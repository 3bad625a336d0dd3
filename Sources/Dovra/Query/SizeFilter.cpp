#include "Query/SizeFilter.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <utility>

#include "Base/TextNeedle.hpp"

namespace dovra {

namespace {

constexpr std::pair<std::string_view, int> unitShifts[] = {{"", 0},   {"b", 0},   {"k", 10}, {"kb", 10},
                                                           {"m", 20}, {"mb", 20}, {"g", 30}, {"gb", 30},
                                                           {"t", 40}, {"tb", 40}};

/// What a number that a double cannot hold stands for: the nearest that it can.
double numberOutOfRange(std::string_view digits) {
    const std::string_view whole = digits.substr(0, digits.find('.'));
    const bool isHuge = whole.find_first_not_of('0') != std::string_view::npos;
    return isHuge ? std::numeric_limits<double>::infinity() : 0;
}

std::optional<double> takeNumber(std::string_view& value) {
    const std::size_t length = std::min(value.find_first_not_of("0123456789."), value.size());
    const std::string_view digits = value.substr(0, length);
    value.remove_prefix(length);
    double number = 0;
    const char* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, number, std::chars_format::fixed);
    if (result.ec == std::errc::invalid_argument || result.ptr != end) return std::nullopt;
    return result.ec == std::errc::result_out_of_range ? numberOutOfRange(digits) : number;
}

std::optional<double> unitBytes(std::string_view unit) {
    const auto* const found =
        std::ranges::find(unitShifts, lowercased(unit), [](const auto& entry) { return entry.first; });
    if (found == std::end(unitShifts)) return std::nullopt;
    return static_cast<double>(std::uint64_t{1} << found->second);
}

std::uint64_t saturated(double bytes) {
    constexpr double beyond = 18446744073709551616.0;  // 2^64
    return bytes < beyond ? static_cast<std::uint64_t>(bytes) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

std::optional<SizeFilter> parseSize(std::string_view value) {
    const Comparison op = takeComparison(value);
    const std::optional<double> number = takeNumber(value);
    if (!number) return std::nullopt;
    const std::optional<double> unit = unitBytes(value);
    if (!unit) return std::nullopt;
    return SizeFilter{.op = op, .bytes = saturated(*number * *unit)};
}

}  // namespace dovra
