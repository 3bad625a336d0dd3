#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// The absolute path of the folder given as an argument. Absent when it cannot be read, which is reported on
/// standard error.
std::optional<std::string> readableFolder(std::string_view path);

}  // namespace dovra
