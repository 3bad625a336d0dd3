#include "Desktop/Model/PanelText.hpp"

#include <fmt/format.h>

#include "Base/Format.hpp"
#include "Base/ShownText.hpp"
#include "Platform/PlatformWords.hpp"

namespace dovra {

namespace {

std::string matchCount(const SearchState& state) {
    const std::int64_t total = state.totalMatches;
    const char* noun = total == 1 ? "match" : "matches";
    if (const std::int64_t shown = std::ssize(state.rows); shown < total)
        return fmt::format("first {} of {} {}", grouped(shown), grouped(total), noun);
    return fmt::format("{} {}", grouped(total), noun);
}

std::string noteOf(const SearchState& state) {
    if (!state.notice.empty()) return state.notice;
    return state.answered ? abandonedNote(state.abandoned) : std::string();
}

}  // namespace

PanelBody panelBody(const SearchState& state) {
    if (state.query.empty()) return PanelBody::start;
    const bool isAnswered = state.answered == state.query;
    return isAnswered && state.rows.empty() ? PanelBody::nothing : PanelBody::results;
}

Footer footer(const SearchState& state) {
    Footer footer;
    if (state.isIndexing) footer.progress = fmt::format("Weaving index… {}", grouped(state.indexedCount));
    if (state.answered) footer.matches = matchCount(state);
    if (state.usedFuzzyFallback) footer.fuzzy = "fuzzy";
    footer.note = noteOf(state);
    return footer;
}

std::vector<KeyHint> keyHints() {
    return {{"↑↓", "Navigate"},
            {"↵", "Open"},
            {"Space", "Preview"},
            {fmt::format("{}+L", words::commandKey), "Search"}};
}

std::string panelText::startTitle() {
    return fmt::format("Find anything on your {}", words::computer);
}

std::string nothingMatches(std::string_view query) {
    return fmt::format("Nothing matches “{}”", shownText(query));
}

}  // namespace dovra
