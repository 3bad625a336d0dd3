#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Base/AsciiFold.hpp"
#include "Query/RegexLiterals.hpp"
#include "Query/RegularExpression.hpp"

/// Input: a byte whose lowest bit says whether case counts, a pattern, a zero byte, a text. Every text that
/// the pattern matches must contain all its literal runs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace dovra;
    if (size == 0) return 0;
    const bool caseSensitive = (data[0] & 1) != 0;
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string_view pattern = input.substr(0, input.find('\0'));
    const std::string_view text = input.substr(std::min(pattern.size() + 1, input.size()));

    const auto runs = RegexLiterals::literalRuns(pattern, caseSensitive);
    const auto expression = RegularExpression::compile(pattern, caseSensitive);
    if (!expression || !expression->foundIn(text)) return 0;
    const std::string folded = asciiFolded(text);
    const bool holdsAll = std::ranges::all_of(
        runs, [&](const std::string& run) { return folded.find(asciiFolded(run)) != std::string::npos; });
    if (!holdsAll) std::abort();
    return 0;
}
