#pragma once

#include <string>

namespace dovra {

/// 32 hexadecimal digits that nobody can guess.
std::string randomToken();

}  // namespace dovra
