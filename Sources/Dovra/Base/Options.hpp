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
    /// False when the value is none that the option can take, which then changes nothing.
    std::function<bool(const std::string& value)> apply;
};

/// What is left of the arguments once the options have been applied.
struct ParsedArguments {
    std::vector<std::string> others;
    /// The first of the others that looks like an option, and does not stand behind "--".
    std::optional<std::string> unknownOption;
    /// What is wrong with an option, for a person to read: that its value is missing, or is none that it can
    /// take. The last, where there are several.
    std::optional<std::string> fault;
};

/// Applies the options in their order. Words are matched exactly; an option that takes a value takes the next
/// argument, and ends the parsing when there is none. Behind "--" everything is an other argument.
ParsedArguments parseOptions(Arguments arguments, std::span<const Option> options);

/// What an option without a value does: sets `target`, which outlives it.
template <typename T>
auto sets(T& target, T value) {
    return [&target, value](const std::string&) {
        target = value;
        return true;
    };
}

/// What an option with a value does: sets `target`, which outlives it, to what `read` makes of the text,
/// unless that is absent.
template <typename T>
auto reads(T& target, std::optional<T> (*read)(std::string_view text)) {
    return [&target, read](const std::string& text) {
        const std::optional<T> value = read(text);
        if (value) target = *value;
        return value.has_value();
    };
}

/// Says of an argument that it is no option, for a person to read.
std::string noSuchOption(std::string_view word);

/// Says on standard error in one line how a mode was used wrongly, and where its help is. Returns the exit
/// status for it, 2.
int reportMisuse(std::string_view mode, std::string_view fault);

/// A line or two for each option.
std::string optionsHelp(std::span<const Option> options);

inline constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max();

/// A decimal integer with an optional sign, below 1 meaning `noLimit`; absent when the text is none.
std::optional<std::int64_t> parseLimit(std::string_view text);

/// The only argument is "--help".
bool asksForHelp(Arguments arguments);

std::string joinedWords(std::span<const std::string> words);

}  // namespace dovra
