#include "Servers/Http/PageJson.hpp"

#include <algorithm>
#include <utility>

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Base/UrlText.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

using Members = std::vector<JSONObject::Member>;

/// JSON cannot hold ill-formed text, so such text is repaired. The URI then still leads to the file.
void addUri(Members& members, const std::string& path) {
    if (!isValidUtf8(path)) members.push_back({"uri", "file://" + percentEncoded(path)});
}

JSONValue rowJSON(const SearchPage& page, std::size_t number) {
    const auto& [file, marks, contents] = page.rows[number];
    Members members = {{"type", file.isDir ? "folder" : "file"}, {"name", file.name}, {"path", file.path}};
    if (page.parameters.wantsSizes && (!file.isDir || contents))
        members.push_back({"size", file.isDir ? contents->bytes : file.size});
    if (const auto modified = iso8601Text(file.modified); modified && page.parameters.wantsDates)
        members.push_back({"date_modified", *modified});
    addUri(members, joinPath(file.path, file.name));
    return JSONObject(std::move(members));
}

JSONValue setJSON(const DuplicateSet& set) {
    return JSONObject{{"firstResult", set.firstRow},
                      {"copies", set.copies},
                      {"bytesEach", set.bytesEach},
                      {"reclaimableBytes", set.reclaimableBytes()}};
}

JSONValue directoryJSON(const DirUsage& directory) {
    Members members = {
        {"path", directory.path}, {"size", directory.totalBytes}, {"files", directory.fileCount}};
    addUri(members, directory.path);
    return JSONObject(std::move(members));
}

void addState(Members& members, const IndexState& index) {
    members.push_back({"indexing", index.isIndexing});
    members.push_back({"indexedItems", index.items});
}

}  // namespace

JSONObject searchJSON(const SearchPage& page) {
    JSONValue::Array rows;
    for (std::size_t i = 0; i < page.rows.size(); ++i)
        rows.push_back(rowJSON(page, i));
    Members members = {{"totalResults", page.total},
                       {"offset", page.shown.offset},
                       {"results", std::move(rows)},
                       {"sorted", page.isSorted},
                       {"abandoned", page.abandoned}};
    addState(members, page.index);
    members.push_back({"milliseconds", page.milliseconds});
    if (page.duplicates) {
        JSONValue::Array sets;
        std::ranges::transform(page.sets, std::back_inserter(sets), setJSON);
        members.push_back({"duplicateSets", page.duplicates->sets});
        members.push_back({"reclaimableBytes", page.duplicates->reclaimableBytes});
        members.push_back({"sets", std::move(sets)});
    }
    return JSONObject(std::move(members));
}

JSONObject usageJSON(const UsagePage& page) {
    JSONValue::Array rows;
    std::ranges::transform(page.rows, std::back_inserter(rows), directoryJSON);
    Members members = {{"directories", std::move(rows)},
                       {"offset", page.parameters.offset},
                       {"more", page.hasMore},
                       {"folder", page.folder ? directoryJSON(*page.folder) : JSONValue()}};
    addState(members, page.index);
    return JSONObject(std::move(members));
}

}  // namespace dovra
