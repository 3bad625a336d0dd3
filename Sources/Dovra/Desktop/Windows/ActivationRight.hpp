#pragma once

#include <QString>
#include <QVariantMap>

namespace dovra {

/// The right to bring a window to the front, a token that the compositor of Wayland gives for what the user
/// has just done: to a start of a program, or to a hot key.
struct ActivationRight {
    /// The right of this start, as programs hand it to each other.
    static QVariantMap ofThisStart();

    /// Takes over the right that another program handed on, for the next window that is activated.
    static void takeFrom(const QVariantMap& right);
    static void take(const QString& token);
};

}  // namespace dovra
