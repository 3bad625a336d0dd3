#pragma once

namespace dovra {

/// Whether the processor, and the system for it, have vectors of 64 bytes with masks for each byte, and the
/// instructions that gather and scatter the bits of a word in a few cycles. False on other processors than
/// x86-64. Any thread; costs nothing.
bool hasWideVectors();

}  // namespace dovra
