#pragma once

#include <optional>
#include <string>

namespace dovra {

/// The value of the extended attribute `name` (with its namespace: "user.…") of what `path`, of any length,
/// leads to; symbolic links are followed. Absent when the attribute or the file is not there, when it may not
/// be read or when the file system keeps no attributes. At most 64 KiB.
std::optional<std::string> readExtendedAttribute(const std::string& path, const std::string& name);

}  // namespace dovra
