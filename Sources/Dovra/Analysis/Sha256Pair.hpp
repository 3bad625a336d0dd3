#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Analysis/Sha256.hpp"

namespace dovra {

/// Computes the SHA-256 values of two texts of one length at once, each as `Sha256` would. A step of the
/// function needs the step before, so the processor's instructions for it wait most of the time; taking two
/// texts in turns fills the wait, and both are done in two thirds of the time that one after the other takes.
class Sha256Pair {
public:
    /// Whether the processor has these instructions. Nothing else may be called where it has not.
    static bool isAvailable();

    /// The next `length` bytes of both: a multiple of 64, unless they are the last.
    void update(const char* first, const char* second, std::size_t length);

    /// The values of all bytes so far. Nothing may follow.
    std::array<Digest, 2> finish();

private:
    static constexpr std::size_t blockBytes = 64;

    using Block = std::array<unsigned char, blockBytes>;

    /// The eight words of the function's state (FIPS 180-4, 5.3.3) in the order in which the instructions
    /// take them: F, E, B, A and H, G, D, C.
    struct alignas(16) State {
        std::array<std::uint32_t, 4> feba = {0x9b05688c, 0x510e527f, 0xbb67ae85, 0x6a09e667};
        std::array<std::uint32_t, 4> hgdc = {0x5be0cd19, 0x1f83d9ab, 0xa54ff53a, 0x3c6ef372};
    };

    using States = std::array<State, 2>;

    static void takeBlocks(States& states, const unsigned char* first, const unsigned char* second,
                           std::size_t count);
    static Digest digestOf(const State& state);

    States states_;
    std::array<Block, 2> rest_{};  ///< the last bytes, too few for a block
    std::uint64_t length_ = 0;
};

}  // namespace dovra
