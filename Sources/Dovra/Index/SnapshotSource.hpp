#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

#include "Base/PodVector.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

/// Where a snapshot is read from.
struct SnapshotSource {
    std::uint64_t size = 0;
    /// Fills the span with the bytes from `offset` on, which lie within the size; false when they cannot be
    /// read. Called from several threads at once.
    std::function<bool(std::uint64_t offset, std::span<char>)> read;

    /// Both refer to what they are made from.
    static SnapshotSource fromBytes(std::string_view bytes);
    static SnapshotSource fromFile(const RegularFile& file);
};

/// Reads a part of a source from its start on, whose length shows only while it is read. A view is valid
/// until the next call.
class SequentialReader {
public:
    SequentialReader(const SnapshotSource& source, std::uint64_t offset) : source_(source), next_(offset) {}

    /// The next `count` bytes; absent when there are fewer or they cannot be read.
    std::optional<std::string_view> take(std::size_t count);

    /// The offset behind the last bytes taken.
    std::uint64_t offset() const { return next_ - available(); }

private:
    std::size_t available() const { return buffer_.size() - start_; }
    bool fill(std::size_t count);

    const SnapshotSource& source_;
    std::uint64_t next_;  ///< of the first byte not yet in the buffer
    PodVector<char> buffer_;
    std::size_t start_ = 0;
};

}  // namespace dovra
