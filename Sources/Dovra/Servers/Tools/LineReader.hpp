#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace dovra {

/// Cuts a stream of bytes into lines. Of a line that is too long only a part is kept. For one thread.
class LineReader {
public:
    /// Fills the start of `destination` and returns how many bytes came, 0 at the end of the stream.
    using Read = std::function<std::size_t(std::span<char> destination)>;

    struct Line {
        std::string text;        ///< without its line feed
        bool isTooLong = false;  ///< then its text has been passed over
    };

    LineReader(Read read, std::size_t mostBytes);

    /// The next line, as soon as it is complete; absent at the end. The last line needs no line feed.
    std::optional<Line> next();

private:
    bool refill();

    Read read_;
    std::size_t mostBytes_;
    std::vector<char> buffer_;
    std::span<const char> unread_;
};

}  // namespace dovra
