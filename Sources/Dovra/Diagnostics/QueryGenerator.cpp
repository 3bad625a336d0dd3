#include "Diagnostics/QueryGenerator.hpp"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>

#include "Base/AsciiFold.hpp"
#include "Base/PathText.hpp"
#include "Query/RegularExpression.hpp"

namespace dovra {

namespace {

constexpr std::size_t longestPiece = 12;
constexpr std::size_t mostNonAscii = 1000;
constexpr std::string_view inventedName = "Report 2024-03.tar.gz";

}  // namespace

IndexSampler::IndexSampler(const FileIndex& index, std::uint64_t seed) : index_(index), random_(seed) {
    const ReadGuard guard(index_.rwlock);
    entryCount_ = index_.entriesLocked().size();
    for (std::size_t id = 0; id < entryCount_ && nonAscii_.size() < mostNonAscii; ++id) {
        if (!isAscii(index_.nameLocked(static_cast<EntryId>(id))))
            nonAscii_.push_back(static_cast<EntryId>(id));
    }
}

EntryId IndexSampler::anyEntry() {
    if (!nonAscii_.empty() && chance(15)) return nonAscii_[below(nonAscii_.size())];
    return static_cast<EntryId>(below(entryCount_));
}

FileEntry IndexSampler::entry() {
    if (entryCount_ == 0) return {};
    const ReadGuard guard(index_.rwlock);
    return index_.entriesLocked()[static_cast<std::size_t>(anyEntry())];
}

std::string IndexSampler::name() {
    if (entryCount_ == 0) return std::string(inventedName);
    const ReadGuard guard(index_.rwlock);
    return std::string(index_.nameLocked(anyEntry()));
}

std::string IndexSampler::path() {
    if (entryCount_ == 0) return joinPath("/", inventedName);
    const ReadGuard guard(index_.rwlock);
    const FileEntry& entry = index_.entriesLocked()[static_cast<std::size_t>(anyEntry())];
    return joinPath(index_.directoriesLocked().path(entry.dirIndex), index_.nameLocked(entry));
}

std::string IndexSampler::piece() {
    return changedCase(pieceOf(name(), longestPiece));
}

std::string IndexSampler::pieceOf(const std::string& text, std::size_t longest) {
    const std::size_t length = 1 + below(std::min(longest, text.size()));
    if (chance(25)) return text.substr(0, length);
    if (chance(33)) return text.substr(text.size() - length);
    return text.substr(below(text.size() - length + 1), length);
}

std::string IndexSampler::seam() {
    const std::string whole = path();
    const std::size_t last = whole.rfind('/');
    const std::size_t slash = chance(50) ? last : whole.find('/', below(last + 1));
    const std::size_t reach = chance(80) ? 6 : 40;
    const std::size_t before = below(std::min(slash, reach) + 1);
    const std::size_t after = below(std::min(whole.size() - slash, reach));
    return whole.substr(slash - before, before + 1 + after);
}

std::string IndexSampler::changedCase(std::string text) {
    if (chance(50)) return text;
    for (char& c : text) {
        if (isAsciiLetter(static_cast<std::uint8_t>(c)) && chance(50)) c = static_cast<char>(c ^ 0x20);
    }
    return text;
}

namespace {

/// Joins the parts. Unlike with "+", function arguments in the list are evaluated in their order.
std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts)
        text += part;
    return text;
}

/// The text as one value of a query. A quote cannot be written, and is dropped.
std::string quoted(std::string text) {
    std::erase(text, '"');
    return joined({"\"", text, "\""});
}

/// Quotes a text that would otherwise be read as several terms.
std::string asTerm(const std::string& text) {
    return text.find_first_of(" \t|<>!\"") == std::string::npos ? text : quoted(text);
}

std::string escaped(const std::string& text) {
    return RegularExpression::escapedPattern(text);
}

