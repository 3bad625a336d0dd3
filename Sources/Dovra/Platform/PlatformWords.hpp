#pragma once

#include <string_view>

/// What people call the things of this platform: the words that texts for users and clients take, so that
/// none of them tells of another system.
namespace dovra::words {

inline constexpr std::string_view computer = "computer";

}  // namespace dovra::words
