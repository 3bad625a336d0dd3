#pragma once

#include <optional>
#include <string>

namespace dovra {

/// A time, in seconds since 1970, as "2024-01-05T10:20:30Z": in UTC, fractions of a second dropped. Absent
/// outside the years 0 to 9999, which the form cannot hold.
std::optional<std::string> iso8601Text(double seconds);

}  // namespace dovra
