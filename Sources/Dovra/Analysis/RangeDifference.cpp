#include "Analysis/RangeDifference.hpp"

#include <algorithm>
#include <array>
#include <span>

#include "Base/ConcurrentPerform.hpp"

// Files that are read this far are mostly equal, and comparing costs a fraction of hashing. So the first file
// leads: the others are compared with it block by block, and only blocks that differ are hashed. A file's name is
// the digest of those, each with its place: files that differ from the first in the same way are equal. However
// they differ, each byte is read once and hashed at most once.

namespace dovra {

namespace {

using Names = std::vector<std::optional<Digest>>;

/// Small enough for the first file's stretch and a block of another to stay in the processor's cache.
constexpr std::size_t stretchBytes = std::size_t{128} * 1024;
constexpr std::size_t blockBytes = std::size_t{64} * 1024;

/// So many files share one reading of the first.
constexpr std::size_t filesPerShare = 32;

/// Less is read by one thread: waking others would take longer.
constexpr std::uint64_t parallelBytes = std::uint64_t{256} * 1024;

/// Fills the buffer as far as the file goes.
std::optional<std::span<const char>> read(const RegularFile& file, std::uint64_t offset,
                                          std::span<char> buffer) {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const auto count = file.readAt(offset + filled, buffer.subspan(filled));
        if (!count) return std::nullopt;
        if (*count == 0) break;
        filled += *count;
    }
    return buffer.first(filled);
}

/// The name of a file for the stretch at `offset` of which the first file has the bytes `leading`.
std::optional<Digest> difference(const RegularFile& file, std::uint64_t offset, std::uint64_t length,
                                 std::span<const char> leading) {
    std::array<char, blockBytes> block;
    Sha256 differing;
    for (std::uint64_t at = 0; at < length; at += blockBytes) {
        const auto bytes =
            read(file, offset + at, std::span(block).first(std::min<std::uint64_t>(length - at, blockBytes)));
        if (!bytes) return std::nullopt;
        const auto expected = leading.subspan(std::min<std::uint64_t>(at, leading.size()));
        if (std::ranges::equal(*bytes, expected.first(std::min(expected.size(), blockBytes)))) continue;
        const std::array<std::uint64_t, 2> place = {at, bytes->size()};
        differing.update({reinterpret_cast<const char*>(place.data()), sizeof place});
        differing.update(*bytes);
    }
    return differing.finish();
}

class RangeComparison {
public:
    RangeComparison(std::size_t count, const FileAt& fileAt, std::uint64_t offset, std::uint64_t length)
        : count_(count), fileAt_(fileAt), offset_(offset), length_(length) {}

    Names names() {
        const std::size_t stretches = (length_ + stretchBytes - 1) / stretchBytes;
        const std::size_t shares = (count_ + filesPerShare - 1) / filesPerShare;
        parts_.assign(stretches, Names(count_));
        const auto compareOne = [&](std::size_t i) { compare(i / shares, i % shares); };
        if (count_ * length_ >= parallelBytes) {
            concurrentPerform(stretches * shares, compareOne);
        } else {
            for (std::size_t i = 0; i < stretches * shares; ++i)
                compareOne(i);
        }
        return joined();
    }

private:
    /// Names the files of one share for one stretch.
    void compare(std::size_t stretch, std::size_t share) {
        const std::uint64_t offset = offset_ + stretch * stretchBytes;
        const std::uint64_t length = std::min(length_ - stretch * stretchBytes, std::uint64_t{stretchBytes});
        std::array<char, stretchBytes> buffer;
        const auto first = fileAt_(0);
        const auto leading = first ? read(*first, offset, std::span(buffer).first(length)) : std::nullopt;
        if (share == 0 && leading) parts_[stretch][0] = Sha256().finish();
        const std::size_t end = std::min((share + 1) * filesPerShare, count_);
        for (std::size_t i = std::max<std::size_t>(share * filesPerShare, 1); i < end; ++i) {
            const auto file = fileAt_(i);
            if (file)
                parts_[stretch][i] =
                    difference(*file, offset, length, leading.value_or(std::span<const char>()));
        }
    }

    /// One name for each file out of those of its stretches.
    Names joined() {
        if (parts_.size() == 1) return std::move(parts_.front());
        Names names(count_);
        for (std::size_t i = 0; i < count_; ++i) {
            if (!std::ranges::all_of(parts_, [&](const Names& part) { return part[i].has_value(); })) continue;
            Sha256 all;
            for (const Names& part : parts_)
                all.update({reinterpret_cast<const char*>(part[i]->data()), part[i]->size()});
            names[i] = all.finish();
        }
        return names;
    }

    const std::size_t count_;
    const FileAt& fileAt_;
    const std::uint64_t offset_;
    const std::uint64_t length_;
    std::vector<Names> parts_;  ///< by stretch
};

}  // namespace

Names rangeDifferences(std::size_t count, const FileAt& fileAt, std::uint64_t offset, std::uint64_t length) {
    return RangeComparison(count, fileAt, offset, length).names();
}

}  // namespace dovra