/// A pattern around a piece of a name, of a kind that regular-expression readers get wrong.
std::string surprisingPattern(IndexSampler& sampler, const std::string& piece) {
    const std::string literal = escaped(piece);
    switch (sampler.below(10)) {
        case 0:
            return joined({"(?i)", literal});
        case 1:
            return joined({"\\Q", piece, "\\E"});
        case 2:
            return joined({literal, "(?=", escaped(sampler.pieceOf(piece, 1)), ")"});
        case 3:
            return joined({"(?!", literal, ")", escaped(sampler.pieceOf(piece, 2))});
        case 4:
            return joined({"(?:", literal, ")?"});
        case 5:
            return joined({"[", literal, "]"});
        case 6:
            return fmt::format("\\x{:02x}", static_cast<unsigned char>(piece[0]));
        case 7:
            return joined({"(?x) ", literal, " # ", literal});
        case 8:
            return joined({"(?<=", literal, ")."});
        default:
            return joined({literal, "("});
    }
}

}  // namespace

QueryGenerator::QueryGenerator(const FileIndex& index, std::uint64_t seed, Limits limits)
    : sampler_(index, seed), limits_(limits) {}

GeneratedSearch QueryGenerator::next() {
    constexpr SortSpec::Key keys[] = {SortSpec::Key::name, SortSpec::Key::size, SortSpec::Key::modified,
                                      SortSpec::Key::relevance, SortSpec::Key::path};
    constexpr std::int64_t limits[] = {0, 1, 3, 20, 100, 2000, 1000000};
    GeneratedSearch search;
    terms_.clear();
    search.query = sampler_.chance(50) ? leaf() : expression(0);
    if (sampler_.chance(15)) search.query = joined({search.query, " ", toggle()});
    if (sampler_.chance(5)) search.query.insert(sampler_.below(search.query.size() + 1), malformed());
    search.sort.key = keys[sampler_.below(limits_.mayUsePaths ? 5 : 4)];
    search.sort.ascending = sampler_.chance(50);
    search.limit = limits[sampler_.below(limits_.mayUsePaths ? 7 : 4)];
    return search;
}

std::string QueryGenerator::expression(int depth) {
    std::string text = disjunction(depth);
    for (std::size_t more = sampler_.below(3); more > 0; --more)
        text = joined({text, " ", disjunction(depth)});
    return text;
}

std::string QueryGenerator::disjunction(int depth) {
    std::string text = operand(depth);
    while (sampler_.chance(30))
        text = joined({text, sampler_.oneOf({"|", " | "}), operand(depth)});
    return text;
}

std::string QueryGenerator::operand(int depth) {
    const std::string_view negation = sampler_.chance(20) ? "!" : sampler_.chance(3) ? "!!" : "";
    if (depth < 3 && sampler_.chance(25)) return joined({negation, "<", expression(depth + 1), ">"});
    // A repeated term, perhaps negated the second time, is a case of its own.
    const bool repeats = !terms_.empty() && sampler_.chance(10);
    terms_.push_back(repeats ? terms_[sampler_.below(terms_.size())] : leaf());
    return joined({negation, terms_.back()});
}

std::string QueryGenerator::leaf() {
    using Make = std::string (QueryGenerator::*)();
    // Kinds with more ways to go wrong are listed more than once.
    constexpr Make kinds[] = {
        &QueryGenerator::plainTerm,   &QueryGenerator::plainTerm,   &QueryGenerator::plainTerm,
        &QueryGenerator::textKeyTerm, &QueryGenerator::textKeyTerm, &QueryGenerator::wildcardTerm,
        &QueryGenerator::pathTerm,    &QueryGenerator::pathTerm,    &QueryGenerator::extensionTerm,
        &QueryGenerator::sizeTerm,    &QueryGenerator::dateTerm,    &QueryGenerator::regexTerm,
        &QueryGenerator::regexTerm,   &QueryGenerator::regexTerm,   &QueryGenerator::fuzzyTerm,
        &QueryGenerator::similarTerm, &QueryGenerator::otherTerm,
    };
    return (this->*kinds[sampler_.below(std::size(kinds))])();
}

std::string QueryGenerator::plainTerm() {
    return asTerm(sampler_.piece());
}

