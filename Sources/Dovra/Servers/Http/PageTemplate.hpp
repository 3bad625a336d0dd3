#pragma once

#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"

namespace dovra {

/// The HTML of the template of that name ("search"), filled from a document: sections look at objects,
/// arrays, booleans and texts that are not empty, variables at strings and numbers. All text is escaped,
/// except in three braces, which are for HTML from another template. "{{>name}}" stands for another template,
/// or for the address of the asset of that name. A faulty template is fatal; no data can make a template
/// faulty.
std::string renderTemplate(std::string_view name, const JSONObject& view);

}  // namespace dovra
