#pragma once

#include <string_view>

/// The names of things on this platform, for texts to users and clients.
namespace dovra::words {

inline constexpr std::string_view computer = "computer";
/// Labels that users give to files.
inline constexpr std::string_view tags = "tags";
/// The program in which users look through folders.
inline constexpr std::string_view fileManager = "File Manager";
/// The keys that call the panel, unless the user has chosen others.
inline constexpr std::string_view hotKey = "Alt+Space";
/// The key that is held for commands.
inline constexpr std::string_view commandKey = "Ctrl";

}  // namespace dovra::words
