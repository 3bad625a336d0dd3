#pragma once

#include <optional>
#include <string>

namespace dovra {

/// The value of the extended attribute `name` (with its namespace: "user.…") of the file at `path`, which may
/// have any length; symbolic links are followed. Absent when the attribute or the file is missing, without
/// read permission, and on file systems without attributes. At most 64 KiB.
std::optional<std::string> readExtendedAttribute(const std::string& path, const std::string& name);

}  // namespace dovra
