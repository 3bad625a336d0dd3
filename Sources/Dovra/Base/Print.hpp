#pragma once

#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <utility>

namespace dovra {

/// Writes to standard error. A failure is ignored, without an exception: a message must not end the program.
template <typename... Values>
void printError(fmt::format_string<Values...> format, Values&&... values) {
    const std::string text = fmt::format(format, std::forward<Values>(values)...);
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

/// Writes to standard output, at once. False when this write or an earlier one failed. The program goes on;
/// `outputError` gives the reason at its end.
bool writeOutput(std::string_view text);

template <typename... Values>
void printOutput(fmt::format_string<Values...> format, Values&&... values) {
    (void)writeOutput(fmt::format(format, std::forward<Values>(values)...));
}

/// The error number of the first write to standard output that failed; 0 when none did.
int outputError();

/// Ends the process after one line on standard error. Only for limits of the data model that cannot be
/// reported and survived; `message` names the limit.
[[noreturn]] void fatalError(std::string_view message);

}  // namespace dovra
