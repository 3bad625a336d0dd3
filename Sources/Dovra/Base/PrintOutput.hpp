#pragma once

#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace dovra {

/// Writes to standard output, at once. False when that fails, or has failed before; the program goes on, and
/// `outputError` says why at its end.
bool writeOutput(std::string_view text);

template <typename... Values>
void printOutput(fmt::format_string<Values...> format, Values&&... values) {
    (void)writeOutput(fmt::format(format, std::forward<Values>(values)...));
}

/// The error number of the first write to standard output that failed; 0 when none did.
int outputError();

}  // namespace dovra
