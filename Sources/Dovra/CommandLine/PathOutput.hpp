#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace dovra {

/// What ends a printed path.
enum class PathTerminator : std::uint8_t { newline, nul };

/// Writes results to standard output in large pieces. On a terminal, names are made safe to look at;
/// elsewhere they are the raw bytes, so that what is piped can be opened. Used by one thread.
class PathOutput {
public:
    explicit PathOutput(PathTerminator terminator);

    void writePath(std::string_view path);

    /// Writes out what is left. False when anything could not be written: the reason has been reported on
    /// standard error, unless it is that nobody reads any more.
    [[nodiscard]] bool finish();

private:
    void flush();

    std::string buffer_;
    char terminator_;
    bool isForPerson_;
    int error_ = 0;
};

}  // namespace dovra
