#pragma once

#include <cstddef>
#include <optional>
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

/// How many files and folders this process may have open at once.
std::size_t openFileLimit();

/// Raises that limit as far as the system lets this process: what is usual is meant for programs that wait
/// with `select`, and very deep trees take more.
void raiseOpenFileLimit();

/// Bytes of physical memory that this process holds right now, its program and libraries included. Absent
/// when the system does not tell.
std::optional<std::size_t> residentMemoryBytes();

/// Asks the system to back memory that is about to be filled with large pages, which makes far fewer of them.
/// A wish: the system may have none, and what is smaller than one is not asked for.
void preferLargePages(void* start, std::size_t bytes);

}  // namespace dovra
