#pragma once

#include <string>
#include <string_view>

#include "Platform/Terminal.hpp"

namespace dovra {

/// Styles text for one of the standard streams, only on a terminal and only without `NO_COLOR` in the
/// environment.
class TerminalStyle {
public:
    explicit TerminalStyle(StandardStream stream);

    std::string bold(std::string_view text) const;
    /// In the colour of important text.
    std::string accent(std::string_view text) const;
    std::string dim(std::string_view text) const;

private:
    std::string styled(std::string_view escape, std::string_view text) const;

    bool isOn_;
};

}  // namespace dovra
