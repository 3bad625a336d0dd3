#pragma once

#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <utility>

namespace dovra {

/// Writes to standard error. What cannot be written there is lost, without an exception: a message about a
/// fault, or about none at all, must not end the program.
template <typename... Values>
void printError(fmt::format_string<Values...> format, Values&&... values) {
    const std::string text = fmt::format(format, std::forward<Values>(values)...);
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace dovra
