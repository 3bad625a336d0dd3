#include "Servers/Http/ViewMembers.hpp"

#include <fmt/format.h>

#include "Base/Format.hpp"
#include "Base/UrlText.hpp"
#include "Servers/Http/ShownText.hpp"

namespace dovra {

std::string grouped(std::int64_t number) {
    // Looking up the locale takes longer than a search.
    static const std::locale locale = userLocale();
    return groupedNumber(number, locale);
}

std::string counted(std::int64_t number, std::string_view noun) {
    return fmt::format("{} {}{}", grouped(number), noun, number == 1 ? "" : "s");
}

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
