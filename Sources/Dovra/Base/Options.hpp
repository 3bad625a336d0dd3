#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// The arguments behind a mode word.
using Arguments = std::span<const std::string>;

/// One row of a mode's table of options: parsing and usage text come from it.
struct Option {
    std::vector<std::string_view> words;
    std::string_view valueName;  ///< empty when the option takes no value
    std::string_view help;
    /// Applies the value. False, without a change, for a value that the option cannot take.
    std::function<bool(const std::string& value)> apply;
};

/// The arguments left over by the options.
struct ParsedArguments {
    std::vector<std::string> others;
    /// The first of the others that looks like an option, and does not stand behind "--".
    std::optional<std::string> unknownOption;
    /// The last fault of an option, for a person to read: a missing value, or one that it cannot take.
    std::optional<std::string> fault;
};

/// Applies the options in their order. Words are matched exactly; an option that takes a value takes the next
/// argument, and ends the parsing when there is none. Behind "--" everything is an other argument.
ParsedArguments parseOptions(Arguments arguments, std::span<const Option> options);

/// The effect of an option without a value: sets `target`, which must outlive it.
template <typename T>
auto sets(T& target, T value) {
    return [&target, value](const std::string&) {
        target = value;
        return true;
    };
}

/// The effect of an option with a value: sets `target`, which must outlive it, to the result of `read`,
/// unless that is absent.
template <typename T>
auto reads(T& target, std::optional<T> (*read)(std::string_view text)) {
    return [&target, read](const std::string& text) {
        const std::optional<T> value = read(text);
        if (value) target = *value;
        return value.has_value();
    };
}

/// The message for an unknown option, for a person to read.
std::string noSuchOption(std::string_view word);

/// Reports a wrong use of a mode on standard error in one line, with the way to its help. Returns the exit
/// status for it, 2.
int reportMisuse(std::string_view mode, std::string_view fault);

/// A line or two for each option.
std::string optionsHelp(std::span<const Option> options);

inline constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max();

/// A decimal integer with an optional sign, below 1 meaning `noLimit`; absent for any other text.
std::optional<std::int64_t> parseLimit(std::string_view text);

/// Whether "--help" is the only argument.
bool asksForHelp(Arguments arguments);

std::string joinedWords(std::span<const std::string> words);

}  // namespace dovra
