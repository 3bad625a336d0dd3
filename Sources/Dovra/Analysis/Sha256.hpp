#pragma once

#include <array>
#include <memory>
#include <span>

struct evp_md_ctx_st;  // of the cryptography library

namespace dovra {

/// The SHA-256 value of some bytes: compared for equality (and ordered, so that equals can be brought
/// together).
using Digest = std::array<unsigned char, 32>;

/// Computes SHA-256 values, one after another. Making one costs far more than reusing it: keep one a thread.
class Sha256 {
public:
    Sha256();

    /// Takes the next bytes of the current value.
    void update(std::span<const char> bytes);

    /// The value of the bytes since the last call; the next value starts.
    Digest finish();

private:
    void start();

    struct ContextDeleter {
        void operator()(evp_md_ctx_st* context) const;
    };

    std::unique_ptr<evp_md_ctx_st, ContextDeleter> context_;
};

}  // namespace dovra
