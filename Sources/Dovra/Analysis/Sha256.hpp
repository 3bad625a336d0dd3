#pragma once

#include <array>
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

}  // namespace dovra
