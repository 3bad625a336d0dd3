#pragma once

#include <cstddef>

namespace dovra {

/// The number of files and folders that this process may have open at once.
std::size_t openFileLimit();

/// Raises that limit as far as the system allows. The usual limit is meant for programs that wait with
/// `select`; very deep trees need more.
void raiseOpenFileLimit();

}  // namespace dovra
