#pragma once

#include <string>

namespace dovra {

/// Names the calling thread for debuggers and process lists, which show the first 15 bytes.
void setCurrentThreadName(const std::string& name);

std::string currentThreadName();

/// Lets the calling thread give way to most other threads of the machine, for the rest of its life: without
/// privileges a thread cannot take back a priority that it gave up.
void lowerCurrentThreadPriority();

/// Lets the calling thread use little more than idle processors and disks, for the rest of its life. So it
/// must not hold a lock for long that other threads wait for.
void makeCurrentThreadIdle();

}  // namespace dovra
