#include "Servers/Http/UsagePage.hpp"

#include <algorithm>
#include <utility>

#include "Base/PathText.hpp"
#include "Base/UrlText.hpp"
#include "Platform/Paths.hpp"
#include "Servers/Http/ParameterReader.hpp"

namespace dovra {

namespace {

/// How many folders a picture shows on each of its two levels.
constexpr std::size_t mostBoxes = 24;

void addFoldersIn(const UsageTree& tree, UsagePage& page) {
    const std::int64_t last = page.parameters.offset + page.parameters.count;
    std::uint64_t inFolders = 0;
    std::int64_t number = 0;
    for (const UsageTree& folder : tree.folders) {
        inFolders += folder.usage.totalBytes;
        if (number >= page.parameters.offset && number < last) page.rows.push_back(folder.usage);
        ++number;
    }
    page.hasMore = number > last;
    page.ownBytes = tree.usage.totalBytes - inFolders;
}

void addFoldersBelow(const FileIndex& index, UsagePage& page) {
    const std::int64_t last = page.parameters.offset + page.parameters.count;
    page.rows = directoryUsage(index, joinPath(page.folder->path, ""), last + 1);
    page.hasMore = std::ssize(page.rows) > last;
    if (page.hasMore) page.rows.pop_back();
    const auto skipped = std::min(page.parameters.offset, std::ssize(page.rows));
    page.rows.erase(page.rows.begin(), page.rows.begin() + skipped);
}

void keepLargest(std::vector<UsageTree>& folders) {
    if (folders.size() > mostBoxes) folders.erase(folders.begin() + mostBoxes, folders.end());
    std::erase_if(folders, [](const UsageTree& folder) { return folder.usage.totalBytes == 0; });
    for (UsageTree& folder : folders)
        keepLargest(folder.folders);
}

}  // namespace

UsageParameters UsageParameters::read(const HttpParameters& parameters) {
    ParameterReader reader(parameters);
    UsageParameters read;
    read.path = reader.text("path");
    read.isRecursive = reader.flag("recursive");
    read.offset = reader.number("offset", {.usual = 0, .least = 0, .most = FileIndex::maxEntries});
    read.count = reader.number("count", {.usual = usualCount, .least = 1, .most = mostRows});
    read.wantsJson = reader.flag("json");
    read.fault = reader.fault();
    return read;
}

std::string UsageParameters::link() const {
    Link link("/du");
    if (!path.empty()) link.with("path", path);
    if (isRecursive) link.with("recursive", "1");
    if (offset > 0) link.with("offset", std::to_string(offset));
    if (count != usualCount) link.with("count", std::to_string(count));
    return link.text();
}

UsagePage makeUsagePage(const PageContext& context, UsageParameters parameters) {
    UsagePage page{.parameters = std::move(parameters), .index = context.state};
    std::string& path = page.parameters.path;
    path = path.starts_with('/') ? standardizedPath(path).value_or(path) : path;
    if (page.parameters.fault) return page;
    auto tree = context.usage.tree(path.empty() ? context.state.root : path, 2);
    if (!tree) return page;
    page.folder = tree->usage;
    if (page.parameters.isRecursive) {
        addFoldersBelow(context.index, page);
    } else {
        addFoldersIn(*tree, page);
    }
    page.largest = std::move(tree->folders);
    keepLargest(page.largest);
    return page;
}

}  // namespace dovra
