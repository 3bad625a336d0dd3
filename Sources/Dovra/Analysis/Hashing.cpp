// The library advises its newer interface, which chooses among replaceable implementations at run time. It
// would have to be loaded whole, which costs every start a millisecond; these three functions can be linked
// in alone.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "Analysis/Hashing.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace dovra {

// None of the calls can fail: they compute in place.

Sha256::Sha256() {
    (void)SHA256_Init(&context_);
}

void Sha256::update(std::span<const char> bytes) {
    (void)SHA256_Update(&context_, bytes.data(), bytes.size());
}

Digest Sha256::finish() {
    Digest digest;
    (void)SHA256_Final(digest.data(), &context_);
    return digest;
}

namespace {

/// Small enough for what was read to be hashed while the processor's cache holds it.
using Buffer = std::array<char, std::size_t{64} * 1024>;

}  // namespace

std::optional<Digest> rangeDigest(const RegularFile& file, std::uint64_t offset, std::int64_t length) {
    alignas(64) Buffer buffer;
    Sha256 hash;
    auto left = static_cast<std::uint64_t>(std::max<std::int64_t>(length, 0));
    while (left > 0) {
        const auto piece =
            std::span(buffer).first(static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size())));
        const auto count = file.readAt(offset, piece);
        if (!count) return std::nullopt;
        if (*count == 0) break;
        hash.update(piece.first(*count));
        offset += *count;
        left -= *count;
    }
    return hash.finish();
}

}  // namespace dovra
