#pragma once

#include <span>
#include <string_view>

#include "Base/JSONValue.hpp"
#include "Servers/Http/SearchPage.hpp"
#include "Servers/Http/UsagePage.hpp"
#include "Stores/SavedSearchStore.hpp"

namespace dovra {

// The values for the templates in Pages: every text as shown, every link whole.
JSONObject searchView(const PageContext& context, const SearchPage& page, std::span<const SavedSearch> saved);
JSONObject usageView(const UsagePage& page);
JSONObject messageView(std::string_view heading, std::string_view message);

}  // namespace dovra
