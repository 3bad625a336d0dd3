#pragma once

namespace dovra {

/// What the X11 display tells; everything is false, and cheap to ask, on other window systems.
struct X11Session {
    /// Whether a status area of the older kind is there.
    static bool hasTrayHost();

    /// Whether windows may be translucent.
    static bool isComposited();
};

}  // namespace dovra
