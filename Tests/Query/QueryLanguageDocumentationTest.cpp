// Documentation/QueryLanguage.md must stay true. Its table of keys must be that of the code, and every query
// in a table "| query | finds |" is run on the example tree that the document describes.

#include <fmt/format.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Utf8.hpp"
#include "Query/Filters.hpp"
#include "Query/QueryKeys.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {

namespace {

const std::string documentPath = std::string(DOVRA_DOCUMENTATION) + "/QueryLanguage.md";

std::string document() {
    std::ifstream file(documentPath);
    if (!file) throw std::runtime_error("cannot read " + documentPath);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The cells of a table row, without the quotes of code and with "\|" as "|".
std::vector<std::string> cellsOf(std::string_view row) {
    std::vector<std::string> cells;
    std::string cell;
    for (std::size_t i = 1; i < row.size(); ++i) {
        if (row.substr(i, 2) == "\\|") {
            cell += row[++i];
        } else if (row[i] == '|') {
            cells.emplace_back(trimmedWhiteSpace(cell));
            cell.clear();
        } else if (row[i] != '`') {
            cell += row[i];
        }
    }
    return cells;
}

/// The rows of every table of the document that has this header.
std::vector<std::vector<std::string>> rowsUnder(const std::string& header) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(document());
    bool isInside = false;
    for (std::string line; std::getline(lines, line);) {
        isInside = line.starts_with('|') && (isInside || line == header);
        if (isInside && line != header && !line.starts_with("|---")) rows.push_back(cellsOf(line));
    }
    return rows;
}

void addExampleTree(FileIndex& index) {
    std::vector<test::IndexItem> items;
    for (const auto& row : rowsUnder("| path | bytes | modified |")) {
        const bool isFolder = row.at(0).ends_with('/');
        const double day = parseDate(row.at(2), 0).value().start;
        items.emplace_back(row.at(0), isFolder ? 0 : std::stoull(row.at(1)), day + 12 * 3600.0);
    }
    test::addTree(index, items, "/home/you");
}

/// The names in the order of the result, as the document writes them.
std::string shown(const FileIndex& index, const SearchResult& result) {
    if (result.total == 0) return "nothing";
    if (result.total == index.itemCount()) return "everything";
    std::string names;
    for (const FileRow& row : result.rows)
        names += fmt::format("{}{}{}", names.empty() ? "" : ", ", row.name, row.isDir ? "/" : "");
    return names;
}

}  // namespace

TEST(QueryLanguageDocumentation, CarriesTheTableOfKeys) {
    const std::string written =
        "<!-- generated table: begin -->\n" + queryKeysMarkdown() + "<!-- generated table: end -->";
    EXPECT_TRUE(document().find(written) != std::string::npos) << documentPath << " must hold:\n" << written;
}

TEST(QueryLanguageDocumentation, ExamplesFindWhatTheySay) {
    FileIndex index;
    addExampleTree(index);
    const auto examples = rowsUnder("| query | finds |");
    ASSERT_GT(examples.size(), 40U);
    for (const auto& example : examples)
        EXPECT_EQ(shown(index, search(index, example.at(0), {}, 100)), example.at(1)) << example.at(0);
}

}  // namespace dovra
