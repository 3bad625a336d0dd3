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
    std::function<void(const std::string& value)> apply;
};

/// Applies the options in their order and returns all other arguments. Words are matched exactly; an option
/// that takes a value takes the next argument, and ends the parsing when there is none. Behind "--"
/// everything is an other argument.
std::vector<std::string> parseOptions(Arguments arguments, std::span<const Option> options);

/// What is wrong with the arguments of a mode that takes nothing but options, for a person to read: one that
/// is no option, or an option at the end without its value. Absent when nothing is.
std::optional<std::string> misuse(Arguments arguments, std::span<const Option> options);

/// A line or two for each option.
std::string optionsHelp(std::span<const Option> options);

inline constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max();

/// A decimal integer with an optional sign, below 1 meaning `noLimit`; absent when the text is none.
std::optional<std::int64_t> parseLimit(std::string_view text);

/// The only argument is "--help".
bool asksForHelp(Arguments arguments);

std::string joinedWords(std::span<const std::string> words);

}  // namespace dovra
