#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace dovra {

/// A text in lines that a window lays out without a pause.
struct PreviewLines {
    /// What comes behind them is cut off.
    static constexpr std::size_t most = 2000;
    /// A longer line is broken, wherever that is: its end would not fit beside its start anyway.
    static constexpr std::size_t longest = 400;

    std::string text;  ///< with line feeds only
    bool isCut = false;
};

/// The lines of a well-formed text.
PreviewLines previewLines(std::string_view utf8);

}  // namespace dovra
