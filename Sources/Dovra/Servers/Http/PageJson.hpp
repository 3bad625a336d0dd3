#pragma once

#include "Base/JSONValue.hpp"
#include "Servers/Http/SearchPage.hpp"
#include "Servers/Http/UsagePage.hpp"

namespace dovra {

// What clients get that ask for JSON, as Documentation/HttpApi.md describes it.
JSONObject searchJSON(const SearchPage& page);
JSONObject usageJSON(const UsagePage& page);

}  // namespace dovra
