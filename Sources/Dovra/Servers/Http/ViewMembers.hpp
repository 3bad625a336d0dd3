#pragma once

#include <string>

#include "Base/JSONValue.hpp"
#include "Servers/Http/PageContext.hpp"

namespace dovra {

/// The members of a document that a template is filled from.
using ViewMembers = std::vector<JSONObject::Member>;

/// A number as people read it: "12,345".
std::string grouped(std::int64_t number);

/// A number and its noun: "1 file", "12,345 files".
std::string counted(std::int64_t number, std::string_view noun);

/// Where the usage page of a folder is.
std::string usageLink(std::string_view path);

void addState(ViewMembers& view, const IndexState& index);

/// The way to the pages before and behind this one; none where there is only one.
struct Pager {
    std::string range;  ///< "101–200 of 12,345"
    std::string previous;
    std::string next;
};
void addPager(ViewMembers& view, const Pager& pager);

}  // namespace dovra
