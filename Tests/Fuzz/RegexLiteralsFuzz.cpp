#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>

#include "Base/AsciiFold.hpp"
#include "Fuzz/FuzzCheck.hpp"
#include "Query/RegexLiterals.hpp"
#include "Query/RegularExpression.hpp"

namespace {

using namespace dovra;

std::string otherCase(char c) {
    if (c == 'k' || c == 'K') return "\u212A";
    if (c == 's' || c == 'S') return "\u017F";
    return {isAsciiLetter(static_cast<std::uint8_t>(c)) ? static_cast<char>(c ^ 0x20) : c};
}

/// A text that the pattern may match: its own characters, most of the special ones left out, some repeated,
/// some in other case.
std::string textFor(std::string_view pattern, std::minstd_rand& random) {
    std::string text;
    for (const char c : pattern) {
        const bool isSpecial =
            std::string_view("\\()[]{}*+?|^$:=!<>QENpx#").find(c) != std::string_view::npos;
        if (random() % 10 < (isSpecial ? 8U : 1U)) continue;
        for (unsigned count = random() % 8 == 0 ? 2 : 1; count > 0; --count)
            text += random() % 4 == 0 ? otherCase(c) : std::string(1, c);
    }
    return text;
}

}  // namespace

// Any bytes are a pattern, and every text that it matches contains all its literal runs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view pattern(reinterpret_cast<const char*>(data), size);
    std::minstd_rand random(static_cast<unsigned>(std::hash<std::string_view>()(pattern)));
    for (const bool caseSensitive : {false, true}) {
        const auto runs = RegexLiterals::literalRuns(pattern, caseSensitive);
        const auto expression = RegularExpression::compile(pattern, caseSensitive);
        for (int i = 0; expression && !runs.empty() && i < 10; ++i) {
            const std::string text = textFor(pattern, random);
            if (!expression->foundIn(text)) continue;
            for (const std::string& run : runs)
                fuzzCheck(asciiFolded(text).find(asciiFolded(run)) != std::string::npos, "a run is missing");
        }
    }
    return 0;
}
