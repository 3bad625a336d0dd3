#pragma once

#include <cstdint>
#include <optional>

#include "Platform/KeyCodes.hpp"

namespace dovra {

/// A key that went down.
struct KeyPress {
    std::optional<KeyCode> code;  ///< absent for a key that the panel does not know
    bool command = false;         ///< whether the command key was held
};

/// The circumstances of a key press.
struct PanelState {
    bool hasKeys = true;  ///< whether the panel is visible and has the keyboard
    bool navigating = false;
    bool isPreviewVisible = false;
};

/// The panel's reaction to a key. `pass` leaves the key to the focused control; all others consume it.
enum class KeyAction : std::uint8_t {
    pass,
    selectNext,
    selectPrevious,
    openPreview,
    closePreview,
    focusSearch,
};

/// For a key in the search panel.
KeyAction panelKeyAction(KeyPress press, PanelState state);

/// For a key while the preview has the keyboard. The preview is refreshed after a move.
KeyAction previewKeyAction(KeyPress press);

}  // namespace dovra
