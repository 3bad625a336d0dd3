#pragma once

#include <string>

namespace dovra {

/// How long ago a time was, as people say it: "just now", "5 minutes ago", "3 years ago"; "in the future"
/// when it is more than a minute ahead. Both in seconds since 1970.
std::string relativeTime(double time, double now);

/// A time on the clock of this machine, to the second: "2024-01-05 11:20:30". Empty where no calendar has it.
std::string localTime(double time);

}  // namespace dovra
