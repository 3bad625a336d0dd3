#pragma once

#include <cstdint>

namespace dovra {

enum class StandardStream : std::uint8_t { output, error };

/// Whether the stream leads to a terminal.
bool isTerminal(StandardStream stream);

}  // namespace dovra
