#pragma once

#include <cstddef>

namespace dovra {

/// How many files and folders this process may have open at once.
std::size_t openFileLimit();

/// Raises that limit as far as the system lets this process: what is usual is meant for programs that wait
/// with `select`, and very deep trees take more.
void raiseOpenFileLimit();

}  // namespace dovra
