#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Desktop/Model/SearchState.hpp"

namespace dovra {

/// What stands below the search field.
enum class PanelBody : std::uint8_t {
    start,    ///< suggestions, because nothing is asked
    results,  ///< the table; also while the first answer is awaited
    nothing,  ///< the words that nothing matches
};

PanelBody panelBody(const SearchState& state);

/// The footer's texts; each is empty when it is not to be shown.
struct Footer {
    std::string progress;  ///< of the scan
    std::string matches;   ///< their number
    std::string fuzzy;     ///< the mark of rows from the fuzzy retry
    std::string note;      ///< why the rows may not be all, or why the last action failed
};

Footer footer(const SearchState& state);

/// A key and what it does, for the footer.
struct KeyHint {
    std::string keys;
    std::string_view label;
};

std::vector<KeyHint> keyHints();

/// The texts of the panel that do not change.
namespace panelText {

inline constexpr std::string_view placeholder = "Search your files…";
inline constexpr std::string_view clearSearch = "Clear search";
inline constexpr std::string_view startLine =
    "Search filenames and folders across your whole startup volume — instantly.";

std::string startTitle();

}  // namespace panelText

/// The words for a query without a match.
std::string nothingMatches(std::string_view query);

}  // namespace dovra
