#pragma once

#include <QVariantMap>

namespace dovra {

/// The right to bring a window to the front, which the desktop gives to what the user has just done: to a
/// start of a program, or to a hot key. Under "activation-token" (Wayland) and "desktop-startup-id" (X11), as
/// programs hand it to each other.
struct ActivationRight {
    /// The right of this start, to be handed on.
    static QVariantMap ofThisStart();

    /// From now on it is this program's right, for the next window that is activated.
    static void take(const QVariantMap& right);
};

}  // namespace dovra
