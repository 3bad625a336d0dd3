#include "Query/QueryKeys.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "Base/TextNeedle.hpp"
#include "Query/FileKind.hpp"

namespace dovra {

namespace {

using Words = std::string_view;

constexpr Words fileWords[] = {"file", "files"};
constexpr Words folderWords[] = {"folder", "folders", "dir", "dirs", "directory", "directories"};
constexpr Words extensionWords[] = {"ext", "extension"};
constexpr Words sizeWords[] = {"size"};
constexpr Words modifiedWords[] = {"dm", "datemodified", "date-modified", "modified"};
constexpr Words createdWords[] = {"dc", "datecreated", "date-created", "created"};
constexpr Words pathWords[] = {"path", "matchpath"};
constexpr Words noPathWords[] = {"nopath"};
constexpr Words nameWords[] = {"name", "filename"};
constexpr Words stemWords[] = {"stem"};
constexpr Words caseWords[] = {"case"};
constexpr Words noCaseWords[] = {"nocase"};
constexpr Words wholeWordWords[] = {"wholeword", "ww"};
constexpr Words noWholeWordWords[] = {"nowholeword", "noww"};
constexpr Words regexWords[] = {"regex", "regexp"};
constexpr Words fuzzyWords[] = {"fuzzy", "fz"};
constexpr Words similarWords[] = {"similar", "sim", "like"};
constexpr Words contentWords[] = {"content",  "ascii-content", "asciicontent",
                                  "contenta", "utf8-content",  "utf8content"};
constexpr Words tagWords[] = {"tag", "tags", "tagged"};
constexpr Words duplicateWords[] = {"dupe", "dupes", "duplicate", "duplicates"};
constexpr Words emptyWords[] = {"empty", "emptyfolder", "emptyfolders", "emptydir", "emptydirs"};

constexpr std::array queryKeyTable = {
    QueryKeyInfo{QueryKey::file, fileWords, false, "file:", "files only: whatever is not a folder"},
    QueryKeyInfo{QueryKey::folder, folderWords, false, "folder:", "folders only"},
    QueryKeyInfo{QueryKey::extension, extensionWords, false, "ext:md;txt", "one of these extensions"},
    QueryKeyInfo{QueryKey::size, sizeWords, false, "size:>1mb",
                 "size of a file, exact or behind > < >= <=; b kb mb gb tb are powers of 1024"},
    QueryKeyInfo{QueryKey::dateModified, modifiedWords, false, "dm:thisweek",
                 "modified: today, yesterday, thisweek, lastweek (month, year), or a date as for dc:"},
    QueryKeyInfo{QueryKey::dateCreated, createdWords, false, "dc:>=2024-03",
                 "created: the same words, or 2024, 2024-03, 2024-03-15, also behind > < >= <="},
    QueryKeyInfo{QueryKey::path, pathWords, true, "path:src",
                 "text in the full path; without text, every plain term looks there"},
    QueryKeyInfo{QueryKey::noPath, noPathWords, true, "nopath:", "plain terms look at names (the default)"},
    QueryKeyInfo{QueryKey::name, nameWords, false, "name:main", "text in the name, also when path: is set"},
    QueryKeyInfo{QueryKey::stem, stemWords, false, "stem:report", "text in the name without its extension"},
    QueryKeyInfo{QueryKey::caseSensitive, caseWords, true, "case:README",
                 "text in this case; without text, case counts in the whole query"},
    QueryKeyInfo{QueryKey::caseInsensitive, noCaseWords, true, "nocase:readme",
                 "text in any case; without text, the whole query (the default)"},
    QueryKeyInfo{QueryKey::wholeWord, wholeWordWords, true, "ww:log",
                 "text as a whole word; without text, all text is"},
    QueryKeyInfo{QueryKey::noWholeWord, noWholeWordWords, true,
                 "noww:", "text in parts of words too (the default)"},
    QueryKeyInfo{QueryKey::regex, regexWords, false, "regex:^v\\d+$",
                 "a regular expression on the name; on the full path when path: is set"},
    QueryKeyInfo{QueryKey::fuzzy, fuzzyWords, false, "fuzzy:fbar",
                 "names with these letters in this order, best first; a capital makes case count"},
    QueryKeyInfo{QueryKey::similar, similarWords, false, "similar:invoice.pdf",
                 "names that look like this one, best first"},
    QueryKeyInfo{QueryKey::content, contentWords, false, "content:TODO",
                 "text inside regular files, which are read for it"},
    QueryKeyInfo{QueryKey::tag, tagWords, false, "tag:red",
                 "what has a tag that contains the text; without text, any tag"},
    QueryKeyInfo{QueryKey::duplicates, duplicateWords, true,
                 "dupe:", "names that occur more than once among the results; dupe:content: equal contents"},
    QueryKeyInfo{QueryKey::emptyFolders, emptyWords, true, "empty:", "folders with nothing in them"},
};

constexpr std::array queryFormTable = {
    QueryForm{"report", "names that contain the text, in any case"},
    QueryForm{"report 2024", "both (AND)"},
    QueryForm{"jpg|png", "either (OR, binds tighter than AND)"},
    QueryForm{"!draft", "not"},
    QueryForm{"<a b>|c", "grouping"},
    QueryForm{"\"exact phrase\"", "text with spaces or operators"},
    QueryForm{"*.pdf  a?c", "wildcards over the whole name: any text, any one byte"},
    QueryForm{"src/main", "a \"/\" makes the term look at the full path"},
};

std::string joined(std::span<const std::string_view> words) {
    return fmt::format("{}", fmt::join(words, ", "));
}

}  // namespace

std::span<const QueryKeyInfo> queryKeys() {
    return queryKeyTable;
}

std::span<const QueryForm> queryForms() {
    return queryFormTable;
}

const QueryKeyInfo* findQueryKey(std::string_view word) {
    const auto row = std::ranges::find_if(queryKeyTable, [&](const QueryKeyInfo& info) {
        return std::ranges::find(info.words, word) != info.words.end();
    });
    return row == queryKeyTable.end() ? nullptr : row;
}

KeyedTerm splitKey(std::string_view term) {
    const std::size_t colon = term.find(':');
    if (colon == std::string_view::npos || colon == 0) return {.key = {}, .value = term};
    return {.key = lowercased(term.substr(0, colon)), .value = term.substr(colon + 1)};
}

std::string queryLanguageHelp() {
    std::string help = "Query language:\n";
    for (const QueryForm& form : queryForms())
        help += fmt::format("  {:<19} {}\n", form.example, form.meaning);
    help += "\n";
    for (const QueryKeyInfo& info : queryKeyTable)
        help += fmt::format("  {:<19} {}\n", info.example, info.meaning);
    help += "\n";
    for (const FileKind& kind : Macros::kinds()) {
        help += fmt::format("  {:<19} the extensions {}\n", fmt::format("{}:", kind.words.front()),
                            joined(kind.extensions));
    }
    return help;
}

std::string queryKeysMarkdown() {
    std::string text = "| key | also written | example | meaning |\n|---|---|---|---|\n";
    for (const QueryKeyInfo& info : queryKeyTable) {
        text += fmt::format("| `{}:` | {} | `{}` | {} |\n", info.words.front(), joined(info.words.subspan(1)),
                            info.example, info.meaning);
    }
    text += "\n| macro | also written | extensions |\n|---|---|---|\n";
    for (const FileKind& kind : Macros::kinds()) {
        text += fmt::format("| `{}:` | {} | {} |\n", kind.words.front(), joined(kind.words.subspan(1)),
                            joined(kind.extensions));
    }
    return text;
}

}  // namespace dovra
