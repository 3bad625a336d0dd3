#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace dovra {

/// The meaning of a "key:" in the query language.
enum class QueryKey : std::uint8_t {
    file,
    folder,
    extension,
    size,
    dateModified,
    dateCreated,
    path,
    noPath,
    name,
    stem,
    caseSensitive,
    caseInsensitive,
    wholeWord,
    noWholeWord,
    regex,
    fuzzy,
    similar,
    content,
    tag,
    duplicates,
    emptyFolders,
};

/// One row of the table of keys, from which the parser, the help text and the documentation are made.
struct QueryKeyInfo {
    QueryKey key;
    std::span<const std::string_view> words;  ///< the spellings, the usual one first
    bool isToggle;                            ///< whether "key:" without a value switches something
    std::string_view example;
    std::string_view meaning;
};

/// The whole table, in the order of the documentation. The extension macros ("image:") are not in it.
std::span<const QueryKeyInfo> queryKeys();

/// What can be written without a key.
struct QueryForm {
    std::string_view example;
    std::string_view meaning;
};

/// Text and operators, in the order of the documentation.
std::span<const QueryForm> queryForms();

/// The row of a key word in lower case; null when there is none.
const QueryKeyInfo* findQueryKey(std::string_view word);

/// A term split at its first ":".
struct KeyedTerm {
    std::string key;  ///< lower case; empty when the term has no key
    std::string_view value;
};

/// A term without ":" or with ":" as its first character has no key, and its value is the whole term.
KeyedTerm splitKey(std::string_view term);

/// The query language on a page: operators, then every key with its meaning, then the macros.
std::string queryLanguageHelp();

/// The same table in Markdown, as the documentation carries it.
std::string queryKeysMarkdown();

}  // namespace dovra
