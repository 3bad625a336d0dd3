#pragma once

#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"

namespace dovra {

/// The HTML of the page template of that name ("search"), filled from a document: sections look at objects,
/// arrays, booleans and texts that are not empty, variables at strings and numbers. All text is escaped.
/// Templates whose names begin with "_" are parts that it may include. A faulty template is fatal; no data
/// can make a template faulty.
std::string renderPage(std::string_view name, const JSONObject& view);

}  // namespace dovra
