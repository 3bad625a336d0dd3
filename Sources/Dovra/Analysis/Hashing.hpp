#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <openssl/sha.h>
#include <span>

namespace dovra {

/// A SHA-256 value. Digests are compared for equality; their order only brings equals together.
using Digest = std::array<unsigned char, 32>;

/// Computes the SHA-256 value of bytes that come in pieces.
class Sha256 {
public:
    Sha256();

    void update(std::span<const char> bytes);

    /// The value of all bytes so far. Nothing may follow.
    Digest finish();

private:
    SHA256_CTX context_{};
};

/// The progress of a search for equal files. The hashing threads write it, any thread may read it. Each
/// number is right; together they are about right.
struct HashProgress {
    std::atomic<std::uint64_t> filesToHash{0};
    std::atomic<std::uint64_t> filesDone{0};
    /// An upper bound: bytes that need not be read are subtracted as soon as that is known.
    std::atomic<std::uint64_t> bytesToHash{0};
    std::atomic<std::uint64_t> bytesDone{0};
    /// Candidates that turned out to be another name of a known file.
    std::atomic<std::uint64_t> furtherNames{0};
};

}  // namespace dovra
