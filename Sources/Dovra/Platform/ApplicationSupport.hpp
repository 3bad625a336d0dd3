#pragma once

#include <optional>
#include <string>

namespace dovra {

/// The folder in which the program keeps its files between runs: "Dovra" in `$XDG_DATA_HOME`, or in
/// "~/.local/share" when that is not set or not an absolute path. A missing folder is made, with the folders
/// above it, for the user alone (mode 0700). Absent without a home folder, or when it cannot be made.
std::optional<std::string> applicationSupportFolder();

}  // namespace dovra
