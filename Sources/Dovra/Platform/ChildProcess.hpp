#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/Descriptor.hpp"

namespace dovra {

struct ChildCommand {
    std::string program;  ///< a path
    std::vector<std::string> arguments;
    const Descriptor& input;      ///< becomes its standard input
    std::size_t mostOutputBytes;  ///< it is killed when it writes more
    std::chrono::steady_clock::time_point deadline;
};

/// How a program ended.
struct ChildResult {
    enum class End : std::uint8_t { exited, signalled, outOfTime, stopped, saidTooMuch, notStarted };

    End end = End::notStarted;
    int code = 0;  ///< the status of `exited`, the signal's number, or the system's error of `notStarted`
    std::string output;  ///< what it wrote to standard output, however it ended; at most the bound
    std::string errors;  ///< the same of standard error, at most 4 KiB of it
};

/// Runs a program to its end, which comes at the deadline or with a request to stop at the latest. It
/// inherits the environment and no descriptor but the standard streams. Its process is reaped in every case,
/// and processes that it started are killed unless they left its process group. Any thread may call this.
ChildResult runChild(const ChildCommand& command, const std::stop_token& stop);

}  // namespace dovra
