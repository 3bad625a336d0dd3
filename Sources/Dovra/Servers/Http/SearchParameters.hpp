#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Query/SearchResult.hpp"
#include "Servers/Http/HttpMessage.hpp"

namespace dovra {

/// The parameters of the search page.
struct SearchParameters {
    static constexpr std::int64_t usualCount = 100;
    static constexpr std::int64_t mostRows = 1000;

    std::string text;  ///< as typed
    bool matchesCase = false;
    bool matchesWholeWords = false;
    bool matchesPath = false;
    bool isRegex = false;
    bool isFuzzy = false;
    bool findsDuplicates = false;  ///< by content
    std::string within;            ///< what the full path must contain, as it stands; empty for everything
    SortSpec sort = {};
    std::int64_t offset = 0;  ///< rows of the result that are left out
    std::int64_t count = usualCount;
    bool wantsJson = false;
    bool wantsSizes = false;  ///< in JSON; a page always shows them
    bool wantsDates = false;
    std::optional<std::string> fault = {};  ///< what in the request has no meaning, for whoever sent it

    static SearchParameters read(const HttpParameters& parameters);

    /// Whether there is nothing to search: the start page is shown.
    bool isEmpty() const { return text.empty() && within.empty() && !findsDuplicates; }

    /// The text with the options in the query language's own words.
    std::string query() const;

    /// The page's address, without parameters that have their usual values.
    std::string link() const;
};

/// One of the switches beside the search field.
struct SearchOption {
    std::string_view name;  ///< of the parameter
    std::string_view label;
    std::string_view explanation;
    bool SearchParameters::*flag;
};

std::span<const SearchOption> searchOptions();

/// A word that a result can be sorted by; those with a title are columns of the table.
struct SortColumn {
    std::string_view word;
    SortSpec::Key key;
    std::string_view title;
    bool startsAscending;  ///< when it is chosen first
};

std::span<const SortColumn> sortColumns();

}  // namespace dovra
