#include "Analysis/RangeDigests.hpp"

#include <algorithm>
#include <array>
#include <span>

#include "Base/Concurrency.hpp"

// Most files that are read far are equal, and comparing costs a fraction of hashing. So the others are
// compared with the first file block by block. Only blocks that differ are hashed, each with its place: files
// that differ from the first in the same way are equal. Each byte is read once, also of the first file: it
// may change meanwhile, and must not make others equal that are not.

namespace dovra {

namespace {

using Digests = std::vector<std::optional<Digest>>;
using Bytes = std::span<const char>;

/// Small enough for the first file's stretch and another's block to stay in the processor's cache.
constexpr std::size_t stretchBytes = std::size_t{128} * 1024;
constexpr std::size_t blockBytes = std::size_t{64} * 1024;
using Stretch = std::array<char, stretchBytes>;
using Block = std::array<char, blockBytes>;

/// One thread compares this many at a time.
constexpr std::size_t filesPerPiece = 32;

/// Fills the buffer as far as the file reaches; absent when reading fails.
std::optional<Bytes> read(const RegularFile& file, std::uint64_t offset, std::span<char> buffer) {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const auto count = file.readAt(offset + filled, buffer.subspan(filled));
        if (!count) return std::nullopt;
        if (*count == 0) break;
        filled += *count;
    }
    return buffer.first(filled);
}

/// A digest of the differences between a file's stretch and the first file's.
std::optional<Digest> difference(const RegularFile& file, std::uint64_t offset, std::size_t length,
                                 Bytes first) {
    alignas(64) Block buffer;
    Sha256 hash;
    for (std::size_t at = 0; at < length; at += blockBytes) {
        const std::size_t size = std::min(length - at, blockBytes);
        const auto block = read(file, offset + at, std::span(buffer).first(size));
        if (!block) return std::nullopt;
        const Bytes expected = first.subspan(std::min(at, first.size()));
        if (std::ranges::equal(*block, expected.first(std::min(expected.size(), size)))) continue;
        const std::array<std::size_t, 2> place = {at, block->size()};
        hash.update({reinterpret_cast<const char*>(place.data()), sizeof place});
        hash.update(*block);
    }
    return hash.finish();
}

/// Absent when one of the parts is absent.
std::optional<Digest> joined(std::span<const Digests> parts, std::size_t i) {
    Sha256 hash;
    for (const Digests& part : parts) {
        if (!part[i]) return std::nullopt;
        hash.update({reinterpret_cast<const char*>(part[i]->data()), part[i]->size()});
    }
    return hash.finish();
}

class RangeComparison {
public:
    RangeComparison(std::size_t count, const FileAt& fileAt, std::uint64_t offset, std::uint64_t length)
        : count_(count),
          fileAt_(fileAt),
          offset_(offset),
          length_(length),
          parts_((length + stretchBytes - 1) / stretchBytes, Digests(count)) {}

    Digests run() {
        concurrentPerform(parts_.size(), [&](std::size_t stretch) { compare(stretch); });
        if (parts_.size() == 1) return std::move(parts_.front());
        Digests digests(count_);
        for (std::size_t i = 0; i < count_; ++i)
            digests[i] = joined(parts_, i);
        return digests;
    }

private:
    void compare(std::size_t stretch) {
        Digests& part = parts_[stretch];
        const std::uint64_t offset = offset_ + stretch * stretchBytes;
        const std::size_t length = std::min<std::uint64_t>(length_ - stretch * stretchBytes, stretchBytes);
        alignas(64) Stretch buffer;
        const auto leader = fileAt_(0);
        const auto first = leader ? read(*leader, offset, std::span(buffer).first(length)) : std::nullopt;
        if (first) part[0] = Sha256().finish();
        performInPieces(count_ - 1, filesPerPiece, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin + 1; i <= end; ++i) {
                if (const auto file = fileAt_(i))
                    part[i] = difference(*file, offset, length, first.value_or(Bytes()));
            }
        });
    }

    const std::size_t count_;
    const FileAt& fileAt_;
    const std::uint64_t offset_;
    const std::uint64_t length_;
    std::vector<Digests> parts_;  ///< by stretch
};

}  // namespace

Digests rangeDigests(std::size_t count, const FileAt& fileAt, std::uint64_t offset, std::uint64_t length) {
    return RangeComparison(count, fileAt, offset, length).run();
}

}  // namespace dovra
