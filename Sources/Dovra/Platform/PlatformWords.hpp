#pragma once

#include <string_view>

/// The names of things on this platform, for texts to users and clients.
namespace dovra::words {

inline constexpr std::string_view computer = "computer";

}  // namespace dovra::words
