#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Base/TextNeedle.hpp"
#include "Diagnostics/SlowSearch.hpp"
#include "Query/ContentMatcher.hpp"
#include "Query/FileKind.hpp"
#include "Query/Filters.hpp"
#include "Query/FuzzyMatcher.hpp"
#include "Query/RegularExpression.hpp"
#include "Query/Tags.hpp"

namespace dovra::slow {

namespace {

/// The toggles of the whole query.
struct Context {
    bool caseSensitive = false;
    bool wholeWord = false;
    bool matchPath = false;
};

/// A term split at its first ":"; the key is in lower case, and empty when there is none.
struct Term {
    explicit Term(const std::string& term);

    std::string whole;
    std::string key;
    std::string value;
};

/// The meaning of one term. Its part in the ranking of the whole query (matchers, plain text) is noted too.
struct Leaf {
    Test test;
    std::function<std::optional<std::int32_t>(const std::string& name)> fuzzy;
    std::function<std::optional<std::int32_t>(const std::string& name)> similar;
    std::optional<PlainText> plainText;
};

using Words = std::set<std::string>;
using TextTest = std::function<bool(const std::string&)>;

enum class Target : std::uint8_t { name, stem, path };

bool isAscii(const std::string& text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) >= 128; });
}

std::string escaped(const std::string& text) {
    std::string pattern;
    for (const char c : text) {
        const bool isAlphanumeric =
            (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (static_cast<unsigned char>(c) < 128 && !isAlphanumeric) pattern += '\\';
        pattern += c;
    }
    return pattern;
}

std::string globAsRegex(const std::string& text) {
    std::string pattern = "(?s)\\A";
    for (const char c : text) {
        if (c == '*') {
            pattern += ".*";
        } else {
            pattern += c == '?' ? "." : escaped(std::string(1, c));
        }
    }
    return pattern + "\\z";
}

TextTest regexTest(const std::string& pattern, bool caseSensitive) {
    const auto expression = RegularExpression::compile(pattern, caseSensitive);
    if (!expression) return [](const std::string&) { return false; };
    return [expression](const std::string& text) { return expression->foundIn(text); };
}

TextTest textTest(const std::string& text, bool caseSensitive, bool wholeWord) {
    if (wholeWord)
        return regexTest("(?<![\\p{L}\\p{N}])" + escaped(text) + "(?![\\p{L}\\p{N}])", caseSensitive);
    const bool hasWildcard = text.find('*') != std::string::npos || text.find('?') != std::string::npos;
    if (hasWildcard && !isAscii(text)) return regexTest(globAsRegex(text), caseSensitive);
    if (hasWildcard) return [=](const std::string& at) { return globMatches(text, at, caseSensitive); };
    if (isAscii(text)) return [=](const std::string& at) { return contains(at, text, caseSensitive); };
    const UnicodeNeedle needle(text, caseSensitive);
    return [needle](const std::string& at) { return needle.foundIn(at); };
}

std::string textOf(const Entry& entry, Target target) {
    switch (target) {
        case Target::name:
            return entry.name();
        case Target::stem:
            return stem(entry.name());
        case Target::path:
            break;
    }
    return entry.fullPath();
}

std::string withoutOuterStars(std::string text) {
    while (text.starts_with('*'))
        text.erase(0, 1);
    while (text.ends_with('*'))
        text.pop_back();
    return text;
}

Leaf text(Target target, const std::string& text, const Context& context) {
    Leaf leaf;
    const TextTest test = textTest(text, context.caseSensitive, context.wholeWord);
    leaf.test = [=](const Entry& entry) { return test(textOf(entry, target)); };
    if (target != Target::path)
        leaf.plainText = PlainText{context.wholeWord ? text : withoutOuterStars(text), context.caseSensitive};
    return leaf;
}

Leaf plain(const std::string& term, const Context& context) {
    const bool hasSlash = term.find('/') != std::string::npos;
    return text(context.matchPath || hasSlash ? Target::path : Target::name, term, context);
}

Leaf testOnly(Test test) {
    Leaf leaf;
    leaf.test = std::move(test);
    return leaf;
}

Leaf everything() {
    return testOnly([](const Entry&) { return true; });
}

Leaf extensions(const Words& list) {
    return testOnly([list](const Entry& entry) {
        const auto own = extension(entry.name());
        return own && list.count(folded(*own)) > 0;
    });
}

Leaf extensionList(const std::string& value) {
    Words list;
    std::string piece;
    for (const char c : value + ";") {
        if (c == ';' || c == ',') {
            if (!piece.empty()) list.insert(lowercased(piece));
            piece.clear();
        } else {
            piece += c;
        }
    }
    return list.empty() ? everything() : extensions(list);
}

/// The bytes given by a size expression; absent when it cannot be read.
std::optional<std::uint64_t> byteCount(const std::string& text) {
    static const std::map<std::string, double> units = {
        {"", 1},         {"b", 1},          {"k", 1024},        {"kb", 1024},         {"m", 1048576},
        {"mb", 1048576}, {"g", 1073741824}, {"gb", 1073741824}, {"t", 1099511627776}, {"tb", 1099511627776},
    };
    const std::size_t length = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::string digits = text.substr(0, length);
    char* end = nullptr;
    const double number = std::strtod(digits.c_str(), &end);
    const auto unit = units.find(lowercased(text.substr(length)));
    if (digits.empty() || end != digits.c_str() + digits.size() || unit == units.end()) return std::nullopt;
    const double bytes = number * unit->second;
    if (bytes >= 18446744073709551616.0) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(bytes);
}

std::string takeOperator(std::string& value) {
    for (std::string sign : {">=", "<=", ">", "<", "="}) {
        if (!value.starts_with(sign)) continue;
        value.erase(0, sign.size());
        return sign;
    }
    return "=";
}

bool compares(std::uint64_t size, const std::string& sign, std::uint64_t bytes) {
    if (sign == ">=") return size >= bytes;
    if (sign == "<=") return size <= bytes;
    if (sign == ">") return size > bytes;
    if (sign == "<") return size < bytes;
    return size == bytes;
}

Leaf size(const Term& term, const Context& context) {
    std::string value = term.value;
    const std::string sign = takeOperator(value);
    const auto bytes = byteCount(value);
    if (!bytes) return plain(term.whole, context);
    return testOnly([=](const Entry& entry) {
        return !entry.record().isFolder() && compares(entry.record().size, sign, *bytes);
    });
}

/// Calendar arithmetic is shared with the engine. Only the meaning of a period for an entry is done again.
Leaf date(const Term& term, bool isCreation, const Context& context) {
    const auto period = parseDate(term.value);
    if (!period) return plain(term.whole, context);
    return testOnly([=](const Entry& entry) {
        const double time = isCreation ? entry.record().crTime : entry.record().modTime;
        return period->start <= time && time < period->end;
    });
}

Leaf regex(const std::string& pattern, const Context& context) {
    if (!RegularExpression::compile(pattern, context.caseSensitive)) return everything();
    const TextTest test = regexTest(pattern, context.caseSensitive);
    const Target target = context.matchPath ? Target::path : Target::name;
    return testOnly([=](const Entry& entry) { return test(textOf(entry, target)); });
}

Leaf fuzzy(const std::string& value, const Context& context) {
    if (value.empty()) return everything();
    const bool caseSensitive = context.caseSensitive || smartCaseSensitive(value);
    Leaf leaf;
    leaf.fuzzy = [=](const std::string& name) { return fuzzyScore(value, name, caseSensitive); };
    leaf.test = [score = leaf.fuzzy](const Entry& entry) { return score(entry.name()).has_value(); };
    return leaf;
}

Leaf similar(const std::string& value) {
    if (value.empty()) return everything();
    Leaf leaf;
    leaf.similar = [=](const std::string& name) { return similarScore(value, name); };
    leaf.test = [score = leaf.similar](const Entry& entry) { return score(entry.name()).has_value(); };
    return leaf;
}

/// Reading files is shared with the engine. Only the choice of files is done again.
Leaf content(const std::string& value, const Context& context) {
    if (value.empty()) return everything();
    const ContentMatcher matcher(value, context.caseSensitive);
    return testOnly([matcher](const Entry& entry) {
        const FileEntry& record = entry.record();
        return !record.isFolder() && !record.isSymbolicLink() && matcher.matchesFile(entry.fullPath());
    });
}

Leaf tag(const std::string& value) {
    const TagMatcher matcher(lowercased(value));
    return testOnly([matcher](const Entry& entry) { return matcher.matchesFile(entry.fullPath()); });
}

Leaf ofType(bool folder) {
    return testOnly([folder](const Entry& entry) { return entry.record().isFolder() == folder; });
}

bool isToggle(const std::string& key) {
    static const Words keys = {"case",         "nocase",    "wholeword",  "ww",     "nowholeword",
                               "noww",         "path",      "matchpath",  "nopath", "dupe",
                               "dupes",        "duplicate", "duplicates", "empty",  "emptyfolder",
                               "emptyfolders", "emptydir",  "emptydirs"};
    return keys.count(key) > 0;
}

using LeafMaker = std::function<Leaf(const Term&, const Context&)>;

std::map<std::string, LeafMaker> makeTable() {
    std::map<std::string, LeafMaker> table;
    const auto add = [&](const Words& keys, const LeafMaker& maker) {
        for (const std::string& key : keys)
            table[key] = maker;
    };
    add({"dupe", "dupes", "duplicate", "duplicates"}, [](auto&, auto&) { return everything(); });
    add({"file", "files"}, [](auto&, auto&) { return ofType(false); });
    add({"folder", "folders", "dir", "dirs", "directory", "directories"},
        [](auto&, auto&) { return ofType(true); });
    add({"ext", "extension"}, [](auto& term, auto&) { return extensionList(term.value); });
    add({"size"}, [](auto& term, auto& context) { return size(term, context); });
    add({"dm", "datemodified", "date-modified", "modified"},
        [](auto& term, auto& context) { return date(term, false, context); });
    add({"dc", "datecreated", "date-created", "created"},
        [](auto& term, auto& context) { return date(term, true, context); });
    add({"regex", "regexp"}, [](auto& term, auto& context) { return regex(term.value, context); });
    add({"fuzzy", "fz"}, [](auto& term, auto& context) { return fuzzy(term.value, context); });
    add({"similar", "sim", "like"}, [](auto& term, auto&) { return similar(term.value); });
    add({"case"}, [](auto& term, auto& c) { return plain(term.value, {true, c.wholeWord, c.matchPath}); });
    add({"nocase"}, [](auto& term, auto& c) { return plain(term.value, {false, c.wholeWord, c.matchPath}); });
    add({"wholeword", "ww"}, [](auto& term, auto& c) {
        return plain(term.value, {c.caseSensitive, true, c.matchPath});
    });
    add({"path", "matchpath"}, [](auto& term, auto& c) { return text(Target::path, term.value, c); });
    add({"name", "filename"}, [](auto& term, auto& c) { return text(Target::name, term.value, c); });
    add({"stem"}, [](auto& term, auto& c) { return text(Target::stem, term.value, c); });
    add({"content", "ascii-content", "asciicontent", "contenta", "utf8-content", "utf8content"},
        [](auto& term, auto& context) { return content(term.value, context); });
    add({"tag", "tags", "tagged"}, [](auto& term, auto&) { return tag(term.value); });
    return table;
}

Term::Term(const std::string& term) : whole(term) {
    const std::size_t colon = term.find(':');
    if (colon == std::string::npos || colon == 0) return;
    key = lowercased(term.substr(0, colon));
    value = term.substr(colon + 1);
}

Leaf makeLeaf(const Term& term, const Context& context) {
    static const std::map<std::string, LeafMaker> table = makeTable();
    if (term.value.empty() && isToggle(term.key)) return everything();
    if (const auto row = table.find(term.key); row != table.end()) return row->second(term, context);
    if (const auto macro = Macros::extensions(term.key))
        return extensions(Words(macro->begin(), macro->end()));
    return plain(term.whole, context);
}

struct Token {
    char kind;  ///< 't' for a term, else the operator itself
    std::string term;
};

std::vector<Token> tokenize(std::string_view query) {
    std::vector<Token> tokens;
    std::string buffer;
    bool inQuotes = false;
    const auto emit = [&] {
        if (!buffer.empty()) tokens.push_back({'t', buffer});
        buffer.clear();
    };
    for (const char c : query) {
        const bool isAngle = c == '<' || c == '>';
        const bool followsColon = !buffer.empty() && buffer.back() == ':';
        if (c == '"') {
            inQuotes = !inQuotes;
        } else if (!inQuotes && (c == ' ' || c == '\t')) {
            emit();
        } else if (!inQuotes && (c == '|' || (isAngle && !followsColon) || (c == '!' && buffer.empty()))) {
            emit();
            tokens.push_back({c, {}});
        } else {
            buffer += c;
        }
    }
    emit();
    return tokens;
}

void readFlag(const Term& term, Context& context, Query& query) {
    static const std::set<std::string> dupeKeys = {"dupe", "dupes", "duplicate", "duplicates"};
    static const std::set<std::string> contentValues = {"content", "c", "bytes", "data"};
    static const std::set<std::string> emptyKeys = {"empty", "emptyfolder", "emptyfolders", "emptydir",
                                                    "emptydirs"};
    const std::string& key = term.key;
    if (dupeKeys.count(key) > 0) {
        (contentValues.count(term.value) > 0 ? query.wantsContentDuplicates : query.wantsDuplicates) = true;
        return;
    }
    if (!term.value.empty()) return;
    if (key == "case") context.caseSensitive = true;
    if (key == "nocase") context.caseSensitive = false;
    if (key == "wholeword" || key == "ww") context.wholeWord = true;
    if (key == "nowholeword" || key == "noww") context.wholeWord = false;
    if (key == "path" || key == "matchpath") context.matchPath = true;
    if (key == "nopath") context.matchPath = false;
    if (emptyKeys.count(key) > 0) query.wantsEmptyFolders = true;
}

Test matchAll() {
    return [](const Entry&) { return true; };
}

class RecursiveParser {
public:
    RecursiveParser(const std::vector<Token>& tokens, const Context& context, Query& query)
        : tokens_(tokens), context_(context), query_(query) {}

    Test parseAnd(bool isNegated) {
        std::vector<Test> operands = {parseOr(isNegated)};
        while (!atEnd() && next() != '|' && next() != '>')
            operands.push_back(parseOr(isNegated));
        return [operands](const Entry& entry) {
            return std::all_of(operands.begin(), operands.end(),
                               [&](const Test& test) { return test(entry); });
        };
    }

private:
    bool atEnd() const { return position_ == tokens_.size(); }
    char next() const { return tokens_[position_].kind; }

    Test parseOr(bool isNegated) {
        std::vector<Test> operands = {parseNot(isNegated)};
        while (!atEnd() && next() == '|') {
            ++position_;
            operands.push_back(parseNot(isNegated));
        }
        return [operands](const Entry& entry) {
            return std::any_of(operands.begin(), operands.end(),
                               [&](const Test& test) { return test(entry); });
        };
    }

    Test parseNot(bool isNegated) {
        if (atEnd() || next() != '!') return parsePrimary(isNegated);
        ++position_;
        return [operand = parseNot(!isNegated)](const Entry& entry) { return !operand(entry); };
    }

    Test parsePrimary(bool isNegated) {
        if (atEnd()) return matchAll();
        const Token& token = tokens_[position_++];
        if (token.kind == 't') return parseTerm(token.term, isNegated);
        if (token.kind != '<') return matchAll();
        Test group = parseAnd(isNegated);
        if (!atEnd() && next() == '>') ++position_;
        return group;
    }

    Test parseTerm(const std::string& term, bool isNegated) {
        const Leaf leaf = makeLeaf(Term(term), context_);
        if (!query_.fuzzy) query_.fuzzy = leaf.fuzzy;
        if (!query_.similar) query_.similar = leaf.similar;
        if (!query_.plainText && !isNegated) query_.plainText = leaf.plainText;
        return leaf.test;
    }

    const std::vector<Token>& tokens_;
    const Context& context_;
    Query& query_;
    std::size_t position_ = 0;
};

}  // namespace

std::string Entry::fullPath() const {
    std::string path = folder();
    if (path != "/") path += "/";
    return path + name();
}

Query parse(std::string_view text) {
    Query query;
    Context context;
    const std::vector<Token> tokens = tokenize(text);
    for (const Token& token : tokens) {
        if (token.kind == 't') readFlag(Term(token.term), context, query);
    }
    query.test = tokens.empty() ? matchAll() : RecursiveParser(tokens, context, query).parseAnd(false);
    return query;
}

}  // namespace dovra::slow
