#pragma once

#include <string>

namespace dovra {

/// Names the calling thread for debuggers and process lists, which show the first 15 bytes.
void setCurrentThreadName(const std::string& name);

std::string currentThreadName();

/// Lets the calling thread give way to all others of the machine from now on. For good: without privileges a
/// priority that was given up cannot be taken back.
void lowerCurrentThreadPriority();

}  // namespace dovra