std::string QueryGenerator::wildcardTerm() {
    const std::string name = sampler_.changedCase(sampler_.name());
    const std::size_t cut = sampler_.below(name.size());
    switch (sampler_.below(5)) {
        case 0:
            return asTerm(joined({"*", sampler_.pieceOf(name, 6), "*"}));
        case 1:
            return asTerm(joined({name.substr(0, cut + 1), "*"}));
        case 2:
            return asTerm(joined({"*", name.substr(cut)}));
        case 3:
            return asTerm(
                joined({name.substr(0, cut), "*", name.substr(cut + sampler_.below(name.size() - cut + 1))}));
        default:
            break;
    }
    std::string pattern = name;
    for (std::size_t i = 1 + sampler_.below(3); i > 0; --i)
        pattern[sampler_.below(pattern.size())] = sampler_.chance(70) ? '?' : '*';
    return asTerm(pattern);
}

std::string QueryGenerator::textKeyTerm() {
    const std::string_view key =
        sampler_.oneOf({"name:", "stem:", "case:", "nocase:", "ww:", "wholeword:", "NAME:", "filename:"});
    if (sampler_.chance(20)) return joined({key, wildcardTerm()});
    if (sampler_.chance(50)) return joined({key, asTerm(sampler_.piece())});
    const std::string name = sampler_.name();
    return joined({key, asTerm(name.substr(0, name.rfind('.')))});
}

std::string QueryGenerator::pathTerm() {
    if (!limits_.mayUsePaths) return plainTerm();
    if (sampler_.chance(15)) return joined({"path:", asTerm(sampler_.piece())});
    if (sampler_.chance(10)) return joined({"path:", wildcardTerm()});
    if (sampler_.chance(15)) return asTerm(joined({"*", sampler_.seam(), "*"}));
    return asTerm(sampler_.changedCase(sampler_.seam()));
}

std::string QueryGenerator::extensionTerm() {
    if (sampler_.chance(20)) {
        return std::string(
            sampler_.oneOf({"image:", "Video:", "audio:x", "doc:", "zip:", "archive:", "exe:"}));
    }
    std::string list;
    for (std::size_t i = sampler_.below(6) + 1; i > 0; --i) {
        const std::string name = sampler_.name();
        const std::size_t dot = name.rfind('.');
        list += dot == std::string::npos ? sampler_.pieceOf(name, 4)
                                         : name.substr(dot + (sampler_.chance(5) ? 0 : 1));
        list += sampler_.oneOf({";", ",", ";;"});
    }
    return joined({sampler_.oneOf({"ext:", "extension:", "Ext:"}), asTerm(sampler_.changedCase(list))});
}

std::string QueryGenerator::sizeTerm() {
    const std::uint64_t size = sampler_.chance(80) ? sampler_.entry().size : 0;
    const std::string start = joined({"size:", sampler_.oneOf({"", ">", "<", ">=", "<=", "="})});
    switch (sampler_.below(4)) {
        case 0:
            return fmt::format("{}{:.3f}{}", start, static_cast<double>(size) / 1024,
                               sampler_.oneOf({"k", "KB"}));
        case 1:
            return fmt::format("{}{}{}", start, size / 1048576, sampler_.oneOf({"mb", "M"}));
        case 2:
            return joined(
                {start, sampler_.oneOf({"huge", "", ".", "1e3", "1..2", "10x", "0", ".5k", "9999999tb"})});
        default:
            return fmt::format("{}{}{}", start, size, sampler_.oneOf({"", "b", "B"}));
    }
}

std::string QueryGenerator::dateTerm() {
    std::string start = joined({sampler_.oneOf({"dm:", "dc:", "modified:", "DateCreated:"}),
                                sampler_.oneOf({"", ">", "<", ">=", "<=", "="})});
    if (sampler_.chance(25)) {
        return joined(
            {start, sampler_.oneOf({"today", "yesterday", "thisweek", "lastweek", "ThisMonth", "lastmonth",
                                    "thisyear", "lastyear", "tomorrow", "2024-13", "2023-02-29", "0", ""})});
    }
    const auto seconds = static_cast<std::time_t>(sampler_.entry().modTime);
    const std::tm* const date = std::gmtime(&seconds);
    if (date == nullptr) return start;
    std::string text = std::to_string(date->tm_year + 1900);
    if (sampler_.chance(70)) text += fmt::format("-{:02}", date->tm_mon + 1);
    if (text.size() > 4 && sampler_.chance(70)) text += fmt::format("-{}", date->tm_mday);
    return start + text;
}

