#pragma once

#include <cstdint>
#include <locale>
#include <optional>
#include <string>
#include <string_view>

namespace dovra {

/// A number of bytes as people write the size of a file, in powers of 1000: "Zero KB", "1 byte", "999 bytes",
/// "12 KB", "1.2 MB", "1.23 GB"; up to EB. Megabytes have at most one decimal, larger units two; half a step
/// is rounded up.
std::string byteCountText(std::uint64_t bytes);

/// The locale named by the environment; the plain one when none is named or the named one is not installed.
/// It groups digits by commas in threes where the named one has no rule.
std::locale userLocale();

/// The number with its digits grouped by the rule of the locale; by commas in threes when it has none.
std::string groupedNumber(std::int64_t number, const std::locale& locale = userLocale());

/// The same by the rule of the environment's locale at the first call.
std::string grouped(std::int64_t number);

/// A number and its noun: "1 file", "12,345 files".
std::string counted(std::int64_t number, std::string_view noun);

/// A time, in seconds since 1970, as "2024-01-05T10:20:30Z": in UTC, fractions of a second dropped. Absent
/// outside the years 0 to 9999, which the form cannot hold.
std::optional<std::string> iso8601Text(double seconds);

}  // namespace dovra
