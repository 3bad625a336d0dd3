#pragma once

#include <string_view>

namespace dovra {

/// Ends the process after one line on standard error. Only for limits of the data model that cannot be
/// reported and survived; `message` names the limit.
[[noreturn]] void fatalError(std::string_view message);

}  // namespace dovra
