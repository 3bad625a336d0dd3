#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// The longest path by which the system can be asked: it takes no longer one in one call.
inline constexpr std::size_t maxPathBytes = 4095;

/// The folder in which the program was started; "/" when it cannot be told.
std::string currentDirectoryPath();

/// The user's home folder: `$HOME` when that is an absolute path, else what the user database says.
std::optional<std::string> homeFolderPath();

/// The path as an absolute one: "~" and "~user" at its start replaced by the home folder (kept when there is
/// no such user), a relative path taken from the current folder, "." and ".." removed by the text alone, no
/// slash at the end but for "/". Links stay as they are written. The empty path stays empty.
std::string standardizedPath(std::string_view path);

}  // namespace dovra
