#include "Base/Options.hpp"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "Base/Print.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

const Option* findOption(std::span<const Option> options, std::string_view word) {
    const auto option = std::ranges::find_if(options, [&](const Option& candidate) {
        return std::ranges::find(candidate.words, word) != candidate.words.end();
    });
    return option == options.end() ? nullptr : &*option;
}

}  // namespace

ParsedArguments parseOptions(Arguments arguments, std::span<const Option> options) {
    ParsedArguments parsed;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& word = arguments[i];
        if (word == "--") {
            parsed.others.insert(parsed.others.end(), arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                 arguments.end());
            break;
        }
        const Option* option = findOption(options, word);
        if (option == nullptr) {
            parsed.others.push_back(word);
            if (word.starts_with('-') && !parsed.unknownOption) parsed.unknownOption = word;
        } else if (option->valueName.empty()) {
            option->apply({});
        } else if (++i == arguments.size()) {
            parsed.fault = fmt::format("\"{}\" needs a {} behind it", word, option->valueName);
        } else if (!option->apply(arguments[i])) {
            parsed.fault = fmt::format("\"{}\" is no {} for {}", arguments[i], option->valueName, word);
        }
    }
    return parsed;
}

std::string noSuchOption(std::string_view word) {
    return fmt::format("there is no option \"{}\"", word);
}

int reportMisuse(std::string_view mode, std::string_view fault) {
    printError("dovra: {}; see dovra {} --help\n", visibleText(fault), mode);
    return 2;
}

std::string optionsHelp(std::span<const Option> options) {
    std::string help;
    for (const Option& option : options) {
        std::string words = fmt::format("{}", fmt::join(option.words, ", "));
        if (!option.valueName.empty()) words += fmt::format(" <{}>", option.valueName);
        help += fmt::format("  {:<24} {}\n", words, option.help);
    }
    return help;
}

std::optional<std::int64_t> parseLimit(std::string_view text) {
    if (text.starts_with("+-")) return std::nullopt;
    if (text.starts_with('+')) text.remove_prefix(1);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number < 1 ? noLimit : number;
}

bool asksForHelp(Arguments arguments) {
    return arguments.size() == 1 && arguments.front() == "--help";
}

std::string joinedWords(std::span<const std::string> words) {
    return fmt::format("{}", fmt::join(words, " "));
}

}  // namespace dovra
