#include "Servers/Http/ViewMembers.hpp"

#include "Base/Format.hpp"
#include "Base/ShownText.hpp"
#include "Base/UrlText.hpp"

namespace dovra {

std::string usageLink(std::string_view path) {
    return Link("/du").with("path", path).text();
}

void addState(ViewMembers& view, const IndexState& index) {
    view.push_back({"isIndexing", index.isIndexing});
    view.push_back({"items", grouped(index.items)});
    view.push_back({"root", shownText(index.root)});
}

void addPager(ViewMembers& view, const Pager& pager) {
    if (pager.previous.empty() && pager.next.empty()) return;
    view.push_back(
        {"pager", JSONObject{{"range", pager.range}, {"previous", pager.previous}, {"next", pager.next}}});
}

}  // namespace dovra
