#pragma once

#include <cstdint>
#include <locale>
#include <string>

namespace dovra {

/// The locale that the environment asks for; the plain one where it names none, or one that is not installed.
std::locale userLocale();

/// The number with its digits grouped as the locale does it, or by commas in threes where the locale does not
/// group.
std::string groupedNumber(std::int64_t number, const std::locale& locale = userLocale());

}  // namespace dovra
