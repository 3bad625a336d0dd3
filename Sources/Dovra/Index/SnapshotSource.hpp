#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

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

}  // namespace dovra
