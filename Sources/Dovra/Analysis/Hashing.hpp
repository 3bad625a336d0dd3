#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <openssl/sha.h>
#include <span>

namespace dovra {

/// The SHA-256 value of some bytes: compared for equality (and ordered, so that equals can be brought
/// together).
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

/// How far a search for equal files has come. The hashing threads write it, any thread may read it; each
/// number on its own is right, together they are about right.
struct HashProgress {
    std::atomic<std::uint64_t> filesToHash{0};
    std::atomic<std::uint64_t> filesDone{0};
    /// At most: what need not be read any more is taken off when that is known.
    std::atomic<std::uint64_t> bytesToHash{0};
    std::atomic<std::uint64_t> bytesDone{0};
    /// Candidates that turned out to be another name of a file that was there already.
    std::atomic<std::uint64_t> furtherNames{0};
};

}  // namespace dovra