std::string QueryGenerator::regexTerm() {
    return joined({sampler_.oneOf({"regex:", "regexp:", "REGEX:"}), quoted(regexPattern())});
}

std::string QueryGenerator::regexPattern() {
    const std::string name = sampler_.name();
    const std::size_t cut = sampler_.below(name.size());
    const auto literal = [&] { return escaped(sampler_.pieceOf(name, 6)); };
    switch (sampler_.below(10)) {
        case 0:
            return joined({"^", escaped(name.substr(0, cut + 1))});
        case 1:
            return joined({escaped(name.substr(cut)), "$"});
        case 2:
            return joined({literal(),
                           sampler_.oneOf({".*", ".+", ".?", "[a-z]*", "\\w+", "[^.]", "\\d{1,3}", "."}),
                           literal()});
        case 3:
            return joined({literal(), "|", escaped(sampler_.piece())});
        case 4:
            return joined({"(", literal(), "|", escaped(sampler_.piece()), ")",
                           sampler_.oneOf({"", "?", "+", "{2}"}), sampler_.chance(50) ? literal() : ""});
        case 5:
            return std::string(sampler_.oneOf({"\\d{4}", "^[a-z]{2,4}$", "(.)\\1\\1", "\\p{Lu}",
                                               "\\.(c|h)pp?$", "^\\W", "_+\\d", "[[:upper:]]{3}", "\\s",
                                               "[K-Z]ü", "^.{1,3}$", "[^ -~]", "k", "(?-i)S"}));
        case 6:
            return joined(
                {literal(), sampler_.oneOf({"?", "*", "+", "{0,1}", "{2}", "{,2}", "??", "+?"}), literal()});
        case 7:
        case 8:
            return surprisingPattern(sampler_, sampler_.pieceOf(name, 6));
        default:
            return escaped(sampler_.piece());
    }
}

std::string QueryGenerator::fuzzyTerm() {
    const std::string name = sampler_.name();
    const std::size_t step = 1 + sampler_.below(4);
    std::string term;
    for (std::size_t i = sampler_.below(3); i < name.size() && term.size() < 8; i += 1 + sampler_.below(step))
        term += name[i];
    return joined({sampler_.oneOf({"fuzzy:", "fz:"}),
                   asTerm(sampler_.chance(60) ? asciiFolded(term) : sampler_.changedCase(term))});
}

std::string QueryGenerator::similarTerm() {
    std::string name = sampler_.chance(80) ? sampler_.name() : sampler_.piece();
    for (std::size_t i = sampler_.below(3); i > 0; --i)
        name[sampler_.below(name.size())] = static_cast<char>('a' + sampler_.below(26));
    return joined({sampler_.oneOf({"similar:", "sim:", "like:"}), asTerm(name)});
}

std::string QueryGenerator::otherTerm() {
    if (limits_.mayReadFiles && sampler_.chance(10))
        return joined({sampler_.oneOf({"content:", "tag:"}), asTerm(sampler_.pieceOf(sampler_.name(), 2))});
    if (limits_.mayUsePaths && sampler_.chance(15)) return "empty:";
    switch (sampler_.below(5)) {
        case 0:
            return std::string(sampler_.oneOf({"file:", "folder:", "dirs:", "Files:x"}));
        case 1:
            return std::string(sampler_.oneOf({"dupe:", "dupes:x", "Duplicates:"}));
        case 2:
            return joined({"foo:", plainTerm()});
        case 3:
            return toggle();
        default:
            return asTerm(sampler_.name());
    }
}

std::string QueryGenerator::toggle() {
    if (limits_.mayUsePaths && sampler_.chance(25))
        return std::string(sampler_.oneOf({"path:", "matchpath:"}));
    return std::string(sampler_.oneOf(
        {"case:", "nocase:", "ww:", "noww:", "wholeword:", "nowholeword:", "nopath:", "Case:"}));
}

std::string QueryGenerator::malformed() {
    return std::string(
        sampler_.oneOf({" > ", " | ", "|",      " ! ",         "\"",         "<",         ">",
                        "<>",  "!!",  ":",      " size:huge ", " regex:( ",  " regex:[ ", "*",
                        "**",  "?",   " ext: ", " fuzzy: ",    " similar: ", " name: ",   "\t"}));
}

}  // namespace dovra
