#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Base/UrlText.hpp"
#include "Base/Utf8.hpp"
#include "Platform/PlatformWords.hpp"
#include "Query/FileKind.hpp"
#include "Query/QueryKeys.hpp"
#include "Servers/Http/PageViews.hpp"
#include "Servers/Http/RelativeTime.hpp"
#include "Servers/Http/ShownText.hpp"
#include "Servers/Http/ViewMembers.hpp"

namespace dovra {

namespace {

struct Suggestion {
    std::string_view query;
    std::string_view note;
};

constexpr std::array suggestions = {
    Suggestion{"fuzzy:report", "fuzzy find"}, Suggestion{"ext:pdf", "by type"},
    Suggestion{"size:>1mb", "large files"},   Suggestion{"dupe:content", "duplicates"},
    Suggestion{"tag:work", "tags"},           Suggestion{"empty:", "empty folders"},
};

std::string searchLink(std::string_view text) {
    SearchParameters parameters;
    parameters.text = text;
    return parameters.link();
}

JSONValue::Array optionList(const SearchParameters& parameters) {
    JSONValue::Array list;
    for (const SearchOption& option : searchOptions()) {
        list.push_back(JSONObject{{"name", option.name},
                                  {"label", option.label},
                                  {"explanation", option.explanation},
                                  {"isOn", parameters.*option.flag}});
    }
    return list;
}

/// What a new search from the form keeps of this one.
JSONValue::Array keptList(const SearchParameters& parameters) {
    JSONValue::Array list;
    const auto keep = [&](std::string_view name, std::string_view value) {
        list.push_back(JSONObject{{"name", name}, {"value", value}});
    };
    if (parameters.sort.key != SortSpec::Key::name)
        keep("sort", std::ranges::find(sortColumns(), parameters.sort.key, &SortColumn::key)->word);
    if (!parameters.sort.ascending) keep("ascending", "0");
    if (!parameters.within.empty()) keep("within_encoded", percentEncoded(parameters.within));
    return list;
}

JSONValue formRow(std::string_view example, std::string_view meaning) {
    return JSONObject{{"link", searchLink(example)}, {"example", example}, {"meaning", meaning}};
}

JSONValue::Array queryLanguage() {
    JSONValue::Array rows;
    for (const QueryForm& form : queryForms())
        rows.push_back(formRow(form.example, form.meaning));
    for (const QueryKeyInfo& key : queryKeys())
        rows.push_back(formRow(key.example, key.meaning));
    for (const FileKind& kind : Macros::kinds()) {
        rows.push_back(formRow(fmt::format("{}:", kind.words.front()),
                               fmt::format("the extensions {}", fmt::join(kind.extensions, ", "))));
    }
    return rows;
}

JSONValue::Array columnList(const SearchPage& page) {
    JSONValue::Array list;
    for (const SortColumn& column : sortColumns()) {
        if (column.title.empty()) continue;
        SearchParameters next = page.shown;
        const bool isChosen = page.isSorted && next.sort.key == column.key;
        const bool isAscending = next.sort.ascending;
        next.offset = 0;
        next.count = page.parameters.count;
        next.sort = {.key = column.key, .ascending = isChosen ? !isAscending : column.startsAscending};
        ViewMembers view = {{"word", column.word}, {"columnTitle", column.title}, {"link", next.link()}};
        if (isChosen) {
            view.push_back({"direction", isAscending ? "ascending" : "descending"});
            view.push_back({"arrow", isAscending ? "↑" : "↓"});
        }
        list.emplace_back(JSONObject(std::move(view)));
    }
    return list;
}

JSONValue::Array pieceList(const SearchRow& row) {
    JSONValue::Array list;
    for (ShownPiece& piece : shownPieces(row.file.name, row.marks)) {
        list.push_back(JSONObject{
            {"piece", std::move(piece.text)}, {"isMarked", piece.isMarked}, {"isEscape", piece.isEscape}});
    }
    return list;
}

void addPath(ViewMembers& view, const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const bool isWhole = path.size() == 1;
    view.push_back({"pathLink", usageLink(path)});
    view.push_back({"path", shownText(path)});
    view.push_back({"pathHead", isWhole ? std::string() : shownText(path.substr(0, slash))});
    view.push_back({"pathTail", shownText(path.substr(slash))});
}

void addSize(ViewMembers& view, const SearchRow& row) {
    const FileRow& file = row.file;
    if (!file.isDir) {
        view.push_back({"size", byteCountText(file.size)});
        view.push_back({"exactSize", counted(static_cast<std::int64_t>(file.size), "byte")});
    } else if (row.contents) {
        view.push_back({"size", byteCountText(row.contents->bytes)});
        view.push_back(
            {"exactSize",
             fmt::format("{} in {}", counted(static_cast<std::int64_t>(row.contents->bytes), "byte"),
                         counted(row.contents->files, "file"))});
    }
}

std::string nameLink(const PageContext& context, const SearchRow& row) {
    const std::string path = joinPath(row.file.path, row.file.name);
    if (row.file.isDir) return row.contents ? usageLink(path) : std::string();
    const bool isOffered = context.allowsDownload && !row.file.isSymbolicLink;
    return isOffered ? Link("/download").with("path", path).text() : std::string();
}

JSONValue rowView(const PageContext& context, const SearchRow& row) {
    ViewMembers view = {{"kind", row.file.isDir ? "folder" : "file"},
                        {"isFolder", row.file.isDir},
                        {"nameLink", nameLink(context, row)},
                        {"pieces", pieceList(row)}};
    addPath(view, row.file.path);
    addSize(view, row);
    if (const auto iso = iso8601Text(row.file.modified)) {
        view.push_back({"iso", *iso});
        view.push_back({"when", relativeTime(row.file.modified, context.now)});
        view.push_back({"exactTime", localTime(row.file.modified)});
    }
    return JSONObject(std::move(view));
}

std::string setHeading(const DuplicateSet& set) {
    return fmt::format("{} copies of {} each · {} could be freed",
                       grouped(static_cast<std::int64_t>(set.copies)), byteCountText(set.bytesEach),
                       byteCountText(set.reclaimableBytes()));
}

/// The rows in one part of the table, or in one for each set of duplicates.
JSONValue::Array bodyList(const PageContext& context, const SearchPage& page) {
    const auto body = [&](std::string heading, std::size_t first, std::size_t last) {
        JSONValue::Array rows;
        for (std::size_t i = first; i < last; ++i)
            rows.push_back(rowView(context, page.rows[i]));
        return JSONObject{{"heading", std::move(heading)}, {"rows", std::move(rows)}};
    };
    if (page.sets.empty()) return {body({}, 0, page.rows.size())};
    JSONValue::Array list;
    for (std::size_t i = 0; i < page.sets.size(); ++i) {
        const std::size_t end = i + 1 < page.sets.size() ? page.sets[i + 1].firstRow : page.rows.size();
        list.emplace_back(body(setHeading(page.sets[i]), page.sets[i].firstRow, end));
    }
    return list;
}

std::string summaryOf(const SearchPage& page) {
    if (page.parameters.isEmpty()) return "Changed in the last seven days";
    if (page.parameters.fault) return {};
    const std::string took = page.milliseconds < 1000 ? fmt::format("{:.1f} ms", page.milliseconds)
                                                      : fmt::format("{:.1f} s", page.milliseconds / 1000);
    std::string text = fmt::format("{} in {}", counted(page.total, "result"), took);
    if (page.duplicates) {
        text += fmt::format(" · {} of equal files · {} could be freed",
                            counted(static_cast<std::int64_t>(page.duplicates->sets), "set"),
                            byteCountText(page.duplicates->reclaimableBytes));
    }
    return text;
}

JSONValue::Array noteList(const SearchPage& page) {
    JSONValue::Array list;
    if (page.total > FileIndex::sortCap && !page.isSorted && !page.duplicates)
        list.emplace_back("These are too many to be sorted: narrow the search for that.");
    if (page.abandoned > 0) {
        list.emplace_back(
            fmt::format("The regular expression took too long for {}: what is found may not be all.",
                        counted(page.abandoned, "name")));
    }
    return list;
}

Pager pagerOf(const SearchPage& page) {
    const SearchParameters& shown = page.parameters;
    const std::int64_t last = shown.offset + std::ssize(page.rows);
    const auto linkTo = [&](std::int64_t offset) {
        SearchParameters other = shown;
        other.offset = offset;
        return other.link();
    };
    Pager pager;
    pager.range = fmt::format("{}–{} of {}", grouped(std::min(shown.offset + 1, last)), grouped(last),
                              grouped(page.total));
    if (shown.offset > 0) pager.previous = linkTo(std::max<std::int64_t>(shown.offset - shown.count, 0));
    if (last < page.total && !page.rows.empty()) pager.next = linkTo(last);
    return pager;
}

void addStart(ViewMembers& view, std::span<const SavedSearch> saved) {
    JSONValue::Array chips;
    for (const auto& [query, note] : suggestions)
        chips.push_back(JSONObject{{"link", searchLink(query)}, {"query", query}, {"note", note}});
    JSONValue::Array savedChips;
    for (const auto& [name, query] : saved) {
        savedChips.push_back(
            JSONObject{{"link", searchLink(query)}, {"name", shownText(name)}, {"query", shownText(query)}});
    }
    view.push_back({"isStart", true});
    view.push_back({"computer", words::computer});
    view.push_back({"suggestions", std::move(chips)});
    view.push_back({"hasSaved", !savedChips.empty()});
    view.push_back({"saved", std::move(savedChips)});
}

/// Links to what may be meant instead.
void addOffers(ViewMembers& view, const SearchPage& page) {
    SearchParameters other = page.parameters;
    other.offset = 0;
    if (!other.within.empty()) {
        other.within.clear();
        view.push_back({"within", shownText(page.parameters.within)});
        view.push_back({"everywhere", other.link()});
        other.within = page.parameters.within;
    }
    if (page.total > 1 && page.isSorted && !other.text.empty() &&
        other.sort.key != SortSpec::Key::relevance) {
        other.sort = {.key = SortSpec::Key::relevance, .ascending = true};
        view.push_back({"bestFirst", other.link()});
    }
    const bool isPlain = other.text.find_first_of(":\"<>|!*?/") == std::string::npos && !other.isRegex;
    if (page.total == 0 && isPlain && !other.isFuzzy && !other.text.empty() && !other.fault) {
        other.isFuzzy = true;
        view.push_back({"fuzzy", other.link()});
    }
}

}  // namespace

JSONObject searchView(const PageContext& context, const SearchPage& page,
                      std::span<const SavedSearch> saved) {
    ViewMembers view = {{"title", "Dovra"},
                        {"isSearch", true},
                        {"text", repairUtf8(page.parameters.text)},
                        {"options", optionList(page.parameters)},
                        {"kept", keptList(page.parameters)},
                        {"forms", queryLanguage()},
                        {"columns", columnList(page)},
                        {"bodies", bodyList(context, page)},
                        {"summary", summaryOf(page)},
                        {"notes", noteList(page)}};
    if (page.parameters.fault) view.push_back({"fault", shownText(*page.parameters.fault)});
    addState(view, page.index);
    if (page.parameters.isEmpty()) {
        addStart(view, saved);
    } else {
        addOffers(view, page);
        addPager(view, pagerOf(page));
    }
    return JSONObject(std::move(view));
}

JSONObject messageView(std::string_view heading, std::string_view message) {
    return {{"title", "Dovra"}, {"heading", heading}, {"message", shownText(message)}};
}

}  // namespace dovra
