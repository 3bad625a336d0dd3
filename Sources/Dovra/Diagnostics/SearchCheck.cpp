#include "Diagnostics/SearchCheck.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <utility>

#include "Base/PathText.hpp"
#include "Base/Utf8.hpp"
#include "Diagnostics/SlowSearch.hpp"
#include "Query/SearchEngine.hpp"

namespace dovra {

namespace {

using ScanMode = FileIndex::ScanMode;

std::string describe(const FileRow& row) {
    return fmt::format("{} ({})", row.id, visibleText(joinPath(row.path, row.name)));
}

bool equalRows(const FileRow& a, const FileRow& b) {
    return a.id == b.id && a.name == b.name && a.path == b.path && a.size == b.size &&
           a.modified == b.modified && a.isDir == b.isDir;
}

std::optional<std::string> difference(const SearchResult& found, const SearchResult& expected) {
    for (std::size_t i = 0; i < std::min(found.rows.size(), expected.rows.size()); ++i) {
        if (equalRows(found.rows[i], expected.rows[i])) continue;
        return fmt::format("total {} and {}, row {} is {} instead of {}", found.total, expected.total, i,
                           describe(found.rows[i]), describe(expected.rows[i]));
    }
    if (found.total == expected.total && found.rows.size() == expected.rows.size()) return std::nullopt;
    return fmt::format("total {} instead of {}, {} rows instead of {}", found.total, expected.total,
                       found.rows.size(), expected.rows.size());
}

std::string shellQuoted(const std::string& text) {
    std::string quoted = "$'";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain = byte >= 0x20 && byte < 0x7F && c != '\'' && c != '\\';
        quoted += isPlain ? std::string(1, c) : fmt::format("\\x{:02x}", byte);
    }
    return quoted + "'";
}

std::string_view sortWord(SortSpec::Key key) {
    switch (key) {
        case SortSpec::Key::name:
            return "name";
        case SortSpec::Key::path:
            return "path";
        case SortSpec::Key::size:
            return "size";
        case SortSpec::Key::modified:
            return "modified";
        case SortSpec::Key::relevance:
            break;
    }
    return "relevance";
}

}  // namespace

SearchCheck::SearchCheck(FileIndex& index, std::shared_ptr<TrigramIndex> trigram)
    : index_(index), trigram_(std::move(trigram)) {}

std::vector<std::string> SearchCheck::differences(const GeneratedSearch& generated) {
    const auto& [query, sort, limit] = generated;
    const auto expected = slowSearch(index_, query, sort, limit);
    if (!expected) return {};  // a file can be named like a query for equal contents
    matched_ += expected->total > 0 ? 1 : 0;
    std::map<std::string, std::vector<std::string>> ways;
    for (const bool usesTrigram : {false, true}) {
        index_.attachTrigramIndex(usesTrigram ? trigram_ : nullptr);
        for (const ScanMode mode : {ScanMode::serial, ScanMode::parallel}) {
            index_.setScanModeOverride(mode);
            const auto different = difference(search(index_, query, sort, limit), *expected);
            if (!different) continue;
            ways[*different].push_back(fmt::format("{}{}", mode == ScanMode::serial ? "serial" : "parallel",
                                                   usesTrigram ? " with trigrams" : ""));
        }
    }
    index_.setScanModeOverride(std::nullopt);
    std::vector<std::string> texts;
    for (const auto& [different, names] : ways)
        texts.push_back(fmt::format("{} ({})", different, fmt::join(names, ", ")));
    return texts;
}

std::string repeatingCommand(const std::string& root, const GeneratedSearch& generated) {
    return fmt::format("dovra --search --in {} --limit {} --sort {}{} -- {}", shellQuoted(root),
                       generated.limit, sortWord(generated.sort.key),
                       generated.sort.ascending ? "" : " --desc", shellQuoted(generated.query));
}

}  // namespace dovra
