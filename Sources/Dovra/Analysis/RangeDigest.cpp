#include "Analysis/RangeDigest.hpp"

#include <algorithm>
#include <cstddef>
#include <span>

#include "Analysis/Sha256Pair.hpp"

namespace dovra {

namespace {

/// Small enough for what was read to be hashed while the processor's cache holds it. A multiple of the
/// digest's blocks.
constexpr std::size_t bufferBytes = std::size_t{64} * 1024;

using Buffer = std::array<char, bufferBytes>;

std::uint64_t bytesOf(std::int64_t length) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(length, 0));
}

/// A piece of a range, not longer than the buffer.
std::span<char> pieceOf(Buffer& buffer, std::uint64_t left) {
    return std::span(buffer).first(static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size())));
}

/// Absent unless both files can be read over the whole range.
std::optional<std::array<Digest, 2>> digestsOfBoth(const RegularFile& first, const RegularFile& second,
                                                   std::uint64_t offset, std::uint64_t length) {
    alignas(64) Buffer firstBuffer;
    alignas(64) Buffer secondBuffer;
    Sha256Pair hash;
    while (length > 0) {
        const auto firstPiece = pieceOf(firstBuffer, length);
        const auto secondPiece = pieceOf(secondBuffer, length);
        if (first.readAt(offset, firstPiece) != firstPiece.size()) return std::nullopt;
        if (second.readAt(offset, secondPiece) != secondPiece.size()) return std::nullopt;
        hash.update(firstPiece.data(), secondPiece.data(), firstPiece.size());
        offset += firstPiece.size();
        length -= firstPiece.size();
    }
    return hash.finish();
}

}  // namespace

std::optional<Digest> rangeDigest(const RegularFile& file, std::uint64_t offset, std::int64_t length) {
    alignas(64) Buffer buffer;
    Sha256 hash;
    auto left = bytesOf(length);
    while (left > 0) {
        const auto piece = pieceOf(buffer, left);
        const auto count = file.readAt(offset, piece);
        if (!count) return std::nullopt;
        if (*count == 0) break;
        hash.update(piece.first(*count));
        offset += *count;
        left -= *count;
    }
    return hash.finish();
}

std::array<std::optional<Digest>, 2> rangeDigests(std::array<const RegularFile*, 2> files,
                                                  std::uint64_t offset, std::int64_t length) {
    if (files[0] != nullptr && files[1] != nullptr && Sha256Pair::isAvailable()) {
        const auto both = digestsOfBoth(*files[0], *files[1], offset, bytesOf(length));
        if (both) return {(*both)[0], (*both)[1]};
    }
    std::array<std::optional<Digest>, 2> digests;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i] != nullptr) digests[i] = rangeDigest(*files[i], offset, length);
    }
    return digests;
}

}  // namespace dovra
