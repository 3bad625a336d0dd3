#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Query/TextRange.hpp"

namespace dovra {

/// A piece of a name as a page shows it.
struct ShownPiece {
    std::string text;
    bool isMarked = false;  ///< where the query was met
    bool isEscape = false;  ///< stands for a character that would not be seen, or would move others

    bool operator==(const ShownPiece&) const = default;
};

/// A name as it may be shown on a page: ill-formed UTF-8 repaired, controls and the invisible characters that
/// turn the direction of text around written out, such as "\n" and "\u202E". The marks ascend and do not
/// meet.
std::vector<ShownPiece> shownPieces(std::string_view bytes, std::span<const TextRange> marks);

/// The same as one text.
std::string shownText(std::string_view bytes);

}  // namespace dovra
