#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// The folder that an argument names, as an absolute path. Absent when it cannot be read, which has been
/// reported on standard error.
std::optional<std::string> readableFolder(std::string_view path);

}  // namespace dovra
