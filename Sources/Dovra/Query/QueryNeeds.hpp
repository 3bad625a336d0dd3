#pragma once

#include "Platform/OpenFolder.hpp"
#include "Query/QueryParser.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The demands of a query on the index that answers it, so that a scan for this query alone reads no more.
struct QueryNeeds {
    ListingDetail detail = ListingDetail::namesAndTypes;
    /// False for an entry that cannot match, whatever its attributes. Refers to the query.
    AttributeChoice needsAttributes = {};
};

QueryNeeds queryNeeds(const CompiledQuery& query, SortSpec sort);

}  // namespace dovra
