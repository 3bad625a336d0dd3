#pragma once

#include <cstdint>

namespace dovra {

enum class StandardStream : std::uint8_t { output, error };

/// Whether the stream leads to a terminal, where a person reads it.
bool isTerminal(StandardStream stream);

}  // namespace dovra
