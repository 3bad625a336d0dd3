#pragma once

#include <cstdint>
#include <string_view>

namespace dovra {

/// How a value of the query language may be compared.
enum class Comparison : std::uint8_t { gt, lt, ge, le, eq };

/// Removes a comparison sign from the start of `text` and returns what it means; no sign means equality.
inline Comparison takeComparison(std::string_view& text) {
    struct Sign {
        std::string_view text;
        Comparison comparison;
    };
    // In the order in which they are tried: ">=" begins with ">".
    constexpr Sign signs[] = {{">=", Comparison::ge},
                              {"<=", Comparison::le},
                              {">", Comparison::gt},
                              {"<", Comparison::lt},
                              {"=", Comparison::eq}};
    for (const Sign& sign : signs) {
        if (!text.starts_with(sign.text)) continue;
        text.remove_prefix(sign.text.size());
        return sign.comparison;
    }
    return Comparison::eq;
}

}  // namespace dovra
