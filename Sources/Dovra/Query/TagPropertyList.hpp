#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// The strings of a property list, binary or XML, that is an array of strings, repaired to well-formed
/// UTF-8. Empty when `document` is of any other shape, damaged or longer than 64 KiB. Anyone who can write
/// to a file chooses these bytes: the cost is linear in their number and nothing recurses.
std::vector<std::string> decodeTagPropertyList(std::string_view document);

}  // namespace dovra
