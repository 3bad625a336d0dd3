#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace dovra {

enum class StandardStream : std::uint8_t { output, error };

/// Whether the stream leads to a terminal, where a person reads it.
bool isTerminal(StandardStream stream);

/// Styles text for one of the standard streams: only when it leads to a terminal and the environment does not
/// say `NO_COLOR`.
class TerminalStyle {
public:
    explicit TerminalStyle(StandardStream stream);

    std::string bold(std::string_view text) const;
    /// In the colour that marks what matters.
    std::string accent(std::string_view text) const;
    std::string dim(std::string_view text) const;

private:
    std::string styled(std::string_view escape, std::string_view text) const;

    bool isOn_;
};

}  // namespace dovra
