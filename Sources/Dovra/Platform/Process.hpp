#pragma once

#include <cstddef>
#include <optional>
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

/// The number of files and folders that this process may have open at once.
std::size_t openFileLimit();

/// Raises that limit as far as the system allows. The usual limit is meant for programs that wait with
/// `select`; very deep trees need more.
void raiseOpenFileLimit();

/// The physical memory of this process in bytes, its program and libraries included. Absent when the system
/// does not report it.
std::optional<std::size_t> residentMemoryBytes();

/// Asks the system for large pages behind memory that is about to be filled, because they fill faster. The
/// system may have none. Memory smaller than a large page is left alone.
void preferLargePages(void* start, std::size_t bytes);

/// Moves memory that is filled already into large pages, which are read faster: about 0.5 s a gigabyte.
/// Other threads may use it meanwhile. The system may have none. Memory smaller than one is left alone.
void gatherIntoLargePages(const void* start, std::size_t bytes);

}  // namespace dovra
