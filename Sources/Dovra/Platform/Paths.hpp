#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// The longest path by which the system can be asked: it takes no longer one in one call.
inline constexpr std::size_t maxPathBytes = 4095;

/// The user's home folder: `$HOME` when that is an absolute path, else what the user database says.
std::optional<std::string> homeFolderPath();

/// The path as an absolute one: "~" and "~user" at its start replaced by the home folder (kept when there is
/// no such user), a relative path taken from the current folder, "." and ".." removed by the text alone, no
/// slash at the end but for "/". Links stay as they are written. The empty path stays empty. Absent when the
/// path is relative and the current folder was deleted.
std::optional<std::string> standardizedPath(std::string_view path);

/// What to tell the user then.
inline constexpr std::string_view noCurrentFolder =
    "the current folder was deleted, and the path begins there";

/// The path by which the system itself calls what is there, without any link; absent when there is nothing,
/// or the path is longer than the system tells.
std::optional<std::string> realPath(const std::string& path);

/// The folder in which the program keeps its files between runs: "Dovra" in `$XDG_DATA_HOME`, or in
/// "~/.local/share" when that is not set or not an absolute path. Made when it is missing, with the folders
/// on its way, for the user alone (mode 0700). Absent when there is no home folder or it cannot be made.
std::optional<std::string> applicationSupportFolder();

}  // namespace dovra
