#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// The longest path that the system takes in one call.
inline constexpr std::size_t maxPathBytes = 4095;

/// The user's home folder: `$HOME` if that is an absolute path, else the one in the user database.
std::optional<std::string> homeFolderPath();

/// The path in absolute form. "~" and "~user" at its start become the home folder (of an unknown user they
/// stay), a relative path begins at the current folder, "." and ".." are removed by the text alone, and only
/// "/" ends with a slash. Links are not resolved. The empty path stays empty. Absent when the path is
/// relative and the current folder was deleted.
std::optional<std::string> standardizedPath(std::string_view path);

/// The message for that case.
inline constexpr std::string_view noCurrentFolder =
    "the current folder was deleted, and the path begins there";

/// The path with all links resolved by the system. Absent when nothing is there, or the result is too long
/// for the system.
std::optional<std::string> realPath(const std::string& path);

/// The folder in which the program keeps its files between runs: "Dovra" in `$XDG_DATA_HOME`, or in
/// "~/.local/share" when that is not set or not an absolute path. A missing folder is made, with the folders
/// above it, for the user alone (mode 0700). Absent without a home folder, or when it cannot be made.
std::optional<std::string> applicationSupportFolder();

}  // namespace dovra
