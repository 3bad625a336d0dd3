// Documentation/QueryLanguage.md must stay true: its table of keys is the code's, and every query in a table
// "| query | finds |" is run on the made-up tree that the document itself describes.

#include <ctime>
#include <fmt/format.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

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

/// What stands between two lines of the document; empty when one of them is missing.
std::string between(const std::string& text, std::string_view first, std::string_view last) {
    const std::size_t begin = text.find(first);
    if (begin == std::string::npos) return {};
    const std::size_t start = begin + first.size();
    const std::size_t end = text.find(last, start);
    return end == std::string::npos ? std::string{} : text.substr(start, end - start);
}

std::string trimmed(std::string_view text) {
    const std::size_t first = std::min(text.find_first_not_of(' '), text.size());
    return std::string(text.substr(first, text.find_last_not_of(' ') + 1 - first));
}

/// The cells of a table row, without the quotes of code and with "\|" as "|".
std::vector<std::string> cellsOf(std::string_view row) {
    std::vector<std::string> cells;
    std::string cell;
    for (std::size_t i = 1; i < row.size(); ++i) {
        if (row.substr(i, 2) == "\\|") {
            cell += row[++i];
        } else if (row[i] == '|') {
            cells.push_back(trimmed(cell));
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

/// Noon of a day like "2024-03-15", in seconds since 1970.
double noonOf(const std::string& day) {
    std::tm fields{};
    std::istringstream text(day);
    char dash = 0;
    text >> fields.tm_year >> dash >> fields.tm_mon >> dash >> fields.tm_mday;
    if (!text) throw std::runtime_error("not a day: " + day);
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    fields.tm_hour = 12;
    fields.tm_isdst = -1;
    return static_cast<double>(std::mktime(&fields));
}

void addExampleTree(FileIndex& index) {
    std::vector<test::IndexItem> items;
    for (const auto& row : rowsUnder("| path | bytes | modified |")) {
        const bool isFolder = row.at(0).ends_with('/');
        items.emplace_back(row.at(0), isFolder ? 0 : std::stoull(row.at(1)), noonOf(row.at(2)));
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
        between(document(), "<!-- generated table: begin -->\n", "<!-- generated table: end -->");
    EXPECT_TRUE(written == queryKeysMarkdown()) << documentPath << ": between the two comments must stand:\n"
                                                << queryKeysMarkdown();
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
