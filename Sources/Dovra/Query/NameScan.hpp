#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "Base/ByteNeedle.hpp"
#include "Index/EntrySet.hpp"
#include "Index/FileIndex.hpp"
#include "Query/NeedleSet.hpp"

namespace dovra {

/// A byte string prepared for a scan of the whole name pool. The scan looks first at the needle's bytes that
/// are rarest in this pool.
class ScanNeedle {
public:
    /// `literal` is not empty. With `fold`, names are compared under ASCII folding. The pool is only sampled.
    ScanNeedle(std::string_view literal, bool fold, const NamePool& pool);

    using Probe = ByteNeedle::Probe;

    std::size_t size() const { return needle_.size(); }
    /// Two probes, or three when two would let too many positions pass. Both probes of a one-byte needle look
    /// at its only byte.
    std::span<const Probe> probes() const { return std::span(probes_).first(probeCount_); }

    /// Whether two probes cover the whole needle, so that nothing is left to compare.
    bool isCoveredByProbes() const { return needle_.size() <= 2; }

    /// Whether the needle stands at `text`, where at least `size()` bytes are readable.
    bool standsAt(const std::uint8_t* text) const {
        return needle_.standsAt(reinterpret_cast<const char*>(text));
    }

private:
    ByteNeedle needle_;
    std::array<Probe, 3> probes_;
    std::size_t probeCount_ = 2;
};

/// Adds to `hits` every entry of the range whose name contains the needle, tombstones included. The range
/// begins at a multiple of 64. Runs at the speed of memory while hits are few. The index's read lock is held.
void scanNames(const FileIndex& index, const ScanNeedle& needle, EntryRange range, EntrySet& hits);

/// The same for names that contain one of many needles.
void scanNames(const FileIndex& index, const NeedleSet& needles, EntryRange range, EntrySet& hits);

}  // namespace dovra
