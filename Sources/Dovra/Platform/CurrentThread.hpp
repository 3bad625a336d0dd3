#pragma once

#include <string>

namespace dovra {

/// Names the calling thread for debuggers and process lists, which show the first 15 bytes.
void setCurrentThreadName(const std::string& name);

std::string currentThreadName();

/// Lets the calling thread give way to most others of the machine from now on. For good: without privileges a
/// priority that was given up cannot be taken back.
void lowerCurrentThreadPriority();

/// Lets the calling thread work with little more than what nobody else on the machine wants of its processors
/// and disks, from now on and for good. So it must not hold a lock for long that others wait for.
void makeCurrentThreadIdle();

}  // namespace dovra
