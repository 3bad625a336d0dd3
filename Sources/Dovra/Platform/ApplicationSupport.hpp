#pragma once

#include <optional>
#include <string>

namespace dovra {

/// The folder in which the program keeps its files between runs: "Dovra" in `$XDG_DATA_HOME`, or in
/// "~/.local/share" when that is not set or not an absolute path. Made when it is missing, with the folders
/// on its way, for the user alone (mode 0700). Absent when there is no home folder or it cannot be made.
std::optional<std::string> applicationSupportFolder();

}  // namespace dovra
