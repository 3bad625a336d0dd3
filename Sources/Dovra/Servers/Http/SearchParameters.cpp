#include "Servers/Http/SearchParameters.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "Base/UrlText.hpp"
#include "Index/FileIndex.hpp"
#include "Query/RegularExpression.hpp"
#include "Servers/Http/HttpRequestHead.hpp"
#include "Servers/Http/ParameterReader.hpp"

namespace dovra {

namespace {

using Parameters = SearchParameters;

constexpr std::array optionTable = {
    SearchOption{"case", "Match case", "Capital and small letters are told apart", &Parameters::matchesCase},
    SearchOption{"wholeword", "Whole words", "Text counts as a word of its own only",
                 &Parameters::matchesWholeWords},
    SearchOption{"path", "Match path", "Look at the full path, not only at the name",
                 &Parameters::matchesPath},
    SearchOption{"regex", "Regex", "The text is a regular expression", &Parameters::isRegex},
    SearchOption{"fuzzy", "Fuzzy", "The letters in this order, best match first", &Parameters::isFuzzy},
    SearchOption{"dupes", "Duplicates", "Files with equal contents; reads the files",
                 &Parameters::findsDuplicates},
};

constexpr std::array columnTable = {
    SortColumn{"name", SortSpec::Key::name, "Name", true},
    SortColumn{"path", SortSpec::Key::path, "Path", true},
    SortColumn{"size", SortSpec::Key::size, "Size", false},
    SortColumn{"date_modified", SortSpec::Key::modified, "Date Modified", false},
    SortColumn{"relevance", SortSpec::Key::relevance, "", true},
};

SortSpec::Key readSortKey(ParameterReader& reader) {
    const std::string word = reader.text("sort");
    if (word.empty()) return SortSpec::Key::name;
    const auto column = std::ranges::find(columnTable, word, &SortColumn::word);
    if (column != columnTable.end()) return column->key;
    reader.noteFault("\"sort\" is one of name, path, size, date_modified, relevance.");
    return SortSpec::Key::name;
}

/// As one quoted term, which cannot hold quotation marks.
std::string quoted(std::string_view key, std::string text) {
    std::erase(text, '"');
    return fmt::format("{}:\"{}\"", key, text);
}

}  // namespace

std::span<const SearchOption> searchOptions() {
    return optionTable;
}

std::span<const SortColumn> sortColumns() {
    return columnTable;
}

SearchParameters SearchParameters::read(const HttpParameters& parameters) {
    ParameterReader reader(parameters);
    SearchParameters read;
    read.text = reader.text("search");
    for (const SearchOption& option : optionTable)
        read.*option.flag = reader.flag(option.name);
    read.findsDuplicates = read.findsDuplicates || reader.flag("duplicates");
    read.within = reader.text("within");
    // From a form, which can hold well-formed text only.
    if (read.within.empty())
        read.within = percentDecoded(reader.text("within_encoded")).value_or(std::string());
    read.sort = {.key = readSortKey(reader), .ascending = reader.flag("ascending", true)};
    read.offset = reader.number("offset", {.usual = 0, .least = 0, .most = FileIndex::maxEntries});
    read.count = reader.number("count", {.usual = usualCount, .least = 1, .most = mostRows});
    read.wantsJson = reader.flag("json");
    read.wantsSizes = reader.flag("size_column");
    read.wantsDates = reader.flag("date_modified_column");
    if (read.isRegex && !read.isFuzzy) {
        if (const auto fault = RegularExpression::fault(read.text))
            reader.noteFault(fmt::format("This is no valid regular expression: {}.", *fault));
    }
    read.fault = reader.fault();
    return read;
}

std::string SearchParameters::query() const {
    std::string query;
    if (matchesCase) query += "case: ";
    if (matchesWholeWords) query += "ww: ";
    if (matchesPath) query += "path: ";
    if (text.empty()) {
        // A key without a value would be text.
    } else if (isFuzzy) {
        query += quoted("fuzzy", text);
    } else if (isRegex) {
        query += quoted("regex", text);
    } else {
        query += text;
    }
    if (findsDuplicates) query += " dupe:content";
    return query;
}

std::string SearchParameters::link() const {
    Link link("/");
    if (!text.empty()) link.with("search", text);
    for (const SearchOption& option : optionTable) {
        if (this->*option.flag) link.with(option.name, "1");
    }
    if (!within.empty()) link.with("within", within);
    if (sort.key != SortSpec::Key::name)
        link.with("sort", std::ranges::find(columnTable, sort.key, &SortColumn::key)->word);
    if (!sort.ascending) link.with("ascending", "0");
    if (offset > 0) link.with("offset", std::to_string(offset));
    if (count != usualCount) link.with("count", std::to_string(count));
    return link.text();
}

}  // namespace dovra
