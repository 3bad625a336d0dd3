#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace dovra {

/// What a process that reads files of unknown origin may use.
struct ProcessLimits {
    std::size_t memoryBytes = 0;            ///< of address space, with the program and its libraries
    std::chrono::seconds processorTime{0};  ///< then the system ends the process
    std::size_t openFiles = 0;
    std::vector<std::string> readableFolders;  ///< folders that do not exist are left out
};

/// Confines this process to the limits, for the rest of its life. Beyond them it can write to no file, leaves
/// no core dump, gains no privileges, opens no socket, and starts threads but no process. It can signal,
/// trace and reschedule no other process, shares no memory, messages or keys with one, and stays in its
/// process group. Descriptors that are open already stay usable. Called before the first thread is started.
///
/// Returns a message when the system refuses a limit. A kernel that cannot guard folders (Linux before 5.13)
/// leaves reading as it is, because the other limits hold all the same.
[[nodiscard]] std::optional<std::string> confineProcess(const ProcessLimits& limits);

}  // namespace dovra
