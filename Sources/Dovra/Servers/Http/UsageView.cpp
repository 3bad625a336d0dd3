#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <utility>

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Base/ShownText.hpp"
#include "Servers/Http/PageViews.hpp"
#include "Servers/Http/SearchParameters.hpp"
#include "Servers/Http/Treemap.hpp"
#include "Servers/Http/ViewMembers.hpp"

namespace dovra {

namespace {

/// The picture's size in units of its own; it is drawn as wide as the page.
constexpr TreemapBox picture{.x = 0, .y = 0, .width = 1000, .height = 400};
constexpr double headingHeight = 20;
constexpr double margin = 3;
constexpr std::size_t tones = 6;

std::string lastPart(std::string_view path) {
    return shownText(path == "/" ? path : path.substr(path.rfind('/') + 1));
}

double percentage(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(whole);
}

JSONValue crumb(std::string name, std::string link, bool isSeparated) {
    return JSONObject{{"crumb", std::move(name)}, {"link", std::move(link)}, {"separator", isSeparated}};
}

/// The folders from the root of the index down to this one, which alone is no link.
JSONValue::Array crumbList(const std::string& root, std::string path) {
    JSONValue::Array list;
    const std::string here = path;
    for (; path != root && isAtOrBelow(path, root); path = parentPath(path))
        list.push_back(crumb(lastPart(path), path == here ? std::string() : usageLink(path), path != here));
    const bool isSeparated = root != "/" && here != root;
    list.push_back(crumb(shownText(root), here == root ? std::string() : "/du", isSeparated));
    std::ranges::reverse(list);
    return list;
}

struct FolderBox {
    const UsageTree* folder;
    TreemapBox area;
};

/// The boxes of the folders in a frame that stands for `whole` bytes. Files that lie beside them, and folders
/// that are too many, leave their space empty.
std::vector<FolderBox> folderBoxes(const std::vector<UsageTree>& folders, std::uint64_t whole,
                                   const TreemapBox& frame) {
    std::vector<double> values;
    std::uint64_t shown = 0;
    for (const UsageTree& folder : folders) {
        values.push_back(static_cast<double>(folder.usage.totalBytes));
        shown += folder.usage.totalBytes;
    }
    if (shown == 0) return {};
    const auto rest = static_cast<double>(whole - shown);
    const auto place = std::ranges::upper_bound(values, rest, std::greater{}) - values.begin();
    values.insert(values.begin() + place, rest);
    std::vector<TreemapBox> areas = treemap(values, frame);
    areas.erase(areas.begin() + place);
    std::vector<FolderBox> boxes;
    for (std::size_t i = 0; i < folders.size(); ++i)
        boxes.push_back({&folders[i], areas[i]});
    return boxes;
}

/// The rest of a box below its heading.
TreemapBox innerFrame(const TreemapBox& box) {
    return {.x = box.x + margin,
            .y = box.y + headingHeight,
            .width = std::max(box.width - 2 * margin, 0.0),
            .height = std::max(box.height - headingHeight - margin, 0.0)};
}

ViewMembers boxView(const FolderBox& box) {
    const DirUsage& usage = box.folder->usage;
    const bool hasRoom = box.area.width >= 28 && box.area.height >= 15;
    return {{"x", box.area.x},
            {"y", box.area.y},
            {"width", box.area.width},
            {"height", box.area.height},
            {"boxName", lastPart(usage.path)},
            {"hasRoom", hasRoom},
            {"boxSize", byteCountText(usage.totalBytes)},
            {"boxLink", usageLink(usage.path)}};
}

/// Boxes that would be mere lines are left out.
bool isVisible(const FolderBox& box) {
    return box.area.width >= 4 && box.area.height >= 4;
}

JSONValue::Array boxList(const UsagePage& page) {
    JSONValue::Array list;
    for (const FolderBox& box : folderBoxes(page.largest, page.folder->totalBytes, picture)) {
        if (!isVisible(box)) continue;
        JSONValue::Array inner;
        for (const FolderBox& innerBox :
             folderBoxes(box.folder->folders, box.folder->usage.totalBytes, innerFrame(box.area))) {
            if (isVisible(innerBox)) inner.emplace_back(JSONObject(boxView(innerBox)));
        }
        ViewMembers view = boxView(box);
        view.push_back({"tone", std::min(list.size(), tones - 1)});
        view.push_back({"innerBoxes", std::move(inner)});
        list.emplace_back(JSONObject(std::move(view)));
    }
    return list;
}

JSONValue::Array rowList(const UsagePage& page) {
    JSONValue::Array list;
    for (const DirUsage& row : page.rows) {
        const std::string& shownPath = row.path;
        list.push_back(JSONObject{
            {"size", byteCountText(row.totalBytes)},
            {"exactSize", counted(static_cast<std::int64_t>(row.totalBytes), "byte")},
            {"files", grouped(row.fileCount)},
            {"share", fmt::format("{:.1f}", percentage(row.totalBytes, page.folder->totalBytes))},
            {"rowLink", usageLink(row.path)},
            {"directory", page.parameters.isRecursive ? shownText(shownPath) : lastPart(shownPath)}});
    }
    return list;
}

std::string linkToOffset(const UsageParameters& parameters, std::int64_t offset) {
    UsageParameters other = parameters;
    other.offset = offset;
    return other.link();
}

Pager pagerOf(const UsagePage& page) {
    const UsageParameters& parameters = page.parameters;
    const std::int64_t last = parameters.offset + std::ssize(page.rows);
    Pager pager;
    if (!page.rows.empty()) pager.range = fmt::format("{}–{}", grouped(parameters.offset + 1), grouped(last));
    if (parameters.offset > 0)
        pager.previous =
            linkToOffset(parameters, std::max<std::int64_t>(parameters.offset - parameters.count, 0));
    if (page.hasMore) pager.next = linkToOffset(parameters, last);
    return pager;
}

std::string largestFilesLink(const std::string& path) {
    SearchParameters files;
    files.text = "file:";
    files.within = path == "/" ? "" : path + "/";
    files.sort = {.key = SortSpec::Key::size, .ascending = false};
    return files.link();
}

void addFolder(ViewMembers& view, const UsagePage& page) {
    const DirUsage& folder = *page.folder;
    UsageParameters other = page.parameters;
    other.offset = 0;
    other.isRecursive = !other.isRecursive;
    JSONValue::Array boxes = boxList(page);
    ViewMembers whole = {{"size", byteCountText(folder.totalBytes)},
                         {"files", counted(folder.fileCount, "file")},
                         {"own", page.ownBytes > 0 ? byteCountText(page.ownBytes) : std::string()},
                         {"largestFiles", largestFilesLink(folder.path)},
                         {"otherView", other.link()},
                         {"otherViewName", other.isRecursive ? "All folders below, largest first"
                                                             : "Only the folders right in this one"},
                         {"hasPicture", !boxes.empty()},
                         {"boxes", std::move(boxes)}};
    if (folder.path != page.index.root && folder.path != "/")
        whole.push_back({"up", usageLink(parentPath(folder.path))});
    view.push_back({"whole", JSONObject(std::move(whole))});
    view.push_back({"crumbs", crumbList(page.index.root, folder.path)});
}

}  // namespace

JSONObject usageView(const UsagePage& page) {
    ViewMembers view = {{"title", "Disk usage — Dovra"}, {"isUsage", true}, {"rows", rowList(page)}};
    addState(view, page.index);
    if (page.folder) {
        addFolder(view, page);
        addPager(view, pagerOf(page));
        if (page.rows.empty()) view.push_back({"nothing", "No folders in this one"});
    } else {
        view.push_back({"crumbs", JSONValue::Array{crumb("Disk usage", "", false)}});
        view.push_back({"nothing", "No directories indexed yet"});
    }
    return JSONObject(std::move(view));
}

}  // namespace dovra
