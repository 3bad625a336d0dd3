#include "Desktop/Model/PanelKeys.hpp"

namespace dovra {

KeyAction panelKeyAction(KeyPress press, PanelState state) {
    if (!state.hasKeys || !press.code) return KeyAction::pass;
    switch (*press.code) {
        case KeyCode::downArrow:
            return KeyAction::selectNext;
        case KeyCode::upArrow:
            return KeyAction::selectPrevious;
        case KeyCode::space:
            if (state.isPreviewVisible) return KeyAction::closePreview;
            // Otherwise the space belongs to the text.
            return state.navigating ? KeyAction::openPreview : KeyAction::pass;
        case KeyCode::escape:
            // Without a preview the search view hides the panel.
            return state.isPreviewVisible ? KeyAction::closePreview : KeyAction::pass;
        case KeyCode::y:
            if (!press.command) return KeyAction::pass;
            return state.isPreviewVisible ? KeyAction::closePreview : KeyAction::openPreview;
        case KeyCode::l:
            return press.command ? KeyAction::focusSearch : KeyAction::pass;
    }
    return KeyAction::pass;
}

KeyAction previewKeyAction(KeyPress press) {
    if (press.code == KeyCode::downArrow) return KeyAction::selectNext;
    if (press.code == KeyCode::upArrow) return KeyAction::selectPrevious;
    const bool closes = press.code == KeyCode::space || press.code == KeyCode::escape;
    return closes && !press.command ? KeyAction::closePreview : KeyAction::pass;
}

}  // namespace dovra
