#pragma once

#include "Base/JSONValue.hpp"
#include "Servers/Http/SearchPage.hpp"
#include "Servers/Http/UsagePage.hpp"

namespace dovra {

// The JSON forms of the pages; Documentation/HttpApi.md describes them.
JSONObject searchJSON(const SearchPage& page);
JSONObject usageJSON(const UsagePage& page);

}  // namespace dovra
