#pragma once

#include <QWindow>

namespace dovra {

/// What the X11 display tells and is told. On other window systems everything is false, cheap to ask, and
/// nothing is told.
struct X11Session {
    /// Whether a status area of the older kind is there.
    static bool hasTrayHost();

    /// Whether windows may be translucent.
    static bool isComposited();

    /// Lets a window that is not shown yet appear on all workspaces at once. Window managers forget it when
    /// the window is hidden.
    static void showOnAllWorkspaces(WId window);
};

}  // namespace dovra
