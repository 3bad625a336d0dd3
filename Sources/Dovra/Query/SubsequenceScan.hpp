#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "Base/ByteNeedle.hpp"
#include "Index/EntrySet.hpp"
#include "Index/FileIndex.hpp"
#include "Index/NamePool.hpp"

namespace dovra {

/// A byte string to be found in names as a subsequence: its bytes in order, with any others between them.
class Subsequence {
public:
    /// With `fold`, names are compared under ASCII folding.
    Subsequence(std::string_view pattern, bool fold);

    /// The bits set in the signature of every name that holds the pattern.
    NameSignature signature() const { return signature_; }

    /// Whether the `length` bytes at `name` hold the pattern. Up to 31 bytes behind them must be readable.
    bool standsIn(const std::uint8_t* name, std::size_t length) const;

private:
    std::vector<BytePattern> bytes_;
    NameSignature signature_;
};

/// Adds to `hits` every entry of the range whose name holds the pattern, tombstones included. The range
/// begins at a multiple of 64. Names whose signature rules them out are not read. The index's read lock is
/// held.
void scanSubsequences(const FileIndex& index, const Subsequence& pattern, EntryRange range, EntrySet& hits);

}  // namespace dovra
